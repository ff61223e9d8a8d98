// Record lists through the exports: the row and size limits at their exact boundaries, list ids
// and their reuse, the -1 of "all lists", unknown ids and free slots for every list operation.
// No request reaches a service: every send here is refused or empty before it would go out.
#include "host.h"

#include <thread>

namespace rxk::test {
namespace {

enum class Op { Create, Free, Clear, Add, Count, Bytes, Info, InfoNone, InfoElsewhere, Param, Put, ReadBack, PutOne, LastPut };
// One call; `a` and `b` are the keys of Add (nullptr: not given), the key and value of Param, or
// PutOne's stream and LastPut's expected one (with `b`, LastPut passes no stream or shard buffer).
struct Step { Op op; int32_t list; int32_t result; const char* a = "pk"; const char* b = nullptr; int32_t length = 10; int times = 1; };

// Runs a step; outputs that a failed call must have zeroed turn a failure into -99.
int32_t run(int32_t id, const Step& s) {
    Library& l = host();
    const std::string data(static_cast<std::size_t>(std::max(s.length, 0)), 'd');
    uint32_t count = 7, bytes = 7;
    int32_t put = 7, failed = 7, sent = 7, output = 7, result = 0;
    unsigned char success = 7;
    std::string stream(290, 'S');  // a stream name buffer holding a text longer than any name, and a shard id
    char shard[8] = "shard-x";
    switch (s.op) {
        case Op::Create: return l.CreateListRecord(id);
        case Op::Free: return l.FreeListRecord(id, s.list);
        case Op::Clear: return l.ClearListRecord(id, s.list);
        case Op::Add: for (int i = 0; i < s.times && result == 0; ++i) result = l.AddRecordToList(id, s.list, s.a, s.b, data.data(), s.length);
            return result;
        case Op::Count: return l.GetListRecordInfo(id, s.list, &count, nullptr) == 0 ? static_cast<int32_t>(count) : -99;
        case Op::Bytes: return l.GetListRecordInfo(id, s.list, nullptr, &bytes) == 0 ? static_cast<int32_t>(bytes) : -99;
        case Op::Info: result = l.GetListRecordInfo(id, s.list, &count, &bytes); return count + bytes == 0 ? result : -99;
        case Op::InfoNone: return l.GetListRecordInfo(id, s.list, nullptr, nullptr);
        case Op::InfoElsewhere: std::thread([&] { result = l.GetListRecordInfo(id, s.list, nullptr, &bytes); }).join(); return result;
        case Op::Param: return l.SetParam(id, s.a, s.b);
        case Op::Put: result = l.PutRecords(id, s.list, "s", &put, &failed, &sent, &output, "tag");
            return put + failed + sent + output == 0 ? result : -99;
        case Op::ReadBack: result = l.GetLastResultPutRecords(id, s.list, 0, nullptr, nullptr, nullptr, &success, nullptr, nullptr, nullptr, nullptr);
            return result + (success == 7 ? 0 : -99);
        case Op::PutOne: return l.PutRecord(id, s.a, "pk", nullptr, data.data(), s.length);
        case Op::LastPut: result = l.GetLastResultPutRecord(id, s.b ? nullptr : stream.data(), s.b ? nullptr : shard, nullptr, &success, nullptr,
                                                            nullptr, nullptr, nullptr);
            return result == 0 ? (stream.c_str() == std::string(s.a) ? 0 : -99) : result + (success == 7 ? 0 : -99);
    }
    return -100;
}

// Would catch a limit off by one (the 500th record refused or the 501st taken, a sum equal to
// maxputlen accepted), the explicit hash key gathered into the size or a random key counted
// once in the test, limits compared as signed, a list id that isn't the lowest free one, a clear
// or free of "all" that misses a list, an unknown id or free slot that is read or reported with
// the wrong words or to the wrong place, and trace lines that show a drawn key instead of the
// arguments, or frame trace lines with the wrong words. The single put's read-back without a result is here too: it writes nothing, reads
// the caller's buffers no further than a name, and an empty stream name is no result. Every row starts on a new client with list 0 created; texts carry the client id.
TEST(RecordLists, Scripts) {
    using O = Op;
    const std::string kNoResult = "id:%d KinesisEnv::getLastResult [" + std::string(RXK_NAME_BYTES - 1, 'S') + "]:[shard-x] error no result available";
    struct Case { const char* name; std::vector<Step> steps; const char* error; std::vector<const char*> log, traces; };
    const Case kRows[] = {
        {"the 500th record is taken, the 501st refused",
         {{O::Add, 0, 0, "pk", nullptr, 10, 500}, {O::Add, 0, -2}, {O::Count, 0, 500}, {O::Bytes, 0, 6000}},
         "id:%d KinesisEnv::addRecordToList listId:0 error request can only support 500 records", {}, {}},
        {"maxputrow 0 refuses every record",
         {{O::Param, 0, 0, "maxputrow", "0"}, {O::Add, 0, -2}, {O::Add, 0, -2, nullptr}, {O::Count, 0, 0}},
         "id:%d KinesisEnv::addRecordToList listId:0 error request can only support 0 records", {}, {}},
        {"a size equal to maxputlen is refused, one byte less passes; the hash key is not gathered",
         {{O::Param, 0, 0, "maxputlen", "100"}, {O::Add, 0, -3, "pk", "12", 96}, {O::Add, 0, 0, "pk", "12", 95},
         {O::Bytes, 0, 97}, {O::Add, 0, -3, "pk", nullptr, 1}, {O::Add, 0, 0, "", nullptr, 1}, {O::Count, 0, 2},
         {O::Bytes, 0, 98}}, "id:%d KinesisEnv::addRecordToList listId:0 error request limited to 100 Mo", {}, {}},
        {"a random key counts twice in the test (at least 52 bytes against 50)",
         {{O::Param, 0, 0, "maxputlen", "50"}, {O::Add, 0, -3, nullptr}, {O::Count, 0, 0}},
         "id:%d KinesisEnv::addRecordToList listId:0 error request limited to 50 Mo", {}, {}},
        {"negative limits compare as unsigned and lift the limits", {{O::Param, 0, 0, "maxputrow", "-1"},
         {O::Add, 0, 0, "pk", nullptr, 1, 501}, {O::Param, 0, 0, "maxputlen", "-1"}, {O::Add, 0, 0, "pk", nullptr, 5000001},
         {O::Count, 0, 502}, {O::Bytes, 0, 501 * 3 + 5000003}}, "", {}, {}},
        {"the lowest free list id is taken first",
         {{O::Create, 0, 1}, {O::Create, 0, 2}, {O::Free, 1, 0}, {O::Free, 1, 0}, {O::Create, 0, 1}, {O::Create, 0, 3}}, "",
         {}, {"id:%d KinesisEnv::createListRecord listId:1 [reuse]", "id:%d KinesisEnv::createListRecord listId:3 [new]",
          "rxKinesis::CreateListRecord id:%d listId:3", "rxKinesis::FreeListRecord id:%d listId:1"}},
        {"freeing all lists restarts the ids at 0",
         {{O::Create, 0, 1}, {O::Free, -1, 0}, {O::Create, 0, 0}, {O::Count, 1, -99}},
         "id:%d KinesisEnv::getListRecordInfo listId:1 not found",
         {"id:%d KinesisEnv::getListRecordInfo listId:1 not found"}, {"id:%d KinesisEnv::createListRecord listId:0 [new]"}},
        {"clearing all lists of a client without lists", {{O::Free, -1, 0}, {O::Clear, -1, 0}}, "", {}, {}},
        {"a clear empties one list or all, and the lists take records again", {{O::Create, 0, 1}, {O::Add, 0, 0},
         {O::Add, 1, 0, "pk", nullptr, 10, 2}, {O::Clear, 0, 0}, {O::Count, 0, 0}, {O::Bytes, 0, 0}, {O::Count, 1, 2},
         {O::Clear, -1, 0}, {O::Count, 1, 0}, {O::Bytes, 1, 0}, {O::Add, 1, 0}, {O::Bytes, 1, 12}}, "", {},
         {"rxKinesis::ClearListRecord id:%d listId:0", "rxKinesis::GetListRecordInfo id:%d listId:1"}},
        {"clearing an unknown list answers 0 and still reports", {{O::Clear, 5, 0}},
         "id:%d KinesisEnv::clearListRecord listId:5 not found", {"id:%d KinesisEnv::clearListRecord listId:5 not found"},
         {}},
        {"freeing an unknown list", {{O::Free, 5, -1}, {O::Free, -2, -1}},
         "id:%d KinesisEnv::freeListRecord list [-2] not found",
         {"id:%d KinesisEnv::freeListRecord list [5] not found", "id:%d KinesisEnv::freeListRecord list [-2] not found"},
         {}},
        {"-1 is no list to AddRecordToList", {{O::Add, -1, -1}}, "id:%d KinesisEnv::addRecordToList list [-1] not found",
         {"id:%d KinesisEnv::addRecordToList list [-1] not found"}, {"rxKinesis::AddRecordToList id:%d listId:-1 lenBuffer:10 result:-1"}},
        {"-1 is no list to GetListRecordInfo", {{O::Info, -1, -1}, {O::InfoNone, 0, 0}},
         "id:%d KinesisEnv::getListRecordInfo listId:-1 not found",
         {"id:%d KinesisEnv::getListRecordInfo listId:-1 not found"}, {}},
        {"-1 is no list to PutRecords", {{O::Put, -1, -1}}, "id:%d KinesisEnv::putRecords listId:-1 not found",
         {"id:%d KinesisEnv::putRecords listId:-1 not found"}, {"rxKinesis::PutRecords id:%d listId:-1 put:0 failed:0 bytes:0 output:0"}},
        {"-1 is no list to GetLastResultPutRecords", {{O::ReadBack, -1, -1}},
         "id:%d KinesisEnv::getLastResult list [-1] not found", {"id:%d KinesisEnv::getLastResult list [-1] not found"},
         {"rxKinesis::GetLastResultPutRecords id:%d listId:-1"}},
        {"a free slot is reported, never read, and leaves the last-error text", {{O::Create, 0, 1}, {O::Free, 1, 0},
         {O::ReadBack, 1, -1}, {O::Add, 1, -1}, {O::Clear, 1, 0}, {O::InfoNone, 1, 0}, {O::Put, 1, -1}, {O::Count, 0, 0},
         {O::Create, 0, 1}}, "id:%d KinesisEnv::getLastResult list [1] not found",
         {"id:%d KinesisEnv::getLastResult list [1] not found",
         "id:%d KinesisEnv::addRecordToList ListId:1 PutRecordsData NULL",
         "id:%d KinesisEnv::clearListRecord ListId:1 PutRecordsData NULL",
         "id:%d KinesisEnv::getListRecordInfo ListId:1 PutRecordsData NULL",
         "id:%d KinesisEnv::putRecords ListId:1 tag:[tag] PutRecordsData NULL"}, {}},
        {"asked for a count, a free slot ends as an access violation at step 4",
         {{O::Create, 0, 1}, {O::Free, 1, 0}, {O::Info, 1, -5}},
         "id:%d KinesisEnv::getListRecordInfo listId:1 step:4 size:2 Exception:[SE_Exception: Access Violation]",
         {"id:%d KinesisEnv::getListRecordInfo ListId:1 PutRecordsData NULL",
         "id:%d KinesisEnv::getListRecordInfo listId:1 step:4 size:2 Exception:[SE_Exception: Access Violation]"}, {}},
        {"asked for the size on a thread without the translator: step 5, nameless",
         {{O::Create, 0, 1}, {O::Free, 1, 0}, {O::InfoElsewhere, 1, -5}},
         "id:%d KinesisEnv::getListRecordInfo listId:1 step:5 size:2 Exception:[unknow]",
         {"id:%d KinesisEnv::getListRecordInfo ListId:1 PutRecordsData NULL",
         "id:%d KinesisEnv::getListRecordInfo listId:1 step:5 size:2 Exception:[unknow]"}, {}},
        {"a single put's read-back before any put reads no more of the buffers than a name holds", {{O::LastPut, 0, -1}},
         kNoResult.c_str(), {kNoResult.c_str()}, {}},
        {"a single put's read-back without stream and shard buffers", {{O::LastPut, 0, -1, "", "without stream and shard buffers"}},
         "id:%d KinesisEnv::getLastResult []:[] error no result available",
         {"id:%d KinesisEnv::getLastResult []:[] error no result available"}, {}},
        {"a put to the stream named \"\" leaves no result (nothing listens here: the put fails)",
         {{O::PutOne, 0, -1, ""}, {O::LastPut, 0, -1}}, kNoResult.c_str(),
         {"id:%d KinesisEnv::putRecord [] error :*", "*", kNoResult.c_str()}, {}},
        {"refused puts never reach the method: the read-back names the stream of the last put",
         {{O::PutOne, 0, -1, "stream-a"}, {O::PutOne, 0, -1, "stream-b", nullptr, 0},
         {O::PutOne, 0, -1, "stream-b", nullptr, -5}, {O::PutOne, 0, -1, nullptr}, {O::LastPut, 0, 0, "stream-a"}},
         "id:%d KinesisEnv::putRecord [stream-a] error :*", {"id:%d KinesisEnv::putRecord [stream-a] error :*", "*",
         "rxKinesis::PutRecord bad param id %d", "rxKinesis::PutRecord bad param id %d",
         "rxKinesis::PutRecord bad param id %d"}, {}},
        {"an empty list sends nothing", {{O::Put, 0, 0}}, "", {"id:%d KinesisEnv::putRecords [s] no records"}, {}},
        {"trace lines show the keys as given, not a drawn one", {{O::Add, 0, 0, nullptr}, {O::Add, 0, 0, "p", "7"}}, "", {},
         {"id:%d KinesisEnv::addRecordToList listId:0 partitionKey:NULL explicitHashKey:NULL lenData:10",
         "id:%d KinesisEnv::addRecordToList listId:0 lenData:10 sizeList:1 [PK]:[NULL] [HK]:[NULL]",
         "id:%d KinesisEnv::addRecordToList listId:0 partitionKey:OK explicitHashKey:OK lenData:10",
         "id:%d KinesisEnv::addRecordToList listId:0 lenData:10 sizeList:2 [PK]:[p] [HK]:[7]"}},
    };
    const auto matches = [](const std::string& text, const std::string& pattern) {  // a pattern ending in '*' is a prefix
        return pattern.back() == '*' ? text.rfind(pattern.substr(0, pattern.size() - 1), 0) == 0 : text == pattern; };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const int32_t id = clientAt("http://127.0.0.1:9");
        ASSERT_EQ(host().CreateListRecord(id), 0);
        LogCapture::reset();
        for (std::size_t i = 0; i < c.steps.size(); ++i) EXPECT_EQ(run(id, c.steps[i]), c.steps[i].result) << "step " << i;
        const std::string error = clientError(id);
        EXPECT_TRUE(error.empty() == !*c.error && (!*c.error || matches(error, fmt(c.error, id)))) << error;
        const auto log = LogCapture::logTexts();
        ASSERT_EQ(log.size(), c.log.size());
        for (std::size_t i = 0; i < log.size(); ++i) EXPECT_TRUE(matches(log[i], fmt(c.log[i], id))) << log[i];
        for (const char* line : c.traces) EXPECT_TRUE(LogCapture::traceContains(fmt(line, id))) << fmt(line, id);
        host().FreeListRecord(id, -1), host().FreeClient(id);
    }
}

}  // namespace
}  // namespace rxk::test
