#pragma once

#include <aws/core/utils/logging/LogLevel.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <functional>
#include <memory>

namespace Aws {

namespace Utils {
namespace Logging {
class LogSystemInterface;
class CRTLogSystemInterface;
}  // namespace Logging
namespace Memory {
class MemorySystemInterface;
}  // namespace Memory
}  // namespace Utils

namespace Http {
class HttpClientFactory;
}  // namespace Http

namespace Monitoring {
class MonitoringFactory;
}  // namespace Monitoring

struct SDKVersion {
  unsigned char major = 1;
  unsigned char minor = 11;
  unsigned short patch = 0;
};

struct IoOptions {
  std::function<std::shared_ptr<void>()> clientBootstrap_create_fn;
  std::function<std::shared_ptr<void>()> tlsConnectionOptions_create_fn;
};

struct LoggingOptions {
  Aws::Utils::Logging::LogLevel logLevel = Aws::Utils::Logging::LogLevel::Off;
  const char* defaultLogPrefix = "aws_sdk_";
  std::function<std::shared_ptr<Aws::Utils::Logging::LogSystemInterface>()> logger_create_fn;
  std::function<std::shared_ptr<Aws::Utils::Logging::CRTLogSystemInterface>()> crt_logger_create_fn;
};

struct MemoryManagementOptions {
  Aws::Utils::Memory::MemorySystemInterface* memoryManager = nullptr;
};

struct HttpOptions {
  std::function<std::shared_ptr<Aws::Http::HttpClientFactory>()> httpClientFactory_create_fn;
  bool initAndCleanupCurl = true;
  bool installSigPipeHandler = false;
  bool compliantRfc3986Encoding = false;
};

struct CryptoOptions {
  bool initAndCleanupOpenSSL = true;
};

struct MonitoringOptions {
  std::function<void()> customizedMonitoringFactory_create_fn;
};

// Options of InitAPI/ShutdownAPI; pass the same object to both.
struct SDKOptions {
  SDKVersion sdkVersion;
  IoOptions ioOptions;
  LoggingOptions loggingOptions;
  MemoryManagementOptions memoryManagementOptions;
  HttpOptions httpOptions;
  CryptoOptions cryptoOptions;
  MonitoringOptions monitoringOptions;
};

// Global set-up of the HTTP stack (curl) and the error tables. Call once before creating
// clients; a second call without ShutdownAPI in between does nothing more.
void InitAPI(const SDKOptions& options);

// Undoes InitAPI. Destroy clients first. Calling it twice is harmless.
void ShutdownAPI(const SDKOptions& options);

}  // namespace Aws
