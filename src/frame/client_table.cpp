#include "frame/client_table.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

namespace rxk {

ClientTable::~ClientTable() {
    for (auto& chunk : chunks_) delete[] chunk.load(std::memory_order_relaxed);
}

ClientTable::Position ClientTable::locate(int32_t id) noexcept {
    // Chunk k starts at slot kFirstChunkSlots * (2^k - 1).
    const int64_t scaled = static_cast<int64_t>(id) / kFirstChunkSlots + 1;
    int chunk = 0;
    while ((scaled >> (chunk + 1)) != 0) ++chunk;
    const int64_t chunkStart = kFirstChunkSlots * ((int64_t{1} << chunk) - 1);
    return {chunk, static_cast<int64_t>(id) - chunkStart};
}

ClientTable::Slot& ClientTable::slot(int32_t id) const noexcept {
    const Position position = locate(id);
    return chunks_[position.chunk].load(std::memory_order_acquire)[position.offset];
}

KinesisEnv* ClientTable::at(int32_t id) const noexcept {
    return slot(id).load(std::memory_order_acquire);
}

KinesisEnv* ClientTable::release(int32_t id) noexcept {
    return slot(id).exchange(nullptr, std::memory_order_acq_rel);
}

int32_t ClientTable::append(KinesisEnv* client) {
    const int32_t id = count_.load(std::memory_order_relaxed);
    if (id == std::numeric_limits<int32_t>::max()) throw std::length_error("client table full");
    const Position position = locate(id);
    std::atomic<Slot*>& chunk = chunks_[position.chunk];
    Slot* slots = chunk.load(std::memory_order_relaxed);
    if (slots == nullptr) {
        slots = new Slot[chunkSlots(position.chunk)]();
        chunk.store(slots, std::memory_order_release);
    }
    slots[position.offset].store(client, std::memory_order_release);
    count_.store(id + 1, std::memory_order_release);
    return id;
}

}  // namespace rxk
