// The output format of consumed records (-f): literal text, escapes and %-directives.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace rxkcat {

// One record as the library handed it out: its exact bytes and what the service says of it.
struct RecordView {
    const std::string& stream;
    const std::string& shard;
    const char* sequenceNumber;
    const char* partitionKey;
    const char* data;
    int32_t length;
    int64_t arrivalMillis;
    int64_t subSequenceNumber;  // -1 unless a user record of an aggregated record
};

class RecordFormat {
public:
    RecordFormat();  // "%s\n"
    // Throws UsageError naming -f for an unknown directive or escape.
    static RecordFormat parse(const std::string& format);
    // -J: one JSON object per line.
    static RecordFormat json();
    // -K without -f: the key, the delimiter, the data, a newline.
    static RecordFormat keyed(const std::string& keyDelimiter);

    // Appends the rendered record to `out`.
    void render(const RecordView& record, std::string& out) const;

private:
    enum class Field { Literal, Data, Length, SequenceNumber, Shard, Stream, Key, KeyLength, ArrivalTime, Json };
    struct Piece {
        Field field;
        std::string literal;
    };
    explicit RecordFormat(std::vector<Piece> pieces) : pieces_(std::move(pieces)) {}
    static Field fieldOf(char directive);

    std::vector<Piece> pieces_;
};

}  // namespace rxkcat
