// Start, stop and the client table: what survives InititializeInterface and CloseInterface, how
// ids are handed out and never reused, refused clients, and the table under concurrent use.
#include "host.h"

#include <atomic>
#include <numeric>
#include <sstream>
#include <thread>

namespace rxk::test {
namespace {

// One call of a lifecycle script, "name=result" or "name:id=result", e.g. "free:2=-1".
int32_t run(Library& lib, const std::string& name, int32_t id) {
    if (name == "init" || name == "close") return name == "init" ? lib.InititializeInterface() : lib.CloseInterface();
    if (name == "create") return newClient(lib);
    if (name == "refuse") return lib.CreateClient("us-east-1", "AKID", "");
    if (name == "free") return lib.FreeClient(id);
    if (name == "setrows") return lib.SetParam(id, "maxputrow", "7");
    if (name == "rows") return std::atoi(param(id, "maxputrow", lib).c_str());  // 0 when refused
    if (name == "silence") return lib.InitLogEventCallBack(nullptr, nullptr), 0;
    return name == "settext" ? (lib.SetGlobalErrorStr("set by the host"), 0) : -99;
}

// Would catch a module that needs InititializeInterface for its own bookkeeping, a second start
// or a close that resets or frees clients, ids that are reused or skipped, a refused client that
// takes an id, and a sink still called after the host silenced it.
TEST(Lifecycle, ScriptsOnAFreshLibrary) {
    struct Case { const char* name; const char* script; const char* global; std::vector<std::string> log; };
    const Case kRows[] = {
        {"exports before any start", "close=0 settext=0 free:0=-1 setrows:0=-1", "rxKinesis::FreeClient bad param id 0",
         {"rxKinesis::FreeClient bad param id 0", "rxKinesis::SetParam bad param id 0"}},
        {"a global text set before the start stays", "settext=0 init=0", "set by the host", {}},
        {"a second start keeps clients and parameters", "init=0 create=0 setrows:0=0 settext=0 init=0 rows:0=7 create=1",
         "set by the host", {}},
        {"a close keeps clients in their slots",
         "init=0 create=0 create=1 setrows:1=0 close=0 rows:0=500 rows:1=7 init=0 rows:1=7 close=0 close=0", "", {}},
        {"ids are appended and never reused", "init=0 create=0 create=1 free:0=0 create=2 setrows:0=-1 free:0=0 free:2=0 free:1=0 create=3",
         "", {"rxKinesis::SetParam id 0  is NULL"}},
        {"FreeClient's range, a second free is silent", "init=0 create=0 create=1 free:1=0 free:1=0 free:-1=-1 free:2=-1 free:0=0",
         "rxKinesis::FreeClient bad param id 2", {"rxKinesis::FreeClient bad param id -1", "rxKinesis::FreeClient bad param id 2"}},
        {"a refused client takes no id", "init=0 create=0 refuse=-1 create=1", "id:1 KinesisEnv::init param ERROR",
         {"id:1 KinesisEnv::init param ERROR", "id:1 KinesisEnv::init param ERROR"}},
        {"a silenced sink gets nothing more", "init=0 free:5=-1 silence=0 free:6=-1 refuse=-1", "id:0 KinesisEnv::init param ERROR",
         {"rxKinesis::FreeClient bad param id 5"}},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        auto lib = freshLibrary();
        lib->InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink), LogCapture::reset();
        std::istringstream script(c.script);
        for (std::string step; script >> step;) {
            char name[16] = {}; int32_t id = 0, expected = 0;
            if (std::sscanf(step.c_str(), "%15[a-z]:%d=%d", name, &id, &expected) != 3) std::sscanf(step.c_str(), "%15[a-z]=%d", name, &expected);
            EXPECT_EQ(run(*lib, name, id), expected) << step;
        }
        EXPECT_EQ(globalError(*lib), c.global);
        EXPECT_EQ(LogCapture::logTexts(), c.log);
    }
}

// Would catch a test of the arguments other than for emptiness (a blank region is fine), a
// refusal reported once or with its length the second time, and a refused client that goes on
// to build its service client (its "initProducer" line).
TEST(Lifecycle, CreateClientArguments) {
    struct Case { const char* region; const char* key; const char* secret; int32_t id; };
    const Case kRows[] = {{"eu-west-1", "AKID", "s3cret", 0}, {" ", "k", "s", 0}, {"", "AKID", "secret", -1},
                          {nullptr, "AKID", "secret", -1}, {"us-east-1", "", "secret", -1}, {"us-east-1", nullptr, "secret", -1},
                          {"us-east-1", "AKID", "", -1}, {"us-east-1", "AKID", nullptr, -1}};
    for (const Case& c : kRows) {
        const std::string init = fmt("<%s><%s><%s>", c.region ? c.region : "", c.key ? c.key : "", c.secret ? c.secret : "");
        SCOPED_TRACE(init);
        auto lib = freshLibrary(true);
        LogCapture::reset();
        EXPECT_EQ(lib->CreateClient(c.region, c.key, c.secret), c.id);
        const std::string trace[] = {"id:0 KinesisEnv::init " + init, "id:0 KinesisEnv::initProducer success"};
        EXPECT_EQ(LogCapture::traceTexts(), std::vector<std::string>(trace, trace + (c.id == 0 ? 2 : 1)));
        const std::string refusal = "id:0 KinesisEnv::init param ERROR";
        EXPECT_EQ(logWithLengths(), c.id == 0 ? "" : withLength(refusal) + refusal + "|-1\n");
        EXPECT_EQ(globalError(*lib), c.id == 0 ? "" : refusal);
    }
}

// Would catch duplicate or skipped ids from concurrent CreateClient calls, a table that can't
// grow past its first allocation, and readers that race its growth (run under the sanitizers).
TEST(Lifecycle, CreatorsAndReadersAtOnce) {
    auto lib = freshLibrary();
    ASSERT_EQ(lib->InititializeInterface() + newClient(*lib) + lib->SetParam(0, "maxputrow", "7"), 0);
    std::vector<std::vector<int32_t>> created(4);
    std::atomic<bool> creating{true}; std::atomic<int> readerFailures{0};
    std::vector<std::thread> readers, creators;
    for (int r = 0; r < 3; ++r)
        readers.emplace_back([&] { do readerFailures += (param(0, "maxputrow", *lib) != "7") + clientError(0, *lib).size(); while (creating); });
    for (auto& ids : created)
        creators.emplace_back([&] { for (int i = 0; i < 40; ++i) ids.push_back(newClient(*lib)); });
    for (auto& creator : creators) creator.join();
    creating = false;
    for (auto& reader : readers) reader.join();
    EXPECT_EQ(readerFailures, 0);
    std::vector<int32_t> all, expected(160);
    for (const auto& ids : created) { EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end())); all.insert(all.end(), ids.begin(), ids.end()); }
    std::sort(all.begin(), all.end());
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_EQ(all, expected);
    for (const int32_t id : all) EXPECT_EQ(param(id, "maxputrow", *lib), "500");
    EXPECT_EQ(newClient(*lib), 161);
}

}  // namespace
}  // namespace rxk::test
