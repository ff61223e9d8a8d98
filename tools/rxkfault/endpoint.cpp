#include "endpoint.h"

#include "request_json.h"

#include <optional>

namespace rxkfault {

namespace {

const std::string kScriptPath = std::string(kControlPrefix) + "script";
const std::string kRequestsPath = std::string(kControlPrefix) + "requests";
const std::string kStatsPath = std::string(kControlPrefix) + "stats";

bool matches(const Rule& rule, int answered, const RecordedRequest& request) {
    if (rule.operation != "*" && rule.operation != request.operation) return false;
    if (!rule.attempts.empty() && rule.attempts.count(request.attempt) == 0) return false;
    return !rule.times || answered < *rule.times;
}

Reply controlAnswer(int status, std::string body) { return Reply::json(std::move(body), status); }

// The path without its query, and the query ("" when there is none).
std::pair<std::string, std::string> splitQuery(const std::string& target) {
    const auto mark = target.find('?');
    if (mark == std::string::npos) return {target, ""};
    return {target.substr(0, mark), target.substr(mark + 1)};
}

}  // namespace

Endpoint::Endpoint(int port) : server_(port) {
    server_.setCatchAllHandler([this](const RecordedRequest& request) { return answer(request); });
    server_.setControlHandler(kControlPrefix, [this](const RecordedRequest& request) { return control(request); });
}

void Endpoint::load(const Script& script) {
    {
        std::lock_guard<std::mutex> lock(rulesMutex_);
        rules_.clear();
        for (const Rule& rule : script.rules) rules_.push_back({rule, 0});
    }
    server_.forgetStreams();
    for (const StreamShape& stream : script.streams)
        server_.addStream(stream.name, stream.shards, stream.shardsPerPage, stream.status);
    if (script.canned) {
        server_.useCannedAnswers(*script.canned);
        server_.setRecording(script.recording.value_or(false));  // a benchmark only counts
    } else {
        server_.stopCannedAnswers();
        server_.setRecording(script.recording.value_or(true));
    }
    server_.restartAttempts();
}

// The first rule that matches answers (and is spent after `times`); else the built-in answer.
Reply Endpoint::answer(const RecordedRequest& request) {
    std::optional<AnswerPlan> chosen;  // a copy: a script loaded meanwhile replaces the rules
    {
        std::lock_guard<std::mutex> lock(rulesMutex_);
        for (ActiveRule& active : rules_) {
            if (!matches(active.rule, active.answered, request)) continue;
            ++active.answered;
            chosen = active.rule.answer;
            break;
        }
    }
    return chosen ? scriptedReply(*chosen, request, server_) : server_.builtInReply(request);
}

Reply Endpoint::control(const RecordedRequest& request) {
    const auto [path, query] = splitQuery(request.path);
    if (path == kScriptPath && request.method == "PUT") return loadScript(request);
    if (path == kRequestsPath && request.method == "GET") return recordedRequests(request);
    if (path == kRequestsPath && request.method == "DELETE") return forgetRequests();
    if (path == kStatsPath && request.method == "GET") return stats();
    return controlAnswer(404, errorJson("no control request " + request.method + " " + path +
                                       "; there are PUT " + kScriptPath + ", GET or DELETE " + kRequestsPath +
                                       " and GET " + kStatsPath));
}

Reply Endpoint::loadScript(const RecordedRequest& request) {
    try {
        load(parseScript(request.body));
    } catch (const ScriptError& e) {
        return controlAnswer(400, errorJson(e.what()));
    }
    return controlAnswer(200, okJson());
}

Reply Endpoint::recordedRequests(const RecordedRequest& request) {
    const std::string query = splitQuery(request.path).second;
    const std::string filterName = "operation=";
    if (query.empty()) return controlAnswer(200, requestsJson(server_.requests()));
    if (query.compare(0, filterName.size(), filterName) != 0)
        return controlAnswer(400, errorJson("query: expected operation=<name>, not " + query));
    return controlAnswer(200, requestsJson(server_.requests(query.substr(filterName.size()))));
}

Reply Endpoint::forgetRequests() {
    server_.clearRequests();
    return controlAnswer(200, okJson());
}

Reply Endpoint::stats() {
    return controlAnswer(200, statsJson(server_.requestCount(), server_.kinesisConnectionCount(),
                                        server_.requestCounts()));
}

}  // namespace rxkfault
