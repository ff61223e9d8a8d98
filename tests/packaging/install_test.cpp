// `cmake --install` of this build tree into a scratch prefix, and hosts built against the
// installed files alone: through find_package(rxkinesis) and through pkg-config.
#include "packaging_support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

namespace rxk::test::packaging {
namespace {

namespace fs = std::filesystem;

const char* const kConsumerGreeting = "rxkinesis consumer: client 0 created, FreeClient 0";

std::string majorVersion(const std::string& version) { return version.substr(0, version.find('.')); }

// One installation per test process, shared by the tests of the suite.
class Install : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        prefix_ = std::make_unique<ScratchDirectory>("install");
        install_ = runProcess({buildFacts().cmakeCommand, "--install", binaryDirectory(), "--prefix", prefix_->path()});
    }
    static void TearDownTestSuite() { prefix_.reset(); }

    void SetUp() override { ASSERT_TRUE(install_.succeeded()) << install_.describe(); }

    static std::string prefix() { return prefix_->path(); }
    static std::string libDir() { return prefix() + "/" + buildFacts().installLibDir; }
    static std::string includeDir() { return prefix() + "/" + buildFacts().installIncludeDir; }
    static std::string packageDir() { return libDir() + "/cmake/rxkinesis"; }
    static std::string pkgconfigDir() { return libDir() + "/pkgconfig"; }

    // Hosts run with the library's sanitizer settings and no way to the real service.
    static ProcessOptions hostRun() {
        ProcessOptions options;
        options.environment = {{"AWS_EC2_METADATA_DISABLED", "true"}, {"RXK_LIBRARY", std::nullopt}};
        options.timeout = std::chrono::seconds(60);
        return options;
    }

    // Configures and builds tests/packaging/consumer against the installed package.
    static ProcessResult buildWithFindPackage(const ScratchDirectory& build, const std::string& requiredVersion) {
        const BuildFacts& facts = buildFacts();
        std::string flags;
        for (const std::string& flag : facts.sanitizerFlags()) flags += flag + " ";
        std::vector<std::string> configure = {
            facts.cmakeCommand, "-S", sourceDirectory() + "/tests/packaging/consumer", "-B", build.path(),
            "-G", facts.generator, "-DCMAKE_PREFIX_PATH=" + prefix(), "-DCMAKE_C_COMPILER=" + facts.cCompiler,
            "-DCMAKE_C_FLAGS=" + flags, "-DCMAKE_EXE_LINKER_FLAGS=" + flags,
            "-DRXK_REQUIRED_VERSION=" + requiredVersion,
            // Only the scratch prefix may provide the package, never a system-wide install.
            "-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF", "-DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF"};
        if (!facts.makeProgram.empty()) configure.push_back("-DCMAKE_MAKE_PROGRAM=" + facts.makeProgram);
        ProcessResult configured = runProcess(configure);
        if (!configured.succeeded()) return configured;
        return runProcess({facts.cmakeCommand, "--build", build.path()});
    }

    static std::unique_ptr<ScratchDirectory> prefix_;
    static ProcessResult install_;
};

std::unique_ptr<ScratchDirectory> Install::prefix_;
ProcessResult Install::install_;

// Catches files missing from the install or put in the wrong place: the library under its
// real name with the soname and development links, both headers, the CMake package with its
// version file, the pkg-config file, rxkcat and its man page.
TEST_F(Install, PutsEveryFileInItsPlace) {
    const BuildFacts& facts = buildFacts();
    const std::string realName = "librxkinesis.so." + facts.projectVersion;
    const std::string soname = "librxkinesis.so." + majorVersion(facts.projectVersion);
    EXPECT_TRUE(fs::is_regular_file(libDir() + "/" + realName)) << realName;
    ASSERT_TRUE(fs::is_symlink(libDir() + "/" + soname)) << soname;
    EXPECT_EQ(fs::read_symlink(libDir() + "/" + soname).string(), realName);
    ASSERT_TRUE(fs::is_symlink(libDir() + "/librxkinesis.so"));
    EXPECT_EQ(fs::read_symlink(libDir() + "/librxkinesis.so").string(), soname);

    EXPECT_EQ(readFile(includeDir() + "/rxkinesis.h"), readFile(sourceDirectory() + "/include/rxkinesis.h"));
    EXPECT_EQ(readFile(includeDir() + "/rxkinesis_exceptions.h"),
              readFile(sourceDirectory() + "/include/rxkinesis_exceptions.h"));

    for (const char* file : {"rxkinesisConfig.cmake", "rxkinesisConfigVersion.cmake", "rxkinesisTargets.cmake"})
        EXPECT_TRUE(fs::is_regular_file(packageDir() + "/" + file)) << file;
    EXPECT_TRUE(fs::is_regular_file(pkgconfigDir() + "/rxkinesis.pc"));

    if (facts.hasRxkcat) {
        EXPECT_TRUE(fs::is_regular_file(prefix() + "/" + facts.installBinDir + "/rxkcat"));
        EXPECT_TRUE(fs::is_regular_file(prefix() + "/" + facts.installManDir + "/man1/rxkcat.1.gz"));
    }
}

// Catches the bundled SDK leaking into the install: its static archive or headers shipped, or
// the exported target naming it (or its libraries, or this build tree) so that a host's
// find_package fails or links things it can't find.
TEST_F(Install, LeavesTheBundledSdkOut) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(prefix())) {
        const std::string name = entry.path().filename().string();
        EXPECT_NE(entry.path().extension(), ".a") << entry.path();
        EXPECT_FALSE(contains(name, "awssdk")) << entry.path();
        EXPECT_FALSE(entry.is_directory() && name == "aws") << entry.path();
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(packageDir())) {
        const std::string text = readFile(entry.path().string());
        for (const char* dependency : {"rxk_awssdk", "CURL::", "OpenSSL::", "simdjson", "Threads::"})
            EXPECT_FALSE(contains(text, dependency)) << entry.path() << " names " << dependency;
        EXPECT_FALSE(contains(text, binaryDirectory())) << entry.path() << " points into the build tree";
        EXPECT_FALSE(contains(text, sourceDirectory() + "/")) << entry.path() << " points into the source tree";
    }
}

// Catches a CMake package that doesn't resolve on its own (missing config or version file,
// imported target without its library or include directory, a dependency on the SDK target)
// and a library that doesn't load outside the build tree.
TEST_F(Install, FindPackageHostBuildsAndRuns) {
    ScratchDirectory build("consumer-cmake");
    const ProcessResult built = buildWithFindPackage(build, buildFacts().projectVersion);
    ASSERT_TRUE(built.succeeded()) << built.describe();

    const ProcessResult ran = runProcess({build / "consumer"}, hostRun());
    ASSERT_TRUE(ran.succeeded()) << ran.describe();
    EXPECT_TRUE(contains(ran.out, kConsumerGreeting)) << ran.describe();
}

// Catches a version file that accepts any version: a host asking for the next major version
// (another soname) must not get this one.
TEST_F(Install, FindPackageRefusesTheNextMajorVersion) {
    ScratchDirectory build("consumer-cmake-major");
    const std::string nextMajor = std::to_string(std::stoi(majorVersion(buildFacts().projectVersion)) + 1) + ".0";
    const ProcessResult built = buildWithFindPackage(build, nextMajor);
    EXPECT_FALSE(built.succeeded()) << built.describe();
    EXPECT_TRUE(contains(built.err, "rxkinesis")) << built.describe();
}

class InstallWithPkgConfig : public Install {
protected:
    void SetUp() override {
        Install::SetUp();
        if (findInPath("pkg-config").empty()) GTEST_SKIP() << "pkg-config is not installed";
    }

    static ProcessResult pkgConfig(const std::vector<std::string>& arguments) {
        std::vector<std::string> argv = {"pkg-config"};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        ProcessOptions options;
        // The scratch prefix only: PKG_CONFIG_LIBDIR replaces the system's search path.
        options.environment = {{"PKG_CONFIG_LIBDIR", pkgconfigDir()}, {"PKG_CONFIG_PATH", std::nullopt}};
        return runProcess(argv, options);
    }

    static std::string variable(const std::string& name) {
        const ProcessResult result = pkgConfig({"--variable=" + name, "rxkinesis"});
        EXPECT_TRUE(result.succeeded()) << result.describe();
        const std::vector<std::string> words = splitWords(result.out);
        return words.empty() ? std::string() : words.front();
    }
};

// Catches a pkg-config file written with the configure-time prefix (or the staging directory)
// instead of the prefix the files went to, and a wrong version.
TEST_F(InstallWithPkgConfig, FileNamesTheInstallPrefixAndVersion) {
    EXPECT_EQ(variable("prefix"), prefix());
    EXPECT_EQ(fs::weakly_canonical(variable("libdir")), fs::weakly_canonical(libDir()));
    EXPECT_EQ(fs::weakly_canonical(variable("includedir")), fs::weakly_canonical(includeDir()));
    const ProcessResult version = pkgConfig({"--modversion", "rxkinesis"});
    ASSERT_TRUE(version.succeeded()) << version.describe();
    EXPECT_EQ(splitWords(version.out), std::vector<std::string>{buildFacts().projectVersion});
}

// Catches compile or link flags of the pkg-config file that don't build a host.
TEST_F(InstallWithPkgConfig, HostBuildsAndRuns) {
    const ProcessResult flags = pkgConfig({"--cflags", "--libs", "rxkinesis"});
    ASSERT_TRUE(flags.succeeded()) << flags.describe();

    ScratchDirectory build("consumer-pkgconfig");
    const BuildFacts& facts = buildFacts();
    std::vector<std::string> compile = {facts.cCompiler, "-Wall", "-Wextra", "-Werror",
                                        sourceDirectory() + "/tests/packaging/consumer/consumer.c",
                                        "-o", build / "consumer", "-Wl,-rpath," + variable("libdir")};
    for (const std::string& word : splitWords(flags.out)) compile.push_back(word);
    for (const std::string& flag : facts.sanitizerFlags()) compile.push_back(flag);
    const ProcessResult compiled = runProcess(compile);
    ASSERT_TRUE(compiled.succeeded()) << compiled.describe();

    const ProcessResult ran = runProcess({build / "consumer"}, hostRun());
    ASSERT_TRUE(ran.succeeded()) << ran.describe();
    EXPECT_TRUE(contains(ran.out, kConsumerGreeting)) << ran.describe();
}

// Catches an installed rxkcat that can't find the installed library beside it, or that can't
// catch the library's exceptions by type once installed (their type information not exported).
TEST_F(Install, RxkcatRunsWithTheInstalledLibrary) {
    if (!buildFacts().hasRxkcat) GTEST_SKIP() << "rxkcat is not part of this build";
    ProcessOptions options = hostRun();
    options.environment.push_back({"RXKCAT_LIBRARY", std::nullopt});
    const ProcessResult ran = runProcess({prefix() + "/" + buildFacts().installBinDir + "/rxkcat", "-Z", "exception7",
                                          "-r", "us-east-1", "--access-key", "AKIDRXKCAT", "--secret-key", "secret"},
                                         options);
    ASSERT_TRUE(ran.succeeded()) << ran.describe();
    EXPECT_TRUE(contains(ran.out, "delivered RX_Exception [RX_Exception: ")) << ran.describe();
}

}  // namespace
}  // namespace rxk::test::packaging
