#include <aws/core/Aws.h>
#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/http/Scheme.h>

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <strings.h>

#include <mutex>

namespace Aws {

namespace {

std::mutex& ApiStateMutex() {
  static std::mutex mutex;
  return mutex;
}

// Whether this module currently holds a curl_global_init reference.
bool g_curlInitialised = false;

}  // namespace

void InitAPI(const SDKOptions& options) {
  std::lock_guard<std::mutex> lock(ApiStateMutex());
  if (options.httpOptions.initAndCleanupCurl && !g_curlInitialised) {
    g_curlInitialised = curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
  }
}

void ShutdownAPI(const SDKOptions&) {
  std::lock_guard<std::mutex> lock(ApiStateMutex());
  if (g_curlInitialised) {
    curl_global_cleanup();
    g_curlInitialised = false;
  }
}

namespace Http {
namespace SchemeMapper {

const char* ToString(Scheme scheme) { return scheme == Scheme::HTTP ? "http" : "https"; }

Scheme FromString(const char* name) {
  return (name != nullptr && strcasecmp(name, "http") == 0) ? Scheme::HTTP : Scheme::HTTPS;
}

}  // namespace SchemeMapper
}  // namespace Http

namespace Auth {

AWSCredentials::~AWSCredentials() {
  // The secrets must not linger in freed memory.
  OPENSSL_cleanse(&m_secretKey[0], m_secretKey.size());
  OPENSSL_cleanse(&m_sessionToken[0], m_sessionToken.size());
}

}  // namespace Auth
}  // namespace Aws
