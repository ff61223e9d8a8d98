// The command line of rxkfault.
#pragma once

#include "fault_server.h"

#include <stdexcept>
#include <string>

namespace rxkfault {

// The exit statuses: one per kind of outcome.
enum ExitStatus : int {
    kExitOk = 0,       // stopped by SIGTERM or SIGINT
    kExitFailure = 1,  // could not listen or read the script file
    kExitUsage = 2     // a wrong command line or a bad script
};

// A wrong command line; the message names the option and what was wrong with it.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Options {
    int port = 0;             // 0: a free port
    std::string scriptFile;   // "": no script (the built-in answers)
    std::string portFile;     // "": none
    bool canned = false;
    FaultServer::CannedAnswers cannedAnswers;
    bool help = false;
};

// Throws UsageError.
Options parseOptions(int argc, const char* const* argv);

const char* helpText();

}  // namespace rxkfault
