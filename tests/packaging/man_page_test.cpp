// The rxkcat man page (tools/rxkcat/rxkcat.1) against the tool it documents: its options, its
// help text and its exit statuses, and that it formats cleanly.
#include "packaging_support.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace rxk::test::packaging {
namespace {

std::string rxkcatSource(const std::string& file) { return sourceDirectory() + "/tools/rxkcat/" + file; }

// The man page as plain text for searching: roff's escaped minus signs and font changes undone.
std::string manPageText() {
    std::string text = readFile(rxkcatSource("rxkcat.1"));
    text = std::regex_replace(text, std::regex(R"(\\f[BIRP])"), "");
    text = std::regex_replace(text, std::regex(R"(\\-)"), "-");
    text = std::regex_replace(text, std::regex("\""), " ");
    return text;
}

// The option tokens of a text: "-x" and "--long-name", with surrounding punctuation dropped.
std::set<std::string> optionTokens(const std::string& text) {
    static const std::regex option(R"((^|[\s,(\[|])(--[a-z][a-z-]*[a-z]|-[A-Za-z0-9])(?=[\s,)\]=|]|$))");
    std::set<std::string> tokens;
    for (auto match = std::sregex_iterator(text.begin(), text.end(), option); match != std::sregex_iterator(); ++match)
        tokens.insert((*match)[2].str());
    return tokens;
}

// The options rxkcat's parser accepts, from its getopt tables in options.cpp.
std::set<std::string> acceptedOptions() {
    const std::string source = readFile(rxkcatSource("options.cpp"));
    std::set<std::string> options;
    std::smatch shortOptions;
    if (std::regex_search(source, shortOptions, std::regex(R"(kShortOptions\[\]\s*=\s*"([^"]*)\")"))) {
        for (char c : shortOptions[1].str())
            if (std::isalnum(static_cast<unsigned char>(c))) options.insert(std::string("-") + c);
    }
    static const std::regex longOption(R"re(\{\s*"([a-z][a-z-]*)"\s*,\s*(no|required|optional)_argument)re");
    for (auto match = std::sregex_iterator(source.begin(), source.end(), longOption); match != std::sregex_iterator(); ++match)
        options.insert("--" + (*match)[1].str());
    return options;
}

class ManPage : public ::testing::Test {
protected:
    void SetUp() override {
        if (!buildFacts().hasRxkcat) GTEST_SKIP() << "rxkcat is not part of this build";
    }
};

// Catches an option added to rxkcat (or renamed) without its entry in the man page, and an
// entry left behind for an option the tool no longer takes.
TEST_F(ManPage, DocumentsExactlyTheOptionsRxkcatAccepts) {
    const std::set<std::string> accepted = acceptedOptions();
    // A parse that finds nothing means options.cpp changed shape: this test must follow it.
    ASSERT_GE(accepted.size(), 20u) << "could not read rxkcat's option tables from options.cpp";
    ASSERT_TRUE(accepted.count("-L") && accepted.count("--set")) << "could not read rxkcat's option tables";

    const std::set<std::string> documented = optionTokens(manPageText());
    for (const std::string& option : accepted) EXPECT_TRUE(documented.count(option)) << option << " is not in rxkcat.1";
    for (const std::string& option : documented) EXPECT_TRUE(accepted.count(option)) << option << " is in rxkcat.1 but rxkcat doesn't take it";
}

// Catches the help text and the man page telling different stories: an option shown by
// `rxkcat --help` that the man page leaves out.
TEST_F(ManPage, CoversEveryOptionOfTheHelpText) {
    const ProcessResult help = runProcess({buildFacts().rxkcatPath, "--help"});
    ASSERT_TRUE(help.succeeded()) << help.describe();
    const std::set<std::string> shown = optionTokens(help.out);
    ASSERT_GE(shown.size(), 20u) << help.out;
    const std::set<std::string> documented = optionTokens(manPageText());
    for (const std::string& option : shown) EXPECT_TRUE(documented.count(option)) << option << " is in --help but not in rxkcat.1";
}

// Catches an exit status of the tool that the man page doesn't explain.
TEST_F(ManPage, ExplainsEveryExitStatus) {
    const std::string statuses = readFile(rxkcatSource("exit_status.h"));
    const std::string page = readFile(rxkcatSource("rxkcat.1"));
    const size_t section = page.find(".SH EXIT STATUS");
    ASSERT_NE(section, std::string::npos);
    const std::string exitSection = page.substr(section, page.find(".SH", section + 1) - section);
    static const std::regex value(R"(kExit\w+\s*=\s*(\d+))");
    int found = 0;
    for (auto match = std::sregex_iterator(statuses.begin(), statuses.end(), value); match != std::sregex_iterator(); ++match) {
        ++found;
        EXPECT_TRUE(contains(exitSection, ".B " + (*match)[1].str() + "\n")) << "exit status " << (*match)[1] << " not explained";
    }
    EXPECT_GE(found, 4) << "could not read the exit statuses from exit_status.h";
}

// Catches roff mistakes that man shows as garbage or drops silently.
TEST_F(ManPage, FormatsWithoutWarnings) {
    if (findInPath("groff").empty()) GTEST_SKIP() << "groff is not installed";
    const ProcessResult formatted = runProcess({"groff", "-man", "-ww", "-z", rxkcatSource("rxkcat.1")});
    EXPECT_TRUE(formatted.succeeded()) << formatted.describe();
    EXPECT_EQ(formatted.err, "") << formatted.describe();
}

}  // namespace
}  // namespace rxk::test::packaging
