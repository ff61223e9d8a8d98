// The exception probe Dummy, driven as a C++ host drives it: the library loaded with dlopen,
// SE_Exception and RX_Exception caught by type. Every call runs in a forked child, on fresh
// threads with or without the translator, with standard output on a pipe.
#include "child_process.h"
#include "library.h"
#include "rxkinesis_exceptions.h"

#include <gtest/gtest.h>
#include <stdio_ext.h>

#include <sstream>
#include <thread>
#include <vector>

namespace rxk::test {
namespace {

constexpr std::int32_t kClient = 1;  // the second client, so that an id of 0 can't pass by chance
const std::string kAccessViolation = "SE_Exception 0xC0000005 [SE_Exception: Access Violation]";

// SE_Exception::what lives in the library only; a host that loaded it with dlopen reaches it
// by its symbol (`this` is the first argument in this ABI).
const char* whatOf(SE_Exception& exception) {
    using What = const char* (*)(SE_Exception*);
    static const auto what = reinterpret_cast<What>(sharedLibrary().symbol("_ZN12SE_Exception4whatEv"));
    return what ? what(&exception) : "(SE_Exception::what not exported)";
}

// What reached the host from one Dummy call, as one line ("catch-all", "returned 0",
// "std::exception [text]", ...), with " last error [...]" added when the client's last-error
// text isn't the probe's first line or the log sink didn't get it (if `checkLastError`).
std::string callDummy(const std::string& word, bool checkLastError = true) {
    std::vector<char> kind(word.begin(), word.end());
    kind.push_back('\0');
    std::ostringstream arrival;
    try {
        const std::int32_t result = sharedLibrary().Dummy(kClient, kind.data());
        arrival << "returned " << result;
    } catch (SE_Exception& caught) {
        arrival << "SE_Exception 0x" << std::hex << std::uppercase << caught.code << " [" << whatOf(caught) << "]";
    } catch (RX_Exception& caught) {
        arrival << "RX_Exception [" << caught.what() << "]";
    } catch (std::exception& caught) {
        std::fill(kind.begin(), kind.end() - 1, 'x');  // the exception has its own copy of the text
        arrival << "std::exception [" << caught.what() << "]";
    } catch (...) {
        arrival << "catch-all";
    }
    if (!checkLastError) return arrival.str();
    char lastError[RXK_ERROR_TEXT_BYTES];
    sharedLibrary().GetErrorStr(kClient, lastError, sizeof lastError);
    const std::string firstLine = ("id:1 KinesisEnv::dummy [" + word + "]").substr(0, sizeof lastError - 1);
    if (firstLine != lastError || !LogCapture::logContains(firstLine)) arrival << " last error [" << lastError << "]";
    return arrival.str();
}

enum class Thread { Plain, Translator, Both, EachOnAFreshPlainThread };

// The words in turn on one fresh thread of a child (or each on its own): one arrival per
// line, then how many bytes of standard output still wait in the process's buffer.
ChildRun dummyInChild(Thread thread, const std::vector<std::string>& words) {
    return runInChild([&] {
        std::string arrivals;
        auto call = [&](std::size_t from, std::size_t to) {
            if (thread == Thread::Translator) sharedLibrary().InititializeInterface();
            for (std::size_t i = from; i < to; ++i) arrivals += callDummy(words[i]) + "\n";
        };
        if (thread == Thread::EachOnAFreshPlainThread) {
            for (std::size_t i = 0; i < words.size(); ++i) std::thread(call, i, i + 1).join();
        } else {
            std::thread(call, 0, words.size()).join();
        }
        return arrivals + "waiting " + std::to_string(__fpending(stdout)) + "\n";
    });
}

class Probe : public ::testing::Test {
protected:
    // The library starts on a thread of its own, so that the test threads have no translator.
    static void SetUpTestSuite() {
        sharedLibrary().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        std::thread([] {
            sharedLibrary().InititializeInterface();
            sharedLibrary().CreateClient("us-east-1", "probe-key", "probe-secret");
            sharedLibrary().CreateClient("us-east-1", "probe-key", "probe-secret");
        }).join();
    }
    static void TearDownTestSuite() { sharedLibrary().FreeClient(0), sharedLibrary().FreeClient(kClient); }
};

// Would catch a scenario printing other lines (or an end line behind its fault, or flushing
// them itself), a clause that throws the wrong thing on, a fault translated on a thread without
// the translator or not on one with it, a translator that the probe installs for the call only
// or for other threads too, a signal left blocked after a fault, a word matched without case or
// by prefix, a first line missing from the error text after an exception, or one written past
// its buffer.
TEST_F(Probe, ScenariosOnThreadsWithAndWithoutTranslator) {
    struct Case { const char* name; Thread thread; std::vector<std::string> words; const char* output; std::vector<std::string> arrivals; };
    const std::string fault4 = "std::exception [SE_Exception: Access Violation]";
    const Case kRows[] = {
        {"exception without translator: the fault itself", Thread::Plain, {"exception"},
         "id:1 KinesisEnv::dummy[1] [exception] beg\n", {"catch-all"}},
        {"exception with translator", Thread::Translator, {"exception"}, "id:1 KinesisEnv::dummy[1] [exception] beg\n", {kAccessViolation}},
        {"exception2 without translator: clause 2b rethrows", Thread::Plain, {"exception2"},
         "id:1 KinesisEnv::dummy[2] [exception2] beg\nid:1 KinesisEnv::dummy[2b] [exception2] Exception [ellipsis] => throw\n", {"catch-all"}},
        {"exception2 with translator: clause 2x, a new SE_Exception", Thread::Translator, {"exception2"},
         "id:1 KinesisEnv::dummy[2] [exception2] beg\n"
         "id:1 KinesisEnv::dummy[2x] [exception2] SE_Exception [SE_Exception: Access Violation] => throw SE_Exception\n", {kAccessViolation}},
        {"exception3 installs the translator first", Thread::Both, {"exception3"},
         "id:1 KinesisEnv::dummy[3] [exception3] beg\n"
         "id:1 KinesisEnv::dummy[3a] [exception3] SE_Exception [SE_Exception: Access Violation] => throw SE_Exception\n", {kAccessViolation}},
        {"exception4: a std::exception with the fault's text", Thread::Both, {"exception4"},
         "id:1 KinesisEnv::dummy[4] [exception4] beg\n"
         "id:1 KinesisEnv::dummy[4a] [exception4] SE_Exception [SE_Exception: Access Violation] => throw std::exception\n", {fault4}},
        {"exception5: clause 5b", Thread::Both, {"exception5"},
         "id:1 KinesisEnv::dummy[5] [exception5] beg\nid:1 KinesisEnv::dummy[5b] [exception5] Exception [exception5] => throw std::exception \n",
         {"std::exception [exception5]"}},
        {"exception6: no clause", Thread::Both, {"exception6"}, "id:1 KinesisEnv::dummy[6] [exception6] beg => throw std::exception\n",
         {"std::exception [exception6]"}},
        {"exception7: RX_Exception", Thread::Both, {"exception7"}, "id:1 KinesisEnv::dummy[7] [exception7] beg => throw RX_Exception\n",
         {"RX_Exception [RX_Exception: exception7]"}},
        {"the thread keeps the translator exception3 installed", Thread::Plain, {"exception", "exception3", "exception", "exception2"},
         nullptr, {"catch-all", kAccessViolation, kAccessViolation, kAccessViolation}},
        {"the thread keeps the translator exception4 installed", Thread::Plain, {"exception", "exception4", "exception"}, nullptr,
         {"catch-all", fault4, kAccessViolation}},
        {"another thread doesn't get it", Thread::EachOnAFreshPlainThread, {"exception3", "exception"}, nullptr, {kAccessViolation, "catch-all"}},
        {"fault after fault on one thread", Thread::Translator, {"exception", "exception2", "exception", "exception3"}, nullptr,
         std::vector<std::string>(4, kAccessViolation)},
        {"words that name no scenario", Thread::Translator, {"Exception", "EXCEPTION7", "exception8", "exception ", "exceptio", "", "exception1"},
         "", std::vector<std::string>(7, "returned 0")},
        {"a long word: the first line is cut to the message buffer", Thread::Plain, {std::string(3000, 'w')}, "", {"returned 0"}},
    };
    for (const Case& c : kRows) {
        const bool both = c.thread == Thread::Both;
        for (Thread thread : both ? std::vector<Thread>{Thread::Plain, Thread::Translator} : std::vector<Thread>{c.thread}) {
            SCOPED_TRACE(std::string(c.name) + (both && thread == Thread::Translator ? ", on a translator thread" : ""));
            const ChildRun run = dummyInChild(thread, c.words);
            ASSERT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0) << "child status " << run.status;
            std::string expected;
            for (const std::string& arrival : c.arrivals) expected += arrival + "\n";
            EXPECT_EQ(run.report, expected + "waiting " + std::to_string(run.output.size()) + "\n");
            EXPECT_EQ(c.output ? run.output : "", c.output ? c.output : "");
        }
    }
}

// Would catch shared state in the fault path: faults on many threads at once, half of them
// with the translator, must each arrive in their own thread's form.
TEST_F(Probe, ConcurrentFaultsArriveInTheirThreadsForm) {
    constexpr int kThreads = 8, kRounds = 25;
    const ChildRun run = runInChild([] {
        std::vector<std::string> forms(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&forms, t] {
                if (t % 2 == 1) sharedLibrary().InititializeInterface();
                for (int round = 0; round < kRounds; ++round) {
                    const std::string arrival = callDummy(round % 2 ? "exception2" : "exception", false);
                    forms[t] = round == 0 || forms[t] == arrival ? arrival : "mixed";
                }
            });
        }
        std::string report;
        for (int t = 0; t < kThreads; ++t) threads[t].join(), report += forms[t] + "\n";
        return report;
    });
    std::string expected;
    for (int t = 0; t < kThreads; ++t) expected += (t % 2 ? kAccessViolation : "catch-all") + "\n";
    EXPECT_EQ(run.report, expected);
}

// Would catch a text table other than the one hosts match on, lower-case or short hex digits,
// a text that isn't the exception's own message field, or a what() that doesn't write the
// field again on every call (the same object goes through the rows, its field scribbled on).
TEST_F(Probe, SeExceptionNamesItsCode) {
    const std::pair<unsigned int, const char*> kRows[] = {
        {0xC0000005u, "SE_Exception: Access Violation"}, {0xC0000008u, "SE_Exception: Invalid handle"},
        {0xC000008Cu, "SE_Exception: Array bounds exceeded"}, {0xC0000094u, "SE_Exception: Division by zero"},
        {0xC0000095u, "SE Exception: Int overflow"}, {0xC00000FDu, "SE_Exception: Stack overflow"},
        {0xC0000096u, "SE_Exception: 0xC0000096"}, {0x0000ABCDu, "SE_Exception: 0x0000ABCD"},
        {0x1u, "SE_Exception: 0x00000001"}, {0xFFFFFFFFu, "SE_Exception: 0xFFFFFFFF"}, {0u, "SE_Exception: 0x00000000"},
    };
    SE_Exception exception(0);
    for (const auto& [code, text] : kRows) {
        SCOPED_TRACE(text);
        exception.code = code;
        std::fill(std::begin(exception.message), std::end(exception.message), 'x');
        EXPECT_STREQ(whatOf(exception), text);
        EXPECT_EQ(whatOf(exception), exception.message);
    }
}

}  // namespace
}  // namespace rxk::test
