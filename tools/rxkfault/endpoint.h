// The rxkfault endpoint: a FaultServer that answers from a loaded script and takes its control
// requests (PUT /_rxkfault/script, GET and DELETE /_rxkfault/requests, GET /_rxkfault/stats)
// on the same port.
#pragma once

#include "fault_server.h"
#include "script.h"

#include <mutex>
#include <vector>

namespace rxkfault {

// Where control requests go; nothing under it is recorded or scripted.
constexpr const char* kControlPrefix = "/_rxkfault/";

class Endpoint {
public:
    explicit Endpoint(int port);
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // Replaces rules, streams and canned answers, and restarts the attempt counters; what was
    // recorded stays.
    void load(const Script& script);

    FaultServer& server() { return server_; }

private:
    struct ActiveRule {
        Rule rule;
        int answered = 0;
    };

    Reply answer(const RecordedRequest& request);
    Reply control(const RecordedRequest& request);
    Reply loadScript(const RecordedRequest& request);
    Reply recordedRequests(const RecordedRequest& request);
    Reply forgetRequests();
    Reply stats();

    FaultServer server_;
    std::mutex rulesMutex_;
    std::vector<ActiveRule> rules_;
};

// The Reply an answer of the script gives to `request`.
Reply scriptedReply(const AnswerPlan& answer, const RecordedRequest& request, FaultServer& server);

}  // namespace rxkfault
