// The catalogue against answers kinesalite never gives, from the fault endpoint: a page failing
// after good pages, pages that say "more" without shards, closed shards, accounts without
// streams, failed or unfinished stream lists, and stream creation refused without a message.
#include "fault_endpoint.h"
#include "host.h"

namespace rxk::test {
namespace {

std::string shardId(int n) { return fmt("shardId-%012d", n); }

std::string describePage(const std::string& shards, bool more) {
    return R"({"operation":"DescribeStream","answer":{"json":{"StreamDescription":{"StreamName":"s","StreamStatus":"ACTIVE",)"
           R"("StreamARN":"arn:aws:kinesis:us-east-1:000000000000:stream/s","RetentionPeriodHours":24,)"
           R"("StreamCreationTimestamp":1767225600,"EnhancedMonitoring":[],"HasMoreShards":)" +
           std::string(more ? "true" : "false") + R"(,"Shards":[)" + shards + "]}}}}";
}

// Would catch shards of good pages surviving a failed page or its two-part report lost, a paging
// loop that stops early, restarts from the first page or sends a limit, a first page without
// shards that loops or ends without "NO SHARDS", a service that keeps saying "more" without
// moving on hanging the call, or a new shard on every page holding it for good, details written for a shard that doesn't match or a closed shard's
// text ending in the delimiter, an account without streams listed as success, a failed
// ListStreams without the service's message, ListStreams paging or fields it doesn't use, and a
// type without listing or a missing name that reaches the service or ends in more than its words.
TEST(CatalogueFaults, PagesAndStreamLists) {
    const std::string all250 = [] { std::string t; for (int i = 0; i < 250; ++i) t += (i ? ";" : "") + shardId(i); return t; }();
    const std::string closedPages = describePage(
        R"({"ShardId":"shardId-000000000002","ParentShardId":"shardId-000000000000","HashKeyRange":{"StartingHashKey":"0","EndingHashKey":"99"},)"
        R"("SequenceNumberRange":{"StartingSequenceNumber":"100","EndingSequenceNumber":"200"}},{"ShardId":"shardId-000000000003",)"
        R"("HashKeyRange":{"StartingHashKey":"100","EndingHashKey":"199"},"SequenceNumberRange":{"StartingSequenceNumber":"300"}})", false);
    const std::string twoOfFour = R"({"operation":"DescribeStream","attempts":[1],"answer":{"describe_pages":{"stream":"s","shards":4,"shards_per_page":2}}})";
    const std::string stream250 = R"("streams":[{"name":"s","shards":250,"shards_per_page":100}])";
    const std::string noResult = "id:%d KinesisEnv::getData no result";
    std::vector<std::string> tenThousandStarts{""};
    for (int i = 0; i < 9999; ++i) tenThousandStarts.push_back(shardId(i));
    struct Case { const char* name; std::string script; int32_t type; const char *stream, *shard; int32_t result; std::string text;
                  std::vector<std::string> log; std::vector<std::string> starts; };  // starts: ExclusiveStartShardId by request, "-" ListStreams
    const Case kRows[] = {
        {"250 shards in three pages", "{" + stream250 + "}", 1, "s", nullptr, 0, all250, {}, {"", shardId(99), shardId(199)}},
        {"a page failing after good pages", "{" + stream250 + R"(,"rules":[{"operation":"DescribeStream","attempts":[3],)"
         R"("answer":{"error":"LimitExceededException","message":"Rate exceeded for stream s."}}]})", 1, "s", nullptr, -1, "",
         {"id:%d KinesisEnv::getListShardOrShardDetails ERROR:", "Rate exceeded for stream s.", noResult}, {"", shardId(99), shardId(199)}},
        {"a stream still saying more after 10000 pages", R"({"streams":[{"name":"s","shards":10001,"shards_per_page":1}]})", 1, "s", nullptr, -1, "",
         {"id:%d KinesisEnv::getListShardOrShardDetails ERROR:", "stopped after 10000 pages: the service kept saying there were more shards",
          noResult}, tenThousandStarts},
        {"a first page saying more without shards", R"({"rules":[)" + describePage("", true) + "]}", 2, "s", "shardId-000000000000", -1, "",
         {"id:%d KinesisEnv::getListShardOrShardDetails ERROR NO SHARDS", noResult}, {""}},
        {"pages that don't move on end the listing", R"({"rules":[)" + twoOfFour + "," + describePage("", true) + "]}", 1, "s", nullptr, 0,
         shardId(0) + ";" + shardId(1), {}, {"", shardId(1)}},
        {"a closed shard's details across pages", R"({"rules":[)" + twoOfFour + "," + closedPages + "]}", 2, "s", "shardId-000000000002", 0,
         "shardId-000000000002;0;99;100;200", {}, {"", shardId(1)}},
        {"an open shard's details end in the delimiter", R"({"rules":[)" + twoOfFour + "," + closedPages + "]}", 2, "s", "shardId-000000000003", 0,
         "shardId-000000000003;100;199;300;", {}, {"", shardId(1)}},
        {"an account without streams", R"({"rules":[{"operation":"ListStreams","answer":{"streams_page":{"names":[],"has_more":false}}}]})",
         0, nullptr, nullptr, -1, "", {"id:%d KinesisEnv::getListStream error : [list streams empty]", noResult}, {"-"}},
        {"a failed stream list", R"({"rules":[{"operation":"ListStreams","answer":{"error":"ValidationException","message":"Bad request."}}]})",
         0, nullptr, nullptr, -1, "", {"id:%d KinesisEnv::getListStream error : [Bad request.]", noResult}, {"-"}},
        {"only the first stream list answer counts", R"({"rules":[{"operation":"ListStreams","answer":{"streams_page":{"names":["a","b"],"has_more":true}}}]})",
         0, nullptr, nullptr, 0, "a;b", {}, {"-"}},
        {"type 3 asks nothing", "{}", 3, "s", "shardId-000000000000", -1, "", {noResult}, {}},
        {"type -1 asks nothing", "{}", -1, "s", nullptr, -1, "", {noResult}, {}},
        {"shards without a stream name", "{}", 1, nullptr, "ignored", -1, "", {"id:%d KinesisEnv::getData missing stream name", noResult}, {}},
        {"details without a shard id", "{}", 2, "s", nullptr, -1, "", {"id:%d KinesisEnv::getData missing stream name or shard id", noResult}, {}},
        {"details without a stream name", "{}", 2, nullptr, "shardId-000000000000", -1, "",
         {"id:%d KinesisEnv::getData missing stream name or shard id", noResult}, {}},
    };
    FaultEndpoint endpoint;
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        endpoint.load(c.script);
        endpoint.clear();
        const int32_t id = clientAt(endpoint.endpoint());
        LogCapture::reset();
        int32_t length = 1 << 16;
        std::vector<char> buffer(static_cast<std::size_t>(length), 'x');
        EXPECT_EQ(host().GetData(id, c.type, c.stream, c.shard, buffer.data(), &length, ';'), c.result);
        EXPECT_EQ(std::string(buffer.data()) + "|" + std::to_string(length), c.text + "|" + std::to_string(c.result ? 0 : c.text.size() + 1));
        std::vector<std::string> log;
        for (const std::string& line : c.log) log.push_back(fmt(line.c_str(), id));
        EXPECT_EQ(LogCapture::logTexts(), log);
        EXPECT_EQ(clientError(id), log.size() < 2 ? "" : log[0] + (log.size() == 3 ? log[1] : ""));  // "no result" alone sets none
        const auto requests = endpoint.requests();
        ASSERT_EQ(requests.size(), c.starts.size());
        for (std::size_t k = 0; k < requests.size(); ++k) {
            const std::string& body = requests[k].body;
            EXPECT_EQ(body.find("Limit") + body.find("ExclusiveStartStreamName"), 2 * std::string::npos) << body;
            EXPECT_EQ(body.find("ExclusiveStartShardId") == std::string::npos, c.starts[k].empty() || c.type == 0) << body;
            EXPECT_NE(body.find(c.starts[k] == "-" ? "" : c.starts[k]), std::string::npos) << body;
        }
        host().FreeClient(id);
    }
}

// Would catch a created stream that doesn't show or whose shard count isn't sent as given, a
// refusal without the service's words, with them in two sink calls (it is one, made under the
// client's lock) or without its trailing blank when the service gives no message, a failure that
// needs a log sink to reach the last-error text, and a success that clears an earlier failure.
TEST(CatalogueFaults, CreateStream) {
    const char* const kInUse = R"({"rules":[{"operation":"CreateStream","answer":{"error":"ResourceInUseException","message":"%s"}}]})";
    struct Case { const char* script; const char* stream; int32_t shards; bool sinks; const char* words; };
    const Case kRows[] = {{"", "s", -3, true, ""}, {"Stream s already exists.", "s", 1, false, "Stream s already exists."},
                          {nullptr, "created", 2, true, nullptr}, {nullptr, "zero", 0, true, nullptr}};
    FaultEndpoint endpoint;
    const int32_t id = clientAt(endpoint.endpoint());
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.stream + std::to_string(c.shards));
        endpoint.load(c.script ? fmt(kInUse, c.script) : "{}");
        endpoint.clear();
        const std::string before = clientError(id);
        host().InitLogEventCallBack(c.sinks ? LogCapture::logSink : nullptr, LogCapture::traceSink);
        LogCapture::reset();
        EXPECT_EQ(host().CreateStream(id, c.stream, c.shards), c.words ? -1 : 0);
        host().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        const std::string line = fmt("id:%d KinesisEnv::createStream [%s] with %d shard", id, c.stream, c.shards);
        const std::string error = c.words ? line + " error : " + c.words : before;
        EXPECT_EQ(clientError(id), error);
        EXPECT_EQ(logWithLengths(), c.words && c.sinks ? withLength(error) : "");
        EXPECT_EQ(LogCapture::traceTexts().at(0) == line, !c.words);  // the frame's own line follows in any case
        EXPECT_NE(endpoint.requests("CreateStream").at(0).body.find(fmt("\"ShardCount\":%d", c.shards)), std::string::npos);
        char text[200] = {};
        int32_t length = sizeof text;
        if (!c.words && c.shards) { EXPECT_EQ(std::to_string(host().GetListShards(id, c.stream, text, &length)) + text, "0" + shardId(0) + ";" + shardId(1)); }
    }
}

}  // namespace
}  // namespace rxk::test
