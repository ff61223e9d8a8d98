#include "json_record.h"

#include <openssl/evp.h>

#include <cstdio>
#include <cstring>

namespace rxkcat {
namespace {

// Length of the UTF-8 sequence that starts at `at`, or 0 when it is not well formed (overlong
// forms, surrogates and code points past U+10FFFF included).
size_t utf8SequenceLength(const unsigned char* text, size_t size, size_t at) {
    const unsigned char lead = text[at];
    if (lead < 0x80) return 1;
    size_t length;
    unsigned char low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (at + length > size) return 0;
    if (text[at + 1] < low || text[at + 1] > high) return 0;
    for (size_t i = 2; i < length; ++i)
        if (text[at + i] < 0x80 || text[at + i] > 0xBF) return 0;
    return length;
}

bool isValidUtf8(const char* data, size_t size) {
    const auto* text = reinterpret_cast<const unsigned char*>(data);
    for (size_t at = 0; at < size;) {
        const size_t length = utf8SequenceLength(text, size, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

void appendJsonString(const char* text, size_t size, std::string& out) {
    out += '"';
    for (size_t i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c == 0x7F) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
}

void appendBase64(const char* data, size_t size, std::string& out) {
    const size_t start = out.size();
    out.resize(start + 4 * ((size + 2) / 3) + 1);  // EVP_EncodeBlock ends with a NUL
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[start]),
                                        reinterpret_cast<const unsigned char*>(data), static_cast<int>(size));
    out.resize(start + static_cast<size_t>(written));
}

void appendMember(const char* name, const std::string& value, std::string& out) {
    out += ",\"";
    out += name;
    out += "\":";
    appendJsonString(value.data(), value.size(), out);
}

}  // namespace

void appendJsonRecord(const RecordView& record, std::string& out) {
    out += "{\"stream\":";
    appendJsonString(record.stream.data(), record.stream.size(), out);
    appendMember("shard", record.shard, out);
    appendMember("partitionKey", record.partitionKey, out);
    appendMember("sequenceNumber", record.sequenceNumber, out);
    if (record.subSequenceNumber >= 0) out += ",\"subSequenceNumber\":" + std::to_string(record.subSequenceNumber);
    out += ",\"arrivalTime\":" + std::to_string(record.arrivalMillis);
    const size_t size = static_cast<size_t>(record.length);
    out += ",\"data\":";
    if (isValidUtf8(record.data, size)) {
        appendJsonString(record.data, size, out);
    } else {
        out += '"';
        appendBase64(record.data, size, out);
        out += "\",\"dataEncoding\":\"base64\"";
    }
    out += "}\n";
}

}  // namespace rxkcat
