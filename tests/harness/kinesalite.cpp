#include "kinesalite.h"

#include <simdjson.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace rxk::test {

namespace {

constexpr auto kActiveTimeout = std::chrono::seconds(10);

// Listens on a free loopback port (its own command line would listen on every interface), says
// which, and ends on SIGTERM.
constexpr const char* kLauncherScript =
    "const server = require(process.argv[1])({createStreamMs: 0, deleteStreamMs: 0, updateStreamMs: 0,"
    " shardLimit: 1000});"
    "server.on('error', e => { console.error('kinesalite: ' + e.message); process.exit(3); });"
    "process.on('SIGTERM', () => process.exit(0));"
    "server.listen(0, '127.0.0.1', () => console.log('port=' + server.address().port));";

std::string kinesaliteModule() {
    if (::access(RXK_HARNESS_SOURCE_DIR "/node_modules/kinesalite/index.js", R_OK) != 0)
        throw std::runtime_error("kinesalite: not found in " RXK_HARNESS_SOURCE_DIR "/node_modules: run `npm ci` there");
    return RXK_HARNESS_SOURCE_DIR "/node_modules/kinesalite";
}

// A JSON string; stream names, keys and base64 need no escapes but quotes and backslashes.
std::string jsonText(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return out + "\"";
}

// The answer's body; throws naming `what` when the call failed.
std::string requireOk(const HttpResponse& response, const std::string& what) {
    if (response.ok()) return response.body;
    throw std::runtime_error("kinesalite: " + what + " failed: " +
                             (response.status == 0 ? response.error : std::to_string(response.status) + " " + response.body));
}

}  // namespace

Kinesalite::Kinesalite() : process_({"node", "-e", kLauncherScript, kinesaliteModule()}, "kinesalite") {}

std::string Kinesalite::endpoint() const { return "http://127.0.0.1:" + std::to_string(process_.port()); }

HttpResponse kinesisPost(const std::string& endpoint, const std::string& operation, const std::string& body) {
    return httpRequest(endpoint, "POST", "/", body,
                       {{"X-Amz-Target", "Kinesis_20131202." + operation},
                        {"Content-Type", "application/x-amz-json-1.1"},
                        {"Authorization", "AWS4-HMAC-SHA256 Credential=test/20260101/us-east-1/kinesis/aws4_request, "
                                          "SignedHeaders=host, Signature=00"},
                        {"X-Amz-Date", "20260101T000000Z"}});
}

void Kinesalite::createStream(const std::string& name, int shardCount) const {
    simdjson::dom::parser parser;
    const std::string stream = "{\"StreamName\":" + jsonText(name);
    requireOk(call("CreateStream", stream + ",\"ShardCount\":" + std::to_string(shardCount) + "}"), "CreateStream " + name);
    for (const auto deadline = std::chrono::steady_clock::now() + kActiveTimeout; std::chrono::steady_clock::now() < deadline;) {
        const std::string body = requireOk(call("DescribeStream", stream + "}"), "DescribeStream " + name);
        const auto description = parser.parse(body).value();
        if (description["StreamDescription"]["StreamStatus"].get_string().value() == "ACTIVE") return;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw std::runtime_error("kinesalite: stream " + name + " not ACTIVE within 10 s");
}

std::string Kinesalite::createUniqueStream(const std::string& prefix, int shardCount) const {
    std::string name = uniqueStreamName(prefix);
    createStream(name, shardCount);
    return name;
}

std::vector<std::string> Kinesalite::shardIds(const std::string& stream) const {
    std::vector<std::string> ids;
    simdjson::dom::parser parser;
    for (bool more = true; more;) {
        const std::string after = ids.empty() ? "" : ",\"ExclusiveStartShardId\":" + jsonText(ids.back());
        const std::string body = requireOk(call("DescribeStream", "{\"StreamName\":" + jsonText(stream) + after + "}"), "DescribeStream " + stream);
        const auto answer = parser.parse(body).value();
        const std::size_t before = ids.size();
        const simdjson::dom::array shards = answer["StreamDescription"]["Shards"].get_array().value();
        for (const simdjson::dom::element shard : shards) ids.emplace_back(shard["ShardId"].get_string().value());
        more = answer["StreamDescription"]["HasMoreShards"].get_bool().value() && ids.size() > before;
    }
    return ids;
}

std::string Kinesalite::putRecord(const std::string& stream, const std::string& data, const std::string& partitionKey) const {
    simdjson::dom::parser parser;
    const std::string body = "{\"StreamName\":" + jsonText(stream) + ",\"Data\":" + jsonText(base64Encode(data)) +
                             ",\"PartitionKey\":" + jsonText(partitionKey) + "}";
    const std::string answer = requireOk(call("PutRecord", body), "PutRecord to " + stream);
    return std::string(parser.parse(answer)["SequenceNumber"].get_string().value());
}

Kinesalite& sharedKinesalite() {
    static Kinesalite emulator;  // a failed start throws here, and the next call tries again
    return emulator;
}

std::string uniqueStreamName(const std::string& prefix) {
    static std::atomic<int> counter{0};
    return prefix + "-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
}

}  // namespace rxk::test
