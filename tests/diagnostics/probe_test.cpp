// The exception probe Dummy, driven as a C++ host drives it: the library loaded with dlopen,
// SE_Exception and RX_Exception caught by type. Every call that faults runs in a forked child,
// on a fresh thread with or without the translator, with standard output going to a pipe.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "library.h"
#include "rxkinesis_exceptions.h"

namespace {

using rxk::test::LogCapture;
using rxk::test::sharedLibrary;

constexpr unsigned int kAccessViolation = 0xC0000005u;
constexpr const char* kAccessViolationText = "SE_Exception: Access Violation";
constexpr int kErrorTextBytes = 1024;

// SE_Exception::what lives in the library only; a host that loads it with dlopen reaches it by
// its symbol. (A member function takes `this` as its first argument in this ABI.)
const char* whatOf(SE_Exception& exception) {
    using What = const char* (*)(SE_Exception*);
    static const auto what = reinterpret_cast<What>(sharedLibrary().symbol("_ZN12SE_Exception4whatEv"));
    return what != nullptr ? what(&exception) : "(SE_Exception::what not exported)";
}

// How a thread comes to have the translator, if at all.
enum class ThreadKind { Plain, InitializeInterface, SetParam };

// What reached the host from one Dummy call.
struct Arrival {
    std::string form;  // "returned", "SE_Exception", "RX_Exception", "std::exception", "catch-all"
    unsigned int code = 0;
    std::string text;
    int result = 0;
    std::string lastError;  // GetErrorStr after the call
    bool logged = false;    // the log sink saw the last-error text

    std::string encode() const {
        std::ostringstream line;
        line << form << '\t' << code << '\t' << text << '\t' << result << '\t' << lastError << '\t' << logged << '\n';
        return line.str();
    }

    static Arrival decode(const std::string& line) {
        Arrival arrival;
        std::istringstream fields(line);
        std::string code, result, logged;
        std::getline(fields, arrival.form, '\t');
        std::getline(fields, code, '\t');
        std::getline(fields, arrival.text, '\t');
        std::getline(fields, result, '\t');
        std::getline(fields, arrival.lastError, '\t');
        std::getline(fields, logged, '\t');
        arrival.code = static_cast<unsigned int>(std::stoul(code));
        arrival.result = std::stoi(result);
        arrival.logged = logged == "1";
        return arrival;
    }
};

// What a forked child printed on standard output and reported back.
struct ChildRun {
    std::string output;
    std::vector<Arrival> arrivals;
    int status = 0;
};

std::string readAll(int fd) {
    std::string text;
    char chunk[4096];
    for (ssize_t got; (got = read(fd, chunk, sizeof chunk)) != 0;) {
        if (got < 0) {
            if (errno == EINTR) continue;
            break;
        }
        text.append(chunk, static_cast<size_t>(got));
    }
    return text;
}

void writeAll(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t wrote = write(fd, text.data() + done, text.size() - done);
        if (wrote <= 0) return;
        done += static_cast<size_t>(wrote);
    }
}

// Runs `body` in a child process whose standard output is a pipe; the arrivals it returns come
// back through a second pipe. A child that hangs is ended by an alarm.
ChildRun runInChild(const std::function<std::vector<Arrival>()>& body) {
    int output[2];
    int report[2];
    if (pipe(output) != 0 || pipe(report) != 0) ADD_FAILURE() << "pipe failed";
    std::fflush(stdout);  // nothing of the parent's may surface in the child's output
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        close(output[0]);
        close(report[0]);
        dup2(output[1], STDOUT_FILENO);
        // A fresh stream on the pipe: buffered as a host writing into a pipe would be, whatever
        // the parent's standard output is (a terminal makes it line-buffered).
        if (std::freopen(nullptr, "w", stdout) == nullptr) _exit(2);
        std::string encoded;
        for (const Arrival& arrival : body()) encoded += arrival.encode();
        std::fflush(stdout);
        writeAll(report[1], encoded);
        _exit(0);
    }
    close(output[1]);
    close(report[1]);
    ChildRun run;
    run.output = readAll(output[0]);
    std::istringstream lines(readAll(report[0]));
    for (std::string line; std::getline(lines, line);) run.arrivals.push_back(Arrival::decode(line));
    close(output[0]);
    close(report[0]);
    waitpid(child, &run.status, 0);
    return run;
}

std::string joined(const std::vector<const char*>& formats, int32_t id, const std::string& word) {
    std::string text;
    for (const char* format : formats) {
        char line[512];
        std::snprintf(line, sizeof line, format, id, word.c_str());
        text += line;
    }
    return text;
}

class Probe : public ::testing::Test {
protected:
    // Starts the library on a thread of its own, so that the test threads have no translator, and
    // makes two clients: the probe runs on the second, so that an id of 0 can't pass by chance.
    static void SetUpTestSuite() {
        auto& library = sharedLibrary();
        library.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        std::thread([&] {
            library.InititializeInterface();
            firstClientId = library.CreateClient("us-east-1", "probe-key", "probe-secret");
            clientId = library.CreateClient("us-east-1", "probe-key", "probe-secret");
        }).join();
    }

    static void TearDownTestSuite() {
        sharedLibrary().FreeClient(firstClientId);
        sharedLibrary().FreeClient(clientId);
    }

    // Calls Dummy and notes what reached the host.
    static Arrival catchDummy(int32_t id, const std::string& word) {
        auto& library = sharedLibrary();
        Arrival arrival;
        try {
            arrival.result = library.Dummy(id, word.c_str());
            arrival.form = "returned";
        } catch (SE_Exception& caught) {
            arrival.form = "SE_Exception";
            arrival.code = caught.code;
            arrival.text = whatOf(caught);
        } catch (RX_Exception& caught) {
            arrival.form = "RX_Exception";
            arrival.text = caught.what();
        } catch (std::exception& caught) {
            arrival.form = "std::exception";
            arrival.text = caught.what();
        } catch (...) {
            arrival.form = "catch-all";
        }
        return arrival;
    }

    // catchDummy, then the client's last-error text and whether the log sink saw it.
    static Arrival callDummy(int32_t id, const std::string& word) {
        auto& library = sharedLibrary();
        Arrival arrival = catchDummy(id, word);
        char lastError[kErrorTextBytes];
        arrival.lastError = library.GetErrorStr(id, lastError, sizeof lastError);
        arrival.logged = LogCapture::logContains(arrival.lastError);
        return arrival;
    }

    // Calls Dummy with each word in turn on one fresh thread of a child process.
    static ChildRun dummyOnFreshThread(ThreadKind kind, const std::vector<std::string>& words) {
        const int32_t id = clientId;
        return runInChild([&] {
            std::vector<Arrival> arrivals;
            std::thread([&] {
                auto& library = sharedLibrary();
                if (kind == ThreadKind::InitializeInterface) library.InititializeInterface();
                if (kind == ThreadKind::SetParam) library.SetParam(id, "ExceptionTranslator", "");
                for (const std::string& word : words) arrivals.push_back(callDummy(id, word));
            }).join();
            return arrivals;
        });
    }

    static std::string firstLine(const std::string& word) {
        return "id:" + std::to_string(clientId) + " KinesisEnv::dummy [" + word + "]";
    }

    static inline int32_t firstClientId = -1;
    static inline int32_t clientId = -1;
};

// One scenario: what it prints and what reaches the host, on a thread without and with the
// translator.
struct Expectation {
    const char* word;
    std::vector<const char*> linesWithout;
    const char* formWithout;
    std::vector<const char*> linesWith;
    const char* formWith;
    unsigned int code;
    const char* text;  // the arrival's text on both kinds of thread
};

// The third value of a clause line is the caught exception's text, or "ellipsis".
const std::vector<Expectation>& scenarios() {
    static const std::vector<Expectation> all = {
        {"exception",
         {"id:%d KinesisEnv::dummy[1] [%s] beg\n"}, "catch-all",
         {"id:%d KinesisEnv::dummy[1] [%s] beg\n"}, "SE_Exception", kAccessViolation, kAccessViolationText},
        {"exception2",
         {"id:%d KinesisEnv::dummy[2] [%s] beg\n", "id:%d KinesisEnv::dummy[2b] [%s] Exception [ellipsis] => throw\n"},
         "catch-all",
         {"id:%d KinesisEnv::dummy[2] [%s] beg\n",
          "id:%d KinesisEnv::dummy[2x] [%s] SE_Exception [SE_Exception: Access Violation] => throw SE_Exception\n"},
         "SE_Exception", kAccessViolation, kAccessViolationText},
        {"exception3",
         {"id:%d KinesisEnv::dummy[3] [%s] beg\n",
          "id:%d KinesisEnv::dummy[3a] [%s] SE_Exception [SE_Exception: Access Violation] => throw SE_Exception\n"},
         "SE_Exception",
         {"id:%d KinesisEnv::dummy[3] [%s] beg\n",
          "id:%d KinesisEnv::dummy[3a] [%s] SE_Exception [SE_Exception: Access Violation] => throw SE_Exception\n"},
         "SE_Exception", kAccessViolation, kAccessViolationText},
        {"exception4",
         {"id:%d KinesisEnv::dummy[4] [%s] beg\n",
          "id:%d KinesisEnv::dummy[4a] [%s] SE_Exception [SE_Exception: Access Violation] => throw std::exception\n"},
         "std::exception",
         {"id:%d KinesisEnv::dummy[4] [%s] beg\n",
          "id:%d KinesisEnv::dummy[4a] [%s] SE_Exception [SE_Exception: Access Violation] => throw std::exception\n"},
         "std::exception", 0, kAccessViolationText},
        {"exception5",
         {"id:%d KinesisEnv::dummy[5] [%s] beg\n",
          "id:%d KinesisEnv::dummy[5b] [%s] Exception [exception5] => throw std::exception \n"},
         "std::exception",
         {"id:%d KinesisEnv::dummy[5] [%s] beg\n",
          "id:%d KinesisEnv::dummy[5b] [%s] Exception [exception5] => throw std::exception \n"},
         "std::exception", 0, "exception5"},
        {"exception6",
         {"id:%d KinesisEnv::dummy[6] [%s] beg => throw std::exception\n"}, "std::exception",
         {"id:%d KinesisEnv::dummy[6] [%s] beg => throw std::exception\n"}, "std::exception", 0, "exception6"},
        {"exception7",
         {"id:%d KinesisEnv::dummy[7] [%s] beg => throw RX_Exception\n"}, "RX_Exception",
         {"id:%d KinesisEnv::dummy[7] [%s] beg => throw RX_Exception\n"}, "RX_Exception", 0,
         "RX_Exception: exception7"},
    };
    return all;
}

void expectArrival(const Arrival& arrival, const char* form, unsigned int code, const char* text) {
    EXPECT_EQ(arrival.form, form);
    if (arrival.form == "SE_Exception") {
        EXPECT_EQ(arrival.code, code);
    }
    if (arrival.form != "catch-all") {
        EXPECT_EQ(arrival.text, text);
    }
}

// Catches: a scenario printing the wrong lines (or an end line behind its fault), a clause that
// throws the wrong thing on, a fault that isn't translated on a translator thread or is
// translated on a thread without one.
TEST_F(Probe, EachScenarioOnThreadsWithAndWithoutTranslator) {
    for (const bool translator : {false, true}) {
        for (const Expectation& scenario : scenarios()) {
            SCOPED_TRACE(std::string(scenario.word) + (translator ? " with translator" : " without translator"));
            const ChildRun run = dummyOnFreshThread(translator ? ThreadKind::InitializeInterface : ThreadKind::Plain,
                                                    {scenario.word});
            ASSERT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0) << "child status " << run.status;
            ASSERT_EQ(run.arrivals.size(), 1u);
            EXPECT_EQ(run.output, joined(translator ? scenario.linesWith : scenario.linesWithout, clientId,
                                         scenario.word));
            expectArrival(run.arrivals[0], translator ? scenario.formWith : scenario.formWithout, scenario.code,
                          scenario.text);
        }
    }
}

// Catches: step 1 skipped on the paths that end in an exception: the first line must be in the
// last-error text and at the log sink whatever the scenario does afterwards.
TEST_F(Probe, FirstLineStandsInLastErrorTextAfterEveryScenario) {
    std::vector<std::string> words;
    for (const Expectation& scenario : scenarios()) words.push_back(scenario.word);
    const ChildRun run = dummyOnFreshThread(ThreadKind::InitializeInterface, words);
    ASSERT_EQ(run.arrivals.size(), words.size());
    for (size_t i = 0; i < words.size(); ++i) {
        EXPECT_EQ(run.arrivals[i].lastError, firstLine(words[i]));
        EXPECT_TRUE(run.arrivals[i].logged) << words[i];
    }
}

// Catches: a translator that exception3/exception4 install only for the call instead of for the
// thread, or for other threads too.
TEST_F(Probe, ThreadKeepsTranslatorInstalledByTheProbe) {
    for (const char* installer : {"exception3", "exception4"}) {
        SCOPED_TRACE(installer);
        const ChildRun run = dummyOnFreshThread(ThreadKind::Plain, {"exception", installer, "exception", "exception2"});
        ASSERT_EQ(run.arrivals.size(), 4u);
        EXPECT_EQ(run.arrivals[0].form, "catch-all");
        EXPECT_EQ(run.arrivals[2].form, "SE_Exception");
        EXPECT_EQ(run.arrivals[2].code, kAccessViolation);
        EXPECT_EQ(run.arrivals[3].form, "SE_Exception");
        const std::string clauseLine = joined(
            {"id:%d KinesisEnv::dummy[2x] [%s] SE_Exception [SE_Exception: Access Violation] => throw SE_Exception\n"},
            clientId, "exception2");
        EXPECT_NE(run.output.find(clauseLine), std::string::npos) << run.output;
    }
    const ChildRun otherThread = runInChild([] {
        std::vector<Arrival> arrivals;
        std::thread([&] { arrivals.push_back(callDummy(clientId, "exception3")); }).join();
        std::thread([&] { arrivals.push_back(callDummy(clientId, "exception")); }).join();
        return arrivals;
    });
    ASSERT_EQ(otherThread.arrivals.size(), 2u);
    EXPECT_EQ(otherThread.arrivals[1].form, "catch-all");
}

// Catches: shared state in the fault path: faults on many threads at once, half of them with
// the translator, must each arrive in their own thread's form.
TEST_F(Probe, ConcurrentFaultsArriveInTheirThreadsForm) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 25;
    // Each thread reports the form all its calls arrived in, or "mixed".
    const ChildRun run = runInChild([] {
        std::vector<Arrival> perThread(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&perThread, t] {
                if (t % 2 == 1) sharedLibrary().InititializeInterface();
                for (int round = 0; round < kRounds; ++round) {
                    const Arrival arrival = catchDummy(clientId, round % 2 == 0 ? "exception" : "exception2");
                    if (round == 0) perThread[t].form = arrival.form;
                    if (arrival.form != perThread[t].form) perThread[t].form = "mixed";
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        return perThread;
    });
    ASSERT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0) << "child status " << run.status;
    ASSERT_EQ(run.arrivals.size(), static_cast<size_t>(kThreads));
    for (int t = 0; t < kThreads; ++t) {
        SCOPED_TRACE(t);
        EXPECT_EQ(run.arrivals[t].form, t % 2 == 1 ? "SE_Exception" : "catch-all");
    }
}

// Catches: the probe flushing standard output itself: its lines wait in the process's buffer
// until the host flushes. The child writes into a pipe of its own here, which nobody drains
// while it counts the bytes that have arrived.
TEST_F(Probe, LinesWaitInTheProcessBuffer) {
    const ChildRun run = runInChild([] {
        int counted[2];
        if (pipe(counted) != 0) _exit(3);
        dup2(counted[1], STDOUT_FILENO);
        catchDummy(clientId, "exception6");
        int beforeFlush = -1;
        int afterFlush = -1;
        ioctl(counted[0], FIONREAD, &beforeFlush);
        std::fflush(stdout);
        ioctl(counted[0], FIONREAD, &afterFlush);
        Arrival bytes;
        bytes.form = std::to_string(beforeFlush);
        bytes.text = std::to_string(afterFlush);
        return std::vector<Arrival>{bytes};
    });
    ASSERT_EQ(run.arrivals.size(), 1u);
    const std::string line = joined({"id:%d KinesisEnv::dummy[6] [%s] beg => throw std::exception\n"}, clientId, "exception6");
    EXPECT_EQ(run.arrivals[0].form, "0");
    EXPECT_EQ(run.arrivals[0].text, std::to_string(line.size()));
}

// Catches: the translator key of SetParam not reaching the fault path.
TEST_F(Probe, SetParamInstallsTranslatorForItsThread) {
    const ChildRun run = dummyOnFreshThread(ThreadKind::SetParam, {"exception"});
    ASSERT_EQ(run.arrivals.size(), 1u);
    expectArrival(run.arrivals[0], "SE_Exception", kAccessViolation, kAccessViolationText);
}

// Catches: case-insensitive or prefix matching of the scenario words, or output for a word that
// names no scenario.
TEST_F(Probe, OtherWordsReturnZeroAndPrintNothing) {
    const std::vector<std::string> words = {"Exception", "EXCEPTION", "EXCEPTION7", "exception8", "exception ",
                                            "exceptio",  "",          "exception1", "dummy"};
    const ChildRun run = dummyOnFreshThread(ThreadKind::InitializeInterface, words);
    ASSERT_EQ(run.arrivals.size(), words.size());
    EXPECT_EQ(run.output, "");
    for (size_t i = 0; i < words.size(); ++i) {
        SCOPED_TRACE("[" + words[i] + "]");
        EXPECT_EQ(run.arrivals[i].form, "returned");
        EXPECT_EQ(run.arrivals[i].result, 0);
        EXPECT_EQ(run.arrivals[i].lastError, firstLine(words[i]));
        EXPECT_TRUE(run.arrivals[i].logged);
    }
}

// Catches: a text table that differs from the one hosts match on, lower-case or short hex
// digits, and a text that isn't the exception's own message field (or overruns it).
TEST_F(Probe, SeExceptionNamesCodesThroughTheLibrary) {
    const std::pair<unsigned int, const char*> expected[] = {
        {0xC0000005u, "SE_Exception: Access Violation"}, {0xC0000008u, "SE_Exception: Invalid handle"},
        {0xC000008Cu, "SE_Exception: Array bounds exceeded"}, {0xC0000094u, "SE_Exception: Division by zero"},
        {0xC0000095u, "SE Exception: Int overflow"}, {0xC00000FDu, "SE_Exception: Stack overflow"},
        {0xC0000096u, "SE_Exception: 0xC0000096"}, {0x0000ABCDu, "SE_Exception: 0x0000ABCD"},
        {0x1u, "SE_Exception: 0x00000001"}, {0xFFFFFFFFu, "SE_Exception: 0xFFFFFFFF"},
        {0u, "SE_Exception: 0x00000000"},
    };
    for (const auto& [code, text] : expected) {
        SE_Exception exception(code);
        EXPECT_STREQ(whatOf(exception), text);
        EXPECT_EQ(whatOf(exception), exception.message);
    }
}

// Catches: a first line written past its message buffer when the word is long: it is cut to
// the buffer, and the call still returns 0.
TEST_F(Probe, LongWordIsCutToTheMessageBuffer) {
    const std::string longWord(3000, 'w');
    const ChildRun run = dummyOnFreshThread(ThreadKind::Plain, {longWord});
    ASSERT_EQ(run.arrivals.size(), 1u);
    EXPECT_EQ(run.arrivals[0].result, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.arrivals[0].lastError, firstLine(longWord).substr(0, kErrorTextBytes - 1));
}

}  // namespace
