#include "core/credentials_http.h"

#include <curl/curl.h>

#include <memory>

namespace Aws {
namespace Internal {

namespace {

// Metadata answers are a few kilobytes; anything far larger is not one.
constexpr size_t kMaxAnswerBytes = 1 << 20;

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* body = static_cast<Aws::String*>(user);
  const size_t length = size * count;
  if (body->size() + length > kMaxAnswerBytes) return 0;
  body->append(data, length);
  return length;
}

struct CurlDeleter {
  void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

}  // namespace

Aws::String CredentialsHttpResponse::Problem() const {
  if (!transportError.empty()) return transportError;
  return "HTTP " + std::to_string(status);
}

CredentialsHttpResponse SendCredentialsRequest(const CredentialsHttpRequest& request) {
  CredentialsHttpResponse response;
  std::unique_ptr<CURL, CurlDeleter> curl(curl_easy_init());
  if (!curl) {
    response.transportError = curl_easy_strerror(CURLE_FAILED_INIT);
    return response;
  }
  std::unique_ptr<curl_slist, SlistDeleter> headers;
  for (const auto& header : request.headers) {
    const Aws::String line = header.first + ": " + header.second;
    curl_slist* grown = curl_slist_append(headers.get(), line.c_str());
    if (grown == nullptr) {
      response.transportError = curl_easy_strerror(CURLE_OUT_OF_MEMORY);
      return response;
    }
    headers.release();
    headers.reset(grown);
  }
  CURL* handle = curl.get();
  curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, request.method);
  if (!request.body.empty() || Aws::String(request.method) != "GET") {
    curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  }
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, request.timeoutMs);
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, request.timeoutMs);
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
  if (!request.caFile.empty()) curl_easy_setopt(handle, CURLOPT_CAINFO, request.caFile.c_str());
  // curl reads https_proxy/HTTPS_PROXY, http_proxy and no_proxy/NO_PROXY itself.
  if (!request.useProxy) curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &response.body);
  const CURLcode code = curl_easy_perform(handle);
  if (code != CURLE_OK) {
    response.transportError = curl_easy_strerror(code);
    response.body.clear();
    return response;
  }
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &response.status);
  return response;
}

}  // namespace Internal
}  // namespace Aws
