// Reads a JSON script into a Script, member by member. Every value is checked where it is read,
// so an error can name its path; anything the script doesn't know is an error too, since a
// misspelt member would otherwise quietly change the test it belongs to.
#include "script.h"

#include <rapidjson/reader.h>
#include <simdjson.h>

#include <algorithm>
#include <initializer_list>

namespace rxkfault {

namespace {

using simdjson::dom::element;

constexpr std::int64_t kMaxShards = 100000;
constexpr std::int64_t kMaxShardsPerPage = 10000;
constexpr std::int64_t kMaxMillis = 3600 * 1000;
constexpr std::int64_t kMaxBytes = std::int64_t(1) << 30;

// A value of the script and where it sits in it.
struct Node {
    element value;
    std::string path;

    Node child(const char* name) const {
        return {value[name].value_unsafe(), path.empty() ? name : path + "." + name};
    }
    Node item(element entry, std::size_t index) const {
        return {entry, path + "[" + std::to_string(index) + "]"};
    }
    bool has(const char* name) const { return value[name].error() == simdjson::SUCCESS; }
    [[noreturn]] void fail(const std::string& problem) const {
        throw ScriptError(path.empty() ? "script" : path, problem);
    }
};

std::string inQuotes(std::string_view name) { return "\"" + std::string(name) + "\""; }

void requireObject(const Node& node, std::initializer_list<const char*> members) {
    if (!node.value.is_object()) node.fail("expected a JSON object");
    const simdjson::dom::object object = node.value.get_object().value_unsafe();
    for (const auto field : object) {
        const bool known = std::any_of(members.begin(), members.end(),
                                       [&](const char* name) { return field.key == name; });
        if (!known) node.fail("unknown member " + inQuotes(field.key));
    }
}

std::int64_t integerIn(const Node& node, std::int64_t low, std::int64_t high) {
    std::int64_t number = 0;
    if (node.value.get_int64().get(number) != simdjson::SUCCESS || number < low || number > high)
        node.fail("expected an integer " + std::to_string(low) + ".." + std::to_string(high));
    return number;
}

int smallInteger(const Node& node, std::int64_t low, std::int64_t high) {
    return static_cast<int>(integerIn(node, low, high));
}

std::string text(const Node& node) {
    std::string_view value;
    if (node.value.get_string().get(value) != simdjson::SUCCESS) node.fail("expected a string");
    return std::string(value);
}

std::string nonEmptyText(const Node& node) {
    std::string value = text(node);
    if (value.empty()) node.fail("expected a non-empty string");
    return value;
}

bool boolean(const Node& node) {
    bool value = false;
    if (node.value.get_bool().get(value) != simdjson::SUCCESS) node.fail("expected true or false");
    return value;
}

std::vector<Node> items(const Node& node) {
    if (!node.value.is_array()) node.fail("expected an array");
    std::vector<Node> entries;
    const simdjson::dom::array array = node.value.get_array().value_unsafe();
    for (const element entry : array) entries.push_back(node.item(entry, entries.size()));
    return entries;
}

// The string as bytes: each character U+0000..U+00FF stands for the byte of that value.
std::string latinBytes(const Node& node) {
    const std::string utf8 = text(node);
    std::string bytes;
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        const auto lead = static_cast<unsigned char>(utf8[at]);
        if (lead < 0x80) {
            bytes.push_back(static_cast<char>(lead));
        } else if ((lead == 0xC2 || lead == 0xC3) && at + 1 < utf8.size()) {
            bytes.push_back(static_cast<char>(((lead & 0x03) << 6) | (static_cast<unsigned char>(utf8[++at]) & 0x3F)));
        } else {
            node.fail("characters above \\u00ff can't stand for a byte");
        }
    }
    return bytes;
}

std::string base64Text(const Node& node) {
    const std::string encoded = text(node);
    const bool wellFormed = encoded.size() % 4 == 0 &&
        encoded.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=") ==
            std::string::npos;
    if (!wellFormed) node.fail("expected base64");
    return base64Decode(encoded);
}

// ---- script parts ----

// A stream of the script ("name") or of a describe_pages answer ("stream").
StreamShape streamShape(const Node& node, const char* nameMember) {
    requireObject(node, {nameMember, "shards", "shards_per_page", "status"});
    if (!node.has(nameMember)) node.fail("needs " + inQuotes(nameMember));
    StreamShape shape;
    shape.name = nonEmptyText(node.child(nameMember));
    if (node.has("shards")) shape.shards = smallInteger(node.child("shards"), 0, kMaxShards);
    if (node.has("shards_per_page")) shape.shardsPerPage = smallInteger(node.child("shards_per_page"), 1, kMaxShardsPerPage);
    if (node.has("status")) shape.status = nonEmptyText(node.child("status"));
    return shape;
}

FaultServer::CannedAnswers cannedAnswers(const Node& node) {
    requireObject(node, {"records_per_get", "record_bytes", "batches_per_iterator"});
    FaultServer::CannedAnswers canned;
    if (node.has("records_per_get")) canned.recordsPerGet = smallInteger(node.child("records_per_get"), 0, 10000);
    if (node.has("record_bytes")) canned.recordBytes = smallInteger(node.child("record_bytes"), 0, 1024 * 1024);
    if (node.has("batches_per_iterator"))
        canned.batchesPerIterator = smallInteger(node.child("batches_per_iterator"), 0, 1 << 30);
    return canned;
}

FailRecords failRecords(const Node& node) {
    requireObject(node, {"positions", "keys", "key_prefix", "error", "message"});
    FailRecords fail;
    if (node.has("positions"))
        for (const Node& position : items(node.child("positions"))) fail.positions.insert(smallInteger(position, 0, 499));
    if (node.has("keys"))
        for (const Node& key : items(node.child("keys"))) fail.keys.insert(text(key));
    if (node.has("key_prefix")) fail.keyPrefix = text(node.child("key_prefix"));
    if (node.has("error")) fail.error = nonEmptyText(node.child("error"));
    if (node.has("message")) fail.message = text(node.child("message"));
    if (fail.positions.empty() && fail.keys.empty() && !fail.keyPrefix)
        node.fail("names no record: give \"positions\", \"keys\" or \"key_prefix\"");
    return fail;
}

TestRecord recordOf(const Node& node) {
    requireObject(node, {"data", "data_base64", "key", "sequence", "arrival"});
    if (node.has("data") == node.has("data_base64")) node.fail("needs exactly one of \"data\" and \"data_base64\"");
    TestRecord record(node.has("data") ? text(node.child("data")) : base64Text(node.child("data_base64")));
    if (node.has("key")) record.partitionKey = nonEmptyText(node.child("key"));
    if (node.has("sequence")) record.sequenceNumber = nonEmptyText(node.child("sequence"));
    if (node.has("arrival")) {
        const Node arrival = node.child("arrival");
        if (arrival.value.get_double().get(record.arrivalSeconds) != simdjson::SUCCESS || record.arrivalSeconds < 0)
            arrival.fail("expected a number of seconds since the epoch");
    }
    return record;
}

RecordsAnswer recordsAnswer(const Node& answer) {
    RecordsAnswer result;
    for (const Node& record : items(answer.child("records"))) result.records.push_back(recordOf(record));
    if (answer.has("next_iterator") && !answer.child("next_iterator").value.is_null())
        result.nextIterator = nonEmptyText(answer.child("next_iterator"));
    if (answer.has("millis_behind")) result.millisBehind = integerIn(answer.child("millis_behind"), 0, INT64_MAX);
    return result;
}

StreamsPage streamsPage(const Node& node) {
    requireObject(node, {"names", "has_more"});
    StreamsPage page;
    if (node.has("names"))
        for (const Node& name : items(node.child("names"))) page.names.push_back(nonEmptyText(name));
    if (node.has("has_more")) page.hasMore = boolean(node.child("has_more"));
    return page;
}

std::vector<std::pair<std::string, std::string>> headerList(const Node& node) {
    if (!node.value.is_object()) node.fail("expected a JSON object of header names and values");
    std::vector<std::pair<std::string, std::string>> headers;
    const simdjson::dom::object object = node.value.get_object().value_unsafe();
    for (const auto field : object) {
        const Node value{field.value, node.path + "." + std::string(field.key)};
        const bool goodName = !field.key.empty() && field.key.find_first_of(" :\r\n") == std::string_view::npos;
        if (!goodName) value.fail("not a header name");
        const std::string headerValue = text(value);
        if (headerValue.find_first_of("\r\n") != std::string::npos) value.fail("a header value can't hold a line break");
        headers.emplace_back(std::string(field.key), headerValue);
    }
    return headers;
}

// The body kinds of an answer, each with the kind it selects.
constexpr std::pair<const char*, BodyKind> kBodyKinds[] = {
    {"builtin", BodyKind::Builtin},         {"error", BodyKind::Error},
    {"json", BodyKind::Json},               {"body", BodyKind::Text},
    {"fail_records", BodyKind::FailRecords}, {"records", BodyKind::Records},
    {"shard_iterator", BodyKind::ShardIterator}, {"describe_pages", BodyKind::DescribePages},
    {"streams_page", BodyKind::StreamsPage}, {"raw", BodyKind::Raw},
};

// Members that only mean something beside another one.
constexpr std::pair<const char*, const char*> kCompanions[] = {
    {"message", "error"}, {"next_iterator", "records"}, {"millis_behind", "records"},
    {"stall_ms", "fault"}, {"after_bytes", "fault"},
};

// Members that a raw answer can't honour: it sends its bytes as they are.
constexpr const char* kNotWithRaw[] = {"status", "headers", "content_type", "date_header", "fault", "chunked"};

const char* bodyKindMember(const Node& answer) {
    const char* chosen = nullptr;
    for (const auto& [name, kind] : kBodyKinds) {
        if (!answer.has(name)) continue;
        if (chosen != nullptr) answer.fail("more than one body kind: " + inQuotes(chosen) + " and " + inQuotes(name));
        chosen = name;
    }
    return chosen;
}

void checkCombinations(const Node& answer) {
    for (const auto& [member, needs] : kCompanions)
        if (answer.has(member) && !answer.has(needs)) answer.fail(inQuotes(member) + " needs " + inQuotes(needs));
    if (answer.has("raw"))
        for (const char* member : kNotWithRaw)
            if (answer.has(member)) answer.fail("\"raw\" sends its bytes as they are: " + inQuotes(member) + " can't apply");
}

void readBody(const Node& answer, const char* member, const std::string& operation, AnswerPlan& plan) {
    const Node node = answer.child(member);
    switch (plan.kind) {
    case BodyKind::Builtin:
        if (!boolean(node)) node.fail("expected true (leave it out for the built-in answer too)");
        break;
    case BodyKind::Error:
        plan.error = nonEmptyText(node);
        if (answer.has("message")) plan.message = text(answer.child("message"));
        break;
    case BodyKind::Json: plan.text = simdjson::minify(node.value); break;
    case BodyKind::Text: plan.text = text(node); break;
    case BodyKind::FailRecords:
        if (operation != "PutRecords" && operation != "*") node.fail("answers PutRecords only, not " + inQuotes(operation));
        plan.failRecords = failRecords(node);
        break;
    case BodyKind::Records: plan.records = recordsAnswer(answer); break;
    case BodyKind::ShardIterator: plan.text = nonEmptyText(node); break;
    case BodyKind::DescribePages:
        plan.describePages = streamShape(node, "stream");
        break;
    case BodyKind::StreamsPage: plan.streamsPage = streamsPage(node); break;
    case BodyKind::Raw: plan.text = latinBytes(node); break;
    }
}

void readFault(const Node& answer, AnswerPlan& plan) {
    const Node node = answer.child("fault");
    const std::string fault = text(node);
    if (fault == "close") plan.fault = Fault::CloseWithoutReply;
    else if (fault == "reset") plan.fault = Fault::ResetConnection;
    else if (fault == "truncate") plan.fault = Fault::TruncateBody;
    else if (fault == "stall") plan.fault = Fault::StallBody;
    else node.fail("expected \"close\", \"reset\", \"truncate\" or \"stall\"");
    const bool needsBytes = plan.fault == Fault::TruncateBody || plan.fault == Fault::StallBody;
    if (needsBytes && !answer.has("after_bytes")) answer.fail("\"fault\":" + inQuotes(fault) + " needs \"after_bytes\"");
    if (!needsBytes && answer.has("after_bytes")) answer.fail("\"fault\":" + inQuotes(fault) + " takes no \"after_bytes\"");
    if (needsBytes) plan.afterBytes = static_cast<std::size_t>(integerIn(answer.child("after_bytes"), 0, kMaxBytes));
    if (plan.fault == Fault::StallBody && !answer.has("stall_ms")) answer.fail("\"fault\":\"stall\" needs \"stall_ms\"");
    if (plan.fault != Fault::StallBody && answer.has("stall_ms")) answer.fail("\"stall_ms\" needs \"fault\":\"stall\"");
    if (answer.has("stall_ms")) plan.stall = Millis(integerIn(answer.child("stall_ms"), 0, kMaxMillis));
}

void readModifiers(const Node& answer, AnswerPlan& plan) {
    if (answer.has("status")) plan.status = smallInteger(answer.child("status"), 100, 599);
    if (answer.has("content_type")) plan.contentType = text(answer.child("content_type"));
    if (answer.has("headers")) plan.headers = headerList(answer.child("headers"));
    if (answer.has("date_header")) plan.dateHeader = boolean(answer.child("date_header"));
    if (answer.has("delay_ms")) plan.delay = Millis(integerIn(answer.child("delay_ms"), 0, kMaxMillis));
    if (answer.has("fault")) readFault(answer, plan);
    if (answer.has("chunked")) plan.chunkBytes = static_cast<std::size_t>(integerIn(answer.child("chunked"), 1, kMaxBytes));
    if (answer.has("close_after")) plan.closeAfter = boolean(answer.child("close_after"));
}

AnswerPlan answerPlan(const Node& answer, const std::string& operation) {
    requireObject(answer, {"builtin", "error", "message", "status", "json", "body", "content_type", "fail_records",
                           "records", "next_iterator", "millis_behind", "shard_iterator", "describe_pages",
                           "streams_page", "headers", "date_header", "delay_ms", "fault", "after_bytes", "stall_ms",
                           "raw", "chunked", "close_after"});
    checkCombinations(answer);
    AnswerPlan plan;
    if (const char* member = bodyKindMember(answer)) {
        plan.kind = std::find_if(std::begin(kBodyKinds), std::end(kBodyKinds),
                                 [&](const auto& entry) { return entry.first == std::string_view(member); })->second;
        readBody(answer, member, operation, plan);
    }
    readModifiers(answer, plan);
    return plan;
}

Rule rule(const Node& node) {
    requireObject(node, {"operation", "attempts", "times", "answer"});
    if (!node.has("operation")) node.fail("needs \"operation\" (a Kinesis operation name, or \"*\")");
    if (!node.has("answer")) node.fail("needs \"answer\"");
    Rule result;
    result.operation = nonEmptyText(node.child("operation"));
    if (node.has("attempts"))
        for (const Node& attempt : items(node.child("attempts"))) result.attempts.insert(smallInteger(attempt, 1, 1 << 30));
    if (node.has("times")) result.times = smallInteger(node.child("times"), 1, 1 << 30);
    result.answer = answerPlan(node.child("answer"), result.operation);
    return result;
}

// What is wrong with a text simdjson refused, and where (simdjson doesn't say where). The
// iterative parser copes with any depth.
std::string notJson(std::string_view json, simdjson::error_code error) {
    if (error == simdjson::DEPTH_ERROR) return "nested deeper than " + std::to_string(simdjson::DEFAULT_MAX_DEPTH) + " levels";
    rapidjson::Reader reader;
    rapidjson::BaseReaderHandler<> ignore;
    rapidjson::MemoryStream stream(json.data(), json.size());
    reader.Parse<rapidjson::kParseIterativeFlag>(stream, ignore);
    return "not JSON (at byte " + std::to_string(reader.GetErrorOffset()) + ")";
}

}  // namespace

Script parseScript(std::string_view json) {
    simdjson::dom::parser parser;
    element root;
    if (const auto error = parser.parse(json.data(), json.size()).get(root); error != simdjson::SUCCESS)
        throw ScriptError("script", notJson(json, error));
    const Node top{root, ""};
    requireObject(top, {"streams", "canned", "recording", "rules"});
    Script script;
    if (top.has("streams"))
        for (const Node& stream : items(top.child("streams"))) script.streams.push_back(streamShape(stream, "name"));
    if (top.has("canned")) script.canned = cannedAnswers(top.child("canned"));
    if (top.has("recording")) script.recording = boolean(top.child("recording"));
    if (top.has("rules"))
        for (const Node& entry : items(top.child("rules"))) script.rules.push_back(rule(entry));
    return script;
}

}  // namespace rxkfault
