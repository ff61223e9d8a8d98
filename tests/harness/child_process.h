// A helper process of a test (the emulator, the fault endpoint): started with its standard
// output on a pipe, ready once it prints "port=<P>", stopped and reaped on destruction. It dies
// with the test process even if that one is killed outright.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace rxk::test {

class PortProcess {
public:
    // Runs argv (argv[0] looked up on PATH); throws std::runtime_error naming `what` when it
    // can't start or ends before printing its port.
    PortProcess(const std::vector<std::string>& argv, const std::string& what);
    ~PortProcess();  // SIGTERM, and reaped
    PortProcess(const PortProcess&) = delete;
    PortProcess& operator=(const PortProcess&) = delete;

    int port() const { return port_; }

private:
    void stop();

    pid_t pid_ = -1;
    int output_ = -1;  // held open so that what it prints on the way out has a reader
    int port_ = 0;
};

}  // namespace rxk::test
