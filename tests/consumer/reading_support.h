// What the reading tests share: records seeded straight into the emulator, and reads through
// the exports into guarded buffers.
#pragma once

#include "connector_client.h"
#include "fault_server.h"
#include "kinesalite.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rxk::test {

// Writes records to a one-shard stream of the emulator in one or more PutRecords calls, in
// order; returns their sequence numbers. Throws on any failure.
std::vector<std::string> putRecords(const Kinesalite& kinesalite, const std::string& stream,
                                    const std::vector<std::string>& data);

// What one GetRecordFromIterator gave.
struct ReadResult {
    std::int32_t result = 0;
    std::string sequenceNumber;  // as text, up to its NUL
    std::string text;            // data as text, up to its NUL
    std::int32_t length = 0;
    bool guardsIntact = true;    // nothing written past text + NUL, nor past the sequence's NUL
    bool buffersUntouched = false;
};

// GetRecordFromIterator into buffers filled with a guard byte, then checked.
ReadResult readRecord(std::int32_t client, const std::string& stream, const std::string& shard);

constexpr const char* kShard0 = "shardId-000000000000";

}  // namespace rxk::test
