// The rxkfault script: what a JSON script says, checked and turned into plain values. Parsing
// never throws past parseScript(): a bad script comes back as one ScriptError naming the JSON
// path and what is wrong with it, e.g. `rules[2].answer.status: expected an integer 100..599`.
#pragma once

#include "fault_server.h"

#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rxkfault {

// "<path>: <what is wrong>"; what() gives exactly that text.
class ScriptError : public std::runtime_error {
public:
    ScriptError(const std::string& path, const std::string& problem) : std::runtime_error(path + ": " + problem) {}
};

struct StreamShape {
    std::string name;
    int shards = 1;
    int shardsPerPage = 100;
    std::string status = "ACTIVE";
};

// PutRecords entries that fail: by 0-based position, by partition key, or by key prefix.
struct FailRecords {
    std::set<int> positions;
    std::set<std::string> keys;
    std::optional<std::string> keyPrefix;
    std::string error = "ProvisionedThroughputExceededException";
    std::string message = "Rate exceeded for shard shardId-000000000000.";
};

struct RecordsAnswer {
    std::vector<TestRecord> records;
    std::string nextIterator;  // empty: no NextShardIterator (a closed shard)
    std::int64_t millisBehind = 0;
};

struct StreamsPage {
    std::vector<std::string> names;
    bool hasMore = false;
};

// What the body of an answer is; Builtin is what the server answers unscripted.
enum class BodyKind { Builtin, Error, Json, Text, FailRecords, Records, ShardIterator, DescribePages, StreamsPage, Raw };

struct AnswerPlan {
    BodyKind kind = BodyKind::Builtin;
    std::string error, message;  // Error
    std::string text;            // Json (serialised), Text, ShardIterator, Raw (the bytes)
    FailRecords failRecords;
    RecordsAnswer records;
    StreamShape describePages;
    StreamsPage streamsPage;

    std::optional<int> status;
    std::optional<std::string> contentType;
    std::vector<std::pair<std::string, std::string>> headers;
    bool dateHeader = true;
    Millis delay{0};
    Fault fault = Fault::None;  // CloseWithoutReply, ResetConnection, TruncateBody or StallBody
    std::size_t afterBytes = 0;
    Millis stall{0};
    std::size_t chunkBytes = 0;  // 0: Content-Length framing
    std::optional<bool> closeAfter;
};

struct Rule {
    std::string operation;  // "*" for any
    std::set<int> attempts;  // empty: every attempt
    std::optional<int> times;
    AnswerPlan answer;
};

struct Script {
    std::vector<StreamShape> streams;
    std::optional<FaultServer::CannedAnswers> canned;
    std::optional<bool> recording;
    std::vector<Rule> rules;
};

// Throws ScriptError for anything but a well-formed script.
Script parseScript(std::string_view json);

}  // namespace rxkfault
