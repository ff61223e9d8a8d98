// The dynamic symbol table of the built library against its documented interface: every
// function declared RXK_API in include/rxkinesis.h, the type information of the two exception
// classes and SE_Exception::what(), and nothing else.
#include "packaging_support.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace rxk::test::packaging {
namespace {

// Type information by which a C++ host catches the library's exceptions, and the out-of-line
// SE_Exception::what() it calls.
const std::set<std::string> kRequiredCxxSymbols = {
    "_ZTI12SE_Exception",       // typeinfo for SE_Exception
    "_ZTS12SE_Exception",       // typeinfo name for SE_Exception
    "_ZTI12RX_Exception",       // typeinfo for RX_Exception
    "_ZTS12RX_Exception",       // typeinfo name for RX_Exception
    "_ZN12SE_Exception4whatEv"  // SE_Exception::what()
};
// RX_Exception::what() is defined in the header; a copy of it may be exported too.
const std::set<std::string> kOptionalCxxSymbols = {"_ZNK12RX_Exception4whatEv"};

// Instrumented builds may add the sanitizers' own hooks; they are no part of a release.
bool isSanitizerSymbol(const std::string& name) {
    for (const char* prefix : {"__asan", "__ubsan", "__tsan", "__sanitizer", "__odr_asan", "__lsan"})
        if (name.rfind(prefix, 0) == 0) return true;
    return false;
}

// The names declared "RXK_API <type> <name>(" at the start of a line of the public header.
std::set<std::string> declaredFunctions() {
    std::set<std::string> names;
    for (const std::string& line : splitLines(readFile(sourceDirectory() + "/include/rxkinesis.h"))) {
        if (line.rfind("RXK_API ", 0) != 0) continue;
        const size_t parenthesis = line.find('(');
        if (parenthesis == std::string::npos) continue;
        size_t end = parenthesis;
        while (end > 0 && line[end - 1] == ' ') --end;
        size_t begin = end;
        while (begin > 0 && (std::isalnum(static_cast<unsigned char>(line[begin - 1])) || line[begin - 1] == '_')) --begin;
        names.insert(line.substr(begin, end - begin));
    }
    return names;
}

// The C names of the global part of the version script (before its extern "C++" block).
std::set<std::string> versionScriptNames() {
    const std::string map = readFile(sourceDirectory() + "/src/rxkinesis.map");
    const size_t begin = map.find("global:");
    const size_t end = map.find("extern", begin);
    std::set<std::string> names;
    if (begin == std::string::npos) return names;
    std::string section = map.substr(begin + 7, end == std::string::npos ? std::string::npos : end - begin - 7);
    for (char& c : section)
        if (c == ';') c = ' ';
    for (const std::string& word : splitWords(section)) names.insert(word);
    return names;
}

// Defined dynamic symbols of a library: name -> nm type letter.
std::map<std::string, char> exportedSymbols(const std::string& library) {
    const ProcessResult result = runProcess({buildFacts().nm, "-D", "--defined-only", library});
    EXPECT_TRUE(result.succeeded()) << result.describe();
    std::map<std::string, char> symbols;
    for (const std::string& line : splitLines(result.out)) {
        const std::vector<std::string> words = splitWords(line);
        if (words.size() != 3 || words[1].size() != 1) continue;
        std::string name = words[2];
        name = name.substr(0, name.find('@'));  // versioned names: name@@NODE
        symbols[name] = words[1][0];
    }
    return symbols;
}

std::string libraryPath() {
    const char* path = std::getenv("RXK_LIBRARY");
    return path != nullptr ? path : "";
}

class ExportList : public ::testing::Test {
protected:
    void SetUp() override {
        if (findInPath(buildFacts().nm).empty()) GTEST_SKIP() << buildFacts().nm << " is not installed (binutils)";
        ASSERT_FALSE(libraryPath().empty()) << "RXK_LIBRARY is not set: run this test through ctest";
        declared_ = declaredFunctions();
        // A header parse that finds nothing would make every comparison below vacuous.
        ASSERT_GE(declared_.size(), 30u);
        for (const char* name : {"InititializeInterface", "GetGlobalErrorStr", "GetShardDetails", "Dummy"})
            ASSERT_TRUE(declared_.count(name)) << name << " not found in the header";
        exported_ = exportedSymbols(libraryPath());
    }

    std::set<std::string> declared_;
    std::map<std::string, char> exported_;
};

// Catches a documented function a host can't find with dlsym: left out of the version script,
// misspelled, or not compiled in.
TEST_F(ExportList, EveryDeclaredFunctionIsExported) {
    for (const std::string& name : declared_) {
        const auto found = exported_.find(name);
        ASSERT_NE(found, exported_.end()) << name << " is declared in rxkinesis.h but not exported";
        EXPECT_EQ(found->second, 'T') << name << " is exported, but not as a function";
    }
}

// Catches anything beyond the interface in the dynamic symbol table: SDK, libstdc++, curl or
// simdjson symbols that a host could bind to or clash with, or internals of the library.
TEST_F(ExportList, NothingElseIsExported) {
    const bool sanitized = !buildFacts().sanitizers.empty();
    for (const auto& [name, type] : exported_) {
        if (declared_.count(name) || kRequiredCxxSymbols.count(name) || kOptionalCxxSymbols.count(name)) continue;
        if (sanitized && isSanitizerSymbol(name)) continue;
        ADD_FAILURE() << "exported but not part of the interface: " << name << " (" << type << ")";
    }
}

// Catches the exception classes' type information going missing from the exports: a host
// could then no longer be sure to catch SE_Exception or RX_Exception by type.
TEST_F(ExportList, ExceptionTypesKeepTheirTypeInformation) {
    for (const std::string& name : kRequiredCxxSymbols)
        EXPECT_TRUE(exported_.count(name)) << name << " is not exported";
}

// Catches the version script and the header drifting apart: a function added to one only.
TEST_F(ExportList, VersionScriptListsExactlyTheDeclaredFunctions) {
    const std::set<std::string> scripted = versionScriptNames();
    for (const std::string& name : declared_) EXPECT_TRUE(scripted.count(name)) << name << " missing from src/rxkinesis.map";
    for (const std::string& name : scripted) EXPECT_TRUE(declared_.count(name)) << name << " is in src/rxkinesis.map only";
}

}  // namespace
}  // namespace rxk::test::packaging
