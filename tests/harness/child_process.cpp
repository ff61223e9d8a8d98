#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace rxk::test {

constexpr int kStartMillis = 15000;

// Reads standard output up to the first line break; the port from its "port=<P>".
static int readPort(int output) {
    std::string seen;
    char chunk[256];
    pollfd ready{output, POLLIN, 0};
    for (ssize_t got = 1; got > 0 && seen.find('\n') == std::string::npos && ::poll(&ready, 1, kStartMillis) > 0;)
        if ((got = ::read(output, chunk, sizeof chunk)) > 0) seen.append(chunk, static_cast<std::size_t>(got));
    const auto mark = seen.find("port=");
    return mark == std::string::npos ? 0 : std::atoi(seen.c_str() + mark + 5);
}

PortProcess::PortProcess(const std::vector<std::string>& argv, const std::string& what) {
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) throw std::runtime_error(what + ": pipe: " + std::strerror(errno));
    const pid_t parent = ::getpid();
    sigset_t none;
    sigemptyset(&none);
    if ((pid_ = ::fork()) == 0) {  // from here on only exec-safe calls: everything is prepared before
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(1);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::dup2(pipeEnds[1], STDOUT_FILENO);
        ::execvp(args[0], args.data());
        ::_exit(127);
    }
    ::close(pipeEnds[1]);
    output_ = pipeEnds[0];
    port_ = pid_ > 0 ? readPort(output_) : 0;
    if (port_ > 0) return;
    int status = 0;
    if (pid_ > 0 && ::kill(pid_, SIGTERM) == 0 && ::waitpid(pid_, &status, 0) == pid_) pid_ = -1;
    stop();
    const bool missing = WIFEXITED(status) && WEXITSTATUS(status) == 127;
    throw std::runtime_error(what + ": " + argv[0] + (missing ? " could not be run" : " printed no port within 15 s") +
                             " (see its standard error)");
}

PortProcess::~PortProcess() { stop(); }

// Both helpers end on SIGTERM at once; a hung one is the test's timeout to report.
void PortProcess::stop() {
    if (pid_ > 0) ::kill(pid_, SIGTERM);
    while (pid_ > 0 && ::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (output_ >= 0) ::close(output_);
    pid_ = output_ = -1;
}

}  // namespace rxk::test
