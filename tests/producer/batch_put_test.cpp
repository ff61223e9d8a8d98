// PutRecords and GetLastResultPutRecords against the fault endpoint: which records go out in
// which request, the outcome read back at every position, the counters and the lines of each
// path. Each row's answers are a script: per attempt, the positions of that request that fail.
#include "fault_endpoint.h"
#include "host.h"

#include <map>
#include <numeric>
#include <set>

namespace rxk::test {
namespace {

using Failures = std::map<int, std::vector<int>>;  // attempt -> failing positions; attempt 0: every attempt
const std::string kNeverFed = "0;9223372036854775807;0;0;";

std::string failureMessage(int attempt) { return attempt ? fmt("failure of attempt %d", attempt) : "failure of every attempt"; }

// The failing positions of a request by attempt, and the attempt whose rule names them.
int ruleFor(const Failures& failures, int attempt) { return failures.count(attempt) ? attempt : 0; }
std::vector<int> failingIn(const Failures& failures, int attempt) {
    const auto rule = failures.find(ruleFor(failures, attempt));
    return rule == failures.end() ? std::vector<int>{} : rule->second;
}

// The rules of a row: its own first, then one fail_records rule per attempt of `failures`, whose
// messages open with `label`.
std::string script(const Failures& failures, const std::string& rules, const std::string& label = "") {
    std::string all = rules;
    for (const auto& [attempt, positions] : failures) {
        std::string list;
        for (const int position : positions) list += (list.empty() ? "" : ",") + std::to_string(position);
        all += std::string(all.empty() ? "" : ",") + R"({"operation":"PutRecords",)" + (attempt ? fmt(R"("attempts":[%d],)", attempt) : "") +
               R"("answer":{"fail_records":{"positions":[)" + list + R"(],"message":")" + label + failureMessage(attempt) + R"("}}})";
    }
    // Every other answer too comes from fail_records, whose sequence numbers grow request after request.
    if (!failures.count(0)) all += std::string(all.empty() ? "" : ",") + R"({"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"no key starts so"}}})";
    return R"({"rules":[)" + all + "]}";
}

// GetLastResultPutRecords at `index` of list 0, as "stream shard sequence success error" and
// "partitionKey|explicitHashKey|dataLength"; "refused" when it returns -1 and writes nothing.
struct ReadBack { std::string outcome, record, sequence; bool guardsIntact = true; };
ReadBack readBack(int32_t id, int32_t index) {
    Guarded out[6] = {Guarded(RXK_NAME_BYTES), Guarded(RXK_NAME_BYTES), Guarded(RXK_NAME_BYTES), Guarded(RXK_NAME_BYTES),
                      Guarded(RXK_NAME_BYTES), Guarded(RXK_ERROR_TEXT_BYTES)};
    unsigned char success = 7;
    uint32_t length = 7;
    const int32_t result = host().GetLastResultPutRecords(id, 0, index, out[0].data(), out[1].data(), out[2].data(), &success,
                                                          out[3].data(), out[4].data(), out[5].data(), &length);
    ReadBack r{"refused", "refused", out[2].text()};
    for (const Guarded& g : out) r.guardsIntact = r.guardsIntact && (result == 0 ? g.guardsIntact() : g.untouched() && success == 7);
    if (result != 0) return r;
    r.outcome = out[0].text() + " " + out[1].text() + " " + (out[2].text().empty() ? "" : "seq") + " " + std::to_string(success) + " " + out[5].text();
    r.record = out[3].text() + "|" + out[4].text() + "|" + std::to_string(length);
    return r;
}

// A row: `rules` are tried before those of `failures`; of the requests sent, `answered` were
// answered record by record (-1: all); `error` is the last-error text ("" if untouched); texts
// carry the client id as %d.
struct Case {
    const char* name; int32_t retry; const char* show; Failures failures; const char* rules; int records;
    int32_t result, failed, output; int requests, answered; const char *putCounter, *failCounter, *error;
    std::vector<const char*> log; const char* stream = "orders"; bool randomKeys = false, nullOutputs = false;
};

const std::string kLongest(RXK_NAME_BYTES - 1, 'n'), kTooLong(RXK_NAME_BYTES, 's');
const char* const kWhole = R"({"operation":"PutRecords","attempts":[%d],"answer":{"error":"InvalidArgumentException","message":"broken batch"}})";

// Would catch records that succeeded being sent again, one lost or sent twice, an outcome written
// to the wrong position, a retry limit off by one (retry 0 means 1000 retries, not none), a
// request failing as a whole that doesn't end the call or loses what earlier attempts settled, a
// record that keeps a later answer's words instead of the first, counters fed at the wrong
// moment, an answer that doesn't account for every record taken as an acceptance, record-side
// read-back outputs taken from outside the records the list holds, and send trace lines with
// the wrong counts.
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
        std::vector<SentRecord> appended;  // binary data, even records with a hash key
        for (int i = 0; i < c.records; ++i) {
            const std::string key = c.randomKeys ? "" : fmt("key%d", i), hash = c.randomKeys || i % 2 ? "" : std::to_string(i * 100);
            appended.push_back({key, hash, fmt("record-%d", i) + std::string("\0\xff", 2)});
            ASSERT_EQ(host().AddRecordToList(id, 0, key.empty() ? nullptr : key.c_str(), hash.empty() ? nullptr : hash.c_str(),
                                             appended.back().data.data(), static_cast<int32_t>(appended.back().data.size())), 0);
        }
        LogCapture::reset();
        int32_t put = -7, failed = -7, bytes = -7, output = -7;
        const int32_t result = c.nullOutputs ? host().PutRecords(id, 0, c.stream, nullptr, nullptr, nullptr, nullptr, "t")
                                             : host().PutRecords(id, 0, c.stream, &put, &failed, &bytes, &output, "t");
        const auto traces = LogCapture::traceTexts();
        EXPECT_EQ(std::vector<int32_t>({result, put, failed, output}), c.nullOutputs ? std::vector<int32_t>({c.result, -7, -7, -7})
                  : std::vector<int32_t>({c.result, c.requests ? c.records : 0, c.failed, c.output}));
        EXPECT_EQ(param(id, "retryattemptPutRecords") + " " + param(id, "retryattemptFailRecords"), std::string(c.putCounter) + " " + c.failCounter);
        std::vector<std::string> log;
        for (const char* line : c.log) log.push_back(fmt(line, id));
        EXPECT_EQ(LogCapture::logTexts(), log);
        EXPECT_EQ(clientError(id), fmt(c.error, id));
        ASSERT_EQ(endpoint.count("PutRecords"), c.requests);
        const auto requests = endpoint.requests("PutRecords");

        // Replays the requests against the script: each carries the records still failing, in
        // order; a record is settled by the first answer that takes it, else keeps its first failure.
        std::vector<int> pending(static_cast<std::size_t>(c.records)), settled;
        std::iota(pending.begin(), pending.end(), 0);
        std::map<int, std::string> firstError;
        int32_t sentBytes = 0;
        for (std::size_t k = 0; k < requests.size() && (c.answered < 0 || static_cast<int>(k) <= c.answered); ++k) {
            const auto& records = requests[k].records;
            EXPECT_NE(requests[k].body.find(fmt("\"StreamName\":\"%s\"", c.stream)), std::string::npos);
            ASSERT_EQ(records.size(), pending.size()) << "request " << k + 1;
            const bool answered = c.answered < 0 || static_cast<int>(k) < c.answered;
            const auto failing = failingIn(c.failures, static_cast<int>(k + 1));
            std::vector<int> stillFailing;
            for (std::size_t i = 0; i < records.size(); ++i) {
                const SentRecord &sent = records[i], &expected = appended[pending[i]];
                const bool randomKey = sent.partitionKey.size() > 20 && sent.partitionKey.substr(sent.partitionKey.size() - 20) == std::string(20, '0');
                EXPECT_EQ(sent.data + "|" + sent.partitionKey + "|" + sent.explicitHashKey, expected.data + "|" + (c.randomKeys && randomKey
                          ? sent.partitionKey + "|" + sent.partitionKey : expected.partitionKey + "|" + expected.explicitHashKey)) << "request " << k + 1 << " position " << i;
                sentBytes += k == 0 ? static_cast<int32_t>(sent.data.size() + sent.partitionKey.size()) : 0;
                const bool fails = std::count(failing.begin(), failing.end(), static_cast<int>(i)) != 0;
                if (answered && !fails) settled.push_back(pending[i]);
                if (answered && fails) stillFailing.push_back(pending[i]), firstError.emplace(pending[i], failureMessage(ruleFor(c.failures, static_cast<int>(k + 1))));
            }
            if (answered) pending = stillFailing;
        }
        std::set<std::string> keys;  // random keys: one draw per record
        for (const SentRecord& r : c.randomKeys ? requests.at(0).records : std::vector<SentRecord>{}) keys.insert(r.partitionKey);
        EXPECT_EQ(keys.size(), c.randomKeys ? 20u : 0u);
        if (!c.nullOutputs && !requests.empty()) { EXPECT_EQ(bytes, sentBytes); }
        if (c.answered != 0 && !requests.empty()) {
            const int startFailed = static_cast<int>(failingIn(c.failures, 1).size());
            const std::string prefix = fmt("id:%d KinesisEnv::putRecords [%s] ", id, c.stream);
            EXPECT_EQ(std::count(traces.begin(), traces.end(), prefix + fmt("entry:%d failed:%d success:yes bytes:%d", c.records, startFailed, sentBytes)) +
                      std::count(traces.begin(), traces.end(), prefix + fmt("result:%d entry:%d Bytes:%d failed:%d", startFailed ? 3 : 0, c.records, sentBytes, startFailed)), 2);
            std::string lastSequence;  // the endpoint's sequence numbers grow: settled records read back in the order they were settled
            for (const int i : settled) {
                const ReadBack r = readBack(id, i);
                EXPECT_EQ(r.outcome + (r.sequence > lastSequence ? "" : " out of order"), std::string(c.stream) + " shardId-000000000000 seq 1 ") << i;
                lastSequence = r.sequence;
            }
            for (const int i : pending) EXPECT_EQ(readBack(id, i).outcome, std::string(c.stream) + "   0 " + firstError[i]) << i;
            const std::vector<SentRecord>& held = requests.back().records;  // what the list holds after the send
            for (int i = 0; i < c.records && c.output > 0; ++i) {
                const SentRecord none{"", "", ""}, &record = static_cast<std::size_t>(i) < held.size() ? held[i] : none;
                const ReadBack r = readBack(id, i);
                EXPECT_EQ(r.record + (r.guardsIntact ? "" : " overrun"), record.partitionKey + "|" + record.explicitHashKey + "|" + std::to_string(record.data.size())) << i;
            }
        }
        for (const int32_t index : {c.output, -1}) {
            EXPECT_EQ(readBack(id, index).outcome + (readBack(id, index).guardsIntact ? "" : " written"), "refused");
            EXPECT_EQ(clientError(id), fmt("id:%d KinesisEnv::getLastResult error listId:0 index:%d EntryListSize:%d", id, index, c.output));
        }
        host().FreeListRecord(id, -1), host().FreeClient(id);
    }
}

// Would catch counter groups reset between batches or fed by a batch that never retried, a
// firstFailedError that follows a later batch without failures, an empty list that sends anything
// or forgets the outcome of the send before, and a failed record's long message copied past an
// ample read-back buffer (RXK_ERROR_TEXT_BYTES).
TEST(BatchPut, CountersAcrossBatchesAndAnEmptySend) {
    FaultEndpoint endpoint;
    const int32_t id = clientAt(endpoint.endpoint());
    ASSERT_EQ(host().SetParam(id, "retry", "3") + host().CreateListRecord(id), 0);
    const Failures kBatches[] = {{{1, {0, 1}}, {2, {0}}}, {{1, {2}}}, {}};
    for (const Failures& failures : kBatches) {
        endpoint.load(script(failures, "", fmt("batch %d ", static_cast<int>(&failures - kBatches) + 1)));
        ASSERT_EQ(host().ClearListRecord(id, 0), 0);
        for (int i = 0; i < 3; ++i) ASSERT_EQ(host().AddRecordToList(id, 0, "pk", nullptr, "data", 4), 0);
        ASSERT_EQ(host().PutRecords(id, 0, "orders", nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    }
    EXPECT_EQ(param(id, "retryattemptFailRecords") + " " + param(id, "retryattemptPutRecords"),
              "1;1;2;4;batch 2 failure of attempt 1 1;1;2;3;batch 2 failure of attempt 1");

    endpoint.clear();
    ASSERT_EQ(host().ClearListRecord(id, 0), 0);
    LogCapture::reset();
    int32_t put = -7, failed = -7, bytes = -7, output = -7;
    EXPECT_EQ(host().PutRecords(id, 0, "other", &put, &failed, &bytes, &output, "t"), 0);
    EXPECT_EQ(std::vector<int32_t>({put, failed, bytes, output, endpoint.count()}), std::vector<int32_t>(5, 0));
    EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{fmt("id:%d KinesisEnv::putRecords [other] no records", id)});
    EXPECT_EQ(readBack(id, 2).outcome, "orders shardId-000000000000 seq 1 ");

    const std::string message(5000, 'm');
    endpoint.load(R"({"rules":[{"operation":"PutRecords","answer":{"fail_records":{"positions":[0],"message":")" + message + "\"}}}]}");
    ASSERT_EQ(host().AddRecordToList(id, 0, "pk", nullptr, "data", 4), 0);
    ASSERT_EQ(host().PutRecords(id, 0, "orders", nullptr, nullptr, nullptr, nullptr, nullptr), 3);
    const ReadBack longMessage = readBack(id, 0);
    EXPECT_EQ(longMessage.outcome + (longMessage.guardsIntact ? "" : " overrun"), "orders   0 " + message.substr(0, RXK_ERROR_TEXT_BYTES - 1));
}

}  // namespace
}  // namespace rxk::test
