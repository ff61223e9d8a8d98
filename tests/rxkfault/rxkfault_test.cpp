// rxkfault run as a host developer runs it: a process on a port, scripted in JSON, answering
// the library's exports and recording what they sent.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace rxk::test {
namespace {

// A script with a fault must be refused with its JSON path and the fault, never half loaded.
TEST(RxkfaultScript, BadScriptsNameThePathAndTheFault) {
    struct Case { const char* name; const char* script; const char* error; };
    const Case kRows[] = {
        {"not JSON", R"({"rules": [1,)", "script: not JSON (at byte 13)"},
        {"not an object", "[]", "script: expected a JSON object"},
        {"misspelt member", R"({"rules":[{"operation":"PutRecords","attempt":[1],"answer":{}}]})",
         R"(rules[0]: unknown member "attempt")"},
        {"rule without answer", R"({"rules":[{"operation":"PutRecords"}]})", R"(rules[0]: needs "answer")"},
        {"status out of range", R"({"rules":[{"operation":"*","answer":{"status":99}}]})",
         "rules[0].answer.status: expected an integer 100..599"},
        {"truncate without bytes", R"({"rules":[{"operation":"*","answer":{"fault":"truncate"}}]})",
         R"(rules[0].answer: "fault":"truncate" needs "after_bytes")"},
        {"two body kinds", R"({"rules":[{"operation":"*","answer":{"json":{},"body":""}}]})",
         R"(rules[0].answer: more than one body kind: "json" and "body")"},
        {"negative shards", R"({"streams":[{"name":"s","shards":-1}]})", "streams[0].shards: expected an integer 0..100000"},
        {"record failures on reads", R"({"rules":[{"operation":"GetRecords","answer":{"fail_records":{"positions":[0]}}}]})",
         R"(rules[0].answer.fail_records: answers PutRecords only, not "GetRecords")"},
        {"raw beyond a byte", R"({"rules":[{"operation":"*","answer":{"raw":"\u0100"}}]})",
         R"(rules[0].answer.raw: characters above \u00ff can't stand for a byte)"},
    };
    FaultEndpoint endpoint;
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(endpoint.tryLoad(c.script), c.error);
    }
    EXPECT_EQ(endpoint.tryLoad("{}"), "");
}

// The same refusal for a script file given at start: exit status 2, the file named first.
TEST(RxkfaultScript, BadScriptFileStopsTheToolWithStatus2) {
    const std::string file = testing::TempDir() + "rxkfault_bad_script.json";
    std::ofstream(file) << R"({"canned":{"record_bytes":"100"}})";
    const std::string command = std::string(std::getenv("RXK_FAULT_ENDPOINT")) + " --script " + file + " 2>&1";
    FILE* tool = popen(command.c_str(), "r");
    ASSERT_NE(tool, nullptr);
    char line[512] = {};
    ASSERT_NE(std::fgets(line, sizeof line, tool), nullptr);
    EXPECT_EQ(WEXITSTATUS(pclose(tool)), 2);
    EXPECT_EQ(std::string(line), "rxkfault: " + file + ": canned.record_bytes: expected an integer 0..1048576\n");
}

class RxkfaultThroughLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        lib_.InititializeInterface();
        ServiceEnvironment environment(endpoint_.endpoint(), ServiceEnvironment::SdkRetries::Off);
        client_ = lib_.CreateClient("us-east-1", "AKIDEXAMPLE", "wJalrXUtnFEMI/K7MDENG");
        ASSERT_GE(client_, 0);
    }
    void TearDown() override { lib_.FreeClient(client_); }

    Library& lib_ = sharedLibrary();
    FaultEndpoint endpoint_;
    int32_t client_ = -1;
};

// Records failed by key on chosen attempts are resent, and the endpoint records each attempt's
// records exactly as the library sent them (keys and decoded data).
TEST_F(RxkfaultThroughLibrary, RecordFailuresByKeyAndAttemptRoundTrip) {
    endpoint_.load(R"({"rules":[
        {"operation":"PutRecords","attempts":[1],"answer":{"fail_records":{"keys":["p1"],"key_prefix":"fail-"}}},
        {"operation":"PutRecords","attempts":[2],"answer":{"fail_records":{"keys":["p1"]}}}]})");
    ASSERT_EQ(lib_.SetParam(client_, "retry", "3"), 0);
    const int32_t list = lib_.CreateListRecord(client_);
    for (const char* key : {"p0", "p1", "fail-2", "p3"}) {
        const std::string data = key + std::string(2, '\0');  // binary data survives the round trip
        ASSERT_EQ(lib_.AddRecordToList(client_, list, key, nullptr, data.data(), static_cast<int32_t>(data.size())), 0);
    }
    int32_t put = -1, failed = -1;
    EXPECT_EQ(lib_.PutRecords(client_, list, "orders", &put, &failed, nullptr, nullptr, "t"), 0);
    EXPECT_EQ(failed, 0);
    const std::vector<std::vector<std::string>> keysByAttempt = {{"p0", "p1", "fail-2", "p3"}, {"p1", "fail-2"}, {"p1"}};
    const auto sent = endpoint_.requests("PutRecords");
    ASSERT_EQ(sent.size(), keysByAttempt.size());
    for (std::size_t attempt = 0; attempt < sent.size(); ++attempt) {
        SCOPED_TRACE(attempt + 1);
        EXPECT_EQ(sent[attempt].attempt, static_cast<int>(attempt + 1));
        ASSERT_EQ(sent[attempt].records.size(), keysByAttempt[attempt].size());
        for (std::size_t i = 0; i < sent[attempt].records.size(); ++i) {
            EXPECT_EQ(sent[attempt].records[i].partitionKey, keysByAttempt[attempt][i]);
            EXPECT_EQ(sent[attempt].records[i].data, keysByAttempt[attempt][i] + std::string(2, '\0'));
        }
    }
    lib_.FreeListRecord(client_, list);
}

// A broken answer fails that one put; the rule is then spent and the next put goes through.
TEST_F(RxkfaultThroughLibrary, BrokenConnectionsFailOnePut) {
    struct Case { const char* name; const char* answer; };
    const Case kRows[] = {
        {"reset", R"({"fault":"reset"})"},
        {"HTML from a proxy", R"({"body":"<html>Bad Gateway</html>","status":502,"content_type":"text/html"})"},
        {"body cut short", R"({"builtin":true,"fault":"truncate","after_bytes":10})"},
        {"malformed JSON", R"({"body":"{\"ShardId\":\"shardId-0000"})"},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        endpoint_.load(std::string(R"({"rules":[{"operation":"PutRecord","times":1,"answer":)") + c.answer + "}]}");
        endpoint_.clear();
        EXPECT_EQ(lib_.PutRecord(client_, "orders", "pk", nullptr, "data", 4), -1);
        EXPECT_EQ(lib_.PutRecord(client_, "orders", "pk", nullptr, "data", 4), 0);
        EXPECT_EQ(endpoint_.count("PutRecord"), 2);
    }
}

}  // namespace
}  // namespace rxk::test
