// SetGlobalParam: names in any case, nothing but whole names, values longer than their field,
// and the delimiter that the listing exports pass on.
#include "fault_server.h"
#include "frame_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace rxk::test {
namespace {

using GlobalParam = FrameTest;

// Catches a case-sensitive comparison of the names.
TEST_F(GlobalParam, NamesInAnyCase) {
    startWithSinks();
    for (const char* name : {"delimiter", "DELIMITER", "Delimiter", "dElImItEr", "statspath", "STATSPATH", "StatsPath"})
        EXPECT_EQ(lib().SetGlobalParam(name, ","), 0) << name;
    EXPECT_TRUE(LogCapture::logTexts().empty());
}

// Catches a prefix match in either direction, and words that don't show the name as given.
TEST_F(GlobalParam, OnlyWholeNamesMatch) {
    startWithSinks();
    lib().SetGlobalErrorStr("kept");
    for (const char* name : {"delim", "Delimiters", "delimiter ", "stats", "STATSPATHX", ""}) {
        LogCapture::reset();
        EXPECT_EQ(lib().SetGlobalParam(name, ","), -1) << name;
        EXPECT_EQ(LogCapture::logTexts(),
                  std::vector<std::string>{std::string("rxKinesis::SetGlobalParam bad param name [") + name + "]"});
    }
    EXPECT_EQ(globalError(), "kept");
}

// Catches an unbounded copy of a value into its fixed field (12 and 512 bytes), and a long
// name overrunning the message buffer.
TEST_F(GlobalParam, LongValuesAndNamesStayInBounds) {
    startWithSinks();
    const std::string longText(5000, 'v');
    EXPECT_EQ(lib().SetGlobalParam("statspath", longText.c_str()), 0);
    EXPECT_EQ(lib().SetGlobalParam("delimiter", longText.c_str()), 0);
    LogCapture::reset();
    EXPECT_EQ(lib().SetGlobalParam(longText.c_str(), "x"), -1);
    ASSERT_EQ(LogCapture::logLines().size(), 1u);
    EXPECT_EQ(LogCapture::logLines()[0].text.size(), 255u);
    EXPECT_EQ(LogCapture::logLines()[0].length, 255);
}

// Catches a listing separated by something other than the first byte of `delimiter`, a first
// InititializeInterface that keeps an earlier value, and a second one that puts ";" back.
TEST_F(GlobalParam, FirstByteOfTheDelimiterSeparatesListings) {
    FaultServer server;
    server.addStream("alpha", 1);
    server.addStream("beta", 1);
    ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
    ASSERT_EQ(lib().SetGlobalParam("delimiter", "|"), 0);
    startWithSinks();
    const int32_t id = createClient();
    ASSERT_EQ(id, 0);
    char buffer[256];
    int32_t length = sizeof buffer;
    ASSERT_EQ(lib().GetListStreams(id, buffer, &length), 0);
    EXPECT_STREQ(buffer, "alpha;beta");

    ASSERT_EQ(lib().SetGlobalParam("Delimiter", "|#!"), 0);
    ASSERT_EQ(lib().InititializeInterface(), 0);
    length = sizeof buffer;
    ASSERT_EQ(lib().GetListStreams(id, buffer, &length), 0);
    EXPECT_STREQ(buffer, "alpha|beta");
    EXPECT_EQ(length, 11);
}

}  // namespace
}  // namespace rxk::test
