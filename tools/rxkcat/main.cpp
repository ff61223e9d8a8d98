// rxkcat: a command-line host for librxkinesis. It loads the library with dlopen, as a
// replication engine does, and drives it by mode: list, produce, consume, get, create, probe.
#include "help_text.h"
#include "library_loader.h"
#include "modes.h"
#include "options.h"
#include "session.h"
#include "stop_signal.h"
#include "tool_error.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>

namespace rxkcat {
namespace {

constexpr char kEndpointVariable[] = "AWS_ENDPOINT_URL_KINESIS";

ExitStatus runMode(Session& session, const Options& options) {
    switch (options.mode) {
    case Mode::List: return runList(session, options);
    case Mode::Produce: return runProduce(session, options);
    case Mode::Consume: return runConsume(session, options);
    case Mode::GetRecord: return runGetRecord(session, options);
    case Mode::CreateStream: return runCreateStream(session, options);
    case Mode::Probe: return runProbe(session, options);
    default: throw UsageError("no mode given");
    }
}

void printError(const char* what) { std::fprintf(stderr, "rxkcat: %s\n", what); }

int run(int argc, char** argv) {
    std::optional<LibraryApi> library;
    // The library's exceptions may leave any export; they end the run with their words.
    try {
        const Options options = parseCommandLine(argc, argv);
        if (options.mode == Mode::Help) {
            std::fputs(helpText(), stdout);
            return kExitOk;
        }
        if (options.mode == Mode::Version) {
            std::fputs(versionText(), stdout);
            return kExitOk;
        }
        // Set before the library loads: the SDK reads it when the client is built.
        if (!options.endpoint.empty()) setenv(kEndpointVariable, options.endpoint.c_str(), 1);
        installStopSignals();
        library = loadLibrary(options.libraryPath);
        Session session(*library, options);
        const ExitStatus status = runMode(session, options);
        // A stopped run finished what was in flight and printed its summary; a script still
        // needs to tell it from a run that completed.
        return stopRequested() ? stoppedRunStatus() : status;
    } catch (const UsageError& error) {
        printError(error.what());
        std::fprintf(stderr, "Try 'rxkcat --help' for the modes, their options and examples.\n");
        return kExitUsage;
    } catch (const ToolError& error) {
        printError(error.what());
        return stopRequested() ? stoppedRunStatus() : error.status();
    } catch (SE_Exception& fault) {
        const char* name = library && library->seExceptionWhat ? library->seExceptionWhat(&fault) : "SE_Exception";
        std::fprintf(stderr, "rxkcat: the library raised %s (code 0x%08X)\n", name, fault.code);
    } catch (const RX_Exception& thrown) {
        std::fprintf(stderr, "rxkcat: the library raised %s\n", thrown.what());
    } catch (const std::exception& thrown) {
        std::fprintf(stderr, "rxkcat: unexpected error: %s\n", thrown.what());
    } catch (...) {
        printError("the library raised an exception of unknown type");
    }
    return kExitFailure;
}

}  // namespace
}  // namespace rxkcat

int main(int argc, char** argv) { return rxkcat::run(argc, argv); }
