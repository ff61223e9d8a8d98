// Requests as the fault server saw them, the replies a test scripts, and builders for the
// Kinesis JSON 1.1 answers the connector's tests need most.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace rxkfault {

using Millis = std::chrono::milliseconds;

// One request that reached the fault server.
struct RecordedRequest {
    std::string operation;                       // "PutRecords" from Kinesis_20131202.PutRecords
    std::string method;                          // "POST"
    std::string path;                            // "/"
    std::map<std::string, std::string> headers;  // names lower-cased
    std::string body;
    std::chrono::steady_clock::time_point arrival;
    int attempt = 0;     // 1-based: how many requests of this operation came so far, this one included
    int sequence = 0;    // 1-based position among all requests
    int connection = 0;  // 1-based id of the TCP connection that carried it, in order of first request

    // Value of a header (name in any case), "" when absent.
    std::string header(const std::string& name) const;
};

// What the server does instead of (or while) answering normally.
enum class Fault {
    None,               // send the reply
    CloseWithoutReply,  // close the connection without a byte of answer (client sees an empty reply)
    ResetConnection,    // abort the connection with a TCP RST
    TruncateBody,       // send head and the first faultAfterBodyBytes of the body, then close
    StallBody,          // send head and faultAfterBodyBytes, wait `stall`, then send the rest
    RawBytes            // send `raw` exactly as given (status line, headers, framing: all of it)
};

// A scripted answer. Content-Type, Content-Length, Date and x-amzn-RequestId are added unless
// `headers` already names them (Date only while `dateHeader` is true).
struct Reply {
    int status = 200;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string contentType = "application/x-amz-json-1.1";
    bool dateHeader = true;
    Millis delay{0};                  // wait before sending anything (to outlast client timeouts)
    Fault fault = Fault::None;
    std::size_t faultAfterBodyBytes = 0;
    Millis stall{0};
    std::string raw;                  // RawBytes: the bytes to send
    bool closeAfter = false;          // close the connection after the answer
    std::size_t chunkBytes = 0;       // > 0: Transfer-Encoding: chunked, chunks of this many bytes

    Reply& withDelay(Millis d) { delay = d; return *this; }
    Reply& withHeader(std::string name, std::string value) {
        headers.emplace_back(std::move(name), std::move(value));
        return *this;
    }
    Reply& withStatus(int s) { status = s; return *this; }
    Reply& closingConnection() { closeAfter = true; return *this; }

    // ---- generic answers ----
    static Reply json(std::string body, int status = 200);
    // {"__type":type,"message":message}; the error shape Kinesis sends.
    static Reply error(int status, const std::string& type, const std::string& message);
    static Reply throttling(const std::string& message = "Rate exceeded for shard shardId-000000000000.");
    static Reply internalFailure(const std::string& message = "Internal service failure.");     // 500
    static Reply serviceUnavailable(const std::string& message = "Service unavailable.");       // 503
    static Reply resourceNotFound(const std::string& stream);                                    // 400
    static Reply emptyBody(int status);
    static Reply htmlBody(int status);
    static Reply malformedJson(int status = 200);

    // ---- transport faults ----
    static Reply closeWithoutReply();
    static Reply resetConnection();
    static Reply truncated(Reply full, std::size_t bodyBytesSent);
    static Reply stalled(Reply full, std::size_t bodyBytesBeforeStall, Millis stall);
    static Reply rawBytes(std::string bytes, bool closeAfterwards = true);
    // A well-formed answer with Transfer-Encoding: chunked, `body` cut into chunks of chunkBytes
    // (sent as raw bytes; the connection stays open).
    static Reply chunked(int status, const std::string& body, std::size_t chunkBytes);
};

// ---- Kinesis answers ----

// A 56-digit sequence number; larger n gives a larger number (also as text).
std::string sequenceNumber(std::uint64_t n);
// "shardId-000000000007" for 7.
std::string shardId(int index);

// Number of entries in a PutRecords request's Records array (0 if the body isn't such JSON).
int countPutRecordsEntries(const std::string& body);

// PutRecords answer for `recordCount` records; positions in `failed` (0-based) carry
// ErrorCode/ErrorMessage, the others ShardId/SequenceNumber (from firstSequence upwards).
Reply putRecordsReply(int recordCount, const std::set<int>& failed = {},
                      const std::string& errorCode = "ProvisionedThroughputExceededException",
                      const std::string& errorMessage = "Rate exceeded for shard shardId-000000000000.",
                      std::uint64_t firstSequence = 1);
// Same, sized by the request's Records array.
Reply putRecordsReply(const RecordedRequest& request, const std::set<int>& failed = {},
                      const std::string& errorCode = "ProvisionedThroughputExceededException",
                      const std::string& errorMessage = "Rate exceeded for shard shardId-000000000000.");
Reply putRecordReply(const std::string& shard = shardId(0), std::uint64_t sequence = 1);

// A page of DescribeStream for a stream of `shardCount` shards served `shardsPerPage` at a time
// (fewer if the request's Limit says so), starting after the request's ExclusiveStartShardId.
Reply describeStreamPage(const RecordedRequest& request, const std::string& stream, int shardCount,
                         int shardsPerPage, const std::string& status = "ACTIVE");

Reply listStreamsReply(const std::vector<std::string>& names, bool hasMore = false);
// A page of ListStreams over `names` (sorted), honouring the request's Limit and
// ExclusiveStartStreamName.
Reply listStreamsPage(const RecordedRequest& request, const std::vector<std::string>& names);
Reply emptyListStreams();

Reply shardIteratorReply(const std::string& iterator);

struct TestRecord {
    // {data}, {data, key}, {data, key, sequence} ... all work, without missing-initializer noise.
    TestRecord(std::string recordData = {}, std::string key = "pk", std::string sequence = {},
               double arrival = 1767225600.123)
        : data(std::move(recordData)), partitionKey(std::move(key)), sequenceNumber(std::move(sequence)),
          arrivalSeconds(arrival) {}

    std::string data;            // raw bytes; the builder base64-encodes them
    std::string partitionKey;
    std::string sequenceNumber;  // empty: sequenceNumber(position + 1)
    double arrivalSeconds;       // epoch seconds, as the service sends them
};
// GetRecords answer; an empty nextIterator leaves NextShardIterator out (a closed shard).
Reply getRecordsReply(const std::vector<TestRecord>& records, const std::string& nextIterator,
                      std::int64_t millisBehindLatest = 0);

// ---- reading request bodies ----

std::string base64Encode(const std::string& bytes);
std::string base64Decode(const std::string& text);

// String member of a JSON object body, "" if absent or not a string.
std::string jsonString(const std::string& body, const char* member);
// Integer member of a JSON object body, `fallback` if absent.
std::int64_t jsonInt(const std::string& body, const char* member, std::int64_t fallback = -1);

// One entry of a PutRecords request, Data decoded.
struct RequestRecord {
    std::string data;
    std::string partitionKey;
    std::string explicitHashKey;
};
std::vector<RequestRecord> putRecordsEntries(const std::string& body);

}  // namespace rxkfault

namespace rxk::test {
using namespace ::rxkfault;
}  // namespace rxk::test
