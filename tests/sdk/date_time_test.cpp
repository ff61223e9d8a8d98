// DateTime parsing and accessors, and the byte-array type.
#include <aws/core/utils/Array.h>
#include <aws/core/utils/DateTime.h>

#include <gtest/gtest.h>

namespace {

using Aws::Utils::DateFormat;
using Aws::Utils::DateTime;
using Aws::Utils::DayOfWeek;
using Aws::Utils::Month;

DateTime autoDetected(const char* text) {
    DateTime time;
    time = Aws::String(text);
    return time;
}

// A parser that accepts too much would turn a typo into a silently wrong start position of a
// shard read; one that accepts too little would refuse valid timestamps.
TEST(DateTimeParsing, AcceptedFormats) {
    struct Case {
        const char* text;
        int64_t millis;
    } cases[] = {
        {"2016-04-04T19:58:46Z", 1459799926000},
        {"2016-04-04T19:58:46.480Z", 1459799926480},
        {"2016-04-04T19:58:46.480123456Z", 1459799926480},
        {"2016-04-04T19:58:46+00:00", 1459799926000},
        {"Mon, 04 Apr 2016 19:58:46 GMT", 1459799926000},
        {"monday, 4 april 2016 19:58:46 UTC", 1459799926000},
        {"Mon, 04 Apr 16 19:58:46 GMT", 1459799926000},
        {"Mon, 04 Apr 2016 19:58:46 +0000", 1459799926000},
        {"Mon, 04 Apr 2016 19:58:46 ", 1459799926000},
        {"20160404T195846Z", 1459799926000},
        {"20160404T195846480Z", 1459799926480},
    };
    for (const Case& c : cases) {
        const DateTime time = autoDetected(c.text);
        EXPECT_TRUE(time.WasParseSuccessful()) << c.text;
        EXPECT_EQ(time.Millis(), c.millis) << c.text;
    }
}

TEST(DateTimeParsing, RejectedFormatsGiveTheEpoch) {
    const char* rejected[] = {
        "2016-04-04T19:58:46",        // no zone
        "2016-04-04 19:58:46Z",       // space instead of T
        "2016-04-04t19:58:46Z",       // lowercase t
        "2016-04-04T19:58:46.4Z",     // one fraction digit
        "2016-04-04T19:58:46.48Z",    // two fraction digits
        "2016-04-04T19:58:46.1234567890Z",  // ten fraction digits
        "2016-4-04T19:58:46Z",        // one-digit month
        "2016-04-04",                 // date only
        "1459799926",                 // epoch number
        "Mon, 04 Apr 2016 19:58:46",  // no space after the seconds
        "Mon 04 Apr 2016 19:58:46 GMT",  // no comma
        "Mon, 04 Xyz 2016 19:58:46 GMT",  // unknown month
        "Mon, 04 Apr 2016 19:58:46 GMT+0100x",  // zone longer than five characters
        "2016-04-04T19:58:46Zjunk",   // trailing text
        "",
    };
    for (const char* text : rejected) {
        const DateTime time = autoDetected(text);
        EXPECT_FALSE(time.WasParseSuccessful()) << text;
        EXPECT_EQ(time.Millis(), 0) << text;
        EXPECT_EQ(time.GetYear(), 1970) << text;
        EXPECT_EQ(time.GetMonth(), Month::January) << text;
        EXPECT_EQ(time.GetDay(), 1) << text;
        EXPECT_EQ(time.GetDayOfWeek(), DayOfWeek::Thursday) << text;
    }
}

// Assignment replaces the whole object: a failed parse after a good one must not keep the
// old time or validity.
TEST(DateTimeParsing, AssignmentReplacesValueAndValidity) {
    DateTime time = autoDetected("2016-04-04T19:58:46Z");
    ASSERT_TRUE(time.WasParseSuccessful());
    time = Aws::String("not a date");
    EXPECT_FALSE(time.WasParseSuccessful());
    EXPECT_EQ(time.Millis(), 0);
    time = Aws::String("2020-02-29T23:59:59.999Z");
    EXPECT_TRUE(time.WasParseSuccessful());
    EXPECT_EQ(time.GetMonth(), Month::February);
}

// Month is zero-based like struct tm: printing it numerically shows January as 0.
TEST(DateTimeFields, MonthIsZeroBasedAndFieldsAreUtc) {
    const DateTime time = autoDetected("2016-12-31T23:59:58.250Z");
    EXPECT_EQ(time.GetYear(), 2016);
    EXPECT_EQ(static_cast<int>(time.GetMonth()), 11);
    EXPECT_EQ(time.GetDay(), 31);
    EXPECT_EQ(time.GetHour(), 23);
    EXPECT_EQ(time.GetMinute(), 59);
    EXPECT_EQ(time.GetSecond(), 58);
    EXPECT_EQ(time.GetDayOfWeek(), DayOfWeek::Saturday);
    EXPECT_EQ(time.Seconds(), 1483228798);
    EXPECT_DOUBLE_EQ(time.SecondsWithMSPrecision(), 1483228798.25);
    EXPECT_EQ(static_cast<int>(autoDetected("2016-01-15T00:00:00Z").GetMonth()), 0);
}

// Field values are not range-checked: timegm normalises them.
TEST(DateTimeParsing, OutOfRangeFieldsAreNormalised) {
    const DateTime time = autoDetected("2016-13-01T00:00:00Z");
    EXPECT_TRUE(time.WasParseSuccessful());
    EXPECT_EQ(time.GetYear(), 2017);
    EXPECT_EQ(time.GetMonth(), Month::January);
}

TEST(DateTimeConversions, NumbersAndFormatting) {
    EXPECT_EQ(DateTime(1459799926.48).Millis(), 1459799926480);
    EXPECT_EQ(DateTime(int64_t{1459799926480}).SecondsWithMSPrecision(), 1459799926.48);
    const DateTime time(int64_t{1459799926480});
    EXPECT_EQ(time.ToGmtString(DateFormat::ISO_8601), "2016-04-04T19:58:46Z");
    EXPECT_EQ(time.ToGmtString(DateFormat::ISO_8601_BASIC), "20160404T195846Z");
    EXPECT_EQ(time.ToGmtString(DateFormat::RFC822), "Mon, 04 Apr 2016 19:58:46 GMT");
    EXPECT_EQ(time.ToGmtStringWithMs(), "2016-04-04T19:58:46.480Z");
    EXPECT_EQ(DateTime(time.ToGmtString(DateFormat::RFC822), DateFormat::RFC822).Seconds(), time.Seconds());
    EXPECT_TRUE(DateTime().WasParseSuccessful());
    EXPECT_EQ(DateTime().Millis(), 0);
    const int64_t before = DateTime::CurrentTimeMillis();
    EXPECT_GE(DateTime::Now().Millis(), before);
}

// Explicit formats accept only their own form.
TEST(DateTimeParsing, ExplicitFormatDoesNotFallBack) {
    EXPECT_FALSE(DateTime("Mon, 04 Apr 2016 19:58:46 GMT", DateFormat::ISO_8601).WasParseSuccessful());
    EXPECT_FALSE(DateTime("2016-04-04T19:58:46Z", DateFormat::RFC822).WasParseSuccessful());
    EXPECT_TRUE(DateTime("20160404T195846Z", DateFormat::ISO_8601_BASIC).WasParseSuccessful());
    EXPECT_FALSE(DateTime(static_cast<const char*>(nullptr), DateFormat::AutoDetect).WasParseSuccessful());
}

// ByteBuffer keeps the documented length semantics; a copy that shared storage or a move that
// left the source usable would corrupt payloads.
TEST(ByteBuffer, NullSourceKeepsLengthWithoutStorage) {
    const Aws::Utils::ByteBuffer buffer(nullptr, 5);
    EXPECT_EQ(buffer.GetLength(), 5u);
    EXPECT_EQ(buffer.GetSize(), 0u);
    EXPECT_EQ(buffer.GetUnderlyingData(), nullptr);
    const Aws::Utils::ByteBuffer empty(reinterpret_cast<const unsigned char*>("x"), 0);
    EXPECT_EQ(empty.GetLength(), 0u);
    EXPECT_EQ(empty.GetUnderlyingData(), nullptr);
}

TEST(ByteBuffer, CopyIsDeepAndMoveSteals) {
    const unsigned char bytes[] = {0, 1, 2, 255};
    Aws::Utils::ByteBuffer original(bytes, sizeof bytes);
    Aws::Utils::ByteBuffer copy(original);
    ASSERT_NE(copy.GetUnderlyingData(), original.GetUnderlyingData());
    copy[0] = 9;
    EXPECT_EQ(original[0], 0);
    EXPECT_NE(copy, original);
    const unsigned char* storage = original.GetUnderlyingData();
    Aws::Utils::ByteBuffer moved(std::move(original));
    EXPECT_EQ(moved.GetUnderlyingData(), storage);
    EXPECT_EQ(moved.GetLength(), 4u);
    EXPECT_EQ(original.GetLength(), 0u);  // NOLINT(bugprone-use-after-move): documented state
    EXPECT_EQ(original.GetUnderlyingData(), nullptr);
    Aws::Utils::ByteBuffer assigned;
    assigned = moved;
    EXPECT_EQ(assigned, moved);
    assigned = std::move(moved);
    EXPECT_EQ(assigned.GetUnderlyingData(), storage);
}

TEST(ByteBuffer, FromStringAndConcatenation) {
    const Aws::String text("hello");
    const Aws::Utils::ByteBuffer fromText(text);
    EXPECT_EQ(fromText.GetLength(), 5u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(fromText.GetUnderlyingData()), 5), "hello");
    Aws::Utils::ByteBuffer a(reinterpret_cast<const unsigned char*>("ab"), 2);
    Aws::Utils::ByteBuffer b(reinterpret_cast<const unsigned char*>("cde"), 3);
    const Aws::Utils::ByteBuffer joined(Aws::Vector<Aws::Utils::ByteBuffer*>{&a, &b});
    ASSERT_EQ(joined.GetLength(), 5u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(joined.GetUnderlyingData()), 5), "abcde");
}

}  // namespace
