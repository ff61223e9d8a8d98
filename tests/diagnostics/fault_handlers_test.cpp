// How the library's fault handlers live with the host's: faults in host code still reach the
// handler the host had, and unloading the library puts the host's handlers back. Each case runs
// in a forked child that loads the library itself (this process never does), since each may end
// the process and each needs a process in which the library wasn't loaded before.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <thread>

#include "library.h"
#include "rxkinesis_exceptions.h"

namespace {

using rxk::test::Library;

constexpr int kHostInfoHandlerExit = 42;
constexpr int kHostPlainHandlerExit = 43;
constexpr int kTranslatedSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// ---- the host's own code ----

void hostInfoHandler(int, siginfo_t*, void*) { _exit(kHostInfoHandlerExit); }
void hostPlainHandler(int) { _exit(kHostPlainHandlerExit); }
void hostOtherHandler(int) {}

__attribute__((noinline)) void faultInHostCode() {
    static const volatile char* page = static_cast<const volatile char*>(
        mmap(nullptr, static_cast<size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    static_cast<void>(*page);
}

__attribute__((noinline)) void divideByZeroInHostCode() {
    int dividend = 1;
    int high = 0;
    const int divisor = 0;
    asm volatile("idivl %2" : "+a"(dividend), "+d"(high) : "r"(divisor));
}

void setHandler(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

void setInfoHandler(int signal, void (*handler)(int, siginfo_t*, void*)) {
    struct sigaction action {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

// ---- what a child saw ----

// The part of a disposition that says who receives the signal.
struct Disposition {
    void* handler = nullptr;
    bool withInfo = false;

    static Disposition of(int signal) {
        struct sigaction current {};
        sigaction(signal, nullptr, &current);
        Disposition disposition;
        disposition.withInfo = (current.sa_flags & SA_SIGINFO) != 0;
        disposition.handler = disposition.withInfo ? reinterpret_cast<void*>(current.sa_sigaction)
                                                   : reinterpret_cast<void*>(current.sa_handler);
        return disposition;
    }

    bool operator==(const Disposition& other) const { return handler == other.handler && withInfo == other.withInfo; }
    bool operator!=(const Disposition& other) const { return !(*this == other); }
};

// A child can't report through gtest: it names what failed on stderr and exits with 1.
class ChildChecks {
public:
    void check(bool condition, const char* what) {
        if (condition) return;
        std::fprintf(stderr, "child check failed: %s\n", what);
        failed_ = true;
    }
    [[noreturn]] void finish() { _exit(failed_ ? 1 : 0); }

private:
    bool failed_ = false;
};

// Runs `body` in a child without core dumps and returns the child's wait status.
int statusOfChild(const std::function<void()>& body) {
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        freopen("/dev/null", "w", stdout);  // the probe's lines are not this test's business
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        body();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

bool exitedWith(int status, int code) { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
bool killedBy(int status, int signal) { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }

bool libraryIsLoaded(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
}

// Catches: host faults thrown as exceptions or swallowed instead of going to the handler the
// host had installed before loading the library, on threads with and without the translator.
TEST(FaultHandlers, HostFaultReachesTheHostsEarlierHandler) {
    const int withTranslator = statusOfChild([] {
        setInfoHandler(SIGSEGV, hostInfoHandler);
        Library library(Library::Unload::Never);
        std::thread([&] {
            library.InititializeInterface();
            faultInHostCode();
        }).join();
    });
    EXPECT_TRUE(exitedWith(withTranslator, kHostInfoHandlerExit)) << "status " << withTranslator;

    const int plainHandler = statusOfChild([] {
        setHandler(SIGSEGV, hostPlainHandler);
        Library library(Library::Unload::Never);
        std::thread([&] { faultInHostCode(); }).join();
    });
    EXPECT_TRUE(exitedWith(plainHandler, kHostPlainHandlerExit)) << "status " << plainHandler;

    const int arithmetic = statusOfChild([] {
        setInfoHandler(SIGFPE, hostInfoHandler);
        Library library(Library::Unload::Never);
        library.InititializeInterface();
        divideByZeroInHostCode();
    });
    EXPECT_TRUE(exitedWith(arithmetic, kHostInfoHandlerExit)) << "status " << arithmetic;
}

// Catches: a host fault that loops for ever or vanishes when the host had no handler: the
// process must end by the signal, as it would without the library.
TEST(FaultHandlers, HostFaultWithDefaultActionEndsTheProcess) {
    struct Case {
        const char* name;
        int signal;
        void (*disposition)(int);
        void (*fault)();
    };
    for (const Case& c : {Case{"segmentation", SIGSEGV, SIG_DFL, faultInHostCode},
                          Case{"arithmetic", SIGFPE, SIG_DFL, divideByZeroInHostCode},
                          Case{"ignored", SIGSEGV, SIG_IGN, faultInHostCode}}) {
        SCOPED_TRACE(c.name);
        const int status = statusOfChild([&c] {
            setHandler(c.signal, c.disposition);
            Library library(Library::Unload::Never);
            library.InititializeInterface();
            c.fault();
        });
        EXPECT_TRUE(killedBy(status, c.signal)) << "status " << status;
    }
}

// Catches: handlers left pointing into an unloaded library, or the wrong ones put back.
TEST(FaultHandlers, UnloadPutsBackTheHandlersFoundAtLoad) {
    const int status = statusOfChild([] {
        ChildChecks checks;
        setInfoHandler(SIGSEGV, hostInfoHandler);
        setHandler(SIGBUS, hostPlainHandler);
        setHandler(SIGFPE, SIG_IGN);
        setHandler(SIGILL, SIG_DFL);
        Disposition before[4];
        for (int i = 0; i < 4; ++i) before[i] = Disposition::of(kTranslatedSignals[i]);
        std::string path;
        {
            Library library(Library::Unload::OnDestruction);
            path = library.path();
            for (int i = 0; i < 4; ++i)
                checks.check(Disposition::of(kTranslatedSignals[i]) != before[i], "handler installed at load");
        }
        checks.check(!libraryIsLoaded(path), "library unloaded by dlclose");
        for (int i = 0; i < 4; ++i)
            checks.check(Disposition::of(kTranslatedSignals[i]) == before[i], "earlier handler put back");
        checks.finish();
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
}

// Catches: unloading clobbering a handler that the host installed after loading the library.
TEST(FaultHandlers, UnloadLeavesLaterHandlersAlone) {
    const int status = statusOfChild([] {
        ChildChecks checks;
        const Disposition busBefore = Disposition::of(SIGBUS);
        {
            Library library(Library::Unload::OnDestruction);
            setHandler(SIGSEGV, hostOtherHandler);
        }
        checks.check(Disposition::of(SIGSEGV) == Disposition{reinterpret_cast<void*>(hostOtherHandler), false},
                     "later handler kept");
        checks.check(Disposition::of(SIGBUS) == busBefore, "earlier handler put back");
        checks.finish();
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
}

// Catches: a library loaded a second time that no longer translates (handlers or per-thread
// state not set up again after an unload).
TEST(FaultHandlers, ReloadedLibraryTranslatesAgain) {
    const int status = statusOfChild([] {
        ChildChecks checks;
        { Library first(Library::Unload::OnDestruction); }
        Library library(Library::Unload::Never);
        std::thread([&] {
            library.InititializeInterface();
            const int32_t id = library.CreateClient("us-east-1", "probe-key", "probe-secret");
            checks.check(id >= 0, "client created");
            bool translated = false;
            try {
                library.Dummy(id, "exception");
            } catch (SE_Exception& caught) {
                translated = caught.code == 0xC0000005u;
            } catch (...) {
            }
            checks.check(translated, "fault arrives as SE_Exception");
        }).join();
        checks.finish();
    });
    EXPECT_TRUE(exitedWith(status, 0)) << "status " << status;
}

}  // namespace
