// The fault translator on its own, linked into this executable: here every instruction of the
// test counts as the library's own code, so faults raised by the test itself are translated.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "env/fault_translator.h"
#include "env/text_exception.h"
#include "rxkinesis_exceptions.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kUnderAddressSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kUnderAddressSanitizer = true;
#else
constexpr bool kUnderAddressSanitizer = false;
#endif
#else
constexpr bool kUnderAddressSanitizer = false;
#endif

// What arrived at the outermost catch of a thread.
struct Outcome {
    enum Kind { Nothing, Structured, CatchAllOnly } kind = Nothing;
    unsigned int code = 0;
    std::string text;
};

// The faulting operations live in leaf functions of their own, called through a pointer the
// optimiser can't see through: a call it could prove free of throwing would get no unwind entry
// in its caller (clang has no non-call exceptions), and the fault would end in terminate.
using Fault = void (*)();

volatile int zeroDivisor = 0;
volatile int recursionLimit = INT_MAX;
int destructorsRun = 0;

__attribute__((noinline)) void readUnreadablePage() {
    static const volatile char* page = static_cast<const volatile char*>(
        mmap(nullptr, static_cast<size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    static_cast<void>(*page);
}

// In assembly, so that no sanitizer check stands in front of the processor's own.
__attribute__((noinline)) void divideByZero() {
    int dividend = 7;
    int high = 0;
    const int divisor = zeroDivisor;
    asm volatile("idivl %2" : "+a"(dividend), "+d"(high) : "r"(divisor));
}

__attribute__((noinline)) void executeIllegalInstruction() { asm volatile("ud2"); }

int recurseForever(int depth);
int (*volatile nextLevel)(int) = recurseForever;

__attribute__((noinline)) int recurseForever(int depth) {
    volatile char frame[512];
    frame[0] = static_cast<char>(depth);
    if (depth >= recursionLimit) return frame[0];
    return nextLevel(depth + 1) + frame[0];
}

void overflowStack() { static_cast<void>(nextLevel(0)); }

void faultWithObjectOnStack() {
    struct Counter {
        ~Counter() { ++destructorsRun; }
    } counter;
    Fault volatile fault = readUnreadablePage;
    fault();
}

Outcome catchOnThisThread(Fault fault) {
    Fault volatile call = fault;
    Outcome outcome;
    try {
        call();
    } catch (SE_Exception& caught) {
        outcome.kind = Outcome::Structured;
        outcome.code = caught.code;
        outcome.text = caught.what();
    } catch (...) {
        outcome.kind = Outcome::CatchAllOnly;
    }
    return outcome;
}

// Runs `fault` on a fresh thread, with or without the translator installed there first.
Outcome runOnFreshThread(bool withTranslator, Fault fault) {
    Outcome outcome;
    std::thread thread([&] {
        if (withTranslator) rxk::installFaultTranslator();
        outcome = catchOnThisThread(fault);
    });
    thread.join();
    return outcome;
}

// Catches: a fault that kills the process or arrives as SE_Exception on a thread that never
// asked for the translator.
TEST(FaultTranslator, FaultWithoutTranslatorReachesOnlyCatchAll) {
    const Outcome outcome = runOnFreshThread(false, readUnreadablePage);
    EXPECT_EQ(outcome.kind, Outcome::CatchAllOnly);
}

// Catches: a wrong code or text for an access violation.
TEST(FaultTranslator, AccessViolationBecomesSeException) {
    const Outcome outcome = runOnFreshThread(true, readUnreadablePage);
    EXPECT_EQ(outcome.kind, Outcome::Structured);
    EXPECT_EQ(outcome.code, 0xC0000005u);
    EXPECT_EQ(outcome.text, "SE_Exception: Access Violation");
}

// Catches: a translator flag that leaks to other threads instead of staying with its thread.
TEST(FaultTranslator, TranslatorBelongsToTheInstallingThreadOnly) {
    bool installedThere = false;
    std::thread([&] {
        rxk::installFaultTranslator();
        installedThere = rxk::faultTranslatorInstalled();
    }).join();
    EXPECT_TRUE(installedThere);
    bool installedOnFreshThread = true;
    std::thread([&] { installedOnFreshThread = rxk::faultTranslatorInstalled(); }).join();
    EXPECT_FALSE(installedOnFreshThread);
    EXPECT_EQ(runOnFreshThread(false, readUnreadablePage).kind, Outcome::CatchAllOnly);
}

// Catches: arithmetic and instruction faults mapped to the wrong code (or not translated).
TEST(FaultTranslator, EachSignalGetsItsOwnCode) {
    const Outcome division = runOnFreshThread(true, divideByZero);
    EXPECT_EQ(division.code, 0xC0000094u);
    EXPECT_EQ(division.text, "SE_Exception: Division by zero");
    const Outcome illegal = runOnFreshThread(true, executeIllegalInstruction);
    EXPECT_EQ(illegal.kind, Outcome::Structured);
    EXPECT_EQ(illegal.code, 0xC000001Du);
    EXPECT_EQ(illegal.text, "SE_Exception: 0xC000001D");
}

// Catches: a handler that leaves the signal blocked after the throw, so that the next fault on
// the same thread kills the process instead of arriving as an exception.
TEST(FaultTranslator, SameThreadFaultsAgainAndAgain) {
    std::vector<Outcome> outcomes;
    std::thread([&] {
        rxk::installFaultTranslator();
        for (int i = 0; i < 3; ++i) outcomes.push_back(catchOnThisThread(readUnreadablePage));
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        EXPECT_FALSE(sigismember(&blocked, SIGSEGV));
    }).join();
    ASSERT_EQ(outcomes.size(), 3u);
    for (const Outcome& outcome : outcomes) EXPECT_EQ(outcome.code, 0xC0000005u);
}

// Catches: a fault that skips the destructors of the frames it unwinds (no -fnon-call-exceptions
// coverage of the faulting instruction).
TEST(FaultTranslator, UnwindingFromFaultRunsDestructors) {
    destructorsRun = 0;
    const Outcome outcome = runOnFreshThread(true, faultWithObjectOnStack);
    EXPECT_EQ(outcome.kind, Outcome::Structured);
    EXPECT_EQ(destructorsRun, 1);
}

// Catches: a stack overflow reported as a plain access violation, or killing the process although
// the thread has an alternate signal stack.
TEST(FaultTranslator, StackOverflowOnThreadWithAlternateStack) {
    Outcome outcome;
    std::thread([&] {
        std::vector<char> alternate(256 * 1024);
        stack_t stack{};
        stack.ss_sp = alternate.data();
        stack.ss_size = alternate.size();
        ASSERT_EQ(sigaltstack(&stack, nullptr), 0);
        rxk::installFaultTranslator();
        outcome = catchOnThisThread(overflowStack);
        stack.ss_flags = SS_DISABLE;
        sigaltstack(&stack, nullptr);
    }).join();
    EXPECT_EQ(outcome.code, 0xC00000FDu);
    EXPECT_EQ(outcome.text, "SE_Exception: Stack overflow");
}

// Catches: a SIGSEGV sent by kill being thrown as if the processor had raised it. The signal
// goes to the handler found at start-up: the default action, or a sanitizer's report.
TEST(FaultTranslator, SentSignalIsNotTranslated) {
    constexpr int kCaughtMarker = 71;
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        rxk::installFaultTranslator();
        try {
            raise(SIGSEGV);
        } catch (...) {
            _exit(kCaughtMarker);
        }
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status)) {
        EXPECT_EQ(WTERMSIG(status), SIGSEGV);
    } else {
        // Only a sanitizer's handler ends the process with an exit status of its own.
        EXPECT_TRUE(kUnderAddressSanitizer) << "exit status " << WEXITSTATUS(status);
        EXPECT_NE(WEXITSTATUS(status), kCaughtMarker);
        EXPECT_NE(WEXITSTATUS(status), 0);
    }
}

// The code-to-text table is checked through the library's exported what() in probe_test.
// Catches: what() caching the first text instead of naming the current code.
TEST(SeExceptionText, EveryCallWritesTheFieldAgain) {
    SE_Exception exception(0xC0000005u);
    exception.what();
    exception.code = 0xC0000096u;
    EXPECT_STREQ(exception.what(), "SE_Exception: 0xC0000096");
    std::memset(exception.message, 'x', sizeof exception.message);
    EXPECT_STREQ(exception.what(), "SE_Exception: 0xC0000096");
}

// Catches: an RX_Exception text written past its 1024-byte field, or cut one byte early.
TEST(RxExceptionText, BoundedByItsField) {
    const std::string prefix = "RX_Exception: ";
    const size_t room = sizeof RX_Exception::message - 1 - prefix.size();
    const std::string fits(room, 'a');
    EXPECT_EQ(RX_Exception(fits.c_str()).what(), prefix + fits);
    const std::string oneTooLong(room + 1, 'b');
    EXPECT_EQ(RX_Exception(oneTooLong.c_str()).what(), prefix + std::string(room, 'b'));
    const std::string farTooLong(5000, 'c');
    EXPECT_EQ(std::strlen(RX_Exception(farTooLong.c_str()).what()), sizeof RX_Exception::message - 1);
    EXPECT_STREQ(RX_Exception("").what(), "RX_Exception: ");
    EXPECT_STREQ(RX_Exception(nullptr).what(), "RX_Exception: ");
}

// Catches: a text exception that keeps a pointer to the caller's text instead of a copy.
TEST(TextException, KeepsItsOwnCopy) {
    std::string text = "exception5";
    const rxk::TextException exception(text.c_str());
    text.assign("overwritten");
    EXPECT_STREQ(exception.what(), "exception5");
    const rxk::TextException copy = exception;
    EXPECT_STREQ(copy.what(), "exception5");
    EXPECT_STREQ(rxk::TextException().what(), "Unknown exception");
    EXPECT_STREQ(rxk::TextException(nullptr).what(), "Unknown exception");
}

}  // namespace
