// ClientEnv: what every subsystem of one client shares. Its id, its service client and the key
// pair behind it, the last-error text and the ways the client reports, its parameters and the
// counters of its retries. The subsystems hold their own state and reach this part by reference.
//
// Locks: errorLock guards the last-error text, statsLock the two counter groups and
// firstFailedError; the two are never held together. Parameters are atomics only so that a
// SetParam racing a putRecords is well defined.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/auth/AWSCredentialsProvider.h>
#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisClient.h>

#include "env/host_credentials.h"
#include "frame/message_buffer.h"
#include "frame/sync_lock.h"
#include "rxkinesis.h"

namespace rxk {

// Defaults of a new client's parameters.
constexpr int32_t kDefaultRetry = -1;
constexpr int32_t kDefaultRetryAttemptShow = 0;
constexpr int32_t kDefaultMaxPutRow = RXK_DEFAULT_MAX_PUT_ROWS;
constexpr int32_t kDefaultMaxPutLen = 5000000;

// Last, min, max and sum of the values fed so far.
struct CounterGroup {
    int64_t last = 0;
    int64_t min = INT64_MAX;
    int64_t max = 0;
    int64_t sum = 0;

    void feed(int32_t value) {
        const int64_t v = value;
        if (v > max) max = v;
        if (v < min) min = v;
        sum += v;
        last = v;
    }
};

class ClientEnv {
public:
    ClientEnv() = default;
    ClientEnv(const ClientEnv&) = delete;
    ClientEnv& operator=(const ClientEnv&) = delete;

    // Null texts count as empty. The secret goes into the credentials and is kept nowhere else.
    // With the global `credentials` at "chain", empty keys take the SDK's default provider chain
    // and an empty region resolves from the environment and the profile.
    bool init(int32_t id, const char* region, const char* accessKeyId, const char* secretKey);
    std::string getError();

    int32_t id() const { return id_; }
    // The service client; null until a successful init.
    const Aws::Kinesis::KinesisClient* service() const { return client_.get(); }

    // ---- parameters (parameters.cpp) ----
    int32_t setParam(const char* name, const char* value);
    int32_t getParam(const char* name, char* buffer);
    int32_t retry() const { return retry_.load(); }
    int32_t retryAttemptShow() const { return retryattemptshow_.load(); }
    int32_t maxPutRow() const { return maxputrow_.load(); }
    int32_t maxPutLen() const { return maxputlen_.load(); }

    // ---- retry counters, each under statsLock (parameters.cpp) ----
    void feedRetryAttempts(int32_t attempts);  // retry requests of one batch
    void feedFailedRecords(int32_t failed);    // failed records before one retry attempt
    void setFirstFailedError(const Aws::String& text);

    // ---- reporting (reporting.cpp) ----
    // Every line is composed in a method message buffer. "fail" lines replace the last-error
    // text under errorLock and then go to the log sink; the lock is never held while a sink runs,
    // but for failHeard.
    void fail(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // The line and the SDK's message become one last-error text; the sink gets them as two calls.
    void failWithSdkMessage(const Aws::String& sdkMessage, const char* fmt, ...)
        __attribute__((format(printf, 3, 4)));
    // The line and the SDK's message become one last-error text, and the log sink hears that
    // text while errorLock is held: a sink must then never read this client's error text.
    void failHeard(const MethodMessage& line, const Aws::String& sdkMessage);
    // Replaces the last-error text without telling the log sink.
    void failSilently(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // To the log sink only; the last-error text stays.
    void notify(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // To the trace sink only, and composed only when one is set.
    void trace(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    bool tracing() const;

private:
    enum class KeyKind;
    struct ParameterKey;
    static const ParameterKey* findKey(const char* name, KeyKind kind, KeyKind otherKind);
    // Actions of set-only keys.
    int32_t installTranslator(const char* value);
    int32_t setSessionToken(const char* value);
    void replaceLastError(const char* text);

    int32_t id_ = -1;
    std::string lastError_;  // guarded by errorLock_

    Aws::Client::ClientConfiguration clientConfiguration_;
    // The host's own keys; null when the client takes its credentials from the chain.
    std::shared_ptr<HostCredentialsProvider> credentials_;
    std::unique_ptr<Aws::Kinesis::KinesisClient> client_;

    std::atomic<int32_t> retry_{kDefaultRetry};
    std::atomic<int32_t> retryattemptshow_{kDefaultRetryAttemptShow};
    std::atomic<int32_t> maxputrow_{kDefaultMaxPutRow};
    std::atomic<int32_t> maxputlen_{kDefaultMaxPutLen};

    // guarded by statsLock_
    CounterGroup retryattemptPutRecords_;
    CounterGroup retryattemptFailRecords_;
    Aws::String firstFailedError_;

    SyncLock statsLock_;
    SyncLock errorLock_;
    bool locksReady_ = false;
};

// A subsystem's part of a client: it works through the environment the client's parts share,
// lives as long as the client, and is never copied.
class ClientPart {
protected:
    explicit ClientPart(ClientEnv& env) : env_(env) {}
    ClientPart(const ClientPart&) = delete;
    ClientPart& operator=(const ClientPart&) = delete;
    ~ClientPart() = default;

    ClientEnv& env_;
};

}  // namespace rxk
