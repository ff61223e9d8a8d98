// The Debian package that `cpack -G DEB` makes from this build tree: its control fields, its
// dependencies, its contents, and that apt would install it here.
#include "packaging_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <functional>
#include <set>

namespace rxk::test::packaging {
namespace {

namespace fs = std::filesystem;

// What the library links at run time, by Debian package (see `ldd librxkinesis.so`).
const char* const kRuntimeDependencies[] = {"libc6", "libstdc++6", "libcurl4", "libssl3", "libsimdjson14"};

// The package names of a Depends field: "libc6 (>= 2.34), libcurl4 | libcurl3" -> each name.
std::set<std::string> packageNames(const std::string& depends) {
    std::set<std::string> names;
    std::string name;
    bool inVersion = false;
    auto flush = [&] {
        if (!name.empty()) names.insert(name.substr(0, name.find(':')));
        name.clear();
    };
    for (char c : depends) {
        if (c == '(') inVersion = true;
        if (!inVersion && (std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '+' || c == '-' || c == ':'))
            name += c;
        else
            flush();
        if (c == ')') inVersion = false;
    }
    flush();
    return names;
}

// "<pid>-<start time>" of a process, from /proc: unique for as long as the system runs.
std::string processIdentity(pid_t pid) {
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    // The fields after the command name (which may hold blanks) start behind the last ')'.
    const std::vector<std::string> fields = splitWords(stat.substr(stat.rfind(')') + 1));
    const size_t startTimeField = 19;  // field 22 of proc(5), counted from field 3
    return std::to_string(pid) + "-" + (fields.size() > startTimeField ? fields[startTimeField] : "0");
}

std::string modificationStamp(const std::string& path) {
    std::error_code error;
    const auto time = fs::last_write_time(path, error);
    return error ? "none" : std::to_string(time.time_since_epoch().count());
}

// An exclusive flock on a file, released on every path.
class FileLock {
public:
    explicit FileLock(const std::string& path) : fd_(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
        if (fd_ < 0) throw std::runtime_error("cannot open " + path);
        while (::flock(fd_, LOCK_EX) != 0)
            if (errno != EINTR) throw std::runtime_error("cannot lock " + path);
    }
    ~FileLock() { ::close(fd_); }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    int fd_;
};

// The package of this build tree, made once per CTest run: each test runs in a process of its
// own, so the first one to get here builds it under a lock and the others take it over. The
// key holds the CTest process and the build outputs, so a new run or a rebuild makes a new one.
class PackageBuild {
public:
    struct Outcome {
        ProcessResult cpack;
        std::string packagePath;
    };

    static Outcome obtain() {
        const std::string root = binaryDirectory() + "/packaging-deb";
        fs::create_directories(root);
        FileLock lock(root + "/lock");
        const std::string directory = root + "/" + key();
        if (!fs::exists(directory + "/cpack.status")) {
            removeOtherPackages(root, directory);
            fs::create_directories(directory);
            const ProcessResult cpack = run(directory);
            writeFile(directory + "/cpack.log", cpack.describe());
            writeFile(directory + "/cpack.status", std::to_string(cpack.exitStatus));
        }
        Outcome outcome;
        outcome.cpack.command = "cpack (log: " + directory + "/cpack.log)";
        outcome.cpack.exitStatus = std::stoi(readFile(directory + "/cpack.status"));
        outcome.cpack.out = readFile(directory + "/cpack.log");
        for (const fs::directory_entry& entry : fs::directory_iterator(directory))
            if (entry.path().extension() == ".deb") outcome.packagePath = entry.path().string();
        return outcome;
    }

private:
    static std::string key() {
        const std::string stamps = modificationStamp(binaryDirectory() + "/CPackConfig.cmake") + "|" +
                                   modificationStamp(std::getenv("RXK_LIBRARY") ? std::getenv("RXK_LIBRARY") : "") + "|" +
                                   modificationStamp(buildFacts().rxkcatPath);
        return "run-" + processIdentity(::getppid()) + "-" + std::to_string(std::hash<std::string>{}(stamps));
    }

    static void removeOtherPackages(const std::string& root, const std::string& keep) {
        for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
            if (entry.is_directory() && entry.path().string() != keep) {
                std::error_code ignored;
                fs::remove_all(entry.path(), ignored);
            }
        }
    }

    static ProcessResult run(const std::string& directory) {
        ProcessOptions options;
        options.workingDirectory = directory;
        // The suite's build has built every target already. CPack's Makefile generator would
        // first build the preinstall target (all of the tree, tests included) under the running
        // suite; the Ninja generator has no preinstall step, so CPack installs straight away.
        return runProcess({buildFacts().cpackCommand, "-G", "DEB", "--config", binaryDirectory() + "/CPackConfig.cmake",
                           "-B", directory, "-D", "CPACK_CMAKE_GENERATOR=Ninja"},
                          options);
    }
};

class DebianPackage : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        for (const char* tool : {"dpkg-deb", "dpkg-shlibdeps"}) {
            if (findInPath(tool).empty()) {
                missingTool_ = tool;
                return;
            }
        }
        const PackageBuild::Outcome outcome = PackageBuild::obtain();
        cpack_ = outcome.cpack;
        packagePath_ = outcome.packagePath;
    }

    void SetUp() override {
        if (!missingTool_.empty()) GTEST_SKIP() << missingTool_ << " is not installed (Debian package dpkg-dev)";
        ASSERT_TRUE(cpack_.succeeded()) << cpack_.describe();
        ASSERT_FALSE(packagePath_.empty()) << "cpack made no .deb\n" << cpack_.describe();
    }

    static std::string field(const std::string& name) {
        const ProcessResult result = runProcess({"dpkg-deb", "--field", packagePath_, name});
        EXPECT_TRUE(result.succeeded()) << result.describe();
        std::string value = result.out;
        while (!value.empty() && (value.back() == '\n' || value.back() == ' ')) value.pop_back();
        return value;
    }

    // The paths of the package's files, without the leading "./".
    static std::map<std::string, std::string> contents() {
        const ProcessResult listing = runProcess({"dpkg-deb", "--contents", packagePath_});
        EXPECT_TRUE(listing.succeeded()) << listing.describe();
        std::map<std::string, std::string> entries;  // path -> the whole listing line
        for (const std::string& line : splitLines(listing.out)) {
            const std::vector<std::string> words = splitWords(line);
            if (words.size() < 6) continue;
            std::string path = words[5];
            if (path.rfind("./", 0) == 0) path = path.substr(2);
            while (!path.empty() && path.back() == '/') path.pop_back();
            if (!path.empty()) entries[path] = line;
        }
        return entries;
    }

    static std::string usrPath(const std::string& relative) { return "usr/" + relative; }

    static std::string missingTool_;
    static ProcessResult cpack_;
    static std::string packagePath_;
};

std::string DebianPackage::missingTool_;
ProcessResult DebianPackage::cpack_;
std::string DebianPackage::packagePath_;

// Catches a package under another name or version than the project's, or without the fields
// apt and the archive tools need.
TEST_F(DebianPackage, ControlFieldsDescribeTheLibrary) {
    EXPECT_EQ(fs::path(packagePath_).filename().string(), "rxkinesis_" + buildFacts().projectVersion + "_amd64.deb");
    EXPECT_EQ(field("Package"), "rxkinesis");
    EXPECT_EQ(field("Version"), buildFacts().projectVersion);
    EXPECT_EQ(field("Section"), "libs");
    EXPECT_EQ(field("Architecture"), "amd64");
    EXPECT_TRUE(contains(field("Maintainer"), "@")) << field("Maintainer");
    EXPECT_TRUE(contains(field("Description"), "Kinesis")) << field("Description");
}

// Catches undeclared runtime dependencies: an install on a machine without libcurl, OpenSSL or
// simdjson would leave a library that fails to load.
TEST_F(DebianPackage, DependsOnWhatTheLibraryLinks) {
    const std::string depends = field("Depends");
    const std::set<std::string> names = packageNames(depends);
    for (const char* dependency : kRuntimeDependencies)
        EXPECT_TRUE(names.count(dependency)) << dependency << " missing from Depends: " << depends;
    EXPECT_FALSE(names.count("rxkinesis")) << depends;
}

// Catches files missing from the package or left outside /usr, and the bundled SDK or
// static archives shipped by mistake.
TEST_F(DebianPackage, HoldsTheInstallLayoutUnderUsr) {
    const BuildFacts& facts = buildFacts();
    const std::map<std::string, std::string> entries = contents();
    std::vector<std::string> expected = {
        usrPath(facts.installLibDir + "/librxkinesis.so." + facts.projectVersion),
        usrPath(facts.installLibDir + "/librxkinesis.so"),
        usrPath(facts.installIncludeDir + "/rxkinesis.h"),
        usrPath(facts.installIncludeDir + "/rxkinesis_exceptions.h"),
        usrPath(facts.installLibDir + "/cmake/rxkinesis/rxkinesisConfig.cmake"),
        usrPath(facts.installLibDir + "/cmake/rxkinesis/rxkinesisConfigVersion.cmake"),
        usrPath(facts.installLibDir + "/cmake/rxkinesis/rxkinesisTargets.cmake"),
        usrPath(facts.installLibDir + "/pkgconfig/rxkinesis.pc")};
    if (facts.hasRxkcat) {
        expected.push_back(usrPath(facts.installBinDir + "/rxkcat"));
        expected.push_back(usrPath(facts.installManDir + "/man1/rxkcat.1.gz"));
    }
    for (const std::string& path : expected) EXPECT_TRUE(entries.count(path)) << path << " not in the package";

    for (const auto& [path, line] : entries) {
        EXPECT_TRUE(path == "usr" || path.rfind("usr/", 0) == 0) << line;
        EXPECT_NE(fs::path(path).extension(), ".a") << line;
        EXPECT_FALSE(contains(path, "awssdk")) << line;
    }
}

// Catches a pkg-config file that names CPack's staging directory instead of /usr, and a
// packaged library that lost its exports when it was stripped.
TEST_F(DebianPackage, FilesWorkFromUsr) {
    ScratchDirectory unpacked("deb-unpacked");
    const ProcessResult extracted = runProcess({"dpkg-deb", "--extract", packagePath_, unpacked.path()});
    ASSERT_TRUE(extracted.succeeded()) << extracted.describe();
    const BuildFacts& facts = buildFacts();

    const std::string pc = readFile(unpacked / usrPath(facts.installLibDir + "/pkgconfig/rxkinesis.pc"));
    EXPECT_TRUE(contains(pc, "prefix=/usr\n")) << pc;
    EXPECT_FALSE(contains(pc, "_CPack_Packages")) << pc;

    const std::string targets = readFile(unpacked / usrPath(facts.installLibDir + "/cmake/rxkinesis/rxkinesisTargets.cmake"));
    EXPECT_FALSE(contains(targets, "_CPack_Packages")) << targets;

    const ProcessResult symbols = runProcess(
        {facts.nm, "-D", "--defined-only", unpacked / usrPath(facts.installLibDir + "/librxkinesis.so." + facts.projectVersion)});
    ASSERT_TRUE(symbols.succeeded()) << symbols.describe();
    for (const char* name : {"InititializeInterface", "CreateClient", "PutRecords", "Dummy", "_ZTI12SE_Exception"})
        EXPECT_TRUE(contains(symbols.out, std::string(" ") + name + "\n")) << name << "\n" << symbols.out;
}

// Catches a package whose library hosts can't link against as a dependency (no shlibs entry)
// and one that doesn't refresh the loader cache on install (no ldconfig trigger).
TEST_F(DebianPackage, RegistersTheSharedLibrary) {
    const ProcessResult shlibs = runProcess({"dpkg-deb", "--info", packagePath_, "shlibs"});
    ASSERT_TRUE(shlibs.succeeded()) << shlibs.describe();
    const std::string major = buildFacts().projectVersion.substr(0, buildFacts().projectVersion.find('.'));
    EXPECT_TRUE(contains(shlibs.out, "librxkinesis " + major + " rxkinesis")) << shlibs.out;

    const ProcessResult triggers = runProcess({"dpkg-deb", "--info", packagePath_, "triggers"});
    const ProcessResult postinst = runProcess({"dpkg-deb", "--info", packagePath_, "postinst"});
    EXPECT_TRUE(contains(triggers.out, "ldconfig") || contains(postinst.out, "ldconfig"))
        << triggers.describe() << postinst.describe();
}

// Catches dependencies apt can't satisfy on this system (misspelled names, impossible
// versions): a simulated `apt-get install ./rxkinesis_*.deb`, which changes nothing.
TEST_F(DebianPackage, AptWouldInstallIt) {
    if (findInPath("apt-get").empty()) GTEST_SKIP() << "apt-get is not available";
    ProcessOptions options;
    options.environment = {{"DEBIAN_FRONTEND", "noninteractive"}};
    options.timeout = std::chrono::seconds(120);
    const ProcessResult simulated = runProcess({"apt-get", "install", "--simulate", "--no-install-recommends", packagePath_}, options);
    ASSERT_TRUE(simulated.succeeded()) << simulated.describe();
    EXPECT_TRUE(contains(simulated.out, "Inst rxkinesis")) << simulated.describe();
}

}  // namespace
}  // namespace rxk::test::packaging
