// -Z WORD: runs the library's exception probe and tells which exception arrived, caught by
// type as a C++ host catches them.
#include "modes.h"

#include <cstdio>
#include <exception>
#include <string>

namespace rxkcat {
namespace {

// Runs the probe and returns what came out of it, in words; `refused` when Dummy said -1.
std::string runDummy(Session& session, const std::string& word, bool& refused) {
    const LibraryApi& api = session.api();
    try {
        const int32_t result = api.Dummy(session.client(), word.c_str());
        refused = result < 0;
        return "no exception, Dummy returned " + std::to_string(result);
    } catch (SE_Exception& fault) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", fault.code);
        return std::string("SE_Exception [") + api.seExceptionWhat(&fault) + "] code " + code;
    } catch (const RX_Exception& thrown) {
        return std::string("RX_Exception [") + thrown.what() + "]";
    } catch (const std::exception& thrown) {
        return std::string("std::exception [") + thrown.what() + "]";
    } catch (...) {
        return "an exception of unknown type (caught by catch (...))";
    }
}

}  // namespace

ExitStatus runProbe(Session& session, const Options& options) {
    std::fflush(stdout);
    bool refused = false;
    const std::string arrived = runDummy(session, options.probeWord, refused);
    // The probe's own lines went to standard output through the same stdio stream: ours follow.
    std::printf("rxkcat: probe '%s' delivered %s\n", options.probeWord.c_str(), arrived.c_str());
    std::printf("rxkcat: last error text: %s\n", session.errorText().c_str());
    std::fflush(stdout);
    return refused ? kExitFailure : kExitOk;
}

}  // namespace rxkcat
