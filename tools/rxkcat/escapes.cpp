#include "escapes.h"

#include "tool_error.h"

#include <cctype>

namespace rxkcat {
namespace {

int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

[[noreturn]] void badEscape(const std::string& flag, const std::string& escape) {
    throw UsageError(flag + ": unknown escape '" + escape +
                     "' (known: \\n \\t \\r \\0 \\\\ \\xHH)");
}

}  // namespace

std::string decodeEscapes(const std::string& text, const std::string& flag) {
    std::string decoded;
    decoded.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            decoded += text[i];
            continue;
        }
        if (i + 1 == text.size()) badEscape(flag, "\\");
        const char kind = text[++i];
        switch (kind) {
        case 'n': decoded += '\n'; break;
        case 't': decoded += '\t'; break;
        case 'r': decoded += '\r'; break;
        case '0': decoded += '\0'; break;
        case '\\': decoded += '\\'; break;
        case 'x': {
            const int high = i + 1 < text.size() ? hexDigitValue(text[i + 1]) : -1;
            const int low = i + 2 < text.size() ? hexDigitValue(text[i + 2]) : -1;
            if (high < 0 || low < 0) badEscape(flag, text.substr(i - 1, 4));
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
            break;
        }
        default: badEscape(flag, std::string("\\") + kind);
        }
    }
    return decoded;
}

}  // namespace rxkcat
