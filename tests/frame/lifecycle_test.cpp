// Start, stop and the client table: what the library keeps across InititializeInterface and
// CloseInterface, how ids are handed out, and how refused and freed clients look to the host.
#include "frame_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace rxk::test {
namespace {

using Lifecycle = FrameTest;
using ClientIds = FrameTest;
using RefusedClient = FrameTest;
using FreeClientExport = FrameTest;

// Catches a module that needs InititializeInterface for its own bookkeeping (an uninitialised
// lock, an unconstructed text) or that starts anything on its own.
TEST_F(Lifecycle, ModuleStateExportsWorkBeforeInitialisation) {
    lib().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    EXPECT_EQ(lib().CloseInterface(), 0);
    EXPECT_EQ(globalError(), "");
    lib().SetGlobalErrorStr("before start");
    EXPECT_EQ(globalError(), "before start");

    EXPECT_EQ(lib().FreeClient(0), -1);
    EXPECT_EQ(globalError(), "rxKinesis::FreeClient bad param id 0");
    const char data[] = "x";
    EXPECT_EQ(lib().PutRecord(0, "s", "pk", nullptr, data, 1), -1);
    EXPECT_EQ(globalError(), "rxKinesis::PutRecord bad param id 0");
    EXPECT_EQ(lib().SetGlobalParam("statspath", "/tmp/stats"), 0);
    EXPECT_EQ(lib().SetParam(0, "retry", "1"), -1);
    EXPECT_EQ(globalError(), "rxKinesis::PutRecord bad param id 0");
    EXPECT_EQ(LogCapture::logTexts(),
              (std::vector<std::string>{"rxKinesis::FreeClient bad param id 0",
                                        "rxKinesis::PutRecord bad param id 0",
                                        "rxKinesis::SetParam bad param id 0"}));
    EXPECT_TRUE(LogCapture::traceTexts().empty());
}

// Catches a second InititializeInterface that resets the module: parameters, error text, clients.
TEST_F(Lifecycle, SecondInitialisationKeepsEverything) {
    startWithSinks();
    ASSERT_EQ(lib().SetParam(createClient(), "maxputrow", "7"), 0);
    lib().SetGlobalErrorStr("kept");
    ASSERT_EQ(lib().SetGlobalParam("statspath", "/var/stats"), 0);

    EXPECT_EQ(lib().InititializeInterface(), 0);
    EXPECT_EQ(globalError(), "kept");
    EXPECT_EQ(param(0, "maxputrow"), "7");
    EXPECT_EQ(createClient(), 1);
}

// Catches a CloseInterface that frees or forgets clients, and a restart after it.
TEST_F(Lifecycle, CloseKeepsClientsInTheirSlots) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    ASSERT_EQ(createClient(), 1);
    ASSERT_EQ(lib().SetParam(1, "retry", "4"), 0);

    EXPECT_EQ(lib().CloseInterface(), 0);
    EXPECT_EQ(param(0, "retry"), "-1");
    EXPECT_EQ(param(1, "retry"), "4");
    EXPECT_EQ(clientError(1), "");
    EXPECT_EQ(lib().InititializeInterface(), 0);
    EXPECT_EQ(param(1, "retry"), "4");
    EXPECT_EQ(lib().CloseInterface(), 0);
}

// Catches ids that are reused, restart, or skip.
TEST_F(ClientIds, AppendedAndNeverReused) {
    startWithSinks();
    EXPECT_EQ(createClient(), 0);
    EXPECT_EQ(createClient(), 1);
    EXPECT_EQ(lib().FreeClient(0), 0);
    EXPECT_EQ(createClient(), 2);

    const char data[] = "x";
    EXPECT_EQ(lib().PutRecord(0, "s", "pk", nullptr, data, 1), -1);
    EXPECT_EQ(globalError(), "rxKinesis::PutRecord id 0  is NULL");
    EXPECT_EQ(lib().FreeClient(2), 0);
    EXPECT_EQ(lib().FreeClient(1), 0);
    EXPECT_EQ(createClient(), 3);
}

// Catches a table that cannot grow past its first allocation, or loses slots while growing.
TEST_F(ClientIds, ManyClientsKeepTheirOwnState) {
    startWithSinks();
    constexpr int kClients = 200;
    for (int i = 0; i < kClients; ++i) {
        ASSERT_EQ(createClient(), i);
        ASSERT_EQ(lib().SetParam(i, "maxputrow", std::to_string(i).c_str()), 0);
    }
    for (int i = 0; i < kClients; ++i) EXPECT_EQ(param(i, "maxputrow"), std::to_string(i));
    EXPECT_EQ(lib().FreeClient(kClients), -1);
}

// Catches a refused client that takes a slot, loses its words, or is reported once only.
TEST_F(RefusedClient, EmptyOrNullArgumentsAreRefusedWithoutTakingAnId) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    struct Arguments {
        const char* region;
        const char* key;
        const char* secret;
    };
    const Arguments refused[] = {{"", "AKID", "secret"}, {nullptr, "AKID", "secret"},
                                 {"us-east-1", "", "secret"}, {"us-east-1", nullptr, "secret"},
                                 {"us-east-1", "AKID", ""}, {"us-east-1", "AKID", nullptr}};
    for (const Arguments& arguments : refused) {
        LogCapture::reset();
        EXPECT_EQ(lib().CreateClient(arguments.region, arguments.key, arguments.secret), -1);
        const std::string words = "id:1 KinesisEnv::init param ERROR";
        EXPECT_EQ(globalError(), words);
        const std::vector<LogLine> lines = LogCapture::logLines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].text, words);
        EXPECT_EQ(lines[0].length, static_cast<int32_t>(words.size()));
        EXPECT_EQ(lines[1].text, words);
        EXPECT_EQ(lines[1].length, -1);
    }
    EXPECT_EQ(createClient(), 1);
    EXPECT_EQ(lib().CreateClient(" ", "k", "s"), 2);
}

// Catches trace lines missing from init, or a refused client that goes on to build its client.
TEST_F(RefusedClient, TraceShowsInitLineOnlyWhenRefused) {
    startWithSinks();
    ASSERT_EQ(lib().CreateClient("eu-west-1", "AKID", "s3cret"), 0);
    EXPECT_EQ(LogCapture::traceTexts(),
              (std::vector<std::string>{"id:0 KinesisEnv::init <eu-west-1><AKID><s3cret>",
                                        "id:0 KinesisEnv::initProducer success"}));
    LogCapture::reset();
    ASSERT_EQ(lib().CreateClient("eu-west-1", "AKID", nullptr), -1);
    EXPECT_EQ(LogCapture::traceTexts(),
              (std::vector<std::string>{"id:1 KinesisEnv::init <eu-west-1><AKID><>"}));
}

// Catches FreeClient range tests that are off by one or report a second free.
TEST_F(FreeClientExport, RangeAndRepeatedFree) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    ASSERT_EQ(createClient(), 1);
    EXPECT_EQ(lib().FreeClient(1), 0);
    LogCapture::reset();
    EXPECT_EQ(lib().FreeClient(1), 0);
    EXPECT_TRUE(LogCapture::logTexts().empty());

    EXPECT_EQ(lib().FreeClient(-1), -1);
    EXPECT_EQ(globalError(), "rxKinesis::FreeClient bad param id -1");
    EXPECT_EQ(lib().FreeClient(2), -1);
    EXPECT_EQ(globalError(), "rxKinesis::FreeClient bad param id 2");
    EXPECT_EQ(LogCapture::logTexts(), (std::vector<std::string>{"rxKinesis::FreeClient bad param id -1",
                                                                "rxKinesis::FreeClient bad param id 2"}));
    EXPECT_EQ(lib().FreeClient(0), 0);
}

// Catches a sink that is still called after the host silenced it.
TEST_F(Lifecycle, SilencedSinkGetsNothingMore) {
    startWithSinks();
    EXPECT_EQ(lib().FreeClient(5), -1);
    ASSERT_EQ(LogCapture::logTexts().size(), 1u);
    lib().InitLogEventCallBack(nullptr, nullptr);
    EXPECT_EQ(lib().FreeClient(6), -1);
    EXPECT_EQ(createClient(), 0);
    EXPECT_EQ(LogCapture::logTexts().size(), 1u);
    EXPECT_TRUE(LogCapture::traceTexts().empty());
    EXPECT_EQ(globalError(), "rxKinesis::FreeClient bad param id 6");
}

}  // namespace
}  // namespace rxk::test
