// The single put: one request and one outcome per client, overwritten by each PutRecord and
// read back by GetLastResultPutRecord. Keys a call doesn't give keep their earlier values.
#include <aws/core/utils/Array.h>
#include <aws/kinesis/model/PutRecordRequest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "env/kinesis_env.h"
#include "producer/unaccounted_answer.h"

namespace rxk {
namespace {

// The "no result" line shows the caller's output buffers, which hold no text of ours yet. They
// are read no further than the longest stream name or shard id the service allows, which any
// buffer sized for what it can receive holds.
constexpr std::size_t kLongestServiceName = 128;

const char* pointerWord(const void* pointer) { return pointer != nullptr ? "OK" : "NULL"; }

// The header promises that RXK_ERROR_TEXT_BYTES holds any value: a longer text (a service
// message, a host's overlong key) is cut to fit rather than written past the host's buffer.
void copyText(char* destination, const char* text, std::size_t length) {
    if (destination == nullptr) return;
    length = std::min<std::size_t>(length, RXK_ERROR_TEXT_BYTES - 1);
    std::memcpy(destination, text, length);
    destination[length] = '\0';
}

void copyText(char* destination, const Aws::String& text) { copyText(destination, text.c_str(), text.size()); }

}  // namespace

// The single put and the record lists of one client may run on different threads at once: the
// draw and the client's text are taken under randomLock, and each thread gets its own copy.
const char* KinesisEnv::makeRandomKey() {
    thread_local char threadKeyText[sizeof randomKeyText];
    SyncLockGuard guard(randomLock);
    const uint64_t draw = randomRange(randomEngine);
    std::snprintf(randomKeyText, sizeof randomKeyText, "%" PRIu64 "%020" PRIu64, draw, uint64_t{0});
    std::memcpy(threadKeyText, randomKeyText, sizeof threadKeyText);
    return threadKeyText;
}

int32_t KinesisEnv::putRecord(const char* streamName, const char* partitionKey,
                              const char* explicitHashKey, const void* data, int32_t length) {
    lastPutStream = streamName;
    trace("id:%d KinesisEnv::putRecord [%s] partitionKey:%s explicitHashKey:%s lenData:%d", id,
          streamName, pointerWord(partitionKey), pointerWord(explicitHashKey), length);

    lastPutRequest.SetStreamName(streamName);
    if (partitionKey == nullptr && explicitHashKey == nullptr) {
        const char* key = makeRandomKey();
        lastPutRequest.SetPartitionKey(key);
        lastPutRequest.SetExplicitHashKey(key);
    } else {
        if (partitionKey != nullptr) lastPutRequest.SetPartitionKey(partitionKey);
        if (explicitHashKey != nullptr) lastPutRequest.SetExplicitHashKey(explicitHashKey);
    }
    lastPutRequest.SetData(Aws::Utils::ByteBuffer(static_cast<const unsigned char*>(data),
                                                  static_cast<std::size_t>(length)));

    lastPutOutcome = client->PutRecord(lastPutRequest);
    if (lastPutOutcome.IsSuccess() && lastPutOutcome.GetResult().GetSequenceNumber().empty())
        lastPutOutcome = Aws::Kinesis::Model::PutRecordOutcome(unaccountedAnswerError("records", 0, 1));

    if (lastPutOutcome.IsSuccess()) {
        const Aws::Kinesis::Model::PutRecordResult& result = lastPutOutcome.GetResult();
        const bool byPartitionKey = partitionKey != nullptr;
        // After a random key both arguments are null, and the line shows that.
        const char* shownKey = byPartitionKey ? partitionKey : explicitHashKey;
        trace("id:%d KinesisEnv::putRecord [%s] success shardId:[%s] Sequence:[%s] %s:[%s]", id,
              streamName, result.GetShardId().c_str(), result.GetSequenceNumber().c_str(),
              byPartitionKey ? "PK" : "HK", shownKey != nullptr ? shownKey : "(null)");
        return RXK_OK;
    }
    failWithSdkMessage(lastPutOutcome.GetError().GetMessage(), "id:%d KinesisEnv::putRecord [%s] error :",
                       id, streamName);
    return RXK_ERROR;
}

int32_t KinesisEnv::getLastResult(char* streamName, char* shardId, char* sequenceNumber,
                                  unsigned char* success, char* partitionKey, char* explicitHashKey,
                                  char* error, uint32_t* dataLength) {
    if (lastPutStream.empty()) {
        const int streamShown = streamName == nullptr ? 0 : static_cast<int>(strnlen(streamName, kLongestServiceName));
        const int shardShown = shardId == nullptr ? 0 : static_cast<int>(strnlen(shardId, kLongestServiceName));
        fail("id:%d KinesisEnv::getLastResult [%.*s]:[%.*s] error no result available", id, streamShown,
             streamName == nullptr ? "" : streamName, shardShown, shardId == nullptr ? "" : shardId);
        return RXK_ERROR;
    }
    const Aws::Kinesis::Model::PutRecordResult& result = lastPutOutcome.GetResult();
    const bool succeeded = lastPutOutcome.IsSuccess();
    copyText(streamName, lastPutStream.c_str(), lastPutStream.size());
    copyText(shardId, result.GetShardId());
    copyText(sequenceNumber, result.GetSequenceNumber());
    if (success != nullptr) *success = succeeded ? 1 : 0;
    if (error != nullptr) {
        if (succeeded)
            error[0] = '\0';
        else
            copyText(error, lastPutOutcome.GetError().GetMessage());
    }
    copyText(partitionKey, lastPutRequest.GetPartitionKey());
    copyText(explicitHashKey, lastPutRequest.GetExplicitHashKey());
    if (dataLength != nullptr) *dataLength = static_cast<uint32_t>(lastPutRequest.GetData().GetLength());
    return RXK_OK;
}

}  // namespace rxk
