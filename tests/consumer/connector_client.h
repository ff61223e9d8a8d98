// The connector as the host sees it: loaded once per test process with both log sinks
// captured, and clients bound to one endpoint. Shared by the consumer and catalogue tests.
#pragma once

#include "library.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rxk::test {

// The library, loaded and initialised once; its sinks feed LogCapture.
Library& connector();

// A client of the library whose requests go to `endpoint`; freed at the end of the scope.
class Client {
public:
    explicit Client(const std::string& endpoint,
                    ServiceEnvironment::SdkRetries retries = ServiceEnvironment::SdkRetries::Default);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    std::int32_t id() const { return id_; }
    std::string lastError() const;

private:
    std::int32_t id_ = -1;
};

// Every line the log sink received since the last LogCapture::reset().
std::vector<std::string> logTexts();

// A client's own lines read "id:<id> KinesisEnv::<rest>".
std::string clientLine(std::int32_t client, const std::string& rest);

}  // namespace rxk::test
