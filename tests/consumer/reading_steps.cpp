#include "reading_steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace rxk::test {
namespace {

constexpr char kGuard = static_cast<char>(0xA5);

std::vector<std::string> polledTexts, polledSequences;

std::int32_t recordText(std::int32_t, const char*, const char*, const char* sequence, const char* data, std::int32_t) {
    polledTexts.emplace_back(data);
    polledSequences.emplace_back(sequence);
    return 1;  // not read by the poll
}

std::int32_t recordAndStop(std::int32_t id, const char* stream, const char* shard, const char* sequence,
                           const char* data, std::int32_t length) {
    recordText(id, stream, shard, sequence, data, length);
    connector().StopShardIterator(id, stream, shard);
    return 0;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

void expectRead(Reading& r, const std::string& expected, bool withSequence) {
    GuardedBuffer data(16384), sequence(512);
    std::int32_t length = -7;
    const std::int32_t result = connector().GetRecordFromIterator(
        r.client, r.stream.c_str(), kShard0, withSequence ? sequence.data() : nullptr, data.data(), &length);
    if (expected == "-" || expected == "!") {
        EXPECT_EQ(result, expected == "-" ? RXK_NO_RECORD : RXK_NO_ITERATOR);
        EXPECT_EQ(length, 0);
        EXPECT_TRUE(data.untouched() && sequence.untouched());
        return;
    }
    ASSERT_EQ(result, RXK_OK);
    EXPECT_EQ(data.text(), expected);
    EXPECT_EQ(length, static_cast<std::int32_t>(expected.size()));
    EXPECT_TRUE(data.intactAfterText());
    EXPECT_TRUE(withSequence ? sequence.intactAfterText() : sequence.untouched());
    const auto known = r.sequenceOf.find(expected);
    if (withSequence && known != r.sequenceOf.end()) {
        EXPECT_EQ(sequence.text(), known->second);
    }
}

void runStep(Reading& r, const std::string& step) {
    SCOPED_TRACE(step);
    const char op = step[0];
    const std::string rest = step.substr(1);
    const auto equals = rest.find('='), at = rest.find('@');
    const std::int32_t result = equals == std::string::npos ? 0 : std::stoi(rest.substr(equals + 1));
    auto& library = connector();
    const char* stream = r.stream.c_str();
    switch (op) {
        case 'S': {
            const std::string value = at == std::string::npos ? "" : rest.substr(at + 1, equals - at - 1);
            const char* startValue = value.empty() ? nullptr : r.sequenceOf.count(value) ? r.sequenceOf[value].c_str() : value.c_str();
            EXPECT_EQ(library.StartShardIterator(r.client, stream, kShard0, startValue, r.limit, std::stoi(rest)), result);
            break;
        }
        case 'g': expectRead(r, rest, true); break;
        case 'G': expectRead(r, rest, false); break;
        case 'n': EXPECT_EQ(library.NextShardIterator(r.client, stream, kShard0), result); break;
        case 'x': EXPECT_EQ(library.StopShardIterator(r.client, stream, kShard0), result); break;
        case 'P':
        case 'Q':
            polledTexts.clear();
            polledSequences.clear();
            EXPECT_EQ(library.PollShardIterator(r.client, stream, kShard0, op == 'P' ? recordText : recordAndStop), result);
            EXPECT_EQ(polledTexts, split(rest.substr(0, equals), ','));
            for (std::size_t i = 0; i < polledTexts.size() && r.sequenceOf.count(polledTexts[i]); ++i)
                EXPECT_EQ(polledSequences[i], r.sequenceOf[polledTexts[i]]);
            break;
        case 'o': {
            GuardedBuffer data(16384);
            std::int32_t length = -7;
            EXPECT_EQ(library.GetRecord(r.client, stream, kShard0, r.sequenceOf.at(rest).c_str(), data.data(), &length), RXK_OK);
            EXPECT_TRUE(data.text() == rest && length == static_cast<std::int32_t>(rest.size()) && data.intactAfterText());
            break;
        }
        case '+': r.put(rest); break;
        default: FAIL() << "unknown step";
    }
}

}  // namespace

GuardedBuffer::GuardedBuffer(std::size_t size) : bytes(size, kGuard) {}
std::string GuardedBuffer::text() const { return std::string(bytes.data(), strnlen(bytes.data(), bytes.size())); }
bool GuardedBuffer::untouched() const { return guardedFrom(0); }
bool GuardedBuffer::intactAfterText() const { return text().size() < bytes.size() && guardedFrom(text().size() + 1); }
bool GuardedBuffer::guardedFrom(std::size_t offset) const {
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.end(), [](char c) { return c == kGuard; });
}

void runSteps(Reading& reading, const std::string& steps) {
    for (const std::string& step : split(steps, ' ')) runStep(reading, step);
}

}  // namespace rxk::test
