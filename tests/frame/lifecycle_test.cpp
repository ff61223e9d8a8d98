// Start, stop and the client table: what survives InititializeInterface and CloseInterface, how
// ids are handed out and never reused, refused clients, and the table under concurrent use.
#include "host.h"

#include <atomic>
#include <thread>

namespace rxk::test {
namespace {

// One call of a lifecycle script and the result it must give.
enum class Op { Init, Close, Create, Refuse, Free, SetRows, GetRows, Silence, SetGlobal };
struct Step { Op op; int32_t id; int32_t expected; };

int32_t run(Library& lib, const Step& step) {
    switch (step.op) {
        case Op::Init: return lib.InititializeInterface();
        case Op::Close: return lib.CloseInterface();
        case Op::Create: return newClient(lib);
        case Op::Refuse: return lib.CreateClient("us-east-1", "AKID", "");
        case Op::Free: return lib.FreeClient(step.id);
        case Op::SetRows: return lib.SetParam(step.id, "maxputrow", "7");
        case Op::GetRows: return std::atoi(param(step.id, "maxputrow", lib).c_str());  // 0 when refused
        case Op::Silence: return lib.InitLogEventCallBack(nullptr, nullptr), 0;
        default: return lib.SetGlobalErrorStr("set by the host"), 0;
    }
}

// Would catch a module that needs InititializeInterface for its own bookkeeping, a second start
// or a close that resets or frees clients, ids that are reused or skipped, a refused client that
// takes an id, and a sink still called after the host silenced it.
TEST(Lifecycle, ScriptsOnAFreshLibrary) {
    using O = Op;
    struct Case { const char* name; std::vector<Step> steps; const char* global; std::vector<std::string> log; };
    const Case kRows[] = {
        {"exports before any start", {{O::Close, 0, 0}, {O::SetGlobal, 0, 0}, {O::Free, 0, -1}, {O::SetRows, 0, -1}},
         "rxKinesis::FreeClient bad param id 0",
         {"rxKinesis::FreeClient bad param id 0", "rxKinesis::SetParam bad param id 0"}},
        {"global text set before start", {{O::SetGlobal, 0, 0}, {O::Init, 0, 0}}, "set by the host", {}},
        {"a second start keeps clients and parameters",
         {{O::Init, 0, 0}, {O::Create, 0, 0}, {O::SetRows, 0, 0}, {O::SetGlobal, 0, 0}, {O::Init, 0, 0},
          {O::GetRows, 0, 7}, {O::Create, 0, 1}},
         "set by the host", {}},
        {"close keeps clients in their slots",
         {{O::Init, 0, 0}, {O::Create, 0, 0}, {O::Create, 0, 1}, {O::SetRows, 1, 0}, {O::Close, 0, 0},
          {O::GetRows, 0, 500}, {O::GetRows, 1, 7}, {O::Init, 0, 0}, {O::GetRows, 1, 7}, {O::Close, 0, 0},
          {O::Close, 0, 0}},
         "", {}},
        {"ids are appended and never reused",
         {{O::Init, 0, 0}, {O::Create, 0, 0}, {O::Create, 0, 1}, {O::Free, 0, 0}, {O::Create, 0, 2},
          {O::SetRows, 0, -1}, {O::Free, 0, 0}, {O::Free, 2, 0}, {O::Free, 1, 0}, {O::Create, 0, 3}},
         "", {"rxKinesis::SetParam id 0  is NULL"}},
        {"FreeClient range", {{O::Init, 0, 0}, {O::Create, 0, 0}, {O::Create, 0, 1}, {O::Free, 1, 0},
          {O::Free, 1, 0}, {O::Free, -1, -1}, {O::Free, 2, -1}, {O::Free, 0, 0}},
         "rxKinesis::FreeClient bad param id 2",
         {"rxKinesis::FreeClient bad param id -1", "rxKinesis::FreeClient bad param id 2"}},
        {"a refused client takes no id", {{O::Init, 0, 0}, {O::Create, 0, 0}, {O::Refuse, 0, -1}, {O::Create, 0, 1}},
         "id:1 KinesisEnv::init param ERROR",
         {"id:1 KinesisEnv::init param ERROR", "id:1 KinesisEnv::init param ERROR"}},
        {"a silenced sink gets nothing more",
         {{O::Init, 0, 0}, {O::Free, 5, -1}, {O::Silence, 0, 0}, {O::Free, 6, -1}, {O::Refuse, 0, -1}},
         "id:0 KinesisEnv::init param ERROR", {"rxKinesis::FreeClient bad param id 5"}},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        auto lib = freshLibrary();
        lib->InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        LogCapture::reset();
        for (std::size_t i = 0; i < c.steps.size(); ++i) EXPECT_EQ(run(*lib, c.steps[i]), c.steps[i].expected) << i;
        EXPECT_EQ(globalError(*lib), c.global);
        EXPECT_EQ(LogCapture::logTexts(), c.log);
    }
}

// Would catch a test of the arguments other than for emptiness (a blank region is fine), a
// refusal reported once or with its length the second time, and a refused client that goes on
// to build its service client (its "initProducer" line).
TEST(Lifecycle, CreateClientArguments) {
    struct Case { const char* region; const char* key; const char* secret; int32_t id; const char* init; };
    const Case kRows[] = {
        {"eu-west-1", "AKID", "s3cret", 0, "<eu-west-1><AKID><s3cret>"}, {" ", "k", "s", 0, "< ><k><s>"},
        {"", "AKID", "secret", -1, "<><AKID><secret>"},   {nullptr, "AKID", "secret", -1, "<><AKID><secret>"},
        {"us-east-1", "", "secret", -1, "<us-east-1><><secret>"}, {"us-east-1", nullptr, "secret", -1, "<us-east-1><><secret>"},
        {"us-east-1", "AKID", "", -1, "<us-east-1><AKID><>"}, {"us-east-1", "AKID", nullptr, -1, "<us-east-1><AKID><>"},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.init);
        auto lib = freshLibrary();
        lib->InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        lib->InititializeInterface();
        LogCapture::reset();
        EXPECT_EQ(lib->CreateClient(c.region, c.key, c.secret), c.id);
        std::vector<std::string> trace{std::string("id:0 KinesisEnv::init ") + c.init, "id:0 KinesisEnv::initProducer success"};
        trace.resize(c.id == 0 ? 2 : 1);
        EXPECT_EQ(LogCapture::traceTexts(), trace);
        std::string log;
        for (const LogLine& line : LogCapture::logLines()) log += line.text + "|" + std::to_string(line.length) + " ";
        const std::string refusal = "id:0 KinesisEnv::init param ERROR";
        EXPECT_EQ(log, c.id == 0 ? "" : refusal + "|33 " + refusal + "|-1 ");
        EXPECT_EQ(globalError(*lib), c.id == 0 ? "" : refusal);
    }
}

// Would catch duplicate or skipped ids from concurrent CreateClient calls, a table that can't
// grow past its first allocation, and readers that race its growth (run under the sanitizers).
TEST(Lifecycle, CreatorsAndReadersAtOnce) {
    auto lib = freshLibrary();
    ASSERT_EQ(lib->InititializeInterface() + newClient(*lib) + lib->SetParam(0, "maxputrow", "7"), 0);
    std::vector<std::vector<int32_t>> created(4);
    std::atomic<bool> creating{true};
    std::atomic<int> readerFailures{0};
    std::vector<std::thread> readers, creators;
    for (int r = 0; r < 3; ++r)
        readers.emplace_back([&] { do readerFailures += (param(0, "maxputrow", *lib) != "7") + clientError(0, *lib).size(); while (creating); });
    for (auto& ids : created)
        creators.emplace_back([&] { for (int i = 0; i < 40; ++i) ids.push_back(newClient(*lib)); });
    for (auto& creator : creators) creator.join();
    creating = false;
    for (auto& reader : readers) reader.join();
    EXPECT_EQ(readerFailures, 0);
    std::vector<int32_t> all;
    for (const auto& ids : created) {
        EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
        all.insert(all.end(), ids.begin(), ids.end());
    }
    std::sort(all.begin(), all.end());
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i], static_cast<int32_t>(1 + i));
    for (const int32_t id : all) EXPECT_EQ(param(id, "maxputrow", *lib), "500");
    EXPECT_EQ(newClient(*lib), 161);
}

}  // namespace
}  // namespace rxk::test
