#include "catalogue.h"

#include <cstdint>
#include <vector>

namespace rxkcat {
namespace {

constexpr int32_t kFirstListingBytes = 4096;
constexpr int32_t kLargestListingBytes = 64 * 1024 * 1024;

// What the library says when the service lists no stream: for the tool that is an empty list.
constexpr char kNoStreamsText[] = "[list streams empty]";

// Calls a listing export with a growing buffer until the text fits. Result 1 means "cut or
// an exact fit": the library can't tell which, so only a result of 0 ends the growth.
template <typename ListingCall>
bool fetchListing(ListingCall call, std::string& text) {
    for (int32_t size = kFirstListingBytes; size <= kLargestListingBytes; size *= 2) {
        std::vector<char> buffer(static_cast<size_t>(size), '\0');
        int32_t length = size;
        const int32_t result = call(buffer.data(), &length);
        if (result < 0) return false;
        if (result == 0) {
            buffer.back() = '\0';
            text = buffer.data();
            return true;
        }
    }
    text.clear();
    return false;
}

// The text of a per-stream shard listing export (shards, or shards with their parents).
template <typename ShardListingExport>
std::string shardListing(Session& session, const std::string& stream, ShardListingExport listing) {
    std::string text;
    const bool listed = fetchListing(
        [&](char* buffer, int32_t* length) { return listing(session.client(), stream.c_str(), buffer, length); },
        text);
    if (!listed) throw session.failure("cannot list the shards of stream '" + stream + "'");
    return text;
}

}  // namespace

std::vector<std::string> splitListing(const std::string& text, char delimiter) {
    std::vector<std::string> fields;
    if (text.empty()) return fields;
    size_t begin = 0;
    for (;;) {
        const size_t end = text.find(delimiter, begin);
        fields.push_back(text.substr(begin, end == std::string::npos ? std::string::npos : end - begin));
        if (end == std::string::npos) return fields;
        begin = end + 1;
    }
}

std::vector<std::string> listStreams(Session& session) {
    const LibraryApi& api = session.api();
    std::string text;
    const bool listed = fetchListing(
        [&](char* buffer, int32_t* length) { return api.GetListAllStreams(session.client(), buffer, length); }, text);
    if (!listed) {
        const std::string error = session.errorText();
        if (error.find(kNoStreamsText) != std::string::npos) return {};
        throw RunError(withDetail("cannot list the streams", error));
    }
    return splitListing(text, session.listDelimiter());
}

std::vector<std::string> listShards(Session& session, const std::string& stream) {
    return splitListing(shardListing(session, stream, session.api().GetListShards), session.listDelimiter());
}

std::vector<ShardLineage> shardLineage(Session& session, const std::string& stream) {
    const std::string text = shardListing(session, stream, session.api().GetShardLineage);
    std::vector<ShardLineage> shards;
    for (const std::string& entry : splitListing(text, session.listDelimiter())) {
        std::vector<std::string> fields = splitListing(entry, ',');  // id,parent,adjacentParent
        if (fields.empty()) continue;
        ShardLineage shard{fields[0], {}};
        for (size_t i = 1; i < fields.size(); ++i)
            if (!fields[i].empty()) shard.parents.push_back(fields[i]);
        shards.push_back(std::move(shard));
    }
    return shards;
}

std::vector<std::string> shardDetails(Session& session, const std::string& stream, const std::string& shard) {
    const LibraryApi& api = session.api();
    std::string text;
    const bool listed = fetchListing(
        [&](char* buffer, int32_t* length) {
            return api.GetShardDetails(session.client(), stream.c_str(), shard.c_str(), buffer, length);
        },
        text);
    if (!listed) throw session.failure("no details of shard '" + shard + "' in stream '" + stream + "'");
    return splitListing(text, session.listDelimiter());
}

}  // namespace rxkcat
