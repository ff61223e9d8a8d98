#include "kinesalite.h"

#include <simdjson.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
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
    const char* dir = std::getenv("RXK_SOURCE_DIR");
    const std::string source = dir != nullptr && *dir != '\0' ? dir : RXK_HARNESS_SOURCE_DIR;
    if (::access((source + "/node_modules/kinesalite/index.js").c_str(), R_OK) != 0)
        throw std::runtime_error("kinesalite: not found in " + source + "/node_modules: run `npm ci` there");
    return source + "/node_modules/kinesalite";
}

// A JSON string; stream names, keys and base64 need no escapes but quotes and backslashes.
std::string jsonText(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return out + "\"";
}

const HttpResponse& requireOk(const HttpResponse& response, const std::string& what) {
    if (response.ok()) return response;
    throw std::runtime_error("kinesalite: " + what + " failed: " +
                             (response.status == 0 ? response.error : std::to_string(response.status) + " " + response.body));
}

simdjson::dom::element answerOf(const HttpResponse& response, simdjson::dom::parser& parser, const std::string& what) {
    return parser.parse(requireOk(response, what).body).value();
}

}  // namespace

Kinesalite::Kinesalite() : process_({"node", "-e", kLauncherScript, kinesaliteModule()}, "kinesalite") {}

std::string Kinesalite::endpoint() const { return "http://127.0.0.1:" + std::to_string(port()); }

// Unsigned: the emulator only wants the signing headers present.
HttpResponse Kinesalite::call(const std::string& operation, const std::string& jsonBody) const {
    return httpRequest(endpoint(), "POST", "/", jsonBody,
                       {{"Content-Type", "application/x-amz-json-1.1"},
                        {"X-Amz-Target", "Kinesis_20131202." + operation},
                        {"X-Amz-Date", "20260101T000000Z"},
                        {"Authorization", "AWS4-HMAC-SHA256 Credential=AKID/20260101/us-east-1/kinesis/aws4_request, "
                                          "SignedHeaders=host, Signature=00"}},
                       Millis(2000));
}

void Kinesalite::createStream(const std::string& name, int shardCount) const {
    simdjson::dom::parser parser;
    const std::string stream = "{\"StreamName\":" + jsonText(name);
    requireOk(call("CreateStream", stream + ",\"ShardCount\":" + std::to_string(shardCount) + "}"), "CreateStream " + name);
    for (const auto deadline = std::chrono::steady_clock::now() + kActiveTimeout; std::chrono::steady_clock::now() < deadline;) {
        const auto description = answerOf(call("DescribeStream", stream + "}"), parser, "DescribeStream " + name);
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
        const auto answer = answerOf(call("DescribeStream", "{\"StreamName\":" + jsonText(stream) + after + "}"), parser,
                                     "DescribeStream " + stream);
        const std::size_t before = ids.size();
        const simdjson::dom::array shards = answer["StreamDescription"]["Shards"].get_array().value();
        for (const simdjson::dom::element shard : shards) ids.emplace_back(shard["ShardId"].get_string().value());
        more = answer["StreamDescription"]["HasMoreShards"].get_bool().value() && ids.size() > before;
    }
    return ids;
}

Kinesalite::PutResult Kinesalite::putRecord(const std::string& stream, const std::string& data,
                                            const std::string& partitionKey) const {
    simdjson::dom::parser parser;
    const auto answer = answerOf(call("PutRecord", "{\"StreamName\":" + jsonText(stream) + ",\"Data\":" +
                                                       jsonText(base64Encode(data)) + ",\"PartitionKey\":" +
                                                       jsonText(partitionKey) + "}"),
                                 parser, "PutRecord to " + stream);
    return {std::string(answer["ShardId"].get_string().value()), std::string(answer["SequenceNumber"].get_string().value())};
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
