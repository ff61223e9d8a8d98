// The truncating copy of an error text into a caller's buffer, at and around every boundary,
// through GetGlobalErrorStr and GetErrorStr. Guard bytes and a known filling show every byte
// that was written.
#include "frame_support.h"

#include <gtest/gtest.h>

#include <string>

namespace rxk::test {
namespace {

using TruncatingCopy = FrameTest;

std::string textOfLength(std::size_t length) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text.push_back(static_cast<char>('a' + i % 26));
    return text;
}

// Catches an off-by-one at the fitting boundary: a text of L-1 bytes is whole and unmarked
// (size 1: an empty text writes its NUL and nothing more).
TEST_F(TruncatingCopy, TextOfOneLessThanTheBufferIsCopiedWhole) {
    for (const int32_t size : {1, 2, 9, 10, 11, 64, 256}) {
        SCOPED_TRACE(size);
        const std::string text = textOfLength(static_cast<std::size_t>(size - 1));
        lib().SetGlobalErrorStr(text.c_str());
        GuardedBuffer buffer(static_cast<std::size_t>(size));
        EXPECT_EQ(lib().GetGlobalErrorStr(buffer.data(), buffer.length()), buffer.data());
        EXPECT_EQ(buffer.text(), text);
        EXPECT_EQ(buffer.at(static_cast<std::size_t>(size - 1)), '\0');
        EXPECT_TRUE(buffer.guardsIntact());
    }
}

// Catches a mark placed at L-7 instead of L-10, or a write into the last three bytes.
TEST_F(TruncatingCopy, TextOfTheBufferSizeOrMoreIsCutAndMarked) {
    for (const int32_t size : {10, 11, 16, 256, 1024}) {
        for (const int extra : {0, 1, 4000}) {
            SCOPED_TRACE(std::to_string(size) + "+" + std::to_string(extra));
            const std::string text = textOfLength(static_cast<std::size_t>(size + extra));
            lib().SetGlobalErrorStr(text.c_str());
            GuardedBuffer buffer(static_cast<std::size_t>(size));
            lib().GetGlobalErrorStr(buffer.data(), buffer.length());
            const std::string expected = text.substr(0, static_cast<std::size_t>(size - 10)) + " [...]";
            EXPECT_EQ(buffer.text(), expected);
            EXPECT_EQ(buffer.at(static_cast<std::size_t>(size - 4)), '\0');
            EXPECT_EQ(buffer.untouchedTail(), 3u);
            EXPECT_TRUE(buffer.guardsIntact());
        }
    }
}

// Catches the prefix arithmetic going wrong when nothing of the text is left.
TEST_F(TruncatingCopy, TenByteBufferHoldsTheMarkAlone) {
    lib().SetGlobalErrorStr("0123456789");
    GuardedBuffer buffer(10);
    lib().GetGlobalErrorStr(buffer.data(), 10);
    EXPECT_EQ(buffer.text(), " [...]");
    EXPECT_TRUE(buffer.guardsIntact());
}

// Catches a negative prefix length (a huge copy) for buffers too small for the mark.
TEST_F(TruncatingCopy, BuffersBelowTenBytesAreNeverOverrun) {
    lib().SetGlobalErrorStr(textOfLength(5000).c_str());
    for (const int32_t size : {1, 2, 5, 9}) {
        SCOPED_TRACE(size);
        GuardedBuffer buffer(static_cast<std::size_t>(size));
        lib().GetGlobalErrorStr(buffer.data(), buffer.length());
        EXPECT_EQ(buffer.text(), textOfLength(static_cast<std::size_t>(size - 1)));
        EXPECT_EQ(buffer.at(static_cast<std::size_t>(size - 1)), '\0');
        EXPECT_TRUE(buffer.guardsIntact());
    }
}

// Catches any write for a buffer length of zero or below.
TEST_F(TruncatingCopy, ZeroAndNegativeLengthsWriteNothing) {
    for (const std::string& text : {std::string(), std::string("short"), textOfLength(5000)}) {
        lib().SetGlobalErrorStr(text.c_str());
        for (const int32_t length : {0, -1, -10, INT32_MIN}) {
            GuardedBuffer buffer(16);
            EXPECT_EQ(lib().GetGlobalErrorStr(buffer.data(), length), buffer.data());
            EXPECT_TRUE(buffer.untouched()) << length;
        }
    }
}

// Catches a client's text copied by another rule than the global one: a 5,000-character name
// makes a last-error text of a full message buffer, cut again for the caller.
TEST_F(TruncatingCopy, ClientTextFollowsTheSameRule) {
    startWithSinks();
    ASSERT_EQ(createClient(), 0);
    const std::string name = textOfLength(5000);
    ASSERT_EQ(lib().SetParam(0, name.c_str(), "1"), -1);
    const std::string full = ("rxKinesis::setParam bad param name [" + name).substr(0, 1023);
    for (const int32_t size : {256, 1023, 1024, 1025}) {
        SCOPED_TRACE(size);
        GuardedBuffer buffer(static_cast<std::size_t>(size));
        lib().GetErrorStr(0, buffer.data(), buffer.length());
        if (static_cast<std::size_t>(size) > full.size()) {
            EXPECT_EQ(buffer.text(), full);
        } else {
            EXPECT_EQ(buffer.text(), full.substr(0, static_cast<std::size_t>(size - 10)) + " [...]");
            EXPECT_EQ(buffer.untouchedTail(), 3u);
        }
        EXPECT_TRUE(buffer.guardsIntact());
    }
    GuardedBuffer small(5);
    lib().GetErrorStr(0, small.data(), small.length());
    EXPECT_EQ(small.text(), "rxKi");
    EXPECT_TRUE(small.guardsIntact());
}

}  // namespace
}  // namespace rxk::test
