// Client parameters (SetParam, GetParam), the global ones (SetGlobalParam), the thread-bound
// translator action, and the truncating copy of an error text into a caller's buffer.
#include "host.h"

#include <rxkinesis_exceptions.h>

#include <functional>
#include <thread>

namespace rxk::test {
namespace {

const char* const kFresh = "0;9223372036854775807;0;0;";  // the counters of a client that never retried

// Would catch defaults other than the documented ones, a reader that isn't atoi (blanks, signs,
// trailing text, no digits, overflow), a case-sensitive key, a key writing another field, an
// unknown or read-only name that changes something or whose words go astray, and a GetParam
// that writes into the buffer on failure or past the end of its text.
TEST(Parameters, SetThenGet) {
    struct Case { const char* setKey; const char* value; const char* getKey; const char* got; const char* error = ""; };
    const Case kRows[] = {
        {nullptr, nullptr, "retry", "-1"}, {nullptr, nullptr, "retryattemptshow", "0"},
        {nullptr, nullptr, "maxputrow", "500"}, {nullptr, nullptr, "maxputlen", "5000000"},
        {nullptr, nullptr, "retryattemptPutRecords", kFresh}, {nullptr, nullptr, "RETRYATTEMPTFAILRECORDS", kFresh},
        {"maxputlen", "42", nullptr, "42"}, {"maxputlen", "  17", nullptr, "17"}, {"maxputlen", "\t-8", nullptr, "-8"},
        {"maxputlen", "+9", nullptr, "9"}, {"maxputlen", "12abc", nullptr, "12"}, {"maxputlen", "abc", nullptr, "0"},
        {"maxputlen", "", nullptr, "0"}, {"maxputlen", "- 5", nullptr, "0"}, {"maxputlen", "0x1F", nullptr, "0"},
        {"maxputlen", "007", nullptr, "7"}, {"maxputlen", "2147483647", nullptr, "2147483647"},
        {"maxputlen", "-2147483648", nullptr, "-2147483648"}, {"maxputlen", "99999999999", nullptr, "2147483647"},
        {"maxputlen", "-99999999999", nullptr, "-2147483648"}, {"RETRY", "5", "retry", "5"},
        {"RetryAttemptShow", "2", "RETRYATTEMPTSHOW", "2"}, {"MAXPUTROW", "0", "maxputrow", "0"},
        {"maxPutLen", "1000", "MaxPutLen", "1000"}, {"retry", "none", nullptr, "0"}, {"retry", "-1", nullptr, "-1"},
        {"exceptiontranslator", nullptr, "retry", "-1"}, {"ExceptionTranslator", "x", "maxputrow", "500"},
        {"retry", nullptr, nullptr, "-1", "rxKinesis::setParam bad param value NULL [retry]"},
        {"retries", "1", "retry", "-1", "rxKinesis::setParam bad param name [retries]"},
        {"retr", "1", "retry", "-1", "rxKinesis::setParam bad param name [retr]"},
        {"", "1", "retry", "-1", "rxKinesis::setParam bad param name []"},
        {"retryattemptPutRecords", "1", nullptr, kFresh, "rxKinesis::setParam bad param name [retryattemptPutRecords]"},
        {"RETRYATTEMPTFAILRECORDS", "1", nullptr, kFresh, "rxKinesis::setParam bad param name [RETRYATTEMPTFAILRECORDS]"},
        {nullptr, nullptr, "exceptiontranslator", nullptr, "rxKinesis::getParam bad param name [exceptiontranslator]"},
        {nullptr, nullptr, "maxput", nullptr, "rxKinesis::getParam bad param name [maxput]"},
    };
    for (const Case& c : kRows) {
        const char* const getKey = c.getKey ? c.getKey : c.setKey;
        SCOPED_TRACE(std::string(c.setKey ? c.setKey : "-") + " = " + (c.value ? c.value : "NULL") + ", " + getKey);
        const int32_t id = newClient(host());
        host().SetGlobalErrorStr("kept"), LogCapture::reset();
        if (c.setKey) { EXPECT_EQ(host().SetParam(id, c.setKey, c.value), std::strstr(c.error, "setParam") ? -1 : 0); }
        Guarded buffer(c.got ? std::strlen(c.got) + 1 : 64);
        EXPECT_EQ(host().GetParam(id, getKey, buffer.data()), c.got ? 0 : -1);
        EXPECT_EQ(globalError() + "|" + std::to_string(LogCapture::traceTexts().size()) + "|" + logWithLengths(),
                  "kept|0|" + (*c.error ? withLength(c.error) : std::string()));
        EXPECT_EQ(c.got ? buffer.text() + (buffer.guardsIntact() ? "" : " overrun") : std::to_string(buffer.untouched()), c.got ? c.got : "1");
        EXPECT_EQ(clientError(id), c.error);
    }
}

// Would catch a case-sensitive name, a prefix match in either direction, words that don't show
// the name as given or that reach the global text, and an unbounded copy of a value into its
// field (12 and 512 bytes) or of a long name into the 256-byte message buffer.
TEST(Parameters, GlobalNames) {
    const std::string longText(5000, 'v');
    struct Case { std::string name; const char* value; int32_t result; };
    const Case kRows[] = {
        {"delimiter", ",", 0}, {"DELIMITER", ",", 0}, {"dElImItEr", ",", 0}, {"statspath", "/s", 0},
        {"StatsPath", "/s", 0}, {"statspath", longText.c_str(), 0}, {"delimiter", longText.c_str(), 0},
        {"delim", ",", -1}, {"Delimiters", ",", -1}, {"delimiter ", ",", -1}, {"stats", ",", -1},
        {"STATSPATHX", ",", -1}, {"", ",", -1}, {longText, ",", -1},
    };
    host().SetGlobalErrorStr("kept");
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name.substr(0, 20));
        LogCapture::reset();
        EXPECT_EQ(host().SetGlobalParam(c.name.c_str(), c.value), c.result);
        const std::string words = ("rxKinesis::SetGlobalParam bad param name [" + c.name + "]").substr(0, 255);
        EXPECT_EQ(logWithLengths(), c.result ? withLength(words) : "");
    }
    EXPECT_EQ(globalError(), "kept");
}

// Would catch a translator action that installs nothing, installs it for the wrong thread, or
// still acts when the frame refused the call: a processor fault inside the library (the probe's
// access violation) reaches only a thread that installed it as an SE_Exception.
TEST(Parameters, TranslatorBelongsToTheCallingThread) {
    struct Case { const char* name; std::function<void(int32_t)> beforehand; bool translated; };
    const Case kRows[] = {
        {"nothing installed", [](int32_t) {}, false}, {"InititializeInterface", [](int32_t) { host().InititializeInterface(); }, true},
        {"refused by the frame", [](int32_t) { host().SetParam(-5, "exceptiontranslator", "1"); }, false},
        {"SetParam", [](int32_t id) { host().SetParam(id, "ExceptionTranslator", nullptr); }, true},
        {"nothing installed on this thread, after others did", [](int32_t) {}, false},
    };
    const int32_t id = newClient(host());
    for (const Case& c : kRows) {
        bool translated = false;
        std::thread([&] {
            c.beforehand(id);
            try { host().Dummy(id, "exception"); } catch (const SE_Exception& fault) { translated = fault.code == 0xC0000005u; } catch (...) {}
        }).join();
        EXPECT_EQ(translated, c.translated) << c.name;
    }
}

std::string letters(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text.push_back(static_cast<char>('a' + i % 26));
    return text;
}

// Would catch an off-by-one at the fitting boundary (L-1 bytes are whole and unmarked), a mark
// placed at L-7 instead of L-10 or a write into the last three bytes, a negative prefix for
// buffers below ten bytes, any write for a length of zero or below, and a client's text copied
// by another rule (a 5,000-character key makes a last-error text of a full message buffer).
TEST(TruncatingCopy, EveryBoundary) {
    enum Expect { Whole, Marked, Prefix, Nothing };
    enum Source { Global, Client, Refusal };  // the global text, a client's 1023 bytes, GetErrorStr's own refusal
    struct Case { int32_t size; std::size_t textBytes; Expect expect; Source source = Global; };
    const Case kRows[] = {
        {1, 0, Whole}, {2, 1, Whole}, {9, 8, Whole}, {10, 9, Whole}, {11, 10, Whole}, {64, 63, Whole}, {256, 255, Whole},
        {10, 10, Marked}, {10, 11, Marked}, {11, 11, Marked}, {16, 17, Marked}, {256, 256, Marked}, {1024, 5024, Marked},
        {1, 5000, Prefix}, {2, 5000, Prefix}, {5, 5000, Prefix}, {9, 5000, Prefix}, {0, 5, Nothing}, {-1, 0, Nothing},
        {-10, 5, Nothing}, {INT32_MIN, 5000, Nothing}, {256, 1023, Marked, Client}, {1023, 1023, Marked, Client},
        {1024, 1023, Whole, Client}, {1025, 1023, Whole, Client}, {5, 1023, Prefix, Client}, {256, 38, Whole, Refusal},
        {12, 38, Marked, Refusal}, {0, 38, Nothing, Refusal},
    };
    Library& lib = host();
    const int32_t id = newClient(lib);
    ASSERT_EQ(lib.SetParam(id, letters(5000).c_str(), "1"), -1);
    for (const Case& c : kRows) {
        SCOPED_TRACE(std::to_string(c.size) + " " + std::to_string(c.source) + " " + std::to_string(c.textBytes));
        const std::string text = c.source == Global ? letters(c.textBytes) : c.source == Refusal ? "rxKinesis::GetErrorStr bad param id -3"
                                 : ("rxKinesis::setParam bad param name [" + letters(5000)).substr(0, c.textBytes);
        if (c.source == Global) lib.SetGlobalErrorStr(text.c_str());
        Guarded buffer(c.size > 0 ? static_cast<std::size_t>(c.size) : 16);
        char* const given = buffer.data();
        LogCapture::reset();
        EXPECT_EQ(c.source == Global ? lib.GetGlobalErrorStr(given, c.size) : lib.GetErrorStr(c.source == Client ? id : -3, given, c.size), given);
        EXPECT_EQ(LogCapture::traceTexts().size(), c.source == Client ? 1u : 0u);
        if (c.source == Client) { EXPECT_TRUE(LogCapture::traceContains(fmt("GetErrorStr id:%d  lenBuffer:%d errSize:1023", id, c.size))); }
        const auto size = static_cast<std::size_t>(c.size); const std::string expected = c.expect == Whole ? text : c.expect == Marked ? text.substr(0, size - 10) + " [...]" : c.expect == Prefix ? text.substr(0, size - 1) : "";
        if (c.expect != Nothing) { EXPECT_EQ(buffer.text(), expected); }
        if (c.expect != Nothing) { EXPECT_EQ(buffer.at(expected.size()) + std::to_string(buffer.untouchedTail()), '\0' + std::to_string(c.expect == Marked ? 3 : size - expected.size() - 1)); }
        EXPECT_TRUE(c.expect == Nothing ? buffer.untouched() : buffer.guardsIntact());
    }
}

}  // namespace
}  // namespace rxk::test
