// init and the last-error text of a client.
#include "env/client_env.h"

#include <aws/core/auth/AWSCredentialsProviderChain.h>
#include <aws/core/config/AWSProfileConfigLoader.h>

#include <cstdlib>

#include "frame/module.h"

namespace rxk {
namespace {

const char* textOrEmpty(const char* text) { return text != nullptr ? text : ""; }

// What the AWS CLI honours besides the credentials: the profile's region when none is given,
// AWS_CA_BUNDLE or the profile's ca_bundle, and the proxy variables.
Aws::Client::ClientConfiguration chainConfiguration(const char* region) {
    const Aws::String profile = Aws::Auth::GetConfigProfileName();
    Aws::Client::ClientConfiguration configuration(profile.c_str());
    if (*region != '\0') configuration.region = region;
    const char* bundle = std::getenv("AWS_CA_BUNDLE");
    configuration.caFile = bundle != nullptr && *bundle != '\0'
                               ? Aws::String(bundle)
                               : Aws::Config::GetCachedConfigValue(profile, "ca_bundle");
    configuration.allowSystemProxy = true;
    return configuration;
}

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
    const bool chain = credentialsFromChain();
    const bool keysGiven = *accessKeyId != '\0' && *secretKey != '\0';
    const bool keysAbsent = *accessKeyId == '\0' && *secretKey == '\0';
    if ((*region == '\0' && !chain) || !(keysGiven || (chain && keysAbsent))) {
        fail("id:%d KinesisEnv::init param ERROR", id_);
        return false;
    }
    std::shared_ptr<Aws::Auth::AWSCredentialsProvider> provider;
    if (keysGiven) {
        credentials_ = std::make_shared<HostCredentialsProvider>(accessKeyId, secretKey);
        provider = credentials_;
    } else {
        provider = std::make_shared<Aws::Auth::DefaultAWSCredentialsProviderChain>();
    }
    if (chain) {
        clientConfiguration_ = chainConfiguration(region);
    } else {
        clientConfiguration_.region = region;
    }
    client_ = std::make_unique<Aws::Kinesis::KinesisClient>(provider, clientConfiguration_);
    trace("id:%d KinesisEnv::initProducer success", id_);
    return true;
}

std::string ClientEnv::getError() {
    if (!locksReady_) return lastError_;
    SyncLockGuard guard(errorLock_);
    return lastError_;
}

}  // namespace rxk
