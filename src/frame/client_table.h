// The table of clients, indexed by client id. Slots are only appended (under the client-table
// lock, by CreateClient) and never reused; a freed slot stays null for ever.
//
// Readers take no lock, so the table never moves: it is a list of chunks of doubling size,
// each allocated once when the first slot in it is appended. A reader loads the slot count,
// and every slot below it lives in a chunk that is already published.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace rxk {

class KinesisEnv;

class ClientTable {
public:
    ClientTable() = default;
    // Releases the chunks only: clients still in the table are not destroyed.
    ~ClientTable();
    ClientTable(const ClientTable&) = delete;
    ClientTable& operator=(const ClientTable&) = delete;

    int32_t size() const noexcept { return count_.load(std::memory_order_acquire); }
    bool inRange(int32_t id) const noexcept { return id >= 0 && id < size(); }

    // The client in slot `id` (null once freed). `id` must be in range.
    KinesisEnv* at(int32_t id) const noexcept;
    // Empties slot `id`, which must be in range; returns what it held.
    KinesisEnv* release(int32_t id) noexcept;

    // Appends a slot holding `client` and returns its id. Only one thread at a time may append
    // (CreateClient holds the client-table lock). Throws std::bad_alloc or std::length_error.
    int32_t append(KinesisEnv* client);

private:
    using Slot = std::atomic<KinesisEnv*>;

    // Chunk k holds kFirstChunkSlots << k slots; kChunkCount chunks cover every int32 id.
    static constexpr int kChunkCount = 28;
    static constexpr int64_t kFirstChunkSlots = 16;

    struct Position {
        int chunk;
        int64_t offset;
    };
    static Position locate(int32_t id) noexcept;
    static int64_t chunkSlots(int chunk) noexcept { return kFirstChunkSlots << chunk; }

    Slot& slot(int32_t id) const noexcept;

    std::array<std::atomic<Slot*>, kChunkCount> chunks_{};
    std::atomic<int32_t> count_{0};
};

}  // namespace rxk
