// The client table under concurrent use: CreateClient on several threads while other threads
// call exports with ids that already exist. Run under the sanitizers this also checks that
// readers never see a table being moved.
#include "frame_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace rxk::test {
namespace {

using ClientTableConcurrency = FrameTest;

// Catches duplicate or skipped ids, and readers that race the growth of the table.
TEST_F(ClientTableConcurrency, CreatorsAndReadersAtOnce) {
    lib().InitLogEventCallBack(nullptr, nullptr);
    ASSERT_EQ(lib().InititializeInterface(), 0);
    constexpr int kExisting = 4;
    for (int i = 0; i < kExisting; ++i) {
        ASSERT_EQ(createClient(), i);
        ASSERT_EQ(lib().SetParam(i, "maxputrow", std::to_string(100 + i).c_str()), 0);
    }

    constexpr int kCreators = 4;
    constexpr int kPerCreator = 40;
    std::vector<std::vector<int32_t>> created(kCreators);
    std::atomic<bool> creating{true};
    std::atomic<int> readerFailures{0};
    std::atomic<long> reads{0};

    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r) {
        readers.emplace_back([&, r] {
            char buffer[kTextBytes];
            do {
                const int32_t id = (r + static_cast<int32_t>(reads.load())) % kExisting;
                if (lib().GetParam(id, "maxputrow", buffer) != 0 || std::string(buffer) != std::to_string(100 + id))
                    ++readerFailures;
                lib().GetErrorStr(id, buffer, static_cast<int32_t>(sizeof buffer));
                ++reads;
            } while (creating.load());
        });
    }
    std::vector<std::thread> creators;
    for (int c = 0; c < kCreators; ++c) {
        creators.emplace_back([&, c] {
            for (int i = 0; i < kPerCreator; ++i) created[c].push_back(createClient());
        });
    }
    for (auto& creator : creators) creator.join();
    creating = false;
    for (auto& reader : readers) reader.join();

    EXPECT_EQ(readerFailures.load(), 0);
    std::vector<int32_t> all;
    for (const auto& ids : created) {
        EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
        all.insert(all.end(), ids.begin(), ids.end());
    }
    std::sort(all.begin(), all.end());
    ASSERT_EQ(all.size(), static_cast<std::size_t>(kCreators * kPerCreator));
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i], static_cast<int32_t>(kExisting + i));
    for (const int32_t id : all) EXPECT_EQ(param(id, "maxputrow"), "500");
    EXPECT_EQ(createClient(), kExisting + kCreators * kPerCreator);
}

}  // namespace
}  // namespace rxk::test
