// PutRecords and GetLastResultPutRecords through the exports against the fault server: which
// records go out in which request, the outcome read back for every position, the counters and
// the lines of each path.
#include "producer_fixture.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace rxk::test {
namespace {

const char* const kStream = "orders";
const std::string kShard = shardId(0);

std::string failureMessage(const std::string& label, int attempt) {
    return label + " failure of attempt " + std::to_string(attempt);
}

// PutRecords answers: on attempt k, the positions failures[k] of that request fail with a
// message naming the attempt, so that a test can tell which answer an error text came from.
FaultServer::Handler failingByAttempt(std::map<int, std::set<int>> failures, std::string label = "batch") {
    return [failures = std::move(failures), label = std::move(label)](const RecordedRequest& request) {
        const auto it = failures.find(request.attempt);
        return putRecordsReply(request, it != failures.end() ? it->second : std::set<int>{},
                               "ProvisionedThroughputExceededException", failureMessage(label, request.attempt));
    };
}

// Every PutRecords request fails the records at `positions`, attempt after attempt.
FaultServer::Handler alwaysFailing(std::set<int> positions) {
    return [positions = std::move(positions)](const RecordedRequest& request) {
        return putRecordsReply(request, positions, "ProvisionedThroughputExceededException",
                               failureMessage("batch", request.attempt));
    };
}

struct Sent {
    int32_t result = 0;
    int32_t put = -7;
    int32_t failed = -7;
    int32_t bytes = -7;
    int32_t output = -7;
};

struct ReadBack {
    int32_t result = 0;
    std::string stream;
    std::string shard;
    std::string sequence;
    unsigned char success = 9;
    std::string partitionKey;
    std::string explicitHashKey;
    std::string error;
    uint32_t dataLength = 0xDEADBEEF;
    bool guardsIntact = true;
    bool textsUntouched = true;
};

class BatchTest : public ProducerTest {
protected:
    void SetUp() override {
        ProducerTest::SetUp();
        client_ = createClient(server_.endpoint());
        list_ = createList(client_);
    }

    std::vector<std::string> appendRecords(int count, const std::string& prefix = "record-") {
        std::vector<std::string> data;
        for (int i = 0; i < count; ++i) {
            data.push_back(prefix + std::to_string(i));
            EXPECT_EQ(add(client_, list_, data.back(), ("key" + std::to_string(i)).c_str()), RXK_OK);
        }
        return data;
    }

    Sent send(const char* stream = kStream, const char* tag = "tag") {
        Sent sent;
        sent.result = lib_->PutRecords(client_, list_, stream, &sent.put, &sent.failed, &sent.bytes, &sent.output, tag);
        return sent;
    }

    ReadBack readBack(int32_t index, int32_t list = -2) {
        ReadBack answer;
        GuardedText stream(RXK_NAME_BYTES), shard(RXK_NAME_BYTES), sequence(RXK_NAME_BYTES);
        GuardedText partitionKey(RXK_NAME_BYTES), hashKey(RXK_NAME_BYTES), error(RXK_ERROR_TEXT_BYTES);
        answer.result = lib_->GetLastResultPutRecords(client_, list == -2 ? list_ : list, index, stream.data(),
                                                      shard.data(), sequence.data(), &answer.success,
                                                      partitionKey.data(), hashKey.data(), error.data(),
                                                      &answer.dataLength);
        answer.stream = stream.text();
        answer.shard = shard.text();
        answer.sequence = sequence.text();
        answer.partitionKey = partitionKey.text();
        answer.explicitHashKey = hashKey.text();
        answer.error = error.text();
        for (const GuardedText* text : {&stream, &shard, &sequence, &partitionKey, &hashKey, &error}) {
            answer.guardsIntact = answer.guardsIntact && text->guardsIntact();
            answer.textsUntouched = answer.textsUntouched && text->untouched();
        }
        return answer;
    }

    // The data of each record of each PutRecords request that reached the server.
    std::vector<std::vector<std::string>> sentData() const {
        std::vector<std::vector<std::string>> requests;
        for (const auto& request : server_.requests("PutRecords")) {
            requests.emplace_back();
            for (const auto& record : putRecordsEntries(request.body)) requests.back().push_back(record.data);
        }
        return requests;
    }

    // Replays the requests the server received against the failures it was told to answer and
    // checks that each request held exactly the records still failing, in their order (none
    // missing, none sent twice), and that every position reads back the outcome that settled
    // it: the success of the answer that took it, or the failure of the first answer.
    void expectReadBackMatchesRequests(const std::vector<std::string>& data,
                                       const std::map<int, std::set<int>>& failures,
                                       const std::string& label = "batch") {
        const auto requests = server_.requests("PutRecords");
        std::vector<int> pending;
        for (int i = 0; i < static_cast<int>(data.size()); ++i) pending.push_back(i);
        std::map<int, std::string> settledSequence;
        std::map<int, std::string> firstError;
        for (const auto& request : requests) {
            const auto records = putRecordsEntries(request.body);
            ASSERT_EQ(records.size(), pending.size()) << "request " << request.attempt;
            const auto it = failures.find(request.attempt);
            std::vector<int> stillPending;
            for (std::size_t i = 0; i < records.size(); ++i) {
                const int original = pending[i];
                EXPECT_EQ(records[i].data, data[original]) << "request " << request.attempt << " position " << i;
                const bool failedHere = it != failures.end() && it->second.count(static_cast<int>(i)) != 0;
                if (failedHere) {
                    stillPending.push_back(original);
                    firstError.emplace(original, failureMessage(label, request.attempt));
                } else {
                    settledSequence[original] =
                        sequenceNumber(static_cast<std::uint64_t>(request.sequence) * 1000 + i);
                }
            }
            pending = stillPending;
        }
        for (int i = 0; i < static_cast<int>(data.size()); ++i) {
            const ReadBack answer = readBack(i);
            ASSERT_EQ(answer.result, RXK_OK) << i;
            EXPECT_TRUE(answer.guardsIntact) << i;
            EXPECT_EQ(answer.stream, kStream);
            if (settledSequence.count(i) != 0) {
                EXPECT_EQ(answer.success, 1) << i;
                EXPECT_EQ(answer.shard, kShard) << i;
                EXPECT_EQ(answer.sequence, settledSequence[i]) << i;
                EXPECT_EQ(answer.error, "") << i;
            } else {
                EXPECT_EQ(answer.success, 0) << i;
                EXPECT_EQ(answer.shard, "") << i;
                EXPECT_EQ(answer.sequence, "") << i;
                EXPECT_EQ(answer.error, firstError[i]) << i;
            }
        }
        EXPECT_EQ(readBack(static_cast<int32_t>(data.size())).result, RXK_ERROR) << "one outcome per record";
    }

    std::string prefix() const { return "id:" + std::to_string(client_) + " KinesisEnv::putRecords "; }

    FaultServer server_;
    int32_t client_ = -1;
    int32_t list_ = -1;
};

const std::string kNeverFed = "0;9223372036854775807;0;0;";

// The design's own example: records 1 and 3 fail, then 3 fails again. A fault here resends
// records that succeeded, loses one, or writes an outcome to the wrong position.
TEST_F(BatchTest, FailedRecordsAreResentAloneInOrder) {
    server_.setHandler("PutRecords", failingByAttempt({{1, {1, 3}}, {2, {1}}}));
    setParam(client_, "retry", "3");
    const auto data = appendRecords(5);

    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_OK);
    EXPECT_EQ(sent.put, 5);
    EXPECT_EQ(sent.failed, 0);
    EXPECT_EQ(sent.output, 5);
    EXPECT_EQ(sent.bytes, 5 * (8 + 4));
    const std::vector<std::vector<std::string>> expected = {
        {"record-0", "record-1", "record-2", "record-3", "record-4"}, {"record-1", "record-3"}, {"record-3"}};
    EXPECT_EQ(sentData(), expected);
    expectReadBackMatchesRequests(data, {{1, {1, 3}}, {2, {1}}});

    // Two retry attempts, fed 2 then 1 failed records; the first failure's words.
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "2;2;2;2;batch failure of attempt 1");
    EXPECT_EQ(param(client_, "retryattemptFailRecords"), "1;1;2;3;batch failure of attempt 1");
    // The list keeps the records of the last request, not the batch.
    const auto state = info(client_, list_);
    EXPECT_EQ(state.count, 1u);
    EXPECT_EQ(state.bytes, 5u * 12u);
}

// Without `retry` nothing is resent and the counters stay as they were.
TEST_F(BatchTest, DefaultRetryReportsFailuresWithoutResending) {
    server_.setHandler("PutRecords", failingByAttempt({{1, {0, 2}}}));
    const auto data = appendRecords(3);
    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_SOME_FAILED);
    EXPECT_EQ(sent.failed, 2);
    EXPECT_EQ(server_.requestCount("PutRecords"), 1);
    expectReadBackMatchesRequests(data, {{1, {0, 2}}});
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), kNeverFed);
    EXPECT_EQ(param(client_, "retryattemptFailRecords"), kNeverFed);
}

// A record that never succeeds: the limit ends the loop with 3, and the record keeps the
// first answer's words whatever later answers say.
TEST_F(BatchTest, RecordFailingEveryAttemptStopsAtTheLimit) {
    server_.setHandler("PutRecords", failingByAttempt({{1, {2}}, {2, {0}}}));
    setParam(client_, "retry", "1");
    const auto data = appendRecords(3);

    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_SOME_FAILED);
    EXPECT_EQ(sent.failed, 1);
    EXPECT_EQ(server_.requestCount("PutRecords"), 2);
    const std::string maxReached = prefix() + "[orders] retry(1/1) max reached [1 records failed remaining]";
    EXPECT_EQ(countLines(LogCapture::logTexts(), maxReached), 1u);
    expectReadBackMatchesRequests(data, {{1, {2}}, {2, {0}}});
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "1;1;1;1;batch failure of attempt 1");
    EXPECT_EQ(param(client_, "retryattemptFailRecords"), "1;1;1;1;batch failure of attempt 1");
}

// `retry` 0 means 1000 retry requests, not none and not endless.
TEST_F(BatchTest, RetryZeroMakesAThousandRetryRequests) {
    server_.setRecording(false);
    server_.setHandler("PutRecords", alwaysFailing({0}));
    setParam(client_, "retry", "0");
    appendRecords(2);

    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_SOME_FAILED);
    EXPECT_EQ(sent.failed, 1);
    EXPECT_EQ(server_.requestCount("PutRecords"), 1001);
    EXPECT_TRUE(LogCapture::logContains(prefix() + "[orders] retry(1000/0) max reached [1 records failed remaining]"));
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "1000;1000;1000;1000;batch failure of attempt 1");
    EXPECT_EQ(param(client_, "retryattemptFailRecords"), "1;1;1;1000;batch failure of attempt 1");
    const ReadBack first = readBack(0);
    EXPECT_EQ(first.success, 0);
    EXPECT_EQ(first.error, "batch failure of attempt 1");
    EXPECT_EQ(readBack(1).success, 1);
}

// Failures that end before the limit end the loop with 0 and count the retries made.
TEST_F(BatchTest, RetryStopsAsSoonAsNoRecordFails) {
    server_.setHandler("PutRecords", failingByAttempt({{1, {0, 1}}}));
    setParam(client_, "retry", "2");
    const auto data = appendRecords(4);
    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_OK);
    EXPECT_EQ(sent.failed, 0);
    EXPECT_EQ(server_.requestCount("PutRecords"), 2);
    expectReadBackMatchesRequests(data, {{1, {0, 1}}});
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "1;1;1;1;batch failure of attempt 1");
    EXPECT_FALSE(LogCapture::logContains("max reached"));
}

// Announcing attempts takes retryattemptshow 2 or more; 1 is as good as 0.
TEST_F(BatchTest, AttemptLinesNeedRetryAttemptShowAboveOne) {
    server_.setHandler("PutRecords", alwaysFailing({0}));
    setParam(client_, "retry", "2");
    appendRecords(1);

    setParam(client_, "retryattemptshow", "1");
    EXPECT_EQ(send().result, RXK_SOME_FAILED);
    auto lines = LogCapture::logTexts();
    EXPECT_EQ(countLines(lines, "records failed]"), 0u);
    EXPECT_EQ(countLines(lines, "max reached"), 1u);

    ASSERT_EQ(lib_->ClearListRecord(client_, list_), RXK_OK);
    appendRecords(1);
    LogCapture::reset();
    setParam(client_, "retryattemptshow", "2");
    EXPECT_EQ(send().result, RXK_SOME_FAILED);
    lines = LogCapture::logTexts();
    const std::vector<std::string> expected = {
        prefix() + "[orders] retry(0/2) [1 records failed]",
        prefix() + "[orders] retry(1/2) [1 records failed]",
        prefix() + "[orders] retry(2/2) [1 records failed]",
        prefix() + "[orders] retry(2/2) max reached [1 records failed remaining]",
    };
    EXPECT_EQ(lines, expected);
}

// A retry request that fails as a whole ends the call with -1; what earlier attempts settled
// stays readable, and the line carries the counts reached.
TEST_F(BatchTest, RetryRequestFailingAsAWholeEndsTheCall) {
    const auto perRecord = failingByAttempt({{1, {0, 1, 2}}, {2, {0, 1}}, {3, {0}}});
    server_.setHandler("PutRecords", onAttempts({4}, Reply::error(400, "InvalidArgumentException", "broken batch"),
                                                perRecord));
    setParam(client_, "retry", "5");
    const auto data = appendRecords(4);

    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_ERROR);
    EXPECT_EQ(sent.failed, 1);
    EXPECT_EQ(server_.requestCount("PutRecords"), 4);
    const std::string line = prefix() + "[orders] retry(2/5) start_failed:3 new_failed:1 records error:";
    EXPECT_EQ(lastError(client_), line + "broken batch");
    const auto lines = LogCapture::logTexts();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], line);
    EXPECT_EQ(lines.back(), "broken batch");
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "2;2;2;2;batch failure of attempt 1");
    // Request 4 carried record 0 alone and got no per-record answer: record 0 keeps the first.
    const std::vector<std::vector<std::string>> expected = {
        {"record-0", "record-1", "record-2", "record-3"}, {"record-0", "record-1", "record-2"},
        {"record-0", "record-1"}, {"record-0"}};
    EXPECT_EQ(sentData(), expected);
    const auto requests = server_.requests("PutRecords");
    EXPECT_EQ(readBack(0).error, "batch failure of attempt 1");
    EXPECT_EQ(readBack(1).sequence, sequenceNumber(static_cast<std::uint64_t>(requests[2].sequence) * 1000 + 1));
    EXPECT_EQ(readBack(2).sequence, sequenceNumber(static_cast<std::uint64_t>(requests[1].sequence) * 1000 + 2));
    EXPECT_EQ(readBack(3).sequence, sequenceNumber(static_cast<std::uint64_t>(requests[0].sequence) * 1000 + 3));
}

// With no failed pointer the lines print -1 where the count would be.
TEST_F(BatchTest, MissingFailedPointerPrintsMinusOne) {
    server_.setHandler("PutRecords", onAttempts({2}, Reply::error(400, "InvalidArgumentException", "broken"),
                                                failingByAttempt({{1, {0}}})));
    setParam(client_, "retry", "1");
    appendRecords(2);
    EXPECT_EQ(lib_->PutRecords(client_, list_, kStream, nullptr, nullptr, nullptr, nullptr, nullptr), RXK_ERROR);
    EXPECT_EQ(lastError(client_), prefix() + "[orders] retry(0/1) start_failed:1 new_failed:-1 records error:broken");
}

// The first request failing as a whole: -1, no outcome to read, and the service's words.
TEST_F(BatchTest, FirstRequestFailingAsAWholeLeavesNoResults) {
    server_.setHandler("PutRecords", onAttempts({1}, Reply::resourceNotFound(kStream), failingByAttempt({})));
    setParam(client_, "retry", "3");
    appendRecords(3);

    const Sent sent = send();
    EXPECT_EQ(sent.result, RXK_ERROR);
    EXPECT_EQ(sent.put, 3);
    EXPECT_EQ(sent.failed, 0);
    EXPECT_EQ(sent.output, 0);
    EXPECT_EQ(sent.bytes, 3 * 12);
    EXPECT_EQ(server_.requestCount("PutRecords"), 1);
    const std::string line = prefix() + "[orders] error:";
    const std::string error = lastError(client_);
    EXPECT_EQ(error.rfind(line, 0), 0u) << error;
    EXPECT_GT(error.size(), line.size()) << "the service's message follows without a blank";
    EXPECT_NE(error[line.size()], ' ');
    const auto lines = LogCapture::logTexts();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], line);
    EXPECT_EQ(line + lines[1], error);

    const ReadBack answer = readBack(0);
    EXPECT_EQ(answer.result, RXK_ERROR);
    EXPECT_TRUE(answer.textsUntouched);
    EXPECT_EQ(lastError(client_), "id:" + std::to_string(client_) + " KinesisEnv::getLastResult error listId:" +
                                      std::to_string(list_) + " index:0 EntryListSize:0");
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), kNeverFed);
}

// An empty list sends nothing and keeps the outcome of the send before.
TEST_F(BatchTest, EmptyListSendsNothingAndKeepsTheLastResults) {
    appendRecords(2);
    ASSERT_EQ(send().result, RXK_OK);
    ASSERT_EQ(lib_->ClearListRecord(client_, list_), RXK_OK);
    LogCapture::reset();

    const Sent sent = send("other");
    EXPECT_EQ(sent.result, RXK_OK);
    EXPECT_EQ(sent.put, 0);
    EXPECT_EQ(sent.failed, 0);
    EXPECT_EQ(sent.bytes, 0);
    EXPECT_EQ(sent.output, 0);
    EXPECT_EQ(server_.requestCount("PutRecords"), 1);
    EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{prefix() + "[other] no records"});
    const ReadBack answer = readBack(1);
    EXPECT_EQ(answer.result, RXK_OK);
    EXPECT_EQ(answer.stream, kStream);
    EXPECT_EQ(answer.success, 1);
}

// Unknown lists and free slots: -1, nothing sent, nothing read from a list that isn't there.
TEST_F(BatchTest, UnknownListAndFreeSlotSendNothing) {
    const Sent unknown = [&] {
        Sent sent;
        sent.result = lib_->PutRecords(client_, list_ + 3, kStream, &sent.put, &sent.failed, &sent.bytes,
                                       &sent.output, "t");
        return sent;
    }();
    EXPECT_EQ(unknown.result, RXK_ERROR);
    EXPECT_EQ(unknown.put + unknown.failed + unknown.bytes + unknown.output, 0);
    EXPECT_EQ(lastError(client_), prefix() + "listId:" + std::to_string(list_ + 3) + " not found");
    EXPECT_EQ(lib_->PutRecords(client_, -1, kStream, nullptr, nullptr, nullptr, nullptr, nullptr), RXK_ERROR);

    const int32_t freed = createList(client_);
    ASSERT_EQ(lib_->FreeListRecord(client_, freed), RXK_OK);
    LogCapture::reset();
    Sent sent;
    EXPECT_EQ(lib_->PutRecords(client_, freed, kStream, &sent.put, &sent.failed, &sent.bytes, &sent.output,
                               "night-run"),
              RXK_ERROR);
    EXPECT_EQ(sent.put + sent.failed + sent.bytes + sent.output, 0);
    EXPECT_TRUE(LogCapture::logContains(prefix() + "ListId:" + std::to_string(freed) +
                                        " tag:[night-run] PutRecordsData NULL"));
    EXPECT_EQ(server_.requestCount("PutRecords"), 0);

    const ReadBack answer = readBack(0, freed);
    EXPECT_EQ(answer.result, RXK_ERROR);
    EXPECT_TRUE(answer.textsUntouched);
    EXPECT_EQ(lastError(client_), "id:" + std::to_string(client_) + " KinesisEnv::getLastResult list [" +
                                      std::to_string(freed) + "] not found");
}

// The list keeps the stream name in 256 bytes: 255 characters fit, 256 are refused.
TEST_F(BatchTest, StreamNameMustFitTheListsField) {
    appendRecords(1);
    const std::string tooLong(RXK_NAME_BYTES, 's');
    EXPECT_EQ(send(tooLong.c_str()).result, RXK_ERROR);
    EXPECT_EQ(server_.requestCount("PutRecords"), 0);
    EXPECT_NE(lastError(client_).find("stream name of 256 bytes refused, at most 255 fit"), std::string::npos);

    const std::string longest(RXK_NAME_BYTES - 1, 'n');
    ASSERT_EQ(send(longest.c_str()).result, RXK_OK);
    ASSERT_EQ(server_.requestCount("PutRecords"), 1);
    EXPECT_EQ(jsonString(server_.requests("PutRecords")[0].body, "StreamName"), longest);
    const ReadBack answer = readBack(0);
    EXPECT_EQ(answer.stream, longest);
    EXPECT_TRUE(answer.guardsIntact);
}

// Read-back bounds: an index equal to the count, a negative one and list -1 are refused with
// the outputs untouched; the record-side outputs never come from outside the records held.
TEST_F(BatchTest, ReadBackRefusesPositionsOutsideTheResults) {
    server_.setHandler("PutRecords", failingByAttempt({{1, {2}}}));
    setParam(client_, "retry", "1");
    ASSERT_EQ(add(client_, list_, "alpha", "p0", "100"), RXK_OK);
    ASSERT_EQ(add(client_, list_, "beta!", "p1"), RXK_OK);
    ASSERT_EQ(add(client_, list_, "gamma-long", "p2", "300"), RXK_OK);
    ASSERT_EQ(send().result, RXK_OK);

    const ReadBack beyond = readBack(3);
    EXPECT_EQ(beyond.result, RXK_ERROR);
    EXPECT_TRUE(beyond.textsUntouched);
    EXPECT_EQ(beyond.dataLength, 0xDEADBEEF);
    EXPECT_EQ(lastError(client_), "id:" + std::to_string(client_) + " KinesisEnv::getLastResult error listId:" +
                                      std::to_string(list_) + " index:3 EntryListSize:3");
    EXPECT_EQ(readBack(-1).result, RXK_ERROR);
    EXPECT_EQ(readBack(0, -1).result, RXK_ERROR);
    EXPECT_EQ(lastError(client_), "id:" + std::to_string(client_) + " KinesisEnv::getLastResult list [-1] not found");

    // After the retry the list holds only record 2: position 0 now speaks of it, positions 1
    // and 2 hold no record and read empty.
    const ReadBack first = readBack(0);
    EXPECT_EQ(first.result, RXK_OK);
    EXPECT_EQ(first.partitionKey, "p2");
    EXPECT_EQ(first.explicitHashKey, "300");
    EXPECT_EQ(first.dataLength, 10u);
    const ReadBack last = readBack(2);
    EXPECT_EQ(last.result, RXK_OK);
    EXPECT_EQ(last.success, 1);
    EXPECT_EQ(last.partitionKey, "");
    EXPECT_EQ(last.explicitHashKey, "");
    EXPECT_EQ(last.dataLength, 0u);
    EXPECT_TRUE(last.guardsIntact);
    const ReadBack again = readBack(2);
    EXPECT_EQ(again.sequence, last.sequence) << "a read-back changes nothing";

    // Only one of the four main outputs is needed.
    unsigned char success = 7;
    EXPECT_EQ(lib_->GetLastResultPutRecords(client_, list_, 1, nullptr, nullptr, nullptr, &success, nullptr,
                                            nullptr, nullptr, nullptr),
              RXK_OK);
    EXPECT_EQ(success, 1);
}

// Without a retry, position i reads record i of the list: keys and length as appended.
TEST_F(BatchTest, ReadBackWithoutRetryGivesTheAppendedRecord) {
    ASSERT_EQ(add(client_, list_, "abc", "p0", "42"), RXK_OK);
    ASSERT_EQ(add(client_, list_, "defgh", "p1"), RXK_OK);
    ASSERT_EQ(send().result, RXK_OK);
    const ReadBack second = readBack(1);
    EXPECT_EQ(second.partitionKey, "p1");
    EXPECT_EQ(second.explicitHashKey, "");
    EXPECT_EQ(second.dataLength, 5u);
    EXPECT_EQ(second.error, "");
    EXPECT_EQ(readBack(0).explicitHashKey, "42");
}

// Random keys: each record draws its own, used as partition and hash key, and the sizes count
// it once.
TEST_F(BatchTest, RandomKeysGoOutAsBothKeys) {
    for (int i = 0; i < 20; ++i) ASSERT_EQ(add(client_, list_, "0123456789", nullptr, nullptr), RXK_OK);
    const Sent sent = send();
    ASSERT_EQ(sent.result, RXK_OK);
    const auto records = putRecordsEntries(server_.requests("PutRecords").at(0).body);
    ASSERT_EQ(records.size(), 20u);
    std::set<std::string> keys;
    int32_t bytes = 0;
    for (const auto& record : records) {
        EXPECT_EQ(record.partitionKey, record.explicitHashKey);
        EXPECT_GE(record.partitionKey.size(), 21u);
        EXPECT_LE(record.partitionKey.size(), 39u);
        EXPECT_EQ(record.partitionKey.substr(record.partitionKey.size() - 20), std::string(20, '0'));
        keys.insert(record.partitionKey);
        bytes += static_cast<int32_t>(10 + record.partitionKey.size());
    }
    EXPECT_EQ(keys.size(), 20u);
    EXPECT_EQ(sent.bytes, bytes);
    EXPECT_EQ(readBack(4).partitionKey, records[4].partitionKey);
    EXPECT_EQ(readBack(4).explicitHashKey, records[4].partitionKey);
}

// Counter groups accumulate over batches; firstFailedError follows the latest batch that
// entered the retry loop and no other.
TEST_F(BatchTest, CountersAccumulateOverSeveralBatches) {
    setParam(client_, "retry", "3");
    auto nextBatch = [&](std::map<int, std::set<int>> failures, const std::string& label, int records) {
        server_.clearRequests();
        server_.setHandler("PutRecords", failingByAttempt(std::move(failures), label));
        ASSERT_EQ(lib_->ClearListRecord(client_, list_), RXK_OK);
        appendRecords(records, label + "-");
        ASSERT_EQ(send().result, RXK_OK);
    };
    nextBatch({{1, {0, 1}}, {2, {0}}}, "first", 3);   // fed 2 and 1; two retries
    nextBatch({{1, {2}}}, "second", 3);                // fed 1; one retry
    nextBatch({}, "third", 3);                         // no retry loop: nothing fed
    EXPECT_EQ(param(client_, "retryattemptFailRecords"), "1;1;2;4;second failure of attempt 1");
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "1;1;2;3;second failure of attempt 1");
}

// firstFailedError is "None" from the entry to the loop until a failed entry gives its words:
// an answer that counts a failure but names none leaves it at "None".
TEST_F(BatchTest, FirstFailedErrorStaysNoneWhenNoEntryNamesAFailure) {
    const Reply countsWithoutNaming = Reply::json(
        R"({"FailedRecordCount":1,"Records":[{"SequenceNumber":")" + sequenceNumber(5) + R"(","ShardId":")" +
        kShard + R"("}]})");
    server_.setHandler("PutRecords", onAttempts({1}, countsWithoutNaming, failingByAttempt({})));
    setParam(client_, "retry", "1");
    appendRecords(1);
    EXPECT_EQ(send().result, RXK_OK);
    EXPECT_EQ(param(client_, "retryattemptPutRecords"), "1;1;1;1;None");
    EXPECT_EQ(param(client_, "retryattemptFailRecords"), "1;1;1;1;None");
    EXPECT_EQ(readBack(0).sequence, sequenceNumber(5));
}

// Would catch records reported as written that the service never confirmed: a successful answer
// with fewer or more result entries than records sent (an empty 2xx body, a cut answer) fails as
// a whole, on the first request and on a retry request alike, and nothing is read or written
// outside the records and outcomes held.
TEST_F(BatchTest, AnswersThatDontAccountForEveryRecordFailAsAWhole) {
    const Reply shortAnswer =
        Reply::json(R"({"FailedRecordCount":0,"Records":[{"SequenceNumber":"1","ShardId":"shardId-000000000000"}]})");
    server_.setHandler("PutRecords", onAttempts({1}, shortAnswer, failingByAttempt({})));
    appendRecords(3);
    Sent sent = send();
    EXPECT_EQ(sent.result, RXK_ERROR);
    EXPECT_EQ(sent.output, 0);
    EXPECT_NE(lastError(client_).find("accounts for 1 of 3 records"), std::string::npos) << lastError(client_);
    EXPECT_EQ(readBack(0).result, RXK_ERROR) << "no position may read back as written";

    server_.clearRequests();
    server_.resetScript();
    const Reply longAnswer = putRecordsReply(3, {}, "", "", 7000);
    server_.setHandler("PutRecords",
                       onAttempts({1}, putRecordsReply(3, {1}, "InternalFailure", "first"),
                                  onAttempts({2}, longAnswer, failingByAttempt({}))));
    setParam(client_, "retry", "2");
    ASSERT_EQ(lib_->ClearListRecord(client_, list_), RXK_OK);
    appendRecords(3);
    sent = send();
    EXPECT_EQ(sent.result, RXK_ERROR) << "the retry request failed as a whole";
    EXPECT_EQ(sent.output, 3);
    EXPECT_EQ(readBack(0).success, 1);
    const ReadBack stillFailed = readBack(1);
    EXPECT_EQ(stillFailed.success, 0) << "the first answer's failure stays";
    EXPECT_EQ(stillFailed.error, "first");
    EXPECT_EQ(readBack(2).success, 1);
}

// Trace lines of a send: the first answer and the result.
TEST_F(BatchTest, SendTraceLinesCarryTheCounts) {
    server_.setHandler("PutRecords", failingByAttempt({{1, {1}}}));
    appendRecords(2);
    LogCapture::reset();
    ASSERT_EQ(send().result, RXK_SOME_FAILED);
    const auto lines = LogCapture::traceTexts();
    EXPECT_EQ(countLines(lines, prefix() + "[orders] entry:2 failed:1 success:yes bytes:24"), 1u);
    EXPECT_EQ(countLines(lines, prefix() + "[orders] result:3 entry:2 Bytes:24 failed:1"), 1u);
}

}  // namespace
}  // namespace rxk::test
