// The library's listings (streams, shards, shard details) as lists of fields.
#pragma once

#include "session.h"

#include <string>
#include <vector>

namespace rxkcat {

// Stream names of the account; an account without streams gives an empty list.
std::vector<std::string> listStreams(Session& session);
// Shard ids of a stream; throws RunError with the library's words when it can't be listed.
std::vector<std::string> listShards(Session& session, const std::string& stream);
// The five fields of one shard: id, starting and ending hash key, starting and ending
// sequence number (empty while the shard is open). Throws RunError for an unknown shard.
std::vector<std::string> shardDetails(Session& session, const std::string& stream, const std::string& shard);

// A shard and the shards it came from (none, one after a split, two after a merge).
struct ShardLineage {
    std::string id;
    std::vector<std::string> parents;
};
// Every shard of a stream with its parents; throws RunError like listShards.
std::vector<ShardLineage> shardLineage(Session& session, const std::string& stream);

// Splits a listing at the delimiter byte; an empty text gives no field.
std::vector<std::string> splitListing(const std::string& text, char delimiter);

}  // namespace rxkcat
