// What the catalogue tests share: a GetData call into a buffer with guard bytes behind the
// size the host declares, and the emulator's own view of a stream to compare with.
#pragma once

#include "connector_client.h"
#include "kinesalite.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rxk::test {

struct Listing {
    std::int32_t result = 0;
    std::int32_t lenBuffer = 0;   // as the call left it
    std::string text;             // up to the first NUL
    std::vector<char> bytes;      // the declared part of the buffer as the call left it
    bool guardsIntact = true;     // nothing written behind the declared size
    bool untouched = false;       // not a byte of the buffer changed
};

constexpr char kListingGuard = static_cast<char>(0xC3);

// GetData with a buffer of `declared` bytes (at least room for one; guard bytes follow).
Listing getData(std::int32_t client, std::int32_t type, const char* stream, const char* shard,
                std::int32_t declared, char delimiter = ';');
// The three list exports, with a roomy buffer.
Listing listStreams(std::int32_t client, std::int32_t declared = 1 << 16);
Listing listShards(std::int32_t client, const std::string& stream, std::int32_t declared = 1 << 16);
Listing shardDetails(std::int32_t client, const std::string& stream, const std::string& shard,
                     std::int32_t declared = 1 << 16);

std::string joined(const std::vector<std::string>& fields, char delimiter = ';');

// The five detail fields of a shard as the emulator describes it.
std::vector<std::string> emulatorShardFields(const Kinesalite& kinesalite, const std::string& stream,
                                             const std::string& shard);

}  // namespace rxk::test
