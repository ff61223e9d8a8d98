#include "packaging_support.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace rxk::test::packaging {
namespace {

// Both ends of a pipe, closed on every path.
class Pipe {
public:
    Pipe() {
        if (::pipe2(ends_, O_CLOEXEC) != 0) throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    ~Pipe() {
        closeRead();
        closeWrite();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const { return ends_[0]; }
    int writeEnd() const { return ends_[1]; }
    void closeRead() { closeEnd(ends_[0]); }
    void closeWrite() { closeEnd(ends_[1]); }

private:
    static void closeEnd(int& fd) {
        if (fd >= 0) ::close(fd);
        fd = -1;
    }
    int ends_[2] = {-1, -1};
};

// The test's environment with the changes of `options` applied, as "NAME=value" texts.
std::vector<std::string> childEnvironment(const ProcessOptions& options) {
    std::map<std::string, std::string> variables;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string text = *entry;
        const size_t equals = text.find('=');
        if (equals != std::string::npos) variables[text.substr(0, equals)] = text.substr(equals + 1);
    }
    for (const auto& [name, value] : options.environment) {
        if (value)
            variables[name] = *value;
        else
            variables.erase(name);
    }
    std::vector<std::string> result;
    for (const auto& [name, value] : variables) result.push_back(name + "=" + value);
    return result;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::string joinCommand(const std::vector<std::string>& argv) {
    std::string command;
    for (const std::string& word : argv) command += (command.empty() ? "" : " ") + word;
    return command;
}

// Reads both pipes until they close or the deadline passes; false on timeout.
bool drainUntil(int outFd, int errFd, std::string& out, std::string& err,
                std::chrono::steady_clock::time_point deadline) {
    pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    std::string* sinks[2] = {&out, &err};
    int open = 2;
    char buffer[8192];
    while (open > 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        const int ready = ::poll(fds, 2, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready < 0) return false;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0) continue;
            const ssize_t got = ::read(fds[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(got));
            } else if (got == 0 || errno != EINTR) {
                fds[i].fd = -1;
                --open;
            }
        }
    }
    return true;
}

std::string environmentOrThrow(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0')
        throw std::runtime_error(std::string(name) + " is not set: run this test through ctest");
    return value;
}

}  // namespace

std::string ProcessResult::describe() const {
    std::ostringstream text;
    text << "command: " << command << "\n";
    if (timedOut)
        text << "timed out and was killed\n";
    else
        text << "exit status: " << exitStatus << "\n";
    text << "--- standard output ---\n" << out << "\n--- standard error ---\n" << err;
    return text.str();
}

ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options) {
    ProcessResult result;
    result.command = joinCommand(argv);
    if (argv.empty()) throw std::invalid_argument("runProcess: empty command");

    // Everything the child needs is prepared before fork: after it, only exec-safe calls.
    std::vector<std::string> arguments = argv;
    std::vector<char*> argumentPointers = pointersTo(arguments);
    std::vector<std::string> environment = childEnvironment(options);
    std::vector<char*> environmentPointers = pointersTo(environment);
    Pipe outPipe;
    Pipe errPipe;

    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    if (pid == 0) {
        ::setpgid(0, 0);
        const int devNull = ::open("/dev/null", O_RDONLY);
        if (devNull >= 0) ::dup2(devNull, STDIN_FILENO);
        ::dup2(outPipe.writeEnd(), STDOUT_FILENO);
        ::dup2(errPipe.writeEnd(), STDERR_FILENO);
        if (!options.workingDirectory.empty() && ::chdir(options.workingDirectory.c_str()) != 0) _exit(126);
        ::execvpe(argumentPointers[0], argumentPointers.data(), environmentPointers.data());
        _exit(127);
    }
    outPipe.closeWrite();
    errPipe.closeWrite();

    const auto deadline = std::chrono::steady_clock::now() + options.timeout;
    if (!drainUntil(outPipe.readEnd(), errPipe.readEnd(), result.out, result.err, deadline)) {
        result.timedOut = true;
        ::kill(-pid, SIGKILL);
        ::kill(pid, SIGKILL);
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!result.timedOut && WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
    if (result.exitStatus == 127 && result.err.empty()) result.err = argv[0] + ": could not be run";
    return result;
}

std::string findInPath(const std::string& name) {
    if (name.find('/') != std::string::npos) return ::access(name.c_str(), X_OK) == 0 ? name : "";
    const char* path = std::getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::string candidate = (directory.empty() ? std::string(".") : directory) + "/" + name;
        struct stat info {};
        if (::stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(candidate.c_str(), X_OK) == 0)
            return candidate;
    }
    return "";
}

ScratchDirectory::ScratchDirectory(const std::string& label) {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/rxk-" + label + "-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("mkdtemp " + pattern + ": " + std::strerror(errno));
    path_ = pattern;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) throw std::runtime_error("cannot write " + path);
}

bool fileExists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

std::vector<std::string> splitWords(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

bool contains(const std::string& text, const std::string& fragment) { return text.find(fragment) != std::string::npos; }

std::string binaryDirectory() { return environmentOrThrow("RXK_BINARY_DIR"); }
std::string sourceDirectory() { return environmentOrThrow("RXK_SOURCE_DIR"); }

std::vector<std::string> BuildFacts::sanitizerFlags() const {
    if (sanitizers.empty()) return {};
    return {"-fsanitize=" + sanitizers, "-fno-omit-frame-pointer"};
}

const BuildFacts& buildFacts() {
    static const BuildFacts facts = [] {
        BuildFacts f;
        f.cmakeCommand = RXK_CMAKE_COMMAND;
        f.cpackCommand = RXK_CPACK_COMMAND;
        f.cCompiler = RXK_C_COMPILER;
        f.generator = RXK_CMAKE_GENERATOR;
        f.makeProgram = RXK_MAKE_PROGRAM;
        f.nm = RXK_NM;
        f.projectVersion = RXK_PROJECT_VERSION;
        f.installLibDir = RXK_INSTALL_LIBDIR;
        f.installIncludeDir = RXK_INSTALL_INCLUDEDIR;
        f.installBinDir = RXK_INSTALL_BINDIR;
        f.installManDir = RXK_INSTALL_MANDIR;
        f.sanitizers = RXK_SANITIZERS;
        f.rxkcatPath = RXK_RXKCAT_PATH;
        f.hasRxkcat = !f.rxkcatPath.empty();
        return f;
    }();
    return facts;
}

}  // namespace rxk::test::packaging
