#include "replies.h"

#include <openssl/evp.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace rxkfault {

namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void key(JsonWriter& w, const char* name) { w.Key(name); }
void text(JsonWriter& w, const std::string& value) {
    w.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}
void member(JsonWriter& w, const char* name, const std::string& value) {
    key(w, name);
    text(w, value);
}

std::string finish(const rapidjson::StringBuffer& buffer) {
    return std::string(buffer.GetString(), buffer.GetSize());
}

rapidjson::Document parse(const std::string& body) {
    rapidjson::Document doc;
    doc.Parse(body.data(), body.size());
    return doc;
}

// Hash keys are 128-bit; shard i of n owns an equal slice, the last one up to 2^128 - 1.
using Uint128 = unsigned __int128;

std::string decimal(Uint128 value) {
    if (value == 0) return "0";
    std::string digits;
    while (value != 0) {
        digits.push_back(static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    }
    std::reverse(digits.begin(), digits.end());
    return digits;
}

std::pair<std::string, std::string> hashRange(int index, int shardCount) {
    const Uint128 max = ~Uint128(0);
    const Uint128 step = max / static_cast<Uint128>(shardCount);
    const Uint128 start = step * static_cast<Uint128>(index);
    const Uint128 end = index + 1 == shardCount ? max : start + step - 1;
    return {decimal(start), decimal(end)};
}

int shardIndexAfter(const std::string& exclusiveStartShardId) {
    const auto dash = exclusiveStartShardId.rfind('-');
    if (exclusiveStartShardId.empty() || dash == std::string::npos) return 0;
    return std::atoi(exclusiveStartShardId.c_str() + dash + 1) + 1;
}

void writeShard(JsonWriter& w, int index, int shardCount) {
    const auto range = hashRange(index, shardCount);
    w.StartObject();
    member(w, "ShardId", shardId(index));
    key(w, "HashKeyRange");
    w.StartObject();
    member(w, "StartingHashKey", range.first);
    member(w, "EndingHashKey", range.second);
    w.EndObject();
    key(w, "SequenceNumberRange");
    w.StartObject();
    member(w, "StartingSequenceNumber", sequenceNumber(static_cast<std::uint64_t>(index) << 40));
    w.EndObject();
    w.EndObject();
}

}  // namespace

std::string RecordedRequest::header(const std::string& name) const {
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto it = headers.find(lower);
    return it == headers.end() ? std::string() : it->second;
}

// ---- generic answers ----

Reply Reply::json(std::string body, int status) {
    Reply reply;
    reply.status = status;
    reply.body = std::move(body);
    return reply;
}

Reply Reply::error(int status, const std::string& type, const std::string& message) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    member(w, "__type", type);
    member(w, "message", message);
    w.EndObject();
    return json(finish(buffer), status);
}

Reply Reply::throttling(const std::string& message) {
    return error(400, "ProvisionedThroughputExceededException", message);
}

Reply Reply::internalFailure(const std::string& message) { return error(500, "InternalFailure", message); }

Reply Reply::serviceUnavailable(const std::string& message) {
    return error(503, "ServiceUnavailable", message);
}

Reply Reply::resourceNotFound(const std::string& stream) {
    return error(400, "ResourceNotFoundException",
                 "Stream " + stream + " under account 000000000000 not found.");
}

Reply Reply::emptyBody(int status) { return json(std::string(), status); }

Reply Reply::htmlBody(int status) {
    Reply reply = json("<html><head><title>Bad Gateway</title></head><body><h1>Bad Gateway</h1></body></html>",
                       status);
    reply.contentType = "text/html";
    return reply;
}

Reply Reply::malformedJson(int status) { return json("{\"ShardId\":\"shardId-0000", status); }

Reply Reply::closeWithoutReply() {
    Reply reply;
    reply.fault = Fault::CloseWithoutReply;
    return reply;
}

Reply Reply::resetConnection() {
    Reply reply;
    reply.fault = Fault::ResetConnection;
    return reply;
}

Reply Reply::truncated(Reply full, std::size_t bodyBytesSent) {
    full.fault = Fault::TruncateBody;
    full.faultAfterBodyBytes = bodyBytesSent;
    return full;
}

Reply Reply::stalled(Reply full, std::size_t bodyBytesBeforeStall, Millis stall) {
    full.fault = Fault::StallBody;
    full.faultAfterBodyBytes = bodyBytesBeforeStall;
    full.stall = stall;
    return full;
}

Reply Reply::rawBytes(std::string bytes, bool closeAfterwards) {
    Reply reply;
    reply.fault = Fault::RawBytes;
    reply.raw = std::move(bytes);
    reply.closeAfter = closeAfterwards;
    return reply;
}

Reply Reply::chunked(int status, const std::string& body, std::size_t chunkBytes) {
    char statusLine[64];
    std::snprintf(statusLine, sizeof statusLine, "HTTP/1.1 %d %s\r\n", status, status == 200 ? "OK" : "Status");
    std::string raw = std::string(statusLine) +
                      "Content-Type: application/x-amz-json-1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
    const std::size_t step = std::max<std::size_t>(1, chunkBytes);
    for (std::size_t at = 0; at < body.size(); at += step) {
        const std::string chunk = body.substr(at, step);
        char size[32];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        raw += size + chunk + "\r\n";
    }
    return rawBytes(raw + "0\r\n\r\n", false);
}

// ---- Kinesis answers ----

std::string sequenceNumber(std::uint64_t n) {
    char digits[21];
    std::snprintf(digits, sizeof digits, "%020llu", static_cast<unsigned long long>(n));
    return "495903382714902566085596925383615" + std::string("000") + digits;
}

std::string shardId(int index) {
    char id[32];
    std::snprintf(id, sizeof id, "shardId-%012d", index);
    return id;
}

int countPutRecordsEntries(const std::string& body) {
    const auto doc = parse(body);
    if (doc.HasParseError() || !doc.IsObject()) return 0;
    const auto records = doc.FindMember("Records");
    if (records == doc.MemberEnd() || !records->value.IsArray()) return 0;
    return static_cast<int>(records->value.Size());
}

Reply putRecordsReply(int recordCount, const std::set<int>& failed, const std::string& errorCode,
                      const std::string& errorMessage, std::uint64_t firstSequence) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    key(w, "FailedRecordCount");
    int failedCount = 0;
    for (int position : failed) failedCount += position >= 0 && position < recordCount;
    w.Int(failedCount);
    key(w, "Records");
    w.StartArray();
    for (int i = 0; i < recordCount; ++i) {
        w.StartObject();
        if (failed.count(i) != 0) {
            member(w, "ErrorCode", errorCode);
            member(w, "ErrorMessage", errorMessage);
        } else {
            member(w, "SequenceNumber", sequenceNumber(firstSequence + static_cast<std::uint64_t>(i)));
            member(w, "ShardId", shardId(0));
        }
        w.EndObject();
    }
    w.EndArray();
    w.EndObject();
    return Reply::json(finish(buffer));
}

Reply putRecordsReply(const RecordedRequest& request, const std::set<int>& failed,
                      const std::string& errorCode, const std::string& errorMessage) {
    // Sequence numbers grow across requests so that a resent record gets a new one.
    const auto first = static_cast<std::uint64_t>(request.sequence) * 1000;
    return putRecordsReply(countPutRecordsEntries(request.body), failed, errorCode, errorMessage, first);
}

Reply putRecordReply(const std::string& shard, std::uint64_t sequence) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    member(w, "ShardId", shard);
    member(w, "SequenceNumber", sequenceNumber(sequence));
    w.EndObject();
    return Reply::json(finish(buffer));
}

Reply describeStreamPage(const RecordedRequest& request, const std::string& stream, int shardCount,
                         int shardsPerPage, const std::string& status) {
    const int first = shardIndexAfter(jsonString(request.body, "ExclusiveStartShardId"));
    const auto limit = jsonInt(request.body, "Limit", shardsPerPage);
    const int pageSize = static_cast<int>(std::max<std::int64_t>(1, std::min<std::int64_t>(limit, shardsPerPage)));
    const int end = std::min(shardCount, first + pageSize);

    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    key(w, "StreamDescription");
    w.StartObject();
    member(w, "StreamName", stream);
    member(w, "StreamARN", "arn:aws:kinesis:us-east-1:000000000000:stream/" + stream);
    member(w, "StreamStatus", status);
    key(w, "Shards");
    w.StartArray();
    for (int i = first; i < end; ++i) writeShard(w, i, shardCount);
    w.EndArray();
    key(w, "HasMoreShards");
    w.Bool(end < shardCount);
    key(w, "RetentionPeriodHours");
    w.Int(24);
    key(w, "StreamCreationTimestamp");
    w.Double(1767225600.0);
    member(w, "EncryptionType", "NONE");
    w.EndObject();
    w.EndObject();
    return Reply::json(finish(buffer));
}

Reply listStreamsReply(const std::vector<std::string>& names, bool hasMore) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    key(w, "StreamNames");
    w.StartArray();
    for (const auto& name : names) text(w, name);
    w.EndArray();
    key(w, "HasMoreStreams");
    w.Bool(hasMore);
    w.EndObject();
    return Reply::json(finish(buffer));
}

Reply listStreamsPage(const RecordedRequest& request, const std::vector<std::string>& names) {
    const std::string after = jsonString(request.body, "ExclusiveStartStreamName");
    const auto first = after.empty() ? names.begin() : std::upper_bound(names.begin(), names.end(), after);
    const auto available = static_cast<std::int64_t>(names.end() - first);
    const std::int64_t limit = std::max<std::int64_t>(1, jsonInt(request.body, "Limit", available));
    const auto end = first + std::min(available, limit);
    return listStreamsReply(std::vector<std::string>(first, end), end != names.end());
}

Reply emptyListStreams() { return listStreamsReply({}); }

Reply shardIteratorReply(const std::string& iterator) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    member(w, "ShardIterator", iterator);
    w.EndObject();
    return Reply::json(finish(buffer));
}

Reply getRecordsReply(const std::vector<TestRecord>& records, const std::string& nextIterator,
                      std::int64_t millisBehindLatest) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    key(w, "Records");
    w.StartArray();
    for (std::size_t i = 0; i < records.size(); ++i) {
        const auto& record = records[i];
        w.StartObject();
        member(w, "SequenceNumber",
               record.sequenceNumber.empty() ? sequenceNumber(i + 1) : record.sequenceNumber);
        key(w, "ApproximateArrivalTimestamp");
        w.Double(record.arrivalSeconds);
        member(w, "Data", base64Encode(record.data));
        member(w, "PartitionKey", record.partitionKey);
        w.EndObject();
    }
    w.EndArray();
    if (!nextIterator.empty()) member(w, "NextShardIterator", nextIterator);
    key(w, "MillisBehindLatest");
    w.Int64(millisBehindLatest);
    w.EndObject();
    return Reply::json(finish(buffer));
}

// ---- reading request bodies ----

std::string base64Encode(const std::string& bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                                        reinterpret_cast<const unsigned char*>(bytes.data()),
                                        static_cast<int>(bytes.size()));
    out.resize(static_cast<std::size_t>(written));
    return out;
}

std::string base64Decode(const std::string& text) {
    if (text.empty()) return {};
    std::string out(3 * ((text.size() + 3) / 4) + 1, '\0');
    const int written = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                                        reinterpret_cast<const unsigned char*>(text.data()),
                                        static_cast<int>(text.size()));
    if (written < 0) return {};
    // EVP_DecodeBlock counts the bytes that stand for '=' padding as zeros; drop them.
    std::size_t length = static_cast<std::size_t>(written);
    for (auto it = text.rbegin(); it != text.rend() && *it == '=' && length > 0; ++it) --length;
    out.resize(length);
    return out;
}

std::string jsonString(const std::string& body, const char* memberName) {
    const auto doc = parse(body);
    if (doc.HasParseError() || !doc.IsObject()) return {};
    const auto it = doc.FindMember(memberName);
    if (it == doc.MemberEnd() || !it->value.IsString()) return {};
    return std::string(it->value.GetString(), it->value.GetStringLength());
}

std::int64_t jsonInt(const std::string& body, const char* memberName, std::int64_t fallback) {
    const auto doc = parse(body);
    if (doc.HasParseError() || !doc.IsObject()) return fallback;
    const auto it = doc.FindMember(memberName);
    if (it == doc.MemberEnd() || !it->value.IsInt64()) return fallback;
    return it->value.GetInt64();
}

std::vector<RequestRecord> putRecordsEntries(const std::string& body) {
    std::vector<RequestRecord> entries;
    const auto doc = parse(body);
    if (doc.HasParseError() || !doc.IsObject()) return entries;
    const auto records = doc.FindMember("Records");
    if (records == doc.MemberEnd() || !records->value.IsArray()) return entries;
    const auto stringOf = [](const rapidjson::Value& object, const char* name) {
        const auto it = object.FindMember(name);
        if (it == object.MemberEnd() || !it->value.IsString()) return std::string();
        return std::string(it->value.GetString(), it->value.GetStringLength());
    };
    for (const auto& record : records->value.GetArray()) {
        if (!record.IsObject()) continue;
        entries.push_back({base64Decode(stringOf(record, "Data")), stringOf(record, "PartitionKey"),
                           stringOf(record, "ExplicitHashKey")});
    }
    return entries;
}

}  // namespace rxkfault
