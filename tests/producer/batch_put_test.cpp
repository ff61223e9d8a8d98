// PutRecords and GetLastResultPutRecords against the fault endpoint: which records go out in
// which request, the outcome read back at every position, the counters and the lines of each
// path. Each row's answers are a script: per attempt, the positions of that request that fail.
#include "fault_endpoint.h"
#include "host.h"

#include <map>
#include <set>

namespace rxk::test {
namespace {

using Failures = std::map<int, std::vector<int>>;  // attempt -> failing positions; attempt 0: every attempt
const std::string kNeverFed = "0;9223372036854775807;0;0;";

std::string failureMessage(int attempt) { return attempt ? fmt("failure of attempt %d", attempt) : "failure of every attempt"; }

// The rules of a row: its own first, then one fail_records rule per attempt of `failures`.
std::string script(const Failures& failures, const std::string& rules) {
    std::string all = rules;
    for (const auto& [attempt, positions] : failures) {
        std::string list;
        for (const int position : positions) list += (list.empty() ? "" : ",") + std::to_string(position);
        all += std::string(all.empty() ? "" : ",") + R"({"operation":"PutRecords",)" +
               (attempt ? fmt(R"("attempts":[%d],)", attempt) : "") + R"("answer":{"fail_records":{"positions":[)" + list +
               R"(],"message":")" + failureMessage(attempt) + R"("}}})";
    }
    return R"({"rules":[)" + all + "]}";
}

struct ReadBack {
    int32_t result;
    std::string stream, shard, sequence, partitionKey, explicitHashKey, error;
    unsigned char success = 7;
    uint32_t length = 7;
    bool guardsIntact, untouched;
};

ReadBack readBack(int32_t id, int32_t index) {
    Guarded out[6] = {Guarded(RXK_NAME_BYTES), Guarded(RXK_NAME_BYTES), Guarded(RXK_NAME_BYTES), Guarded(RXK_NAME_BYTES),
                      Guarded(RXK_NAME_BYTES), Guarded(RXK_ERROR_TEXT_BYTES)};
    ReadBack r{};
    r.result = host().GetLastResultPutRecords(id, 0, index, out[0].data(), out[1].data(), out[2].data(), &r.success,
                                              out[3].data(), out[4].data(), out[5].data(), &r.length);
    r.stream = out[0].text(), r.shard = out[1].text(), r.sequence = out[2].text();
    r.partitionKey = out[3].text(), r.explicitHashKey = out[4].text(), r.error = out[5].text();
    r.guardsIntact = r.untouched = true;
    for (const Guarded& g : out) r.guardsIntact &= g.guardsIntact(), r.untouched &= g.untouched();
    return r;
}

struct Case {
    const char* name;
    int32_t retry;
    const char* show;
    Failures failures;
    const char* rules;  // rules tried before those of `failures`
    int records;
    int32_t result, failed, output;
    int requests, answered;  // requests sent; of them, answered record by record (-1: all)
    const char* putCounter;
    const char* failCounter;
    const char* error;      // the last-error text, "" if untouched (texts carry the client id as %d)
    std::vector<const char*> log;
    const char* stream = "orders";
    bool randomKeys = false, nullOutputs = false;
};

const std::string kLongest(RXK_NAME_BYTES - 1, 'n'), kTooLong(RXK_NAME_BYTES, 's');
const char* const kWhole = R"({"operation":"PutRecords","attempts":[%d],"answer":{"error":"InvalidArgumentException","message":"broken batch"}})";

// Would catch records that succeeded being sent again, one lost or sent twice, an outcome written
// to the wrong position, a retry limit off by one (retry 0 means 1000 retries, not none), a
// request failing as a whole that doesn't end the call or loses what earlier attempts settled, a
// record that keeps a later answer's words instead of the first, counters fed at the wrong
// moment, and an answer that doesn't account for every record taken as an acceptance.
TEST(BatchPut, RetriesAndReadBack) {
    const std::string wholeAt1 = fmt(kWhole, 1), wholeAt2 = fmt(kWhole, 2), wholeAt4 = fmt(kWhole, 4);
    const Case kRows[] = {
        {"failed records are resent alone, in order", 3, "0", {{1, {1, 3}}, {2, {1}}}, "", 5, 0, 0, 5, 3, -1,
         "2;2;2;2;failure of attempt 1", "1;1;2;3;failure of attempt 1", "", {}},
        {"without retry nothing is resent and nothing is fed", -1, "0", {{1, {0, 2}}}, "", 3, 3, 2, 3, 1, -1, kNeverFed.c_str(),
         kNeverFed.c_str(), "", {}},
        {"retry 1: the limit ends the loop with 3", 1, "0", {{1, {2}}, {2, {0}}}, "", 3, 3, 1, 3, 2, -1,
         "1;1;1;1;failure of attempt 1", "1;1;1;1;failure of attempt 1", "",
         {"id:%d KinesisEnv::putRecords [orders] retry(1/1) max reached [1 records failed remaining]"}},
        {"retry 0 makes a thousand retry requests", 0, "0", {{0, {0}}}, "", 2, 3, 1, 2, 1001, -1,
         "1000;1000;1000;1000;failure of every attempt", "1;1;1;1000;failure of every attempt", "",
         {"id:%d KinesisEnv::putRecords [orders] retry(1000/0) max reached [1 records failed remaining]"}},
        {"retry 2: the loop ends as soon as no record fails", 2, "0", {{1, {0, 1}}}, "", 4, 0, 0, 4, 2, -1,
         "1;1;1;1;failure of attempt 1", "2;2;2;2;failure of attempt 1", "", {}},
        {"retryattemptshow 1 announces nothing", 2, "1", {{0, {0}}}, "", 1, 3, 1, 1, 3, -1, "2;2;2;2;failure of every attempt",
         "1;1;1;2;failure of every attempt", "", {"id:%d KinesisEnv::putRecords [orders] retry(2/2) max reached [1 records failed remaining]"}},
        {"retryattemptshow 2 announces each attempt from 0, and the last before max reached", 2, "2", {{0, {0}}}, "", 1, 3, 1, 1, 3,
         -1, "2;2;2;2;failure of every attempt", "1;1;1;2;failure of every attempt", "",
         {"id:%d KinesisEnv::putRecords [orders] retry(0/2) [1 records failed]",
          "id:%d KinesisEnv::putRecords [orders] retry(1/2) [1 records failed]",
          "id:%d KinesisEnv::putRecords [orders] retry(2/2) [1 records failed]",
          "id:%d KinesisEnv::putRecords [orders] retry(2/2) max reached [1 records failed remaining]"}},
        {"the third retry request failing as a whole ends the call", 5, "0", {{1, {0, 1, 2}}, {2, {0, 1}}, {3, {0}}},
         wholeAt4.c_str(), 4, -1, 1, 4, 4, 3, "2;2;2;2;failure of attempt 1", "1;1;3;6;failure of attempt 1",
         "id:%d KinesisEnv::putRecords [orders] retry(2/5) start_failed:3 new_failed:1 records error:broken batch",
         {"id:%d KinesisEnv::putRecords [orders] retry(2/5) start_failed:3 new_failed:1 records error:", "broken batch"}},
        {"without a failed pointer the lines print -1", 1, "0", {{1, {0}}}, wholeAt2.c_str(), 2, -1, 1, 2, 2, 1,
         "0;0;0;0;failure of attempt 1", "1;1;1;1;failure of attempt 1",
         "id:%d KinesisEnv::putRecords [orders] retry(0/1) start_failed:1 new_failed:-1 records error:broken batch",
         {"id:%d KinesisEnv::putRecords [orders] retry(0/1) start_failed:1 new_failed:-1 records error:", "broken batch"},
         "orders", false, true},
        {"the first request failing as a whole leaves no outcome", 3, "0", {}, wholeAt1.c_str(), 3, -1, 0, 0, 1, 0,
         kNeverFed.c_str(), kNeverFed.c_str(), "id:%d KinesisEnv::putRecords [orders] error:broken batch",
         {"id:%d KinesisEnv::putRecords [orders] error:", "broken batch"}},
        {"a success naming fewer records than sent fails as a whole", -1, "0", {},
         R"({"operation":"PutRecords","answer":{"json":{"FailedRecordCount":0,"Records":[{"SequenceNumber":"1","ShardId":"shardId-000000000000"}]}}})",
         3, -1, 0, 0, 1, 0, kNeverFed.c_str(), kNeverFed.c_str(),
         "id:%d KinesisEnv::putRecords [orders] error:the service's answer accounts for 1 of 3 records",
         {"id:%d KinesisEnv::putRecords [orders] error:", "the service's answer accounts for 1 of 3 records"}},
        {"a retry answer naming more records than sent fails as a whole", 2, "0", {{1, {1}}},
         R"({"operation":"PutRecords","attempts":[2],"answer":{"json":{"FailedRecordCount":0,"Records":[{"SequenceNumber":"7","ShardId":"s"},{"SequenceNumber":"8","ShardId":"s"}]}}})",
         3, -1, 1, 3, 2, 1, "0;0;0;0;failure of attempt 1", "1;1;1;1;failure of attempt 1",
         "id:%d KinesisEnv::putRecords [orders] retry(0/2) start_failed:1 new_failed:1 records error:the service's answer accounts for 2 of 1 records",
         {"id:%d KinesisEnv::putRecords [orders] retry(0/2) start_failed:1 new_failed:1 records error:",
          "the service's answer accounts for 2 of 1 records"}},
        {"a count of failures without a failed entry leaves firstFailedError at None", 1, "0", {},
         R"({"operation":"PutRecords","attempts":[1],"answer":{"json":{"FailedRecordCount":1,"Records":[{"SequenceNumber":"5","ShardId":"shardId-000000000000"}]}}})",
         1, 0, 1, 1, 2, 0, "1;1;1;1;None", "1;1;1;1;None", "", {}},
        {"random keys go out as both keys, counted once in the size", -1, "0", {}, "", 20, 0, 0, 20, 1, -1, kNeverFed.c_str(),
         kNeverFed.c_str(), "", {}, "orders", true},
        {"a stream name of 255 bytes fits the list", -1, "0", {}, "", 2, 0, 0, 2, 1, -1, kNeverFed.c_str(), kNeverFed.c_str(), "",
         {}, kLongest.c_str()},
        {"a stream name of 256 bytes is refused", -1, "0", {}, "", 2, -1, 0, 0, 0, -1, kNeverFed.c_str(), kNeverFed.c_str(),
         "id:%d KinesisEnv::putRecords listId:0 stream name of 256 bytes refused, at most 255 fit",
         {"id:%d KinesisEnv::putRecords listId:0 stream name of 256 bytes refused, at most 255 fit"}, kTooLong.c_str()},
    };
    FaultEndpoint endpoint;
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        endpoint.load(script(c.failures, c.rules));
        endpoint.clear();
        const int32_t id = clientAt(endpoint.endpoint());
        ASSERT_EQ(host().SetParam(id, "retry", std::to_string(c.retry).c_str()) + host().SetParam(id, "retryattemptshow", c.show), 0);
        ASSERT_EQ(host().CreateListRecord(id), 0);
        std::vector<SentRecord> appended;
        for (int i = 0; i < c.records; ++i) {
            const std::string key = fmt("key%d", i), hash = i % 2 ? "" : std::to_string(i * 100), data = fmt("record-%d", i);
            appended.push_back({c.randomKeys ? "" : key, c.randomKeys ? "" : hash, data});
            ASSERT_EQ(host().AddRecordToList(id, 0, c.randomKeys ? nullptr : key.c_str(), c.randomKeys || hash.empty() ? nullptr : hash.c_str(),
                                             data.data(), static_cast<int32_t>(data.size())), 0);
        }
        LogCapture::reset();
        int32_t put = -7, failed = -7, bytes = -7, output = -7;
        const int32_t result = c.nullOutputs ? host().PutRecords(id, 0, c.stream, nullptr, nullptr, nullptr, nullptr, "t")
                                             : host().PutRecords(id, 0, c.stream, &put, &failed, &bytes, &output, "t");
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(std::vector<int32_t>({put, failed, output}), c.nullOutputs ? std::vector<int32_t>(3, -7)
                  : std::vector<int32_t>({c.requests ? c.records : 0, c.failed, c.output}));
        EXPECT_EQ(param(id, "retryattemptPutRecords"), c.putCounter);
        EXPECT_EQ(param(id, "retryattemptFailRecords"), c.failCounter);
        EXPECT_EQ(clientError(id), fmt(c.error, id));
        std::vector<std::string> log;
        for (const char* line : c.log) log.push_back(fmt(line, id));
        EXPECT_EQ(LogCapture::logTexts(), log);
        ASSERT_EQ(endpoint.count("PutRecords"), c.requests);
        const auto requests = endpoint.requests("PutRecords");

        // Replays the requests against the script: each carries the records still failing, in
        // order; a record is settled by the first answer that takes it, else keeps its first failure.
        std::vector<int> pending;
        for (int i = 0; i < c.records; ++i) pending.push_back(i);
        std::vector<int> settledInOrder;
        std::map<int, std::string> firstError;
        int32_t sentBytes = 0;
        for (std::size_t k = 0; k < requests.size() && (c.answered < 0 || static_cast<int>(k) <= c.answered); ++k) {
            EXPECT_NE(requests[k].body.find(fmt("\"StreamName\":\"%s\"", c.stream)), std::string::npos);
            const auto& records = requests[k].records;
            ASSERT_EQ(records.size(), pending.size()) << "request " << k + 1;
            std::vector<int> stillFailing;
            for (std::size_t i = 0; i < records.size(); ++i) {
                const SentRecord& expected = appended[pending[i]];
                EXPECT_EQ(records[i].data, expected.data) << "request " << k + 1 << " position " << i;
                if (!c.randomKeys) { EXPECT_EQ(records[i].partitionKey + "|" + records[i].explicitHashKey,
                                             expected.partitionKey + "|" + expected.explicitHashKey); }
                if (k == 0) sentBytes += static_cast<int32_t>(records[i].data.size() + records[i].partitionKey.size());
                if (c.answered >= 0 && static_cast<int>(k) >= c.answered) continue;
                const auto failing = c.failures.count(static_cast<int>(k + 1)) ? c.failures.at(static_cast<int>(k + 1))
                                     : c.failures.count(0)                   ? c.failures.at(0) : std::vector<int>{};
                if (std::count(failing.begin(), failing.end(), static_cast<int>(i)) == 0) {
                    settledInOrder.push_back(pending[i]);
                    continue;
                }
                stillFailing.push_back(pending[i]);
                firstError.emplace(pending[i], failureMessage(c.failures.count(static_cast<int>(k + 1)) ? static_cast<int>(k + 1) : 0));
            }
            if (c.answered < 0 || static_cast<int>(k) < c.answered) pending = stillFailing;
        }
        if (!c.nullOutputs && !requests.empty()) { EXPECT_EQ(bytes, sentBytes); }
        if (c.answered != 0 && !requests.empty()) {
            const int startFailed = static_cast<int>((c.failures.count(1) ? c.failures.at(1) : c.failures.count(0) ? c.failures.at(0) : std::vector<int>{}).size());
            const std::string prefix = fmt("id:%d KinesisEnv::putRecords [%s] ", id, c.stream);
            EXPECT_TRUE(LogCapture::traceContains(prefix + fmt("entry:%d failed:%d success:yes bytes:%d", c.records, startFailed, sentBytes)));
            EXPECT_TRUE(LogCapture::traceContains(prefix + fmt("result:%d entry:%d Bytes:%d failed:%d", startFailed ? 3 : 0, c.records, sentBytes, startFailed)));
        }
        if (c.randomKeys) {
            std::set<std::string> keys;
            for (const SentRecord& r : requests.at(0).records) keys.insert(r.partitionKey + (r.partitionKey == r.explicitHashKey ? "" : "!"));
            EXPECT_EQ(keys.size(), 20u);
            for (const std::string& key : keys) EXPECT_EQ(key.substr(key.size() - 20), std::string(20, '0')) << key;
        }
        if (c.answered != 0) {
            const std::vector<SentRecord>& held = requests.empty() ? appended : requests.back().records;
            std::string lastSequence;
            for (const int i : settledInOrder) {
                const ReadBack r = readBack(id, i);
                EXPECT_EQ(r.result, 0);
                EXPECT_EQ(r.stream + " " + r.shard + " " + std::to_string(r.success), std::string(c.stream) + " shardId-000000000000 1") << i;
                EXPECT_TRUE(r.sequence.size() > lastSequence.size() || r.sequence > lastSequence) << i << ": " << r.sequence;
                lastSequence = r.sequence;
            }
            for (const auto& [i, error] : firstError) {
                const ReadBack r = readBack(id, i);
                EXPECT_EQ(r.shard + r.sequence + std::to_string(r.success) + r.error, "0" + error) << i;
            }
            for (int i = 0; i < c.records && c.output > 0; ++i) {
                const ReadBack r = readBack(id, i);
                const SentRecord none{"", "", ""};
                const SentRecord& record = static_cast<std::size_t>(i) < held.size() ? held[i] : none;
                EXPECT_EQ(r.partitionKey + "|" + r.explicitHashKey + "|" + std::to_string(r.length),
                          record.partitionKey + "|" + record.explicitHashKey + "|" + std::to_string(record.data.size())) << i;
                EXPECT_TRUE(r.guardsIntact);
            }
        }
        for (const int32_t index : {c.output, -1}) {
            const ReadBack r = readBack(id, index);
            EXPECT_EQ(r.result, -1);
            EXPECT_TRUE(r.untouched && r.success == 7 && r.length == 7);
            EXPECT_EQ(clientError(id), fmt("id:%d KinesisEnv::getLastResult error listId:0 index:%d EntryListSize:%d", id, index,
                                           c.output < 0 ? 0 : c.output));
        }
        host().FreeListRecord(id, -1);
        host().FreeClient(id);
    }
}

// Would catch counter groups reset between batches or fed by a batch that never retried, and a
// firstFailedError that follows a later batch without failures; and an empty list that sends
// anything or forgets the outcome of the send before.
TEST(BatchPut, CountersAcrossBatchesAndAnEmptySend) {
    FaultEndpoint endpoint;
    const int32_t id = clientAt(endpoint.endpoint());
    ASSERT_EQ(host().SetParam(id, "retry", "3") + host().CreateListRecord(id), 0);
    const Failures kBatches[] = {{{1, {0, 1}}, {2, {0}}}, {{1, {2}}}, {}};
    for (const Failures& failures : kBatches) {
        std::string rules = script(failures, "");
        for (std::size_t at = 0; (at = rules.find("\"failure of", at)) != std::string::npos; at += 10)
            rules.insert(at + 1, fmt("batch %d ", static_cast<int>(&failures - kBatches) + 1));
        endpoint.load(rules);
        ASSERT_EQ(host().ClearListRecord(id, 0), 0);
        for (int i = 0; i < 3; ++i) ASSERT_EQ(host().AddRecordToList(id, 0, "pk", nullptr, "data", 4), 0);
        ASSERT_EQ(host().PutRecords(id, 0, "orders", nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    }
    EXPECT_EQ(param(id, "retryattemptFailRecords"), "1;1;2;4;batch 2 failure of attempt 1");
    EXPECT_EQ(param(id, "retryattemptPutRecords"), "1;1;2;3;batch 2 failure of attempt 1");

    endpoint.clear();
    ASSERT_EQ(host().ClearListRecord(id, 0), 0);
    LogCapture::reset();
    int32_t put = -7, failed = -7, bytes = -7, output = -7;
    EXPECT_EQ(host().PutRecords(id, 0, "other", &put, &failed, &bytes, &output, "t"), 0);
    EXPECT_EQ(std::vector<int32_t>({put, failed, bytes, output, endpoint.count()}), std::vector<int32_t>(5, 0));
    EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{fmt("id:%d KinesisEnv::putRecords [other] no records", id)});
    const ReadBack kept = readBack(id, 2);
    EXPECT_EQ(kept.stream + " " + std::to_string(kept.success), "orders 1");
}

}  // namespace
}  // namespace rxk::test
