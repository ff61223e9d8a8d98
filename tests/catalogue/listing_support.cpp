#include "listing_support.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace rxk::test {

namespace {

constexpr std::size_t kGuardBytes = 64;

Listing callWithBuffer(std::int32_t declared,
                       const std::function<std::int32_t(char*, std::int32_t*)>& call) {
    const std::size_t room = static_cast<std::size_t>(std::max(declared, 0));
    std::vector<char> buffer(room + kGuardBytes, kListingGuard);
    Listing listing;
    listing.lenBuffer = declared;
    listing.result = call(buffer.data(), &listing.lenBuffer);
    listing.untouched = std::all_of(buffer.begin(), buffer.end(), [](char c) { return c == kListingGuard; });
    listing.guardsIntact = std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(room), buffer.end(),
                                       [](char c) { return c == kListingGuard; });
    listing.bytes.assign(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(room));
    const auto end = std::find(listing.bytes.begin(), listing.bytes.end(), '\0');
    listing.text.assign(listing.bytes.begin(), end);
    return listing;
}

std::string memberText(const rapidjson::Value& object, const char* name) {
    return object.HasMember(name) && object[name].IsString() ? object[name].GetString() : "";
}

}  // namespace

Listing getData(std::int32_t client, std::int32_t type, const char* stream, const char* shard,
                std::int32_t declared, char delimiter) {
    return callWithBuffer(declared, [&](char* buffer, std::int32_t* length) {
        return connector().GetData(client, type, stream, shard, buffer, length, delimiter);
    });
}

Listing listStreams(std::int32_t client, std::int32_t declared) {
    return callWithBuffer(declared, [&](char* buffer, std::int32_t* length) {
        return connector().GetListStreams(client, buffer, length);
    });
}

Listing listShards(std::int32_t client, const std::string& stream, std::int32_t declared) {
    return callWithBuffer(declared, [&](char* buffer, std::int32_t* length) {
        return connector().GetListShards(client, stream.c_str(), buffer, length);
    });
}

Listing shardDetails(std::int32_t client, const std::string& stream, const std::string& shard,
                     std::int32_t declared) {
    return callWithBuffer(declared, [&](char* buffer, std::int32_t* length) {
        return connector().GetShardDetails(client, stream.c_str(), shard.c_str(), buffer, length);
    });
}

std::string joined(const std::vector<std::string>& fields, char delimiter) {
    std::string text;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i != 0) text.push_back(delimiter);
        text += fields[i];
    }
    return text;
}

std::vector<std::string> emulatorShardFields(const Kinesalite& kinesalite, const std::string& stream,
                                             const std::string& shard) {
    std::string exclusiveStart;
    for (;;) {
        std::string body = "{\"StreamName\":\"" + stream + "\"";
        if (!exclusiveStart.empty()) body += ",\"ExclusiveStartShardId\":\"" + exclusiveStart + "\"";
        const auto response = kinesalite.call("DescribeStream", body + "}");
        rapidjson::Document doc;
        doc.Parse(response.body.c_str());
        if (!response.ok() || doc.HasParseError()) throw std::runtime_error("DescribeStream: " + response.body);
        const auto& description = doc["StreamDescription"];
        for (const auto& entry : description["Shards"].GetArray()) {
            if (memberText(entry, "ShardId") != shard) continue;
            return {shard, memberText(entry["HashKeyRange"], "StartingHashKey"),
                    memberText(entry["HashKeyRange"], "EndingHashKey"),
                    memberText(entry["SequenceNumberRange"], "StartingSequenceNumber"),
                    memberText(entry["SequenceNumberRange"], "EndingSequenceNumber")};
        }
        const auto& shards = description["Shards"].GetArray();
        if (!description["HasMoreShards"].GetBool() || shards.Empty()) break;
        exclusiveStart = memberText(shards[shards.Size() - 1], "ShardId");
    }
    throw std::runtime_error("no shard " + shard + " in " + stream);
}

}  // namespace rxk::test
