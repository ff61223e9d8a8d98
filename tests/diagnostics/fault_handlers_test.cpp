// The library's fault handlers next to the host's: faults in host code still reach the handler
// the host had, and unloading the library puts the host's handlers back. Each row runs in a
// forked child that loads the library itself (this process never does), since each may end
// the process and each needs a process in which the library wasn't loaded before.
#include "child_process.h"
#include "library.h"
#include "rxkinesis_exceptions.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <signal.h>
#include <sys/mman.h>

#include <thread>

namespace rxk::test {
namespace {

constexpr int kTranslatedSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

void hostInfoHandler(int, siginfo_t*, void*) { _exit(42); }
void hostPlainHandler(int) { _exit(43); }
void hostLaterHandler(int) {}

__attribute__((noinline)) void readUnreadablePage() {
    static const volatile char* page = static_cast<const volatile char*>(
        mmap(nullptr, static_cast<size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    static_cast<void>(*page);
}

// In assembly, so that no sanitizer check stands in front of the processor's own.
__attribute__((noinline)) void divideByZero() {
    int dividend = 1, high = 0;
    const int divisor = 0;
    asm volatile("idivl %2" : "+a"(dividend), "+d"(high) : "r"(divisor));
}

// A sent signal thrown as if the processor had raised it would end here.
void raiseSegv() {
    try { raise(SIGSEGV); } catch (...) { _exit(71); }
}

void setDisposition(int signal, void (*plain)(int), void (*info)(int, siginfo_t*, void*) = nullptr) {
    struct sigaction action {};
    if (info) action.sa_sigaction = info, action.sa_flags = SA_SIGINFO;
    else action.sa_handler = plain;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

// Who receives `signal` now: the handler's address, and whether it takes siginfo.
std::pair<void*, bool> disposition(int signal) {
    struct sigaction current {};
    sigaction(signal, nullptr, &current);
    const bool info = current.sa_flags & SA_SIGINFO;
    return {info ? reinterpret_cast<void*>(current.sa_sigaction) : reinterpret_cast<void*>(current.sa_handler), info};
}

std::string ending(int status) {
    return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status)) : "signal " + std::to_string(WTERMSIG(status));
}

// Would catch a host fault thrown as an exception, swallowed, or looping for ever instead of
// going to the handler the host had before it loaded the library (or to the default action),
// on threads with and without the translator.
TEST(FaultHandlers, HostFaultsReachTheHostsEarlierHandler) {
    struct Case { const char* name; int signal; void (*plain)(int); void (*info)(int, siginfo_t*, void*); void (*fault)(); bool translator; const char* ending; };
    const Case kRows[] = {
        {"SA_SIGINFO handler, translator thread", SIGSEGV, nullptr, hostInfoHandler, readUnreadablePage, true, "exit 42"},
        {"plain handler, plain thread", SIGSEGV, hostPlainHandler, nullptr, readUnreadablePage, false, "exit 43"},
        {"arithmetic fault, SA_SIGINFO handler", SIGFPE, nullptr, hostInfoHandler, divideByZero, true, "exit 42"},
        {"default action ends the process", SIGSEGV, SIG_DFL, nullptr, readUnreadablePage, true, "signal 11"},
        {"default action, arithmetic", SIGFPE, SIG_DFL, nullptr, divideByZero, true, "signal 8"},
        {"an ignored fault still ends the process", SIGSEGV, SIG_IGN, nullptr, readUnreadablePage, true, "signal 11"},
        {"a sent SIGSEGV isn't translated", SIGSEGV, SIG_DFL, nullptr, raiseSegv, true, "signal 11"},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const ChildRun run = runInChild([&c] {
            setDisposition(c.signal, c.plain, c.info);
            Library library(libraryPathFromEnvironment(), Library::Unload::Never);
            std::thread([&] {
                if (c.translator) library.InititializeInterface();
                c.fault();
            }).join();
            return std::string();
        });
        EXPECT_EQ(ending(run.status), c.ending);
    }
}

// Would catch handlers left pointing into an unloaded library, the wrong ones put back, a
// handler the host installed after loading clobbered, or a library loaded again that no longer
// translates. Each row returns what went wrong, or nothing.
TEST(FaultHandlers, UnloadPutsBackWhatTheHostHad) {
    const std::pair<const char*, std::string (*)()> kRows[] = {
        {"the handlers found at load come back", [] {
             setDisposition(SIGSEGV, nullptr, hostInfoHandler), setDisposition(SIGBUS, hostPlainHandler);
             setDisposition(SIGFPE, SIG_IGN), setDisposition(SIGILL, SIG_DFL);
             std::pair<void*, bool> before[4];
             for (int i = 0; i < 4; ++i) before[i] = disposition(kTranslatedSignals[i]);
             std::string wrong;
             {
                 Library library(libraryPathFromEnvironment(), Library::Unload::OnDestruction);
                 for (int i = 0; i < 4; ++i) wrong += disposition(kTranslatedSignals[i]) == before[i] ? "not installed; " : "";
             }
             for (int i = 0; i < 4; ++i) wrong += disposition(kTranslatedSignals[i]) != before[i] ? "not put back; " : "";
             void* stillThere = dlopen(libraryPathFromEnvironment().c_str(), RTLD_NOW | RTLD_NOLOAD);
             return wrong + (stillThere ? "not unloaded" : "");
         }},
        {"a handler set after loading stays", [] {
             const auto bus = disposition(SIGBUS);
             { Library library(libraryPathFromEnvironment(), Library::Unload::OnDestruction); setDisposition(SIGSEGV, hostLaterHandler); }
             const bool kept = disposition(SIGSEGV) == std::pair<void*, bool>{reinterpret_cast<void*>(hostLaterHandler), false};
             return std::string(kept ? "" : "later handler lost; ") + (disposition(SIGBUS) == bus ? "" : "SIGBUS not put back");
         }},
        {"a library loaded again translates again", [] {
             { Library first(libraryPathFromEnvironment(), Library::Unload::OnDestruction); }
             Library library(libraryPathFromEnvironment(), Library::Unload::Never);
             std::string arrival = "nothing";
             std::thread([&] {
                 library.InititializeInterface();
                 try {
                     library.Dummy(library.CreateClient("us-east-1", "probe-key", "probe-secret"), "exception");
                 } catch (SE_Exception& caught) {
                     arrival = caught.code == 0xC0000005u ? "" : "another code";
                 } catch (...) {
                     arrival = "catch-all";
                 }
             }).join();
             return arrival;
         }},
    };
    for (const auto& [name, body] : kRows) {
        SCOPED_TRACE(name);
        const ChildRun run = runInChild(body);
        EXPECT_EQ(ending(run.status), "exit 0");
        EXPECT_EQ(run.report, "");
    }
}

}  // namespace
}  // namespace rxk::test
