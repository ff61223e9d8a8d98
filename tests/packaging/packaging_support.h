// Support for the packaging tests: running the build's tools (cmake, cpack, the C compiler,
// pkg-config, nm, dpkg-deb) as child processes, scratch directories, and the facts of this build
// tree that CMake hands over at configure time.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rxk::test::packaging {

struct ProcessResult {
    int exitStatus = -1;   // the exit status, or -1 if the process died by a signal or timed out
    bool timedOut = false;
    std::string out;
    std::string err;

    bool succeeded() const { return exitStatus == 0; }
    // The command, its status and both outputs, for a failure message.
    std::string describe() const;

    std::string command;
};

struct ProcessOptions {
    // Added to (or replacing in) the environment of the test process; std::nullopt removes.
    std::vector<std::pair<std::string, std::optional<std::string>>> environment;
    std::string workingDirectory;
    std::chrono::seconds timeout{240};
};

// Runs argv[0] (searched in PATH) with its arguments, capturing standard output and error.
// A process that outlives the timeout is killed with its process group, so a test never hangs.
ProcessResult runProcess(const std::vector<std::string>& argv, const ProcessOptions& options = {});

// The full path of an executable found in PATH, or "" (for skipping when a tool is missing).
std::string findInPath(const std::string& name);

// A fresh directory under $TMPDIR (or /tmp), removed with its contents on destruction.
class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& label);
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }

private:
    std::string path_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);
bool fileExists(const std::string& path);

// Splits on blanks (pkg-config output and the like; no quoting).
std::vector<std::string> splitWords(const std::string& text);
std::vector<std::string> splitLines(const std::string& text);
bool contains(const std::string& text, const std::string& fragment);

// The build tree under test (CTest sets RXK_BINARY_DIR and RXK_SOURCE_DIR; throws if unset).
std::string binaryDirectory();
std::string sourceDirectory();

// Facts of the build tree, fixed when it was configured.
struct BuildFacts {
    std::string cmakeCommand;
    std::string cpackCommand;
    std::string cCompiler;
    std::string generator;
    std::string makeProgram;
    std::string nm;
    std::string projectVersion;
    std::string installLibDir;      // relative to the prefix, e.g. lib or lib/x86_64-linux-gnu
    std::string installIncludeDir;
    std::string installBinDir;
    std::string installManDir;
    std::string sanitizers;         // RXKINESIS_SANITIZE: empty, or e.g. address,undefined
    bool hasRxkcat = false;
    std::string rxkcatPath;

    // Compiler and linker flags a program needs to run beside this tree's instrumented library.
    std::vector<std::string> sanitizerFlags() const;
};
const BuildFacts& buildFacts();

}  // namespace rxk::test::packaging
