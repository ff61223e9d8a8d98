// init and the last-error text of a client.
#include "env/client_env.h"

namespace rxk {
namespace {

const char* textOrEmpty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

bool ClientEnv::init(int32_t clientId, const char* region, const char* accessKeyId, const char* secretKey) {
    id_ = clientId;
    region = textOrEmpty(region);
    accessKeyId = textOrEmpty(accessKeyId);
    secretKey = textOrEmpty(secretKey);
    errorLock_.init();
    statsLock_.init();
    locksReady_ = true;

    trace("id:%d KinesisEnv::init <%s><%s><%s>", id_, region, accessKeyId, secretKey);
    if (*region == '\0' || *accessKeyId == '\0' || *secretKey == '\0') {
        fail("id:%d KinesisEnv::init param ERROR", id_);
        return false;
    }
    clientConfiguration_.region = region;
    credentials_.SetAWSAccessKeyId(accessKeyId);
    credentials_.SetAWSSecretKey(secretKey);
    client_ = std::make_unique<Aws::Kinesis::KinesisClient>(credentials_, clientConfiguration_);
    trace("id:%d KinesisEnv::initProducer success", id_);
    return true;
}

std::string ClientEnv::getError() {
    if (!locksReady_) return lastError_;
    SyncLockGuard guard(errorLock_);
    return lastError_;
}

}  // namespace rxk
