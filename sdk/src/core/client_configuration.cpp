#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/client/DefaultRetryStrategy.h>
#include <aws/core/client/RetryStrategy.h>
#include <aws/core/config/AWSProfileConfigLoader.h>

#include "core/environment.h"

#include <strings.h>

#include <cstdlib>

namespace Aws {
namespace Internal {

Aws::String GetEnv(const char* name) {
  const char* value = std::getenv(name);
  return value ? Aws::String(value) : Aws::String();
}

bool IsTrueText(const Aws::String& text) { return text == "1" || strcasecmp(text.c_str(), "true") == 0; }

}  // namespace Internal

namespace Client {

namespace {

constexpr char kDefaultRegion[] = "us-east-1";

// Empty when neither variable is set.
Aws::String RegionFromEnvironment() {
  for (const char* name : {"AWS_DEFAULT_REGION", "AWS_REGION"}) {
    Aws::String region = Internal::GetEnv(name);
    if (!region.empty()) return region;
  }
  return {};
}

// AWS_MAX_ATTEMPTS when it is a positive number, else 0.
long MaxAttemptsFromEnvironment() {
  const Aws::String text = Internal::GetEnv("AWS_MAX_ATTEMPTS");
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  return (!text.empty() && *end == '\0' && value > 0) ? value : 0;
}

std::shared_ptr<RetryStrategy> RetryStrategyFromEnvironment() {
  const Aws::String mode = Internal::GetEnv("AWS_RETRY_MODE");
  // "adaptive" adds client-side rate limiting on top of "standard"; this client does not
  // rate-limit, so both get the standard strategy.
  if (strcasecmp(mode.c_str(), "standard") == 0 || strcasecmp(mode.c_str(), "adaptive") == 0) {
    const long maxAttempts = MaxAttemptsFromEnvironment();
    return std::make_shared<StandardRetryStrategy>(maxAttempts > 0 ? maxAttempts
                                                                   : StandardRetryStrategy::kDefaultMaxAttempts);
  }
  return std::make_shared<DefaultRetryStrategy>();
}

}  // namespace

ClientConfiguration::ClientConfiguration() { ApplyEnvironmentDefaults(); }

ClientConfiguration::ClientConfiguration(const ClientConfigurationInitValues& configuration) {
  disableIMDS = configuration.shouldDisableIMDS;
  ApplyEnvironmentDefaults();
}

ClientConfiguration::ClientConfiguration(const char* profile, bool shouldDisableIMDS) {
  disableIMDS = shouldDisableIMDS;
  ApplyEnvironmentDefaults();
  if (profile != nullptr && *profile != '\0') profileName = profile;
  if (RegionFromEnvironment().empty()) {
    const Aws::String profileRegion = Aws::Config::GetCachedConfigValue(profileName, "region");
    if (!profileRegion.empty()) region = profileRegion;
  }
}

ClientConfiguration::ClientConfiguration(bool, const char*, bool shouldDisableIMDS) {
  disableIMDS = shouldDisableIMDS;
  ApplyEnvironmentDefaults();
}

void ClientConfiguration::ApplyEnvironmentDefaults() {
  region = RegionFromEnvironment();
  if (region.empty()) region = kDefaultRegion;
  retryStrategy = RetryStrategyFromEnvironment();
  profileName = Internal::GetEnv("AWS_PROFILE");
  if (profileName.empty()) profileName = "default";
  appId = Internal::GetEnv("AWS_SDK_UA_APP_ID");
}

}  // namespace Client
}  // namespace Aws
