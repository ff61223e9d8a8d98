// Construction, init, the last-error text and destruction of a client.
#include "env/kinesis_env.h"

#include <memory>
#include <random>
#include <utility>

#include "consumer/shard_iterator_data.h"
#include "producer/record_list.h"

namespace rxk {
namespace {

// Random keys are N followed by twenty zeros; N runs up to the first nineteen digits of 2^128,
// so every key is a legal explicit hash key.
constexpr uint64_t kRandomKeyLowest = 1;
constexpr uint64_t kRandomKeyHighest = 3402823669209384634ULL;

// One 32-bit value of the random device, widened with the upper half zero.
uint64_t deviceSeed() {
    std::random_device device;
    return static_cast<uint64_t>(static_cast<uint32_t>(device()));
}

}  // namespace

KinesisEnv::KinesisEnv() : randomEngine(deviceSeed()), randomRange(kRandomKeyLowest, kRandomKeyHighest) {
    randomKeyText[0] = '\0';
}

// The members release themselves, the service client, the record lists and the reading states
// included: nothing is read through a client after FreeClient.
KinesisEnv::~KinesisEnv() = default;

bool KinesisEnv::init(int32_t clientId, std::string regionName, std::string keyId, std::string key) {
    id = clientId;
    region = std::move(regionName);
    accessKeyId = std::move(keyId);
    secretKey = std::move(key);
    errorLock.init();
    statsLock.init();
    locksReady = true;

    trace("id:%d KinesisEnv::init <%s><%s><%s>", id, region.c_str(), accessKeyId.c_str(),
          secretKey.c_str());
    if (region.empty() || accessKeyId.empty() || secretKey.empty()) {
        fail("id:%d KinesisEnv::init param ERROR", id);
        return false;
    }
    clientConfiguration.region = region.c_str();
    credentials.SetAWSAccessKeyId(accessKeyId.c_str());
    credentials.SetAWSSecretKey(secretKey.c_str());
    client = std::make_unique<Aws::Kinesis::KinesisClient>(credentials, clientConfiguration);
    trace("id:%d KinesisEnv::initProducer success", id);
    return true;
}

std::string KinesisEnv::getError() {
    if (!locksReady) return lastError;
    SyncLockGuard guard(errorLock);
    return lastError;
}

}  // namespace rxk
