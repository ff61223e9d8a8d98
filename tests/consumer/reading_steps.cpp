#include "reading_steps.h"

#include <gtest/gtest.h>

#include <sstream>

namespace rxk::test {
namespace {

std::vector<std::string> polledTexts, polledSequences;
bool stopInCallback = false;

std::int32_t recordText(std::int32_t id, const char* stream, const char* shard, const char* sequence, const char* data, std::int32_t) {
    polledTexts.emplace_back(data);
    polledSequences.emplace_back(sequence);
    if (stopInCallback) connector().StopShardIterator(id, stream, shard);
    return 1;  // not read by the poll
}

std::string pairName(const std::string& text) {
    if (text == "0" || text == "1") return std::string(kShard0, 19) + text;
    return !text.empty() && text[0] == '#' ? std::string(std::stoul(text.substr(1)), 'n') : text;
}

void expectRead(Reading& r, const std::string& stream, const std::string& shard, const std::string& expected, bool withSequence) {
    GuardedBuffer data(16384), sequence(512);
    std::int32_t length = -7;
    const std::int32_t result = connector().GetRecordFromIterator(r.client, stream.c_str(), shard.c_str(),
                                                                  withSequence ? sequence.data() : nullptr, data.data(), &length);
    if (expected == "-" || expected == "!") {
        EXPECT_EQ(result, expected == "-" ? RXK_NO_RECORD : RXK_NO_ITERATOR);
        EXPECT_TRUE(length == 0 && data.untouched() && sequence.untouched());
        return;
    }
    ASSERT_EQ(result, RXK_OK);
    EXPECT_EQ(data.text(), expected);
    EXPECT_TRUE(length == static_cast<std::int32_t>(expected.size()) && data.intactAfterText());
    EXPECT_TRUE(withSequence ? sequence.intactAfterText() : sequence.untouched());
    const auto known = r.sequenceOf.find(expected);
    if (withSequence && known != r.sequenceOf.end()) {
        EXPECT_EQ(sequence.text(), known->second);
    }
}

void runStep(Reading& r, const std::string& token) {
    SCOPED_TRACE(token.substr(0, 80));
    std::string stream = r.stream, shard = kShard0, step = token;
    if (const auto bar = token.rfind('|'); bar != std::string::npos) {
        const auto names = split(token.substr(0, bar), '|');
        stream = pairName(names.empty() ? "" : names[0]), shard = pairName(names.size() > 1 ? names[1] : ""), step = token.substr(bar + 1);
    }
    const char op = step[0];
    const std::string rest = step.substr(1);
    const auto equals = rest.find('='), at = rest.find('@');
    const std::int32_t result = equals == std::string::npos ? 0 : std::stoi(rest.substr(equals + 1));
    auto& library = connector();
    switch (op) {
        case 'S': {
            const std::string value = at == std::string::npos ? "" : rest.substr(at + 1, equals - at - 1);
            const char* start = value.empty() ? nullptr : r.sequenceOf.count(value) ? r.sequenceOf[value].c_str() : value.c_str();
            EXPECT_EQ(library.StartShardIterator(r.client, stream.c_str(), shard.c_str(), start, r.limit, std::stoi(rest)), result);
            break;
        }
        case 'g': case 'G': expectRead(r, stream, shard, rest, op == 'g'); break;
        case 'n': EXPECT_EQ(library.NextShardIterator(r.client, stream.c_str(), shard.c_str()), result); break;
        case 'x': EXPECT_EQ(library.StopShardIterator(r.client, stream.c_str(), shard.c_str()), result); break;
        case 'P': case 'Q':
            polledTexts.clear(), polledSequences.clear(), stopInCallback = op == 'Q';
            EXPECT_EQ(library.PollShardIterator(r.client, stream.c_str(), shard.c_str(), recordText), result);
            EXPECT_EQ(polledTexts, split(rest.substr(0, equals), ','));
            for (std::size_t i = 0; i < polledTexts.size() && r.sequenceOf.count(polledTexts[i]); ++i)
                EXPECT_EQ(polledSequences[i], r.sequenceOf[polledTexts[i]]);
            break;
        case 'o': {
            const std::string text = rest.substr(0, at), sequence = at == std::string::npos ? r.sequenceOf.at(text) : rest.substr(at + 1);
            GuardedBuffer data(16384);
            std::int32_t length = -7;
            EXPECT_EQ(library.GetRecord(r.client, stream.c_str(), shard.c_str(), sequence.c_str(), data.data(), &length), text == "-" ? -1 : 0);
            EXPECT_TRUE(text == "-" ? data.untouched() && length == -7
                                    : data.text() == text && length == static_cast<std::int32_t>(text.size()) && data.intactAfterText());
            break;
        }
        case '+': r.sequenceOf[rest] = r.kinesalite->putRecord(stream, rest); break;
        case '~': library.InitLogEventCallBack(nullptr, nullptr); break;
        default: FAIL() << "unknown step";
    }
}

}  // namespace

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

void runSteps(Reading& reading, const std::string& steps) {
    for (const std::string& step : split(steps, ' ')) runStep(reading, step);
}

}  // namespace rxk::test
