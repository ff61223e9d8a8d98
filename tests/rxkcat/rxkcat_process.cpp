#include "rxkcat_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace rxk::test {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& overrides) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        bool replaced = false;
        for (const std::string& override : overrides)
            if (override.substr(0, override.find('=')) == name) replaced = true;
        if (!replaced) merged.push_back(text);
    }
    merged.insert(merged.end(), overrides.begin(), overrides.end());
    return merged;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

void makePipe(int ends[2]) {
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
}

}  // namespace

std::string rxkcatPath() {
    if (const char* fromEnvironment = std::getenv("RXKCAT"); fromEnvironment && *fromEnvironment)
        return fromEnvironment;
    return RXKCAT_PATH;
}

RxkcatProcess::RxkcatProcess(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
    int inputPipe[2], outputPipe[2], errorPipe[2];
    makePipe(inputPipe);
    makePipe(outputPipe);
    makePipe(errorPipe);

    // A child that went away must show as a write error here, not end the test.
    signal(SIGPIPE, SIG_IGN);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inputPipe[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, outputPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errorPipe[1], STDERR_FILENO);

    std::vector<std::string> argumentTexts{rxkcatPath()};
    argumentTexts.insert(argumentTexts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environmentTexts = mergedEnvironment(environment);
    std::vector<char*> argv = pointers(argumentTexts);
    std::vector<char*> envp = pointers(environmentTexts);

    started_ = Clock::now();
    const int failure = posix_spawn(&pid_, argv[0], &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(inputPipe[0]);
    close(outputPipe[1]);
    close(errorPipe[1]);
    input_ = inputPipe[1];
    output_ = outputPipe[0];
    error_ = errorPipe[0];
    if (failure != 0) {
        pid_ = -1;
        closeDescriptor(input_);
        closeDescriptor(output_);
        closeDescriptor(error_);
        throw std::runtime_error("cannot start " + argumentTexts[0] + ": " + std::strerror(failure));
    }
    fcntl(input_, F_SETFL, O_NONBLOCK);
}

RxkcatProcess::~RxkcatProcess() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeDescriptor(input_);
    closeDescriptor(output_);
    closeDescriptor(error_);
}

void RxkcatProcess::closeDescriptor(int& descriptor) {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

void RxkcatProcess::write(const std::string& bytes) { pendingInput_ += bytes; }

void RxkcatProcess::closeInput() {
    closeInputWhenWritten_ = true;
    if (pendingInput_.empty()) closeDescriptor(input_);
}

void RxkcatProcess::sendSignal(int signal) {
    if (pid_ > 0) kill(pid_, signal);
}

bool RxkcatProcess::pump(std::chrono::milliseconds wait) {
    struct pollfd watched[3];
    int count = 0;
    if (output_ >= 0) watched[count++] = {output_, POLLIN, 0};
    if (error_ >= 0) watched[count++] = {error_, POLLIN, 0};
    if (input_ >= 0 && !pendingInput_.empty()) watched[count++] = {input_, POLLOUT, 0};
    if (count == 0) return false;
    if (poll(watched, static_cast<nfds_t>(count), static_cast<int>(wait.count())) <= 0) return true;
    for (int i = 0; i < count; ++i) {
        if (watched[i].revents == 0) continue;
        if (watched[i].fd == input_) {
            const ssize_t written = ::write(input_, pendingInput_.data(), pendingInput_.size());
            if (written > 0) pendingInput_.erase(0, static_cast<size_t>(written));
            if (written < 0 && errno != EAGAIN && errno != EINTR) pendingInput_.clear();  // reader gone
            if (pendingInput_.empty() && closeInputWhenWritten_) closeDescriptor(input_);
            continue;
        }
        char buffer[65536];
        const ssize_t got = read(watched[i].fd, buffer, sizeof buffer);
        const bool isOutput = watched[i].fd == output_;
        if (got > 0) {
            (isOutput ? result_.out : result_.err).append(buffer, static_cast<size_t>(got));
        } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
            closeDescriptor(isOutput ? output_ : error_);
        }
    }
    return true;
}

bool RxkcatProcess::waitForOutput(const std::function<bool(const std::string&)>& done,
                                  std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (!done(result_.out)) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || !pump(std::min(left, std::chrono::milliseconds(50)))) return done(result_.out);
    }
    return true;
}

void RxkcatProcess::pumpFor(std::chrono::milliseconds duration) {
    waitForOutput([](const std::string&) { return false; }, duration);
}

RunResult RxkcatProcess::finish(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while ((output_ >= 0 || error_ >= 0) && Clock::now() < deadline) pump(std::chrono::milliseconds(50));
    int status = 0;
    for (;;) {
        const pid_t done = waitpid(pid_, &status, WNOHANG);
        if (done == pid_) break;
        if (Clock::now() >= deadline) {
            result_.timedOut = true;
            kill(pid_, SIGKILL);
            waitpid(pid_, &status, 0);
            break;
        }
        usleep(10000);
    }
    pid_ = -1;
    result_.seconds = std::chrono::duration<double>(Clock::now() - started_).count();
    if (WIFEXITED(status) && !result_.timedOut) result_.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result_.signal = WTERMSIG(status);
    closeDescriptor(input_);
    closeDescriptor(output_);
    closeDescriptor(error_);
    return result_;
}

RunResult runRxkcat(const std::vector<std::string>& arguments, const std::string& input,
                    const std::vector<std::string>& environment, std::chrono::milliseconds timeout) {
    RxkcatProcess process(arguments, environment);
    process.write(input);
    process.closeInput();
    return process.finish(timeout);
}

}  // namespace rxk::test
