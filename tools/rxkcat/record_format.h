// The output format of consumed records (-f): literal text, escapes and %-directives.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace rxkcat {

// One record as the library handed it out. `text` is the data cut at its first NUL byte;
// `length` is the record's full length.
struct RecordView {
    const std::string& stream;
    const std::string& shard;
    const char* sequenceNumber;
    const char* text;
    int32_t length;
};

class RecordFormat {
public:
    RecordFormat();  // "%s\n"
    // Throws UsageError naming -f for an unknown directive or escape.
    static RecordFormat parse(const std::string& format);

    // Appends the rendered record to `out`.
    void render(const RecordView& record, std::string& out) const;

private:
    enum class Field { Literal, Data, Length, SequenceNumber, Shard, Stream };
    struct Piece {
        Field field;
        std::string literal;
    };
    explicit RecordFormat(std::vector<Piece> pieces) : pieces_(std::move(pieces)) {}
    static Field fieldOf(char directive);

    std::vector<Piece> pieces_;
};

}  // namespace rxkcat
