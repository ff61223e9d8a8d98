// The call frame of every export: its exact words for a bad id, a refused argument and a freed
// client, where those words go, and the trace line written after the method.
#include "frame_support.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace rxk::test {
namespace {

using FrameFailures = FrameTest;
using FrameTrace = FrameTest;
using ErrorStrExport = FrameTest;

int32_t noRecords(int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; }

struct ExportCase {
    const char* name;
    const char* badParam;
    const char* freeSlot;
    bool logOnly;  // the frame's words leave the global error text alone
    // Calls the export with id and arguments that pass the frame's tests.
    std::function<int32_t(Library&, int32_t)> call;
};

std::vector<ExportCase> exportCases() {
    static char text[kTextBytes];
    static int32_t number;
    static uint32_t unsignedNumber;
    static unsigned char flag;
    static const char data[] = "data";
    return {
        {"SetParam", "rxKinesis::SetParam bad param id %d", "rxKinesis::SetParam id %d  is NULL", true,
         [](Library& l, int32_t id) { return l.SetParam(id, "retry", "1"); }},
        {"GetParam", "rxKinesis::GetParam bad param id %d", "rxKinesis::GetParam id %d  is NULL", true,
         [](Library& l, int32_t id) { return l.GetParam(id, "retry", text); }},
        {"PutRecord", "rxKinesis::PutRecord bad param id %d", "rxKinesis::PutRecord id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.PutRecord(id, "s", "pk", nullptr, data, 4); }},
        {"GetLastResultPutRecord", "rxKinesis::GetLastResultPutRecord bad param id %d",
         "rxKinesis::GetLastResultPutRecord id %d  is NULL", false,
         [](Library& l, int32_t id) {
             return l.GetLastResultPutRecord(id, text, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                             nullptr);
         }},
        {"CreateListRecord", "rxKinesis::CreateListRecord bad param id %d",
         "rxKinesis::CreateListRecord id %d is NULL", false,
         [](Library& l, int32_t id) { return l.CreateListRecord(id); }},
        {"ClearListRecord", "rxKinesis::ClearRecordList bad param id %d",
         "rxKinesis::ClearListRecord id %d is NULL", false,
         [](Library& l, int32_t id) { return l.ClearListRecord(id, 0); }},
        {"FreeListRecord", "rxKinesis::FreeListRecord bad param id %d", "rxKinesis::FreeListRecord id %d is NULL",
         false, [](Library& l, int32_t id) { return l.FreeListRecord(id, 0); }},
        {"GetListRecordInfo", "rxKinesis::GetListRecordInfo bad param id %d",
         "rxKinesis::GetListRecordInfo id %d is NULL", false,
         [](Library& l, int32_t id) { return l.GetListRecordInfo(id, 0, &unsignedNumber, nullptr); }},
        {"AddRecordToList", "rxKinesis::AddRecordToList bad param id %d",
         "rxKinesis::AddRecordToList id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.AddRecordToList(id, 0, "pk", nullptr, data, 4); }},
        {"PutRecords", "rxKinesis::PutRecords bad param id %d", "rxKinesis::PutRecords id %d is NULL", false,
         [](Library& l, int32_t id) { return l.PutRecords(id, 0, "s", nullptr, nullptr, nullptr, nullptr, nullptr); }},
        {"GetLastResultPutRecords", "rxKinesis::GetLastResultPutRecords bad param id %d",
         "rxKinesis::GetLastResultPutRecords id %d  is NULL", false,
         [](Library& l, int32_t id) {
             return l.GetLastResultPutRecords(id, 0, 0, nullptr, nullptr, nullptr, &flag, nullptr, nullptr,
                                              nullptr, nullptr);
         }},
        {"StartShardIterator", "rxKinesis::StartShardIterator bad param id %d",
         "rxKinesis::StartShardIterator id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.StartShardIterator(id, "s", "shard", nullptr, 10, RXK_LATEST); }},
        {"NextShardIterator", "rxKinesis::NextShardIterator bad param id %d",
         "rxKinesis::NextShardIterator id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.NextShardIterator(id, "s", "shard"); }},
        {"GetRecordFromIterator", "rxKinesis::GetRecordFromIterator bad param id %d",
         "rxKinesis::GetRecordFromIterator id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.GetRecordFromIterator(id, "s", "shard", nullptr, text, &number); }},
        {"PollShardIterator", "rxKinesis::PollShardIterator bad param id %d",
         "rxKinesis::PollShardIterator id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.PollShardIterator(id, "s", "shard", noRecords); }},
        {"StopShardIterator", "rxKinesis::StopShardIterator bad param id %d",
         "rxKinesis::StopShardIterator id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.StopShardIterator(id, "s", "shard"); }},
        {"GetRecord", "rxKinesis::GetRecord bad param id %d", "rxKinesis::GetRecord id %d  is NULL", false,
         [](Library& l, int32_t id) { return l.GetRecord(id, "s", "shard", "1", text, &number); }},
        {"GetData", "rxKinesis::GetData bad param id %d", "rxKinesis::GetData id %d  is NULL", false,
         [](Library& l, int32_t id) {
             number = 16;
             return l.GetData(id, 0, nullptr, nullptr, text, &number, ';');
         }},
        {"GetListStreams", "rxKinesis::GetData bad param id %d", "rxKinesis::GetData id %d  is NULL", false,
         [](Library& l, int32_t id) {
             number = 16;
             return l.GetListStreams(id, text, &number);
         }},
        {"GetListShards", "rxKinesis::GetData bad param id %d", "rxKinesis::GetData id %d  is NULL", false,
         [](Library& l, int32_t id) {
             number = 16;
             return l.GetListShards(id, "s", text, &number);
         }},
        {"GetShardDetails", "rxKinesis::GetData bad param id %d", "rxKinesis::GetData id %d  is NULL", false,
         [](Library& l, int32_t id) {
             number = 16;
             return l.GetShardDetails(id, "s", "shard", text, &number);
         }},
        {"CreateStream", "rxKinesis::CreateStream bad param id %d", "rxKinesis::CreateStream id %d  is NULL",
         false, [](Library& l, int32_t id) { return l.CreateStream(id, "s", 1); }},
        {"Dummy", "rxKinesis::Dummy bad param id %d", "rxKinesis::Dummy id %d  is NULL", true,
         [](Library& l, int32_t id) { return l.Dummy(id, "exception"); }},
    };
}

// Catches a wrong word or blank in a frame text, a text sent to the wrong place, a range test
// that is off by one, and a method called for a freed client.
TEST_F(FrameFailures, BadIdsAndFreedSlotsOfEveryExport) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    ASSERT_EQ(createClient(), 1);
    ASSERT_EQ(lib().FreeClient(0), 0);

    for (const ExportCase& exportCase : exportCases()) {
        SCOPED_TRACE(exportCase.name);
        for (const int32_t badId : {-1, 2, INT32_MIN, INT32_MAX}) {
            lib().SetGlobalErrorStr("untouched");
            LogCapture::reset();
            EXPECT_EQ(exportCase.call(lib(), badId), -1);
            const std::string words = formatted(exportCase.badParam, badId);
            EXPECT_EQ(globalError(), exportCase.logOnly ? "untouched" : words);
            ASSERT_EQ(LogCapture::logLines().size(), 1u);
            EXPECT_EQ(LogCapture::logLines()[0].text, words);
            EXPECT_EQ(LogCapture::logLines()[0].length, static_cast<int32_t>(words.size()));
            EXPECT_TRUE(LogCapture::traceTexts().empty());
        }
        lib().SetGlobalErrorStr("untouched");
        LogCapture::reset();
        EXPECT_EQ(exportCase.call(lib(), 0), -1);
        const std::string words = formatted(exportCase.freeSlot, 0);
        EXPECT_EQ(globalError(), exportCase.logOnly ? "untouched" : words);
        EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{words});
        EXPECT_TRUE(LogCapture::traceTexts().empty());
    }
}

// Catches an argument test missing from the frame (the method would be handed a null pointer
// or an empty record) and words that name the argument instead of the id.
TEST_F(FrameFailures, RefusedArgumentsSpeakOfTheId) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    char text[kTextBytes];
    int32_t number = 16;
    uint32_t size = 0;
    const char data[] = "data";
    struct Refusal {
        const char* words;
        std::function<int32_t()> call;
    };
    Library& l = lib();
    const Refusal refusals[] = {
        {"rxKinesis::PutRecord bad param id 0", [&] { return l.PutRecord(0, nullptr, "pk", nullptr, data, 4); }},
        {"rxKinesis::PutRecord bad param id 0", [&] { return l.PutRecord(0, "s", "pk", nullptr, nullptr, 4); }},
        {"rxKinesis::PutRecord bad param id 0", [&] { return l.PutRecord(0, "s", "pk", nullptr, data, 0); }},
        {"rxKinesis::PutRecord bad param id 0", [&] { return l.PutRecord(0, "s", "pk", nullptr, data, -5); }},
        {"rxKinesis::GetLastResultPutRecord bad param id 0",
         [&] { return l.GetLastResultPutRecord(0, nullptr, nullptr, nullptr, nullptr, text, text, text, &size); }},
        {"rxKinesis::AddRecordToList bad param id 0", [&] { return l.AddRecordToList(0, 0, "pk", nullptr, data, 0); }},
        {"rxKinesis::AddRecordToList bad param id 0", [&] { return l.AddRecordToList(0, 0, "pk", nullptr, data, -1); }},
        {"rxKinesis::AddRecordToList bad param id 0", [&] { return l.AddRecordToList(0, 0, "pk", nullptr, nullptr, 4); }},
        {"rxKinesis::PutRecords bad param id 0",
         [&] { return l.PutRecords(0, 0, nullptr, &number, &number, &number, &number, "tag"); }},
        {"rxKinesis::GetLastResultPutRecords bad param id 0",
         [&] { return l.GetLastResultPutRecords(0, 0, 0, nullptr, nullptr, nullptr, nullptr, text, text, text, &size); }},
        {"rxKinesis::StartShardIterator bad param id 0", [&] { return l.StartShardIterator(0, nullptr, "sh", nullptr, 1, 4); }},
        {"rxKinesis::StartShardIterator bad param id 0", [&] { return l.StartShardIterator(0, "s", nullptr, nullptr, 1, 4); }},
        {"rxKinesis::NextShardIterator bad param id 0", [&] { return l.NextShardIterator(0, "s", nullptr); }},
        {"rxKinesis::GetRecordFromIterator bad param id 0",
         [&] { return l.GetRecordFromIterator(0, "s", "sh", text, nullptr, &number); }},
        {"rxKinesis::GetRecordFromIterator bad param id 0",
         [&] { return l.GetRecordFromIterator(0, "s", "sh", text, text, nullptr); }},
        {"rxKinesis::PollShardIterator bad param id 0", [&] { return l.PollShardIterator(0, "s", "sh", nullptr); }},
        {"rxKinesis::StopShardIterator bad param id 0", [&] { return l.StopShardIterator(0, nullptr, "sh"); }},
        {"rxKinesis::GetRecord bad param id 0", [&] { return l.GetRecord(0, "s", "sh", nullptr, text, &number); }},
        {"rxKinesis::GetData bad param id 0", [&] { return l.GetData(0, 0, nullptr, nullptr, nullptr, &number, ';'); }},
        {"rxKinesis::GetData bad param id 0", [&] { return l.GetData(0, 0, nullptr, nullptr, text, nullptr, ';'); }},
        {"rxKinesis::GetData bad param id 0", [&] { return l.GetListShards(0, "s", text, nullptr); }},
        {"rxKinesis::CreateStream bad param id 0", [&] { return l.CreateStream(0, nullptr, 1); }},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.words);
        lib().SetGlobalErrorStr("");
        LogCapture::reset();
        EXPECT_EQ(refusal.call(), -1);
        EXPECT_EQ(globalError(), refusal.words);
        EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{refusal.words});
        EXPECT_TRUE(LogCapture::traceTexts().empty());
        EXPECT_EQ(clientError(0), "");
    }
}

// Catches trace lines with wrong words or values, lines written without the method having
// run, and out-values read through null pointers.
TEST_F(FrameTrace, LinesAfterTheMethod) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    LogCapture::reset();
    const char data[] = "0123456789";

    EXPECT_EQ(lib().CreateListRecord(0), 0);
    EXPECT_EQ(lib().CreateListRecord(0), 1);
    EXPECT_EQ(lib().AddRecordToList(0, 1, "pk", nullptr, data, 10), 0);
    EXPECT_EQ(lib().AddRecordToList(0, 9, "pk", nullptr, data, 7), -1);
    uint32_t count = 0;
    EXPECT_EQ(lib().GetListRecordInfo(0, 1, &count, nullptr), 0);
    EXPECT_EQ(lib().ClearListRecord(0, 1), 0);
    EXPECT_EQ(lib().FreeListRecord(0, 0), 0);
    EXPECT_EQ(lib().PutRecords(0, 5, "s", nullptr, nullptr, nullptr, nullptr, nullptr), -1);
    int32_t put = 11, failed = 12, bytes = 13, output = 14;
    EXPECT_EQ(lib().PutRecords(0, 5, "s", &put, &failed, &bytes, &output, "tag"), -1);
    EXPECT_EQ(lib().StopShardIterator(0, "s", "shard"), RXK_NO_ITERATOR);
    char text[64];
    int32_t length = 16;
    EXPECT_EQ(lib().GetData(0, 99, nullptr, nullptr, text, &length, ';'), -1);
    EXPECT_EQ(lib().SetParam(0, "retry", "2"), 0);
    EXPECT_EQ(lib().Dummy(0, "no scenario"), 0);

    std::vector<std::string> frameLines;
    for (const std::string& line : LogCapture::traceTexts())
        if (line.rfind("rxKinesis::", 0) == 0) frameLines.push_back(line);
    EXPECT_EQ(frameLines,
              (std::vector<std::string>{
                  "rxKinesis::CreateListRecord id:0 listId:0",
                  "rxKinesis::CreateListRecord id:0 listId:1",
                  "rxKinesis::AddRecordToList id:0 listId:1 lenBuffer:10 result:0",
                  "rxKinesis::AddRecordToList id:0 listId:9 lenBuffer:7 result:-1",
                  "rxKinesis::GetListRecordInfo id:0 listId:1",
                  "rxKinesis::ClearListRecord id:0 listId:1",
                  "rxKinesis::FreeListRecord id:0 listId:0",
                  "rxKinesis::PutRecords id:0 listId:5 put:-1 failed:-1 bytes:-1 output:-1",
                  "rxKinesis::PutRecords id:0 listId:5 put:0 failed:0 bytes:0 output:0",
                  "rxKinesis::StopShardIterator id:0",
                  "rxKinesis::GetData id:0  lenBuffer:" + std::to_string(length),
              }));
    for (const LogLine& line : LogCapture::traceLines())
        EXPECT_EQ(line.length, static_cast<int32_t>(line.text.size())) << line.text;
}

// Catches GetErrorStr overrunning a short buffer with its own failure words, calling into a
// freed client, or tracing without the lengths.
TEST_F(ErrorStrExport, FailuresAndTrace) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    ASSERT_EQ(createClient(), 1);
    ASSERT_EQ(lib().FreeClient(0), 0);
    LogCapture::reset();

    GuardedBuffer wide(256);
    EXPECT_EQ(lib().GetErrorStr(4, wide.data(), wide.length()), wide.data());
    EXPECT_EQ(wide.text(), "rxKinesis::GetErrorStr bad param id 4");
    EXPECT_EQ(globalError(), "rxKinesis::GetErrorStr bad param id 4");

    GuardedBuffer narrow(12);
    EXPECT_EQ(lib().GetErrorStr(-3, narrow.data(), narrow.length()), narrow.data());
    EXPECT_EQ(narrow.text(), "rx [...]");
    EXPECT_TRUE(narrow.guardsIntact());

    GuardedBuffer none(8);
    EXPECT_EQ(lib().GetErrorStr(-3, none.data(), 0), none.data());
    EXPECT_TRUE(none.untouched());

    EXPECT_EQ(lib().GetErrorStr(1, nullptr, 100), nullptr);
    EXPECT_EQ(globalError(), "rxKinesis::GetErrorStr bad param id 1");

    EXPECT_EQ(lib().GetErrorStr(0, wide.data(), wide.length()), wide.data());
    EXPECT_EQ(wide.text(), "rxKinesis::GetErrorStr id 0  is NULL");
    EXPECT_EQ(globalError(), "rxKinesis::GetErrorStr id 0  is NULL");
    EXPECT_TRUE(LogCapture::traceTexts().empty());

    ASSERT_EQ(lib().SetParam(1, "nosuchkey", "1"), -1);
    const std::string words = "rxKinesis::setParam bad param name [nosuchkey]";
    EXPECT_EQ(lib().GetErrorStr(1, wide.data(), wide.length()), wide.data());
    EXPECT_EQ(wide.text(), words);
    EXPECT_EQ(LogCapture::traceTexts(),
              std::vector<std::string>{"rxKinesis::GetErrorStr id:1  lenBuffer:256 errSize:" +
                                       std::to_string(words.size())});
    EXPECT_EQ(clientError(1), words);
}

}  // namespace
}  // namespace rxk::test
