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

namespace {

constexpr int kStartMillis = 15000;

std::string describeExit(int status) {
    if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
    return "stopped";
}

// After fork only exec-safe calls: everything is prepared before.
[[noreturn]] void runChild(pid_t parent, int output, char* const* argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::dup2(output, STDOUT_FILENO);
    ::execvp(argv[0], argv);
    ::_exit(127);
}

}  // namespace

PortProcess::PortProcess(const std::vector<std::string>& argv, const std::string& what) {
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) throw std::runtime_error(what + ": pipe: " + std::strerror(errno));
    const pid_t parent = ::getpid();
    pid_ = ::fork();
    if (pid_ == 0) runChild(parent, pipeEnds[1], args.data());
    ::close(pipeEnds[1]);
    output_ = pipeEnds[0];
    if (pid_ < 0) throw std::runtime_error(what + ": fork: " + std::strerror(errno));
    std::string seen;
    while (seen.find('\n') == std::string::npos) {
        pollfd ready{output_, POLLIN, 0};
        char chunk[256];
        const ssize_t got = ::poll(&ready, 1, kStartMillis) > 0 ? ::read(output_, chunk, sizeof chunk) : -1;
        if (got <= 0) break;
        seen.append(chunk, static_cast<std::size_t>(got));
    }
    const auto mark = seen.find("port=");
    if (mark != std::string::npos) port_ = std::atoi(seen.c_str() + mark + 5);
    if (port_ > 0) return;
    int status = 0;
    const bool ended = ::waitpid(pid_, &status, WNOHANG) == pid_;
    if (ended) pid_ = -1;
    stop();
    std::string reason = ended ? describeExit(status) : "printed no port within 15 s";
    if (ended && WIFEXITED(status) && WEXITSTATUS(status) == 127) reason = "could not be run (is it on PATH?)";
    throw std::runtime_error(what + ": " + argv[0] + " " + reason + " (see its standard error)");
}

PortProcess::~PortProcess() { stop(); }

// Both helpers end on SIGTERM at once; a hung one is the test's timeout to report.
void PortProcess::stop() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    pid_ = -1;
    if (output_ >= 0) ::close(output_);
    output_ = -1;
}

}  // namespace rxk::test
