// The call frame of every export: its words for a bad id, a refused argument and a freed client,
// where those words go, the trace line after the method, and GetErrorStr's own refusals.
#include "host.h"

#include <functional>

namespace rxk::test {
namespace {

char text[kTextBytes], data[] = "data";
int32_t number; uint32_t count; unsigned char flag;  // the outputs the calls pass
int32_t noRecords(int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; }

// The call as the host makes it, with id and arguments that pass the frame unless a row says so.
#define CALL(expression) [](Library & l, int32_t id) { return (expression); }

// Would catch a wrong word or blank in a frame text (they differ from export to export), a text
// sent to the wrong place, a range test off by one, a method called for a freed client, an
// argument test missing (the method handed a null pointer or an empty record), and refusal
// words that name the argument instead of the id. Rows without a freed-slot text pass a refused
// argument: the id 1 of a live client then gets the bad-id words too, as does the freed id 0.
TEST(FrameWords, BadIdsFreedSlotsAndRefusedArguments) {
    struct Case { const char* badId; const char* freed; bool logOnly; std::function<int32_t(Library&, int32_t)> call; };
    const Case kRows[] = {
        {"SetParam", "SetParam id %d  is NULL", true, CALL(l.SetParam(id, "retry", "1"))},
        {"GetParam", "GetParam id %d  is NULL", true, CALL(l.GetParam(id, "retry", text))},
        {"Dummy", "Dummy id %d  is NULL", true, CALL(l.Dummy(id, "exception"))},
        {"PutRecord", "PutRecord id %d  is NULL", false, CALL(l.PutRecord(id, "s", "pk", nullptr, data, 4))},
        {"PutRecord", nullptr, false, CALL(l.PutRecord(id, nullptr, "pk", nullptr, data, 4))},
        {"PutRecord", nullptr, false, CALL(l.PutRecord(id, "s", "pk", nullptr, nullptr, 4))},
        {"PutRecord", nullptr, false, CALL(l.PutRecord(id, "s", "pk", nullptr, data, 0))},
        {"PutRecord", nullptr, false, CALL(l.PutRecord(id, "s", "pk", nullptr, data, -5))},
        {"GetLastResultPutRecord", "GetLastResultPutRecord id %d  is NULL", false,
         CALL(l.GetLastResultPutRecord(id, text, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr))},
        {"GetLastResultPutRecord", nullptr, false,
         CALL(l.GetLastResultPutRecord(id, nullptr, nullptr, nullptr, nullptr, text, text, text, &count))},
        {"CreateListRecord", "CreateListRecord id %d is NULL", false, CALL(l.CreateListRecord(id))},
        {"ClearRecordList", "ClearListRecord id %d is NULL", false, CALL(l.ClearListRecord(id, 0))},
        {"FreeListRecord", "FreeListRecord id %d is NULL", false, CALL(l.FreeListRecord(id, 0))},
        {"GetListRecordInfo", "GetListRecordInfo id %d is NULL", false, CALL(l.GetListRecordInfo(id, 0, &count, nullptr))},
        {"AddRecordToList", "AddRecordToList id %d  is NULL", false, CALL(l.AddRecordToList(id, 0, "pk", nullptr, data, 4))},
        {"AddRecordToList", nullptr, false, CALL(l.AddRecordToList(id, 0, "pk", nullptr, data, 0))},
        {"AddRecordToList", nullptr, false, CALL(l.AddRecordToList(id, 0, "pk", nullptr, data, -1))},
        {"AddRecordToList", nullptr, false, CALL(l.AddRecordToList(id, 0, "pk", nullptr, nullptr, 4))},
        {"PutRecords", "PutRecords id %d is NULL", false, CALL(l.PutRecords(id, 0, "s", nullptr, nullptr, nullptr, nullptr, nullptr))},
        {"PutRecords", nullptr, false, CALL(l.PutRecords(id, 0, nullptr, &number, &number, &number, &number, "tag"))},
        {"GetLastResultPutRecords", "GetLastResultPutRecords id %d  is NULL", false,
         CALL(l.GetLastResultPutRecords(id, 0, 0, nullptr, nullptr, nullptr, &flag, nullptr, nullptr, nullptr, nullptr))},
        {"GetLastResultPutRecords", nullptr, false,
         CALL(l.GetLastResultPutRecords(id, 0, 0, nullptr, nullptr, nullptr, nullptr, text, text, text, &count))},
        {"StartShardIterator", "StartShardIterator id %d  is NULL", false,
         CALL(l.StartShardIterator(id, "s", "sh", nullptr, 10, RXK_LATEST))},
        {"StartShardIterator", nullptr, false, CALL(l.StartShardIterator(id, nullptr, "sh", nullptr, 1, 4))},
        {"StartShardIterator", nullptr, false, CALL(l.StartShardIterator(id, "s", nullptr, nullptr, 1, 4))},
        {"NextShardIterator", "NextShardIterator id %d  is NULL", false, CALL(l.NextShardIterator(id, "s", "sh"))},
        {"NextShardIterator", nullptr, false, CALL(l.NextShardIterator(id, "s", nullptr))},
        {"GetRecordFromIterator", "GetRecordFromIterator id %d  is NULL", false,
         CALL(l.GetRecordFromIterator(id, "s", "sh", nullptr, text, &number))},
        {"GetRecordFromIterator", nullptr, false, CALL(l.GetRecordFromIterator(id, "s", "sh", text, nullptr, &number))},
        {"GetRecordFromIterator", nullptr, false, CALL(l.GetRecordFromIterator(id, "s", "sh", text, text, nullptr))},
        {"PollShardIterator", "PollShardIterator id %d  is NULL", false, CALL(l.PollShardIterator(id, "s", "sh", noRecords))},
        {"PollShardIterator", nullptr, false, CALL(l.PollShardIterator(id, "s", "sh", nullptr))},
        {"StopShardIterator", "StopShardIterator id %d  is NULL", false, CALL(l.StopShardIterator(id, "s", "sh"))},
        {"StopShardIterator", nullptr, false, CALL(l.StopShardIterator(id, nullptr, "sh"))},
        {"GetRecord", "GetRecord id %d  is NULL", false, CALL(l.GetRecord(id, "s", "sh", "1", text, &number))},
        {"GetRecord", nullptr, false, CALL(l.GetRecord(id, "s", "sh", nullptr, text, &number))},
        {"GetData", "GetData id %d  is NULL", false, CALL((number = 16, l.GetData(id, 0, nullptr, nullptr, text, &number, ';')))},
        {"GetData", nullptr, false, CALL(l.GetData(id, 0, nullptr, nullptr, nullptr, &number, ';'))},
        {"GetData", nullptr, false, CALL(l.GetData(id, 0, nullptr, nullptr, text, nullptr, ';'))},
        {"GetData", "GetData id %d  is NULL", false, CALL((number = 16, l.GetListStreams(id, text, &number)))},
        {"GetData", "GetData id %d  is NULL", false, CALL((number = 16, l.GetListShards(id, "s", text, &number)))},
        {"GetData", nullptr, false, CALL(l.GetListShards(id, "s", text, nullptr))},
        {"GetData", "GetData id %d  is NULL", false, CALL((number = 16, l.GetShardDetails(id, "s", "sh", text, &number)))},
        {"CreateStream", "CreateStream id %d  is NULL", false, CALL(l.CreateStream(id, "s", 1))},
        {"CreateStream", nullptr, false, CALL(l.CreateStream(id, nullptr, 1))},
        {"GetErrorStr", "GetErrorStr id %d  is NULL", false, CALL(l.GetErrorStr(id, text, 256) == text ? -1 : 0)},
        {"GetErrorStr", nullptr, false, CALL(l.GetErrorStr(id, nullptr, 100) ? 0 : -1)},
    };
    auto lib = freshLibrary(true);  // module state as at load: clients 0 and 1, client 0 freed
    ASSERT_EQ(newClient(*lib) + newClient(*lib) + lib->FreeClient(0), 1);
    for (const Case& c : kRows) {
        SCOPED_TRACE(std::string(c.badId) + (c.freed ? "" : " with a refused argument"));
        for (const int32_t id : {-1, 2, INT32_MIN, INT32_MAX, 0, 1}) {
            if (id == 1 && c.freed) continue;
            const std::string words = "rxKinesis::" + (id == 0 && c.freed ? fmt(c.freed, id) : fmt("%s bad param id %d", c.badId, id));
            lib->SetGlobalErrorStr("untouched"), LogCapture::reset();
            EXPECT_EQ(c.call(*lib, id), -1) << id;
            const bool inBuffer = std::string(c.badId) == "GetErrorStr" && c.freed;  // GetErrorStr's words are in the caller's buffer too
            EXPECT_EQ(globalError(*lib) + "\n" + logWithLengths() + std::to_string(LogCapture::traceTexts().size()) + (inBuffer ? text : ""),
                      (c.logOnly ? "untouched" : words) + "\n" + withLength(words) + "0" + (inBuffer ? words : ""));
            EXPECT_EQ(clientError(1, *lib), "");
        }
    }
}

}  // namespace
}  // namespace rxk::test
