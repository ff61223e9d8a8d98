#include "record_format.h"

#include "escapes.h"
#include "json_record.h"
#include "tool_error.h"

#include <cstring>
#include <utility>

namespace rxkcat {
namespace {

constexpr char kFormatFlag[] = "-f";
constexpr char kDefaultFormat[] = "%s\\n";
constexpr char kKnownDirectives[] = "%s data, %S length, %k key, %K key length, %o sequence number, %p shard, "
                                   "%t stream, %T arrival time in ms, %% a percent sign";

}  // namespace

RecordFormat::RecordFormat() : pieces_(parse(kDefaultFormat).pieces_) {}

RecordFormat::Field RecordFormat::fieldOf(char directive) {
    switch (directive) {
    case 's': return Field::Data;
    case 'S': return Field::Length;
    case 'o': return Field::SequenceNumber;
    case 'p': return Field::Shard;
    case 't': return Field::Stream;
    case 'k': return Field::Key;
    case 'K': return Field::KeyLength;
    case 'T': return Field::ArrivalTime;
    default:
        throw UsageError(std::string(kFormatFlag) + ": unknown directive '%" + directive +
                         "' (known: " + kKnownDirectives + ")");
    }
}

RecordFormat RecordFormat::parse(const std::string& format) {
    // Directives are found before escapes are decoded, so "\x25s" stays a literal "%s".
    std::vector<Piece> pieces;
    std::string literal;
    auto flushLiteral = [&] {
        if (!literal.empty()) pieces.push_back({Field::Literal, decodeEscapes(literal, kFormatFlag)});
        literal.clear();
    };
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') {
            literal += format[i];
            continue;
        }
        if (i + 1 == format.size())
            throw UsageError(std::string(kFormatFlag) + ": a lone '%' at the end (write %% for a percent sign)");
        const char directive = format[++i];
        if (directive == '%') {
            literal += "\\x25";
            continue;
        }
        const Field field = fieldOf(directive);
        flushLiteral();
        pieces.push_back({field, {}});
    }
    flushLiteral();
    return RecordFormat(std::move(pieces));
}

RecordFormat RecordFormat::json() { return RecordFormat({{Field::Json, {}}}); }

RecordFormat RecordFormat::keyed(const std::string& keyDelimiter) {
    return RecordFormat({{Field::Key, {}}, {Field::Literal, keyDelimiter}, {Field::Data, {}}, {Field::Literal, "\n"}});
}

void RecordFormat::render(const RecordView& record, std::string& out) const {
    for (const Piece& piece : pieces_) {
        switch (piece.field) {
        case Field::Literal: out += piece.literal; break;
        case Field::Data: out.append(record.data, static_cast<size_t>(record.length)); break;
        case Field::Key: out += record.partitionKey; break;
        case Field::KeyLength: out += std::to_string(std::strlen(record.partitionKey)); break;
        case Field::ArrivalTime: out += std::to_string(record.arrivalMillis); break;
        case Field::Json: appendJsonRecord(record, out); break;
        case Field::Length: out += std::to_string(record.length); break;
        case Field::SequenceNumber: out += record.sequenceNumber; break;
        case Field::Shard: out += record.shard; break;
        case Field::Stream: out += record.stream; break;
        }
    }
}

}  // namespace rxkcat
