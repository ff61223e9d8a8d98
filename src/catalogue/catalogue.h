// Catalogue: the listings of one client (stream names, shard ids, shard details) and stream
// creation. It keeps nothing between calls: every call asks the service anew.
#pragma once

#include <cstdint>
#include <string>

#include "env/client_env.h"

namespace rxk {

class Catalogue : private ClientPart {
public:
    explicit Catalogue(ClientEnv& env) : ClientPart(env) {}

    int32_t getData(int32_t type, const char* streamName, const char* shardId, char* buffer, int32_t* lenBuffer,
                    char delimiter);
    int32_t createStream(const char* stream, int32_t shardCount);

private:
    // The listing as one text with `delimiter` between fields; empty after a failure, reported.
    std::string getListStream(char delimiter);
    std::string getListShardOrShardDetails(const std::string& streamName, const char* shardId, char delimiter);
    std::string listing(int32_t type, const char* streamName, const char* shardId, char delimiter);
};

}  // namespace rxk
