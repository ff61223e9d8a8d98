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
    // Reading extension: every page of stream names; each shard with its parents.
    int32_t getListAllStreams(char* buffer, int32_t* lenBuffer, char delimiter);
    int32_t getShardLineage(const char* streamName, char* buffer, int32_t* lenBuffer, char delimiter);
    int32_t createStream(const char* stream, int32_t shardCount);

private:
    // The listing as one text with `delimiter` between fields; empty after a failure, reported.
    std::string getListStream(char delimiter);
    std::string getListShardOrShardDetails(const std::string& streamName, const char* shardId, char delimiter,
                                           bool withParents = false);
    std::string getAllStreamNames(char delimiter);
    // Copies a listing into the host's buffer by the rules of getData.
    int32_t handOver(const std::string& result, char* buffer, int32_t* lenBuffer);
    std::string listing(int32_t type, const char* streamName, const char* shardId, char delimiter);
};

}  // namespace rxk
