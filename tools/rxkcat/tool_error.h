// Errors that end a run: each carries the words for standard error and the exit status.
#pragma once

#include "exit_status.h"

#include <stdexcept>
#include <string>

namespace rxkcat {

class ToolError : public std::runtime_error {
public:
    ToolError(ExitStatus status, const std::string& message)
        : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

// A wrong command line: the message names the flag and what was wrong with it.
class UsageError : public ToolError {
public:
    explicit UsageError(const std::string& message) : ToolError(kExitUsage, message) {}
};

// A failure of the library, the service or the system.
class RunError : public ToolError {
public:
    explicit RunError(const std::string& message) : ToolError(kExitFailure, message) {}
};

}  // namespace rxkcat
