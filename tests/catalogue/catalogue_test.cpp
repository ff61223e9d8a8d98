// The catalogue against kinesalite: GetData's copy into the host's buffer at every boundary of the
// declared size, the listings of streams and shards (one, three and 250, so several pages) with
// their delimiters, and the failures that end in "no result".
#include "host.h"
#include "kinesalite.h"

#include <rapidjson/document.h>

namespace rxk::test {
namespace {

struct Listing { int32_t result, lenBuffer; Guarded buffer; };

// GetData (type 0 to 2) or, for type -10 - t, the list export of type t, into `declared` bytes.
Listing list(Library& lib, int32_t id, int32_t type, const char* stream, const char* shard, int32_t declared, char delimiter = ';') {
    Listing l{0, declared, Guarded(static_cast<std::size_t>(std::max(declared, 1)))};
    char* const b = l.buffer.data();
    l.result = type == -10 ? lib.GetListStreams(id, b, &l.lenBuffer) : type == -11 ? lib.GetListShards(id, stream, b, &l.lenBuffer)
               : type == -12 ? lib.GetShardDetails(id, stream, shard, b, &l.lenBuffer)
                             : lib.GetData(id, type, stream, shard, b, &l.lenBuffer, delimiter);
    return l;
}

std::string joined(const std::vector<std::string>& fields, char delimiter = ';') {
    std::string text;
    for (std::size_t i = 0; i < fields.size(); ++i) text += (i ? std::string(1, delimiter) : "") + fields[i];
    return text;
}

// Would catch a result of 0 for a text that only just fits (the host can't tell it from a cut),
// a cut reported where the text fitted with room to spare, a NUL written past the declared size
// or a wrong count, a one-byte buffer given a text byte, a write into a buffer declared empty or
// negative (the service is asked, then "buffer NULL"), and a cached answer (every call asks again
// and copies from the first byte).
TEST(Catalogue, DeclaredSizesAroundTheTextLength) {
    Kinesalite& emulator = sharedKinesalite();
    const std::string stream = emulator.createUniqueStream("sizes", 3);
    const std::string text = joined(emulator.shardIds(stream));
    const int32_t length = static_cast<int32_t>(text.size()), id = clientAt(emulator.endpoint());
    struct Case { int32_t declared, result; std::size_t textBytes; };
    const Case kRows[] = {{length + 2, 0, text.size()}, {length + 1, 1, text.size()}, {length, 1, text.size() - 1}, {6, 1, 5},
                          {2, 1, 1}, {1, 1, 0}, {0, -1, 0}, {-1, -1, 0}, {-100, -1, 0}};
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.declared);
        LogCapture::reset();
        const Listing l = list(host(), id, RXK_LIST_SHARDS, stream.c_str(), nullptr, c.declared);
        EXPECT_EQ(l.result, c.result);
        EXPECT_TRUE(l.buffer.guardsIntact());
        if (c.result == -1) {
            EXPECT_EQ(std::to_string(l.lenBuffer) + (l.buffer.untouched() ? "" : " written"), std::to_string(c.declared));
            EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{fmt("id:%d KinesisEnv::getData buffer NULL", id)});
            EXPECT_EQ(clientError(id), fmt("id:%d KinesisEnv::getData buffer NULL", id));
            continue;
        }
        EXPECT_EQ(l.buffer.text(), text.substr(0, c.textBytes));
        EXPECT_EQ(l.buffer.at(c.textBytes), '\0');
        EXPECT_EQ(l.lenBuffer, std::min(c.declared, length + 1));
        EXPECT_TRUE(LogCapture::traceContains(fmt("rxKinesis::GetData id:%d  lenBuffer:%d", id, l.lenBuffer)));
    }
}

std::vector<std::string> emulatorStreams(const Kinesalite& emulator) {
    rapidjson::Document answer;
    answer.Parse(emulator.call("ListStreams", "{}").body.c_str());
    std::vector<std::string> names;
    for (const auto& name : answer["StreamNames"].GetArray()) names.emplace_back(name.GetString());
    return names;
}

// Would catch names or shard ids dropped, reordered or delimited before the first or after the
// last, paging that stops after the first DescribeStream page (the emulator pages at 100 shards)
// or repeats one, an unknown shard id reported as more than "no result", a stream name "" taken
// for a missing one, a per-call delimiter
// that leaks into the global one, more than the first byte of the global one used, a delimiter
// set before the first start that survives it or one set after it that a later start resets, and
// a NUL delimiter counted wrong.
TEST(Catalogue, ListingsAndTheirFailures) {
    Kinesalite& emulator = sharedKinesalite();
    const std::string one = emulator.createUniqueStream("one", 1), three = emulator.createUniqueStream("three", 3),
                      many = emulator.createUniqueStream("many", 250);
    const std::string noResult = "id:%d KinesisEnv::getData no result";
    struct Case { const char* name; const char* global; int32_t type; const char* stream; const char* shard; char delimiter;
                  int32_t result; std::string text; std::vector<std::string> log; const char* error; };
    const Case kRows[] = {
        {"a delimiter set before the first start gives way to \";\"", nullptr, -11, three.c_str(), nullptr, ';', 0,
         joined(emulator.shardIds(three)), {}, ""},
        {"stream names in the service's order", nullptr, -10, nullptr, nullptr, ';', 0, "", {}, ""},
        {"one shard", nullptr, -11, one.c_str(), nullptr, ';', 0, joined(emulator.shardIds(one)), {}, ""},
        {"250 shards, three pages", nullptr, -11, many.c_str(), nullptr, ';', 0, joined(emulator.shardIds(many)), {}, ""},
        {"a delimiter for one call", nullptr, RXK_LIST_SHARDS, three.c_str(), nullptr, '|', 0, joined(emulator.shardIds(three), '|'), {}, ""},
        {"the first byte of the global delimiter", "#|!", -11, three.c_str(), nullptr, ';', 0, joined(emulator.shardIds(three), '#'), {}, ""},
        {"GetData keeps to its own delimiter", "#", RXK_LIST_SHARDS, three.c_str(), nullptr, ',', 0, joined(emulator.shardIds(three), ','), {}, ""},
        {"an empty global delimiter separates with NUL", "", -11, three.c_str(), nullptr, ';', 0, joined(emulator.shardIds(three), '\0'), {}, ""},
        {"a shard id no shard has", ";", -12, three.c_str(), "shardId-000000000007", ';', -1, "", {noResult}, ""},
        {"a stream name \"\" is asked for and refused as a failed page", nullptr, -11, "", nullptr, ';', -1, "",
         {"id:%d KinesisEnv::getListShardOrShardDetails ERROR:", "*", noResult}, "id:%d KinesisEnv::getListShardOrShardDetails ERROR:*"},
    };
    auto lib = freshLibrary();
    lib->InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    ASSERT_EQ(lib->SetGlobalParam("delimiter", "|") + lib->InititializeInterface(), 0);
    const int32_t id = clientAt(emulator.endpoint(), *lib);
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        if (c.global) { ASSERT_EQ(lib->SetGlobalParam("delimiter", c.global) + lib->InititializeInterface(), 0); }  // later starts keep it
        LogCapture::reset();
        const Listing l = list(*lib, id, c.type, c.stream, c.shard, 1 << 16, c.delimiter);
        EXPECT_EQ(l.result, c.result);
        const std::string full = c.type == -10 ? joined(emulatorStreams(emulator)) : c.text;
        EXPECT_EQ(l.buffer.text(), full.substr(0, full.find('\0')));
        EXPECT_EQ(l.lenBuffer, c.result ? 0 : static_cast<int32_t>(full.size() + 1));
        for (std::size_t i = l.buffer.text().size(); i <= full.size(); ++i) EXPECT_EQ(l.buffer.at(i), '\0') << i;
        const auto log = LogCapture::logTexts();
        ASSERT_EQ(log.size(), c.log.size());
        for (std::size_t i = 0; i < log.size(); ++i) EXPECT_TRUE(c.log[i] == std::string("*") ? !log[i].empty() : log[i] == fmt(c.log[i].c_str(), id)) << log[i];
        const std::string error = fmt(c.error, id);
        EXPECT_EQ(clientError(id, *lib), error.back() == '*' ? fmt(c.log[0].c_str(), id) + log[1] : error);
    }
}

}  // namespace
}  // namespace rxk::test
