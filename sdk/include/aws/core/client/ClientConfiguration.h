#pragma once

#include <aws/core/http/Scheme.h>
#include <aws/core/http/Version.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <memory>

namespace Aws {
namespace Client {

class RetryStrategy;

enum class FollowRedirectsPolicy { DEFAULT, ALWAYS, NEVER };

struct ClientConfigurationInitValues {
  bool shouldDisableIMDS = false;
};

// Settings of a service client. The default constructor resolves the region and the retry
// mode from the environment only; it never touches the network or configuration files. The
// profile constructor also takes the profile's region from the config files when neither
// AWS_DEFAULT_REGION nor AWS_REGION is set.
struct ClientConfiguration {
  ClientConfiguration();
  explicit ClientConfiguration(const ClientConfigurationInitValues& configuration);
  ClientConfiguration(const char* profileName, bool shouldDisableIMDS = false);
  explicit ClientConfiguration(bool useSmartDefaults, const char* defaultMode = "legacy",
                               bool shouldDisableIMDS = false);
  virtual ~ClientConfiguration() = default;

  Aws::String userAgent;  // when set, replaces the whole User-Agent header
  Aws::Http::Scheme scheme = Aws::Http::Scheme::HTTPS;
  Aws::String region;
  bool useDualStack = false;
  bool useFIPS = false;
  unsigned maxConnections = 25;  // size of the client's connection pool
  long httpRequestTimeoutMs = 0;  // total deadline per attempt; 0 = none
  // Abort an attempt when less than lowSpeedLimit bytes/s flow for this long (whole
  // seconds, 1..999 ms count as 1 s, 0 disables). Not a total deadline.
  long requestTimeoutMs = 3000;
  long connectTimeoutMs = 1000;
  bool enableTcpKeepAlive = true;
  unsigned long tcpKeepAliveIntervalMs = 30000;
  unsigned long lowSpeedLimit = 1;
  std::shared_ptr<RetryStrategy> retryStrategy;
  Aws::String endpointOverride;
  bool allowSystemProxy = false;
  Aws::Http::Scheme proxyScheme = Aws::Http::Scheme::HTTP;
  Aws::String proxyHost;
  unsigned proxyPort = 0;
  Aws::String proxyUserName;
  Aws::String proxyPassword;
  Aws::String proxySSLCertPath;
  Aws::String proxySSLCertType;
  Aws::String proxySSLKeyPath;
  Aws::String proxySSLKeyType;
  Aws::String proxySSLKeyPassword;
  Aws::String nonProxyHosts;
  bool verifySSL = true;
  Aws::String caPath;
  Aws::String caFile;
  Aws::String proxyCaPath;
  Aws::String proxyCaFile;
  Aws::Http::Version version = Aws::Http::Version::HTTP_VERSION_2TLS;
  bool disableIMDS = false;
  bool disableExpectHeader = false;
  bool enableClockSkewAdjustment = true;
  bool enableHostPrefixInjection = true;
  bool enableEndpointDiscovery = false;
  FollowRedirectsPolicy followRedirects = FollowRedirectsPolicy::DEFAULT;
  Aws::String profileName;
  Aws::String appId;

 private:
  void ApplyEnvironmentDefaults();
};

}  // namespace Client
}  // namespace Aws
