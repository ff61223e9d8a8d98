// The single put: one request and one outcome per client, overwritten by each PutRecord and
// read back by GetLastResultPutRecord. Keys a call doesn't give keep their earlier values.
#include <aws/core/utils/Array.h>
#include <aws/kinesis/model/PutRecordRequest.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "frame/bounded_copy.h"
#include "frame/message_buffer.h"
#include "producer/host_text.h"
#include "producer/producer.h"
#include "producer/unaccounted_answer.h"

namespace rxk {
namespace {

// The "no result" line shows the caller's output buffers, which hold no text of ours yet. They
// are read no further than the longest stream name or shard id a client keeps, which any
// buffer sized for what it can receive holds.
constexpr std::size_t kLongestShownName = RXK_NAME_BYTES - 1;

// Random keys run up to the first nineteen digits of 2^128.
constexpr uint64_t kRandomKeyLowest = 1;
constexpr uint64_t kRandomKeyHighest = 3402823669209384634ULL;

// One 32-bit value of the random device, widened with the upper half zero.
uint64_t deviceSeed() {
    std::random_device device;
    return static_cast<uint64_t>(static_cast<uint32_t>(device()));
}

int shownLength(const char* buffer) {
    return buffer == nullptr ? 0 : static_cast<int>(strnlen(buffer, kLongestShownName));
}

}  // namespace

RandomKeys::RandomKeys() : engine_(deviceSeed()), range_(kRandomKeyLowest, kRandomKeyHighest) { keyText_[0] = '\0'; }

// The draw and the shared text are taken under the lock, and each thread gets its own copy.
const char* RandomKeys::draw() {
    thread_local char threadKeyText[kKeyBytes];
    SyncLockGuard guard(lock_);
    const uint64_t drawn = range_(engine_);
    std::snprintf(keyText_, sizeof keyText_, "%" PRIu64 "%020" PRIu64, drawn, uint64_t{0});
    std::memcpy(threadKeyText, keyText_, sizeof threadKeyText);
    return threadKeyText;
}

int32_t Producer::putRecord(const char* streamName, const char* partitionKey, const char* explicitHashKey,
                            const void* data, int32_t length) {
    const int32_t id = env_.id();
    lastPutStream_ = streamName;
    env_.trace("id:%d KinesisEnv::putRecord [%s] partitionKey:%s explicitHashKey:%s lenData:%d", id,
               streamName, pointerWord(partitionKey), pointerWord(explicitHashKey), length);

    lastPutRequest_.SetStreamName(streamName);
    if (partitionKey == nullptr && explicitHashKey == nullptr) {
        const char* key = randomKeys_.draw();
        lastPutRequest_.SetPartitionKey(key);
        lastPutRequest_.SetExplicitHashKey(key);
    } else {
        if (partitionKey != nullptr) lastPutRequest_.SetPartitionKey(partitionKey);
        if (explicitHashKey != nullptr) lastPutRequest_.SetExplicitHashKey(explicitHashKey);
    }
    lastPutRequest_.SetData(Aws::Utils::ByteBuffer(static_cast<const unsigned char*>(data),
                                                   static_cast<std::size_t>(length)));

    lastPutOutcome_ = env_.service()->PutRecord(lastPutRequest_);
    if (lastPutOutcome_.IsSuccess() && lastPutOutcome_.GetResult().GetSequenceNumber().empty())
        lastPutOutcome_ = Aws::Kinesis::Model::PutRecordOutcome(unaccountedAnswerError("records", 0, 1));

    if (lastPutOutcome_.IsSuccess()) {
        const Aws::Kinesis::Model::PutRecordResult& result = lastPutOutcome_.GetResult();
        const bool byPartitionKey = partitionKey != nullptr;
        // After a random key both arguments are null, and the line shows that.
        const char* shownKey = byPartitionKey ? partitionKey : explicitHashKey;
        env_.trace("id:%d KinesisEnv::putRecord [%s] success shardId:[%s] Sequence:[%s] %s:[%s]", id,
                   streamName, result.GetShardId().c_str(), result.GetSequenceNumber().c_str(),
                   byPartitionKey ? "PK" : "HK", textOrNullWord(shownKey));
        return RXK_OK;
    }
    env_.failWithSdkMessage(lastPutOutcome_.GetError().GetMessage(), "id:%d KinesisEnv::putRecord [%s] error :",
                            id, streamName);
    return RXK_ERROR;
}

int32_t Producer::getLastResult(char* streamName, char* shardId, char* sequenceNumber, unsigned char* success,
                                char* partitionKey, char* explicitHashKey, char* error, uint32_t* dataLength) {
    if (lastPutStream_.empty()) {
        env_.fail("id:%d KinesisEnv::getLastResult [%.*s]:[%.*s] error no result available", env_.id(),
                  shownLength(streamName), streamName == nullptr ? "" : streamName, shownLength(shardId),
                  shardId == nullptr ? "" : shardId);
        return RXK_ERROR;
    }
    const Aws::Kinesis::Model::PutRecordResult& result = lastPutOutcome_.GetResult();
    const bool succeeded = lastPutOutcome_.IsSuccess();
    copyHostText(streamName, lastPutStream_.data(), lastPutStream_.size());
    copyHostText(shardId, result.GetShardId());
    copyHostText(sequenceNumber, result.GetSequenceNumber());
    if (success != nullptr) *success = succeeded ? 1 : 0;
    if (error != nullptr) {
        if (succeeded)
            error[0] = '\0';
        else
            copyHostText(error, lastPutOutcome_.GetError().GetMessage());
    }
    copyHostText(partitionKey, lastPutRequest_.GetPartitionKey());
    copyHostText(explicitHashKey, lastPutRequest_.GetExplicitHashKey());
    if (dataLength != nullptr) *dataLength = static_cast<uint32_t>(lastPutRequest_.GetData().GetLength());
    return RXK_OK;
}

}  // namespace rxk
