// CreateStream: one request; the module doesn't wait for the stream to become active.
#include <aws/kinesis/model/CreateStreamRequest.h>

#include "catalogue/catalogue.h"
#include "frame/message_buffer.h"

namespace rxk {

int32_t Catalogue::createStream(const char* stream, int32_t shardCount) {
    Aws::Kinesis::Model::CreateStreamRequest request;
    request.SetStreamName(stream);
    request.SetShardCount(shardCount);
    const auto outcome = env_.service()->CreateStream(request);
    if (outcome.IsSuccess()) {
        env_.trace("id:%d KinesisEnv::createStream [%s] with %d shard", env_.id(), stream, shardCount);
        return RXK_OK;
    }
    MethodMessage line;
    line.format("id:%d KinesisEnv::createStream [%s] with %d shard error : ", env_.id(), stream, shardCount);
    // The sink hears the live last-error text.
    env_.failHeard(line, outcome.GetError().GetMessage());
    return RXK_ERROR;
}

}  // namespace rxk
