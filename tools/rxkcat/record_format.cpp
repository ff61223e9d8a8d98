#include "record_format.h"

#include "escapes.h"
#include "tool_error.h"

#include <cstring>
#include <utility>

namespace rxkcat {
namespace {

constexpr char kFormatFlag[] = "-f";
constexpr char kDefaultFormat[] = "%s\\n";
constexpr char kKnownDirectives[] = "%s data, %S length, %o sequence number, %p shard, %T stream, %% a percent sign";

}  // namespace

RecordFormat::RecordFormat() : pieces_(parse(kDefaultFormat).pieces_) {}

RecordFormat::Field RecordFormat::fieldOf(char directive) {
    switch (directive) {
    case 's': return Field::Data;
    case 'S': return Field::Length;
    case 'o': return Field::SequenceNumber;
    case 'p': return Field::Shard;
    case 'T': return Field::Stream;
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

void RecordFormat::render(const RecordView& record, std::string& out) const {
    for (const Piece& piece : pieces_) {
        switch (piece.field) {
        case Field::Literal: out += piece.literal; break;
        case Field::Data: out.append(record.text, std::strlen(record.text)); break;
        case Field::Length: out += std::to_string(record.length); break;
        case Field::SequenceNumber: out += record.sequenceNumber; break;
        case Field::Shard: out += record.shard; break;
        case Field::Stream: out += record.stream; break;
        }
    }
}

}  // namespace rxkcat
