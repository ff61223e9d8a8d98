// SetParam and GetParam: the client's parameters and counters by name. One table of keys
// drives both directions; names compare without regard to case.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <strings.h>

#include "env/client_env.h"
#include "env/fault_translator.h"
#include "frame/message_buffer.h"
#include "frame/sync_lock.h"

namespace rxk {

enum class ClientEnv::KeyKind {
    Number,    // a 32-bit field, set and read as decimal text
    Action,    // set only: does something, keeps nothing
    Counters,  // read only: a counter group and firstFailedError
};

struct ClientEnv::ParameterKey {
    const char* name;
    KeyKind kind;
    std::atomic<int32_t> ClientEnv::*number;
    CounterGroup ClientEnv::*counters;
    int32_t (ClientEnv::*action)(const char* value);
};

// The key called `name` among those of `kind` or `otherKind`; null if none.
const ClientEnv::ParameterKey* ClientEnv::findKey(const char* name, KeyKind kind, KeyKind otherKind) {
    static constexpr ParameterKey kKeys[] = {
        {"retry", KeyKind::Number, &ClientEnv::retry_, nullptr, nullptr},
        {"retryattemptshow", KeyKind::Number, &ClientEnv::retryattemptshow_, nullptr, nullptr},
        {"maxputrow", KeyKind::Number, &ClientEnv::maxputrow_, nullptr, nullptr},
        {"maxputlen", KeyKind::Number, &ClientEnv::maxputlen_, nullptr, nullptr},
        {"exceptiontranslator", KeyKind::Action, nullptr, nullptr, &ClientEnv::installTranslator},
        // Set only: a secret is never read back.
        {"sessiontoken", KeyKind::Action, nullptr, nullptr, &ClientEnv::setSessionToken},
        {"retryattemptPutRecords", KeyKind::Counters, nullptr, &ClientEnv::retryattemptPutRecords_, nullptr},
        {"retryattemptFailRecords", KeyKind::Counters, nullptr, &ClientEnv::retryattemptFailRecords_, nullptr},
    };
    if (name == nullptr) return nullptr;
    for (const ParameterKey& key : kKeys) {
        if ((key.kind == kind || key.kind == otherKind) && strcasecmp(name, key.name) == 0) return &key;
    }
    return nullptr;
}

namespace {
// Like atoi: leading blanks, an optional sign, the digits up to the first other character, 0
// without digits. Values beyond 32 bits are held at the nearest bound instead of overflowing.
int32_t numberOf(const char* value) {
    const long long parsed = std::strtoll(value, nullptr, 10);
    if (parsed > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
    if (parsed < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(parsed);
}

// Room the caller gives for the counter text (see GetParam in rxkinesis.h).
constexpr std::size_t kCounterTextBytes = RXK_ERROR_TEXT_BYTES + 88;

}  // namespace

int32_t ClientEnv::setParam(const char* name, const char* value) {
    const ParameterKey* key = findKey(name, KeyKind::Number, KeyKind::Action);
    if (key == nullptr) {
        fail("rxKinesis::setParam bad param name [%s]", textOrNullWord(name));
        return RXK_ERROR;
    }
    // A number needs a text to read: a missing value changes nothing.
    if (key->kind == KeyKind::Number && value == nullptr) {
        fail("rxKinesis::setParam bad param value NULL [%s]", name);
        return RXK_ERROR;
    }
    if (key->kind == KeyKind::Action) return (this->*(key->action))(value);
    (this->*(key->number)).store(numberOf(value));
    return RXK_OK;
}

int32_t ClientEnv::installTranslator(const char*) {
    installFaultTranslator();
    return RXK_OK;
}

int32_t ClientEnv::setSessionToken(const char* value) {
    if (!credentials_) {
        fail("rxKinesis::setParam sessiontoken without keys: the client takes its credentials from the chain");
        return RXK_ERROR;
    }
    credentials_->setSessionToken(value != nullptr ? value : "");
    return RXK_OK;
}

int32_t ClientEnv::getParam(const char* name, char* buffer) {
    const ParameterKey* key = findKey(name, KeyKind::Number, KeyKind::Counters);
    if (key == nullptr) {
        fail("rxKinesis::getParam bad param name [%s]", textOrNullWord(name));
        return RXK_ERROR;
    }
    if (key->kind == KeyKind::Number) {
        std::sprintf(buffer, "%d", static_cast<int>((this->*(key->number)).load()));
        return RXK_OK;
    }
    CounterGroup counters;
    std::string firstError;
    {
        SyncLockGuard guard(statsLock_);
        counters = this->*(key->counters);
        firstError.assign(firstFailedError_.data(), firstFailedError_.size());
    }
    std::snprintf(buffer, kCounterTextBytes, "%" PRId64 ";%" PRId64 ";%" PRId64 ";%" PRId64 ";%s",
                  counters.last, counters.min, counters.max, counters.sum, firstError.c_str());
    return RXK_OK;
}

void ClientEnv::feedRetryAttempts(int32_t attempts) {
    SyncLockGuard guard(statsLock_);
    retryattemptPutRecords_.feed(attempts);
}

void ClientEnv::feedFailedRecords(int32_t failed) {
    SyncLockGuard guard(statsLock_);
    retryattemptFailRecords_.feed(failed);
}

void ClientEnv::setFirstFailedError(const Aws::String& text) {
    SyncLockGuard guard(statsLock_);
    firstFailedError_ = text;
}

}  // namespace rxk
