// Probe::dummy: lets a host try out how exceptions travel from the library to it. Each
// scenario word prints its lines on standard output (left unflushed, like any other output of
// the process) and ends in a processor fault or a throw, some inside a protected region whose
// clauses print a line and throw on.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "diagnostics/probe.h"
#include "env/fault_translator.h"
#include "env/text_exception.h"
#include "rxkinesis_exceptions.h"

namespace rxk {
namespace {

// The third value of a clause line when the caught object has no what().
constexpr const char* kAnyOtherWord = "ellipsis";

// A page that can never be read: reading it is the probe's access violation.
const volatile char* unreadablePage() {
    static const volatile char* const page = [] {
        void* mapping = mmap(nullptr, static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return mapping == MAP_FAILED ? nullptr : static_cast<const volatile char*>(mapping);
    }();
    return page;
}

// Raises an access violation on the calling thread, here and now: the read is volatile, so it
// stays between the lines printed around it. Raises nothing if the page could not be mapped.
void raiseAccessViolation() {
    const volatile char* page = unreadablePage();
    if (page != nullptr) static_cast<void>(*page);
}

// Called through a pointer the optimiser can't see through: a compiler that proved the step
// free of throwing calls (clang has no non-call exceptions) would leave its call without an
// unwind entry, and the fault would end in std::terminate instead of reaching the clauses.
void (*const volatile faultStep)() = raiseAccessViolation;

// What the SE_Exception clause of a protected region throws on.
enum class AfterStructuredFault { ThrowSeException, ThrowStdException };

struct ClauseLines {
    const char* seException;
    const char* stdException;
    const char* anyOther;
    AfterStructuredFault afterStructuredFault;
};

// Runs `body` inside the three clauses every protection of the library has, in their order.
template <typename Body>
void protectedRegion(int32_t id, const char* kind, const ClauseLines& lines, Body body) {
    try {
        body();
    } catch (SE_Exception& caught) {
        const char* text = caught.what();
        std::printf(lines.seException, id, kind, text);
        if (lines.afterStructuredFault == AfterStructuredFault::ThrowStdException) throw TextException(text);
        throw SE_Exception(caught.code);
    } catch (std::exception& caught) {
        std::printf(lines.stdException, id, kind, caught.what());
        throw TextException(caught.what());
    } catch (...) {
        std::printf(lines.anyOther, id, kind, kAnyOtherWord);
        throw;
    }
}

// The unprotected body of the four fault scenarios: a line, the fault, and a line that only a
// fault step that raised nothing lets through.
void faultBetweenLines(int32_t id, const char* kind, const char* beginLine, const char* endLine) {
    std::printf(beginLine, id, kind);
    faultStep();
    std::printf(endLine, id, kind);
}

void exception1(int32_t id, const char* kind) {
    faultBetweenLines(id, kind, "id:%d KinesisEnv::dummy[1] [%s] beg\n", "id:%d KinesisEnv::dummy[1] [%s] end\n");
}

void exception2(int32_t id, const char* kind) {
    static constexpr ClauseLines lines{
        "id:%d KinesisEnv::dummy[2x] [%s] SE_Exception [%s] => throw SE_Exception\n",
        "id:%d KinesisEnv::dummy[2a] [%s] Exception [%s] => throw std::exception\n",
        "id:%d KinesisEnv::dummy[2b] [%s] Exception [%s] => throw\n",
        AfterStructuredFault::ThrowSeException};
    protectedRegion(id, kind, lines, [&] {
        faultBetweenLines(id, kind, "id:%d KinesisEnv::dummy[2] [%s] beg\n", "id:%d KinesisEnv::dummy[2] [%s] end\n");
    });
}

void exception3(int32_t id, const char* kind) {
    static constexpr ClauseLines lines{
        "id:%d KinesisEnv::dummy[3a] [%s] SE_Exception [%s] => throw SE_Exception\n",
        "id:%d KinesisEnv::dumm[3b] [%s] Exception [%s] => throw std::exception\n",
        "id:%d KinesisEnv::dummy[3c] [%s] Exception [%s] => throw\n",
        AfterStructuredFault::ThrowSeException};
    installFaultTranslator();
    protectedRegion(id, kind, lines, [&] {
        faultBetweenLines(id, kind, "id:%d KinesisEnv::dummy[3] [%s] beg\n", "id:%d KinesisEnv::dummy[3] [%s] end\n");
    });
}

void exception4(int32_t id, const char* kind) {
    static constexpr ClauseLines lines{
        "id:%d KinesisEnv::dummy[4a] [%s] SE_Exception [%s] => throw std::exception\n",
        "id:%d KinesisEnv::dummy[4b] [%s] Exception [%s] => throw std::exception\n",
        "id:%d KinesisEnv::dummy[4c] [%s] Exception [%s] => throw\n",
        AfterStructuredFault::ThrowStdException};
    installFaultTranslator();
    protectedRegion(id, kind, lines, [&] {
        faultBetweenLines(id, kind, "id:%d KinesisEnv::dummy[4] [%s] beg\n", "id:%d KinesisEnv::dummy[4] [%s] end\n");
    });
}

void exception5(int32_t id, const char* kind) {
    static constexpr ClauseLines lines{
        "id:%d KinesisEnv::dummy[5a] [%s] SE_Exception [%s] => throw SE_Exception \n",
        "id:%d KinesisEnv::dummy[5b] [%s] Exception [%s] => throw std::exception \n",
        "id:%d KinesisEnv::dummy[5c] [%s] Exception [%s] => throw\n",
        AfterStructuredFault::ThrowSeException};
    protectedRegion(id, kind, lines, [&] {
        std::printf("id:%d KinesisEnv::dummy[5] [%s] beg\n", id, kind);
        throw TextException(kind);
    });
}

void exception6(int32_t id, const char* kind) {
    std::printf("id:%d KinesisEnv::dummy[6] [%s] beg => throw std::exception\n", id, kind);
    throw TextException(kind);
}

void exception7(int32_t id, const char* kind) {
    std::printf("id:%d KinesisEnv::dummy[7] [%s] beg => throw RX_Exception\n", id, kind);
    throw RX_Exception(kind);
}

struct Scenario {
    const char* word;
    void (*run)(int32_t id, const char* kind);
};

// Compared in this order, exactly and with case.
constexpr Scenario kScenarios[] = {
    {"exception", exception1},   {"exception2", exception2}, {"exception3", exception3},
    {"exception4", exception4},  {"exception5", exception5}, {"exception6", exception6},
    {"exception7", exception7},
};

}  // namespace

int32_t Probe::dummy(const char* kind) {
    const int32_t id = env_.id();
    const char* word = kind != nullptr ? kind : "";  // a null word names no scenario
    env_.fail("id:%d KinesisEnv::dummy [%s]", id, word);
    for (const Scenario& scenario : kScenarios) {
        if (std::strcmp(word, scenario.word) == 0) {
            scenario.run(id, word);
            break;
        }
    }
    return 0;
}

}  // namespace rxk
