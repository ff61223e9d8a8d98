// The catalogue: stream names, shard ids and shard details as one text with a delimiter byte
// between fields, copied into the host's buffer. Every call queries the service anew and copies
// from the first byte; a host whose buffer was too small calls again with a larger one.
#include <algorithm>
#include <string>

#include <aws/kinesis/model/DescribeStreamRequest.h>
#include <aws/kinesis/model/ListStreamsRequest.h>
#include <aws/kinesis/model/Shard.h>

#include "catalogue/catalogue.h"
#include "frame/bounded_copy.h"

namespace rxk {

namespace {

// More DescribeStream pages than any real stream has (a page holds up to 100 shards): a service
// that keeps saying "more" with a new shard on every page can't hold the host's thread for good.
constexpr int kMaxDescribeStreamPages = 10000;

// Writes the delimiter before every field but the first of a sequence.
void appendField(std::string& text, const Aws::String& field, bool first, char delimiter) {
    if (!first) text.push_back(delimiter);
    text.append(field.data(), field.size());
}

void appendShardDetails(std::string& text, const Aws::Kinesis::Model::Shard& shard, char delimiter) {
    appendField(text, shard.GetShardId(), true, delimiter);
    appendField(text, shard.GetHashKeyRange().GetStartingHashKey(), false, delimiter);
    appendField(text, shard.GetHashKeyRange().GetEndingHashKey(), false, delimiter);
    appendField(text, shard.GetSequenceNumberRange().GetStartingSequenceNumber(), false, delimiter);
    appendField(text, shard.GetSequenceNumberRange().GetEndingSequenceNumber(), false, delimiter);
}

// "id,parent,adjacentParent": shard ids hold no comma.
void appendShardLineage(std::string& text, const Aws::Kinesis::Model::Shard& shard, bool first, char delimiter) {
    appendField(text, shard.GetShardId(), first, delimiter);
    appendField(text, shard.GetParentShardId(), false, ',');
    appendField(text, shard.GetAdjacentParentShardId(), false, ',');
}

}  // namespace

std::string Catalogue::listing(int32_t type, const char* streamName, const char* shardId, char delimiter) {
    switch (type) {
        case RXK_LIST_STREAMS:
            return getListStream(delimiter);
        case RXK_LIST_SHARDS:
            if (streamName != nullptr) return getListShardOrShardDetails(streamName, nullptr, delimiter);
            env_.fail("id:%d KinesisEnv::getData missing stream name", env_.id());
            return std::string();
        case RXK_SHARD_DETAILS:
            if (streamName != nullptr && shardId != nullptr)
                return getListShardOrShardDetails(streamName, shardId, delimiter);
            env_.fail("id:%d KinesisEnv::getData missing stream name or shard id", env_.id());
            return std::string();
        default:
            return std::string();  // no such listing: ends as "no result"
    }
}

int32_t Catalogue::getData(int32_t type, const char* streamName, const char* shardId, char* buffer,
                           int32_t* lenBuffer, char delimiter) {
    return handOver(listing(type, streamName, shardId, delimiter), buffer, lenBuffer);
}

int32_t Catalogue::getListAllStreams(char* buffer, int32_t* lenBuffer, char delimiter) {
    return handOver(getAllStreamNames(delimiter), buffer, lenBuffer);
}

int32_t Catalogue::getShardLineage(const char* streamName, char* buffer, int32_t* lenBuffer, char delimiter) {
    return handOver(getListShardOrShardDetails(streamName, nullptr, delimiter, true), buffer, lenBuffer);
}

int32_t Catalogue::handOver(const std::string& result, char* buffer, int32_t* lenBuffer) {
    const int32_t id = env_.id();
    const int32_t entryLength = lenBuffer != nullptr ? *lenBuffer : 0;

    if (result.empty()) {
        env_.notify("id:%d KinesisEnv::getData no result", id);
        if (buffer != nullptr && entryLength > 0) {
            buffer[0] = '\0';
            *lenBuffer = 0;
        }
        return RXK_ERROR;
    }
    if (buffer == nullptr || entryLength <= 0) {
        env_.fail("id:%d KinesisEnv::getData buffer NULL", id);
        return RXK_ERROR;
    }

    const int64_t textLength = static_cast<int64_t>(result.size());
    const int32_t copied = static_cast<int32_t>(std::min<int64_t>(textLength, entryLength - 1));
    env_.trace("id:%d KinesisEnv::getData len:%d readsize:%d data_len:%d", id, copied, entryLength,
               static_cast<int>(textLength));
    // String-copy semantics: a NUL delimiter ends the text the host sees, while the count still
    // says how much of the buffer was given to it.
    copyBounded(result.data(), result.size(), buffer, capacityOf(entryLength), CopyStyle::StopAtNul);
    *lenBuffer = copied + 1;
    // Every call copies from the first byte, so the copy position after it is what was copied.
    env_.trace("id:%d KinesisEnv::getData len:%d resultsize:%d pos:%d", id, copied, copied + 1, copied);
    // An exact fit counts as cut: the host can't tell it from a text that went on.
    return textLength >= static_cast<int64_t>(entryLength) - 1 ? RXK_CUT : RXK_OK;
}

// One ListStreams, first answer only. An account without streams is a failure like a failed call.
std::string Catalogue::getListStream(char delimiter) {
    const auto reportFailure = [this](const char* why) {
        env_.fail("id:%d KinesisEnv::getListStream error : [%s]", env_.id(), why);
    };
    const auto outcome = env_.service()->ListStreams(Aws::Kinesis::Model::ListStreamsRequest());
    if (!outcome.IsSuccess()) {
        reportFailure(outcome.GetError().GetMessage().c_str());
        return std::string();
    }
    std::string text;
    const auto& names = outcome.GetResult().GetStreamNames();
    for (std::size_t i = 0; i < names.size(); ++i) appendField(text, names[i], i == 0, delimiter);
    if (text.empty()) {
        reportFailure("list streams empty");
        return std::string();
    }
    return text;
}

// ListStreams page after page, each starting after the last name of the one before, until the
// service says there are no more. A page that brings no new name ends the listing.
std::string Catalogue::getAllStreamNames(char delimiter) {
    Aws::Kinesis::Model::ListStreamsRequest request;
    std::string text;
    bool first = true;
    for (;;) {
        const auto outcome = env_.service()->ListStreams(request);
        if (!outcome.IsSuccess()) {
            env_.fail("id:%d KinesisEnv::getListAllStreams error : [%s]", env_.id(),
                      outcome.GetError().GetMessage().c_str());
            return std::string();
        }
        const auto& names = outcome.GetResult().GetStreamNames();
        for (const Aws::String& name : names) {
            appendField(text, name, first, delimiter);
            first = false;
        }
        if (!outcome.GetResult().GetHasMoreStreams() || names.empty() ||
            names.back() == request.GetExclusiveStartStreamName()) {
            break;
        }
        request.SetExclusiveStartStreamName(names.back());
    }
    if (text.empty()) env_.fail("id:%d KinesisEnv::getListAllStreams error : [%s]", env_.id(), "list streams empty");
    return text;
}

// Follows DescribeStream's pages until the stream is exhausted, then writes the shard ids, or the
// details of the one shard asked for. A failed page drops what earlier pages brought, and so does
// a stream still saying "more" after kMaxDescribeStreamPages pages.
std::string Catalogue::getListShardOrShardDetails(const std::string& streamName, const char* shardId,
                                                  char delimiter, bool withParents) {
    Aws::Kinesis::Model::DescribeStreamRequest request;
    request.SetStreamName(streamName.c_str());
    Aws::Vector<Aws::Kinesis::Model::Shard> shards;
    Aws::String lastShardId;
    int pages = 0;
    do {
        if (pages++ == kMaxDescribeStreamPages) {
            env_.failWithSdkMessage("stopped after " + std::to_string(kMaxDescribeStreamPages) +
                                        " pages: the service kept saying there were more shards",
                                    "id:%d KinesisEnv::getListShardOrShardDetails ERROR:", env_.id());
            return std::string();
        }
        const auto outcome = env_.service()->DescribeStream(request);
        const auto& description = outcome.GetResult().GetStreamDescription();
        shards.insert(shards.end(), description.GetShards().begin(), description.GetShards().end());
        const Aws::String& errorMessage = outcome.GetError().GetMessage();
        if (!errorMessage.empty()) {
            env_.failWithSdkMessage(errorMessage, "id:%d KinesisEnv::getListShardOrShardDetails ERROR:", env_.id());
            return std::string();
        }
        const Aws::String startedAfter = lastShardId;
        if (description.GetHasMoreShards() && !shards.empty()) {
            lastShardId = shards.back().GetShardId();
        } else {
            lastShardId.clear();
        }
        // A page that says "more" but brings no shard past the last one would be asked for
        // again and again: the listing ends with what it has.
        if (!lastShardId.empty() && lastShardId == startedAfter) break;
        if (!lastShardId.empty()) request.SetExclusiveStartShardId(lastShardId);
    } while (!lastShardId.empty());

    if (shards.empty()) {
        env_.fail("id:%d KinesisEnv::getListShardOrShardDetails ERROR NO SHARDS", env_.id());
        return std::string();
    }
    std::string text;
    for (std::size_t i = 0; i < shards.size(); ++i) {
        if (withParents) {
            appendShardLineage(text, shards[i], i == 0, delimiter);
        } else if (shardId == nullptr) {
            appendField(text, shards[i].GetShardId(), i == 0, delimiter);
        } else if (shards[i].GetShardId() == shardId) {
            appendShardDetails(text, shards[i], delimiter);
        }
    }
    return text;
}

}  // namespace rxk
