// The key pair a host gave a client and the session token it may add later with SetParam. The
// service client asks for them before every request, so a token set after CreateClient signs
// the next request. The secret and the token live in the credentials object only.
#pragma once

#include <mutex>

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/auth/AWSCredentialsProvider.h>

namespace rxk {

class HostCredentialsProvider : public Aws::Auth::AWSCredentialsProvider {
public:
    HostCredentialsProvider(const char* accessKeyId, const char* secretKey) {
        credentials_.SetAWSAccessKeyId(accessKeyId);
        credentials_.SetAWSSecretKey(secretKey);
    }

    Aws::Auth::AWSCredentials GetAWSCredentials() override {
        std::lock_guard<std::mutex> guard(mutex_);
        return credentials_;
    }

    // An empty token signs without one again.
    void setSessionToken(const char* token) {
        std::lock_guard<std::mutex> guard(mutex_);
        credentials_.SetSessionToken(token);
    }

private:
    std::mutex mutex_;
    Aws::Auth::AWSCredentials credentials_;  // wipes the secret and token when freed
};

}  // namespace rxk
