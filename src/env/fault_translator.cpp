// Processor faults as C++ exceptions.
//
// One process-wide handler for SIGSEGV, SIGBUS, SIGFPE and SIGILL is installed when the library
// is loaded (installFaultTranslator() makes sure of it too), so that a fault in the library's own
// code reaches a catch (...) clause on any thread, not only on the threads that installed the
// translator. The handler throws only for a fault raised by the processor at an instruction of
// this shared object: the library is compiled with -fnon-call-exceptions, so the throw unwinds
// from the faulting instruction as if it had been a call. (A compiler without non-call
// exceptions, such as clang, still unwinds through a faulting function that needs no cleanup;
// one that does ends in std::terminate.) Everything else (faults in the host or in other
// libraries, signals sent with kill) goes to the handler that was installed before ours, or to
// the default action.
//
// The handlers saved at installation are put back when the library is unloaded, unless someone
// replaced ours in the meantime: after dlclose no signal may land in code that is gone.
//
// Stack overflow: the library sets up no alternate signal stack of its own. The handler asks for
// one (SA_ONSTACK), so a thread on which the host installed one gets a fault at the guard page
// as an SE_Exception with the stack-overflow code; without one the kernel cannot run any
// handler and the process dies as it would without this library.
#include "env/fault_translator.h"

#include <link.h>
#include <pthread.h>
#include <signal.h>
#include <ucontext.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "env/fault_codes.h"
#include "rxkinesis_exceptions.h"

namespace rxk {
namespace {

// What a fault becomes on a thread without the translator: a type no host can name, so only a
// catch (...) clause receives it.
struct StructuredFault {
    unsigned int code;
};

constexpr int kTranslatedSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
constexpr std::size_t kSignalCount = sizeof kTranslatedSignals / sizeof kTranslatedSignals[0];

// A fault this close to the interrupted stack pointer ran into the end of the stack rather than
// through a bad pointer: the only unmapped memory that near is the stack's guard area.
constexpr std::uintptr_t kStackOverflowReach = 64 * 1024;

struct AddressRange {
    std::uintptr_t begin;
    std::uintptr_t end;
};

// The executable segments of this shared object. Written once, before the handler can run, and
// only read by the handler afterwards.
constexpr std::size_t kMaxRanges = 8;
AddressRange ownCode[kMaxRanges];
std::size_t ownCodeCount = 0;

struct sigaction previousActions[kSignalCount];
bool handlersInstalled = false;  // guarded by installMutex
std::mutex installMutex;

// Which threads installed the translator: a thread-specific value rather than a thread_local,
// because the handler reads it, and the first access to a thread_local of a dlopened library
// may allocate memory. Any non-null value marks a thread. Created with the handlers.
pthread_key_t translatorKey;
std::atomic<bool> translatorKeyReady{false};  // lock-free: read by the handler

void onFault(int signal, siginfo_t* info, void* context);

// ---- locating our own code ----

bool segmentContains(const dl_phdr_info* object, const ElfW(Phdr)& segment, std::uintptr_t address) {
    const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
    return segment.p_type == PT_LOAD && address >= begin && address - begin < segment.p_memsz;
}

int recordOwnCode(dl_phdr_info* object, std::size_t, void* marker) {
    const auto address = reinterpret_cast<std::uintptr_t>(marker);
    bool containsMarker = false;
    for (ElfW(Half) i = 0; i < object->dlpi_phnum; ++i) {
        containsMarker = containsMarker || segmentContains(object, object->dlpi_phdr[i], address);
    }
    if (!containsMarker) return 0;
    for (ElfW(Half) i = 0; i < object->dlpi_phnum && ownCodeCount < kMaxRanges; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
        const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
        ownCode[ownCodeCount++] = AddressRange{begin, begin + segment.p_memsz};
    }
    return 1;
}

void locateOwnCode() {
    ownCodeCount = 0;
    dl_iterate_phdr(recordOwnCode, reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(&onFault)));
}

bool isOwnCode(std::uintptr_t address) {
    for (std::size_t i = 0; i < ownCodeCount; ++i) {
        if (address >= ownCode[i].begin && address < ownCode[i].end) return true;
    }
    return false;
}

// ---- classifying a fault ----

bool nearStackPointer(std::uintptr_t faultAddress, std::uintptr_t stackPointer) {
    return faultAddress <= stackPointer + kStackOverflowReach && faultAddress + kStackOverflowReach >= stackPointer;
}

unsigned int accessFaultCode(const siginfo_t* info, const ucontext_t* context) {
    const auto faultAddress = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const auto stackPointer = static_cast<std::uintptr_t>(context->uc_mcontext.gregs[REG_RSP]);
    return nearStackPointer(faultAddress, stackPointer) ? kStackOverflowCode : kAccessViolationCode;
}

unsigned int arithmeticFaultCode(int reason) {
    switch (reason) {
        case FPE_INTDIV: return kIntDivideByZeroCode;
        case FPE_INTOVF: return kIntOverflowCode;
        case FPE_FLTDIV: return kFloatDivideByZeroCode;
        case FPE_FLTOVF: return kFloatOverflowCode;
        case FPE_FLTUND: return kFloatUnderflowCode;
        case FPE_FLTRES: return kFloatInexactResultCode;
        case FPE_FLTSUB: return kArrayBoundsExceededCode;
        default: return kFloatInvalidOperationCode;
    }
}

unsigned int faultCode(int signal, const siginfo_t* info, const ucontext_t* context) {
    switch (signal) {
        case SIGSEGV: return accessFaultCode(info, context);
        case SIGFPE: return arithmeticFaultCode(info->si_code);
        case SIGILL: return info->si_code == ILL_PRVOPC ? kPrivilegedInstructionCode : kIllegalInstructionCode;
        default: return kAccessViolationCode;  // SIGBUS
    }
}

// ---- handing a signal on ----

std::size_t signalIndex(int signal) {
    std::size_t i = 0;
    while (i + 1 < kSignalCount && kTranslatedSignals[i] != signal) ++i;
    return i;
}

void restoreDefaultAction(int signal) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

// Does for a signal that isn't ours what would have happened without the library. A fault
// returns to the faulting instruction, which faults again under the restored default action.
// An earlier handler runs as a plain call, on our signal frame: its own sa_mask isn't applied.
void forwardToPrevious(int signal, siginfo_t* info, void* context) {
    const struct sigaction& previous = previousActions[signalIndex(signal)];
    const bool raisedByProcessor = info->si_code > 0;
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, info, context);
    } else if (previous.sa_handler == SIG_IGN) {
        if (raisedByProcessor) restoreDefaultAction(signal);  // a fault can't be ignored
    } else if (previous.sa_handler == SIG_DFL) {
        restoreDefaultAction(signal);
        if (!raisedByProcessor) raise(signal);
    } else {
        previous.sa_handler(signal);
    }
}

void onFault(int signal, siginfo_t* info, void* context) {
    const auto* machine = static_cast<const ucontext_t*>(context);
    const auto instruction = static_cast<std::uintptr_t>(machine->uc_mcontext.gregs[REG_RIP]);
    if (info->si_code <= 0 || !isOwnCode(instruction)) {
        forwardToPrevious(signal, info, context);
        return;
    }
    const unsigned int code = faultCode(signal, info, machine);
    if (faultTranslatorInstalled()) throw SE_Exception(code);
    throw StructuredFault{code};
}

// ---- installation ----

void installProcessHandlers() {
    std::lock_guard<std::mutex> lock(installMutex);
    if (handlersInstalled) return;
    if (!translatorKeyReady) translatorKeyReady = pthread_key_create(&translatorKey, nullptr) == 0;
    locateOwnCode();
    struct sigaction action {};
    action.sa_sigaction = onFault;
    // SA_NODEFER: the handler leaves by a throw, never by sigreturn, so the signal must not
    // stay blocked on the thread afterwards.
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignalCount; ++i) {
        sigaction(kTranslatedSignals[i], &action, &previousActions[i]);
    }
    handlersInstalled = true;
}

bool ourHandlerIsInstalled(int signal) {
    struct sigaction current {};
    return sigaction(signal, nullptr, &current) == 0 && (current.sa_flags & SA_SIGINFO) != 0 &&
           current.sa_sigaction == onFault;
}

void restorePreviousHandlers() {
    std::lock_guard<std::mutex> lock(installMutex);
    if (!handlersInstalled) return;
    for (std::size_t i = 0; i < kSignalCount; ++i) {
        if (ourHandlerIsInstalled(kTranslatedSignals[i])) {
            sigaction(kTranslatedSignals[i], &previousActions[i], nullptr);
        }
    }
    handlersInstalled = false;
    if (translatorKeyReady.exchange(false)) pthread_key_delete(translatorKey);
}

// Installs the handlers when the library is loaded and takes them away when it is unloaded.
struct ProcessHandlers {
    ProcessHandlers() { installProcessHandlers(); }
    ~ProcessHandlers() { restorePreviousHandlers(); }
    ProcessHandlers(const ProcessHandlers&) = delete;
    ProcessHandlers& operator=(const ProcessHandlers&) = delete;
};

ProcessHandlers processHandlers;

}  // namespace

void installFaultTranslator() noexcept {
    installProcessHandlers();
    if (translatorKeyReady) pthread_setspecific(translatorKey, &translatorKey);
}

bool faultTranslatorInstalled() noexcept {
    return translatorKeyReady && pthread_getspecific(translatorKey) != nullptr;
}

}  // namespace rxk
