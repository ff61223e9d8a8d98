// SetParam and GetParam on a client: defaults, atoi reading, names in any case, unknown and
// read-only keys, the translator action and the counter texts.
#include "frame_support.h"

#include <functional>

#include <gtest/gtest.h>

#include <rxkinesis_exceptions.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace rxk::test {
namespace {

using Parameters = FrameTest;
using TranslatorAction = FrameTest;

// How a processor fault inside the library (the probe's access violation) reaches a thread.
enum class Arrival { Returned, AsSeException, AsOtherObject };

Arrival faultOnThread(Library& lib, const std::function<void()>& beforehand) {
    Arrival arrival = Arrival::Returned;
    std::thread thread([&] {
        beforehand();
        try {
            lib.Dummy(0, "exception");
        } catch (const SE_Exception& fault) {
            arrival = fault.code == 0xC0000005u ? Arrival::AsSeException : Arrival::AsOtherObject;
        } catch (...) {
            arrival = Arrival::AsOtherObject;
        }
    });
    thread.join();
    return arrival;
}

// Catches defaults that differ from the documented ones, or clients that share parameters.
TEST_F(Parameters, NewClientsHaveTheDefaults) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    ASSERT_EQ(lib().SetParam(0, "maxputrow", "3"), 0);
    ASSERT_EQ(createClient(), 1);
    EXPECT_EQ(param(1, "retry"), "-1");
    EXPECT_EQ(param(1, "retryattemptshow"), "0");
    EXPECT_EQ(param(1, "maxputrow"), "500");
    EXPECT_EQ(param(1, "maxputlen"), "5000000");
    EXPECT_EQ(param(0, "maxputrow"), "3");
    EXPECT_EQ(clientError(1), "");
}

// Catches a reader that isn't atoi: blanks, signs, trailing text, no digits, overflow.
TEST_F(Parameters, NumbersAreReadLikeAtoi) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    const std::pair<const char*, const char*> cases[] = {
        {"42", "42"},         {"  17", "17"},      {"\t-8", "-8"},   {"+9", "9"},
        {"12abc", "12"},      {"abc", "0"},        {"", "0"},        {"-1", "-1"},
        {"- 5", "0"},         {"0x1F", "0"},       {"007", "7"},     {"2147483647", "2147483647"},
        {"-2147483648", "-2147483648"},            {"99999999999", "2147483647"},
        {"-99999999999", "-2147483648"},
    };
    for (const auto& [value, expected] : cases) {
        ASSERT_EQ(lib().SetParam(0, "maxputlen", value), 0) << value;
        EXPECT_EQ(param(0, "maxputlen"), expected) << value;
    }
    ASSERT_EQ(lib().SetParam(0, "retry", "none"), 0);
    EXPECT_EQ(param(0, "retry"), "0");
    ASSERT_EQ(lib().SetParam(0, "retry", "-1"), 0);
    EXPECT_EQ(param(0, "retry"), "-1");
    EXPECT_TRUE(LogCapture::logTexts().empty());
}

// Catches a case-sensitive key comparison, and keys that write the wrong field.
TEST_F(Parameters, KeysInAnyCaseReachTheirOwnField) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    EXPECT_EQ(lib().SetParam(0, "RETRY", "5"), 0);
    EXPECT_EQ(lib().SetParam(0, "RetryAttemptShow", "2"), 0);
    EXPECT_EQ(lib().SetParam(0, "MAXPUTROW", "11"), 0);
    EXPECT_EQ(lib().SetParam(0, "maxPutLen", "1000"), 0);
    EXPECT_EQ(param(0, "retry"), "5");
    EXPECT_EQ(param(0, "RETRYATTEMPTSHOW"), "2");
    EXPECT_EQ(param(0, "maxputrow"), "11");
    EXPECT_EQ(param(0, "MaxPutLen"), "1000");
}

// Catches unknown or read-only names that change something, words that go astray, and a
// GetParam that writes into the buffer on failure.
TEST_F(Parameters, UnknownAndReadOnlyNamesAreRefused) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    lib().SetGlobalErrorStr("kept");
    for (const char* name : {"retries", "retr", "retryattemptPutRecords", "RETRYATTEMPTFAILRECORDS", ""}) {
        LogCapture::reset();
        EXPECT_EQ(lib().SetParam(0, name, "1"), -1) << name;
        const std::string words = std::string("rxKinesis::setParam bad param name [") + name + "]";
        EXPECT_EQ(clientError(0), words);
        EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{words});
    }
    for (const char* name : {"exceptiontranslator", "maxput", "nothing"}) {
        LogCapture::reset();
        GuardedBuffer buffer(64);
        EXPECT_EQ(lib().GetParam(0, name, buffer.data()), -1) << name;
        EXPECT_TRUE(buffer.untouched());
        const std::string words = std::string("rxKinesis::getParam bad param name [") + name + "]";
        EXPECT_EQ(clientError(0), words);
        EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{words});
    }
    EXPECT_EQ(param(0, "retry"), "-1");
    EXPECT_EQ(param(0, "maxputrow"), "500");
    EXPECT_EQ(globalError(), "kept");
}

// Catches a translator key that looks at its value, and a numeric key that reads a null value.
TEST_F(Parameters, TranslatorActionAndNullValues) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    EXPECT_EQ(lib().SetParam(0, "exceptiontranslator", nullptr), 0);
    EXPECT_EQ(lib().SetParam(0, "ExceptionTranslator", "anything"), 0);
    EXPECT_TRUE(LogCapture::logTexts().empty());

    ASSERT_EQ(lib().SetParam(0, "retry", "3"), 0);
    EXPECT_EQ(lib().SetParam(0, "retry", nullptr), -1);
    EXPECT_EQ(param(0, "retry"), "3");
    EXPECT_EQ(clientError(0), "rxKinesis::setParam bad param value NULL [retry]");
}

// Catches a translator key that installs nothing, installs it for the wrong thread, or that
// still acts when the frame refused the call.
TEST_F(TranslatorAction, InstalledForTheCallingThreadOnly) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    EXPECT_EQ(faultOnThread(lib(), [] {}), Arrival::AsOtherObject);
    EXPECT_EQ(faultOnThread(lib(), [this] { EXPECT_EQ(lib().SetParam(5, "exceptiontranslator", "1"), -1); }),
              Arrival::AsOtherObject);
    EXPECT_EQ(faultOnThread(lib(), [this] { EXPECT_EQ(lib().SetParam(0, "ExceptionTranslator", nullptr), 0); }),
              Arrival::AsSeException);
    EXPECT_EQ(faultOnThread(lib(), [this] { EXPECT_EQ(lib().InititializeInterface(), 0); }),
              Arrival::AsSeException);
    EXPECT_EQ(faultOnThread(lib(), [] {}), Arrival::AsOtherObject);
}

// Catches counter texts in the wrong format or with the wrong initial values.
TEST_F(Parameters, CounterTextsOfANewClient) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    EXPECT_EQ(param(0, "retryattemptPutRecords"), "0;9223372036854775807;0;0;");
    EXPECT_EQ(param(0, "RETRYATTEMPTFAILRECORDS"), "0;9223372036854775807;0;0;");
    GuardedBuffer buffer(27);
    ASSERT_EQ(lib().GetParam(0, "retryattemptFailRecords", buffer.data()), 0);
    EXPECT_EQ(buffer.text(), "0;9223372036854775807;0;0;");
    EXPECT_TRUE(buffer.guardsIntact());
    EXPECT_EQ(buffer.at(26), '\0');
}

}  // namespace
}  // namespace rxk::test
