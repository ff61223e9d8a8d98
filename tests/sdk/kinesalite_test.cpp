// The seven Kinesis operations through the exports against the emulator: what the SDK layer
// sends is understood by a real server and what comes back is read correctly (every non-NUL byte
// value, odd keys, a full batch in order, each starting position of a reading).
#include "kinesalite.h"
#include "library.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <thread>

namespace rxk::test {
namespace {

constexpr char kShard[] = "shardId-000000000000";

// Now to the whole second: after a record that arrived over a second ago, before the next ones.
std::string isoNow() {
    const std::time_t seconds = std::time(nullptr);
    std::tm utc{};
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&seconds, &utc));
    return text;
}

std::string listing(Library& lib, int32_t id, int32_t type, const std::string& stream, const char* shard = "") {
    std::vector<char> buffer(1 << 16);
    int32_t length = int32_t(buffer.size());
    EXPECT_EQ(lib.GetData(id, type, stream.c_str(), shard, buffer.data(), &length, ';'), 0);
    return buffer.data();
}

TEST(SdkKinesalite, SevenOperationsRoundTrip) {
    Kinesalite& emulator = sharedKinesalite();
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    ServiceEnvironment environment(emulator.endpoint(), ServiceEnvironment::SdkRetries::Off);
    const int32_t id = lib.CreateClient("us-east-1", "AKIDKINESALITE", "kinesalite-secret");
    ASSERT_GE(id, 0);

    // CreateStream, ListStreams, DescribeStream.
    const std::string created = uniqueStreamName("sdk-create");
    ASSERT_EQ(lib.CreateStream(id, created.c_str(), 3), 0);
    EXPECT_NE((";" + listing(lib, id, RXK_LIST_STREAMS, "") + ";").find(";" + created + ";"), std::string::npos);
    const std::string stream = emulator.createUniqueStream("sdk-read", 1);
    EXPECT_EQ(listing(lib, id, RXK_LIST_SHARDS, stream), kShard);
    EXPECT_EQ(listing(lib, id, RXK_SHARD_DETAILS, stream, kShard).rfind(std::string(kShard) +
                                                   ";0;340282366920938463463374607431768211455;", 0), 0u);

    // PutRecord: every byte value but NUL, twice, under an odd key.
    std::string binary;
    for (int i = 1; i < 512; ++i) binary.push_back(char(i % 256 ? i % 256 : 1));
    const char* oddKey = "key \xc3\xa9 \"quoted\" \\";
    ASSERT_EQ(lib.PutRecord(id, stream.c_str(), oddKey, nullptr, binary.data(), int32_t(binary.size())), 0);
    char shard[RXK_NAME_BYTES], first[RXK_POLL_SEQUENCE_BYTES], key[RXK_NAME_BYTES];
    unsigned char success = 0;
    ASSERT_EQ(lib.GetLastResultPutRecord(id, nullptr, shard, first, &success, key, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(std::string(shard) + " " + std::to_string(std::strlen(first)) + " " + key,
              std::string(kShard) + " 56 " + oddKey);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const std::string between = isoNow();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));

    // PutRecords: a full batch of 500.
    const int32_t list = lib.CreateListRecord(id);
    for (int i = 0; i < 500; ++i) {
        const std::string data = "batch-" + std::to_string(i);
        ASSERT_EQ(lib.AddRecordToList(id, list, ("k" + std::to_string(i)).c_str(), nullptr, data.data(), int32_t(data.size())), 0);
    }
    int32_t put = 0, failed = -1;
    ASSERT_EQ(lib.PutRecords(id, list, stream.c_str(), &put, &failed, nullptr, nullptr, "sdk"), 0);
    EXPECT_EQ(put * 1000 + failed, 500000);

    // GetShardIterator and GetRecords from each starting position.
    struct Case { const char* name; int32_t type; std::string start; int32_t code; std::string firstData; size_t records; };
    const Case kRows[] = {
        {"trim horizon", RXK_TRIM_HORIZON, "", 0, binary, 501},
        {"at its sequence number", RXK_AT_SEQUENCE_NUMBER, first, 0, binary, 501},
        {"after its sequence number", RXK_AFTER_SEQUENCE_NUMBER, first, 0, "batch-0", 500},
        {"at a time between", RXK_AT_TIMESTAMP, between, 0, "batch-0", 500},
        {"latest", RXK_LATEST, "", 2, "", 0},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(lib.StartShardIterator(id, stream.c_str(), kShard, c.start.c_str(), 10000, c.type), c.code);
        std::vector<std::string> read;
        std::vector<char> data(binary.size() + 1);
        int32_t length = 0;
        while (lib.GetRecordFromIterator(id, stream.c_str(), kShard, nullptr, data.data(), &length) == 0) {
            read.emplace_back(data.data(), size_t(length));
            if (read.size() > 1 && read.back() != "batch-" + std::to_string(read.size() - (c.records == 501 ? 2 : 1)))
                ADD_FAILURE() << "record " << read.size() << " out of order: " << read.back();
        }
        EXPECT_EQ(read.size(), c.records);
        EXPECT_EQ(read.empty() ? "" : read.front(), c.firstData);
        EXPECT_EQ(lib.StopShardIterator(id, stream.c_str(), kShard), 0);
    }
    EXPECT_EQ(lib.FreeListRecord(id, list), 0);
    EXPECT_EQ(lib.FreeClient(id), 0);
}

}  // namespace
}  // namespace rxk::test
