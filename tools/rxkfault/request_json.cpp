#include "request_json.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

namespace rxkfault {

namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

// A body that isn't UTF-8 can't go into a JSON string as it is: each byte becomes the character
// of that value (U+0000..U+00FF), the same convention scripts use for raw bytes.
std::string asUtf8(const std::string& bytes) {
    if (simdjson::validate_utf8(bytes.data(), bytes.size())) return bytes;
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x80) {
            text.push_back(byte);
        } else {
            text.push_back(static_cast<char>(0xC0 | (value >> 6)));
            text.push_back(static_cast<char>(0x80 | (value & 0x3F)));
        }
    }
    return text;
}

void writeString(JsonWriter& w, const std::string& value) {
    const std::string text = asUtf8(value);
    w.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void writeMember(JsonWriter& w, const char* name, const std::string& value) {
    w.Key(name);
    writeString(w, value);
}

std::string stringMember(const rapidjson::Value& object, const char* name) {
    const auto it = object.FindMember(name);
    if (it == object.MemberEnd() || !it->value.IsString()) return {};
    return std::string(it->value.GetString(), it->value.GetStringLength());
}

void writeSentRecord(JsonWriter& w, const rapidjson::Value& entry) {
    w.StartObject();
    writeMember(w, "partition_key", stringMember(entry, "PartitionKey"));
    writeMember(w, "explicit_hash_key", stringMember(entry, "ExplicitHashKey"));
    writeMember(w, "data", stringMember(entry, "Data"));
    w.EndObject();
}

// "records": the entries of a PutRecords body, or the one record of a PutRecord body.
void writeSentRecords(JsonWriter& w, const RecordedRequest& request) {
    rapidjson::Document body;
    body.Parse(request.body.data(), request.body.size());
    w.Key("records");
    w.StartArray();
    if (!body.HasParseError() && body.IsObject()) {
        if (request.operation == "PutRecord") {
            writeSentRecord(w, body);
        } else {
            const auto records = body.FindMember("Records");
            if (records != body.MemberEnd() && records->value.IsArray())
                for (const auto& entry : records->value.GetArray())
                    if (entry.IsObject()) writeSentRecord(w, entry);
        }
    }
    w.EndArray();
}

void writeRequest(JsonWriter& w, const RecordedRequest& request) {
    w.StartObject();
    w.Key("sequence");
    w.Int(request.sequence);
    writeMember(w, "operation", request.operation);
    w.Key("attempt");
    w.Int(request.attempt);
    w.Key("connection");
    w.Int(request.connection);
    writeMember(w, "method", request.method);
    writeMember(w, "path", request.path);
    w.Key("headers");
    w.StartObject();
    for (const auto& [name, value] : request.headers) writeMember(w, name.c_str(), value);
    w.EndObject();
    writeMember(w, "body", request.body);
    if (request.operation == "PutRecords" || request.operation == "PutRecord") writeSentRecords(w, request);
    w.EndObject();
}

std::string text(const rapidjson::StringBuffer& buffer) { return std::string(buffer.GetString(), buffer.GetSize()); }

}  // namespace

std::string requestsJson(const std::vector<RecordedRequest>& requests) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartArray();
    for (const RecordedRequest& request : requests) writeRequest(w, request);
    w.EndArray();
    return text(buffer);
}

std::string statsJson(int requests, int connections, const std::map<std::string, int>& operations) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    w.Key("requests");
    w.Int(requests);
    w.Key("connections");
    w.Int(connections);
    w.Key("operations");
    w.StartObject();
    for (const auto& [operation, count] : operations) {
        w.Key(operation.c_str());
        w.Int(count);
    }
    w.EndObject();
    w.EndObject();
    return text(buffer);
}

std::string okJson() { return "{\"ok\":true}"; }

std::string errorJson(const std::string& problem) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    writeMember(w, "error", problem);
    w.EndObject();
    return text(buffer);
}

}  // namespace rxkfault
