// CreateStream: one request; the module doesn't wait for the stream to become active.
#include <aws/kinesis/model/CreateStreamRequest.h>

#include "frame/message_buffer.h"
#include "frame/module.h"
#include "env/kinesis_env.h"

namespace rxk {

int32_t KinesisEnv::createStream(const char* stream, int32_t shardCount) {
    Aws::Kinesis::Model::CreateStreamRequest request;
    request.SetStreamName(stream);
    request.SetShardCount(shardCount);
    const auto outcome = client->CreateStream(request);
    if (outcome.IsSuccess()) {
        trace("id:%d KinesisEnv::createStream [%s] with %d shard", id, stream, shardCount);
        return RXK_OK;
    }
    MethodMessage message;
    message.format("id:%d KinesisEnv::createStream [%s] with %d shard error : ", id, stream,
                   shardCount);
    const Aws::String& sdkMessage = outcome.GetError().GetMessage();
    // The sink hears the live last-error text, so it runs with errorLock held; a sink must
    // therefore never read this client's error text.
    SyncLockGuard guard(errorLock);
    lastError.assign(message.text());
    lastError.append(sdkMessage.data(), sdkMessage.size());
    sendToLog(lastError.c_str(), static_cast<int>(lastError.size()));
    return RXK_ERROR;
}

}  // namespace rxk
