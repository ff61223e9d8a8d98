#pragma once

// Blocking HTTP POST over a pool of reusable curl handles. Each handle keeps its connection
// alive between requests, and carries the request and response buffers of the call that
// holds it, so that a warm connection allocates nothing for them.

#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/http/HttpResponse.h>
#include <aws/core/http/HttpTypes.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace Aws {
namespace Internal {

using HeaderList = Aws::Vector<std::pair<Aws::String, Aws::String>>;

// The answer to one attempt. transportError != 0 means no HTTP answer arrived (curl's code).
struct HttpAttemptResult {
  int transportError = 0;
  Aws::String transportMessage;
  Aws::Http::HttpResponseCode status = Aws::Http::HttpResponseCode::REQUEST_NOT_MADE;
  Aws::Http::HeaderValueCollection headers;  // names lower-cased
  Aws::String remoteIp;
};

// What curl's callbacks do with a header line (status line and CRLF included) and a piece of
// body as curl hands them over: names lower-cased, values trimmed; a status line starts over;
// the body keeps `padding` bytes of capacity past its end.
void CollectHeaderLine(const char* data, size_t length, Aws::Http::HeaderValueCollection& headers);
void CollectBodyChunk(const char* data, size_t length, size_t padding, Aws::String& body);

// A pooled connection and the buffers that go with it.
struct Connection {
  void* curlHandle = nullptr;
  Aws::String url;  // the URL the handle was last given (curl copies it)
  Aws::String requestBody;
  // Always has at least `responsePadding` bytes of capacity past its end.
  Aws::String responseBody;
  // Anything else a caller wants to keep per connection (e.g. a parser).
  std::shared_ptr<void> userState;
};

class CurlHttpClient {
 public:
  // `responsePadding`: spare capacity kept after every response body.
  CurlHttpClient(const Aws::Client::ClientConfiguration& config, size_t responsePadding);
  ~CurlHttpClient();
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;

  // Waits while all maxConnections connections are busy.
  Connection* Acquire();
  void Release(Connection* connection);

  // POSTs connection->requestBody; the answer's body lands in connection->responseBody.
  void Post(Connection& connection, const Aws::String& url, const HeaderList& headers,
            HttpAttemptResult& result) const;

 private:
  // The options of every call, set once when the handle is made.
  void ApplyOptions(void* handle) const;

  struct Settings {
    long connectTimeoutMs;
    long lowSpeedTimeSeconds;  // 0 = no low-speed abort
    unsigned long lowSpeedLimit;
    long totalTimeoutMs;  // 0 = none
    bool tcpKeepAlive;
    long tcpKeepAliveSeconds;
    bool verifySsl;
    Aws::String caFile;
    Aws::String caPath;
    bool allowSystemProxy;
    Aws::String proxyUrl;
    Aws::String proxyUserName;
    Aws::String proxyPassword;
    Aws::String nonProxyHosts;
    bool followRedirects;
  };
  Settings m_settings;
  size_t m_responsePadding;

  unsigned m_maxConnections;
  std::mutex m_poolMutex;
  std::condition_variable m_poolReady;
  Aws::Vector<std::unique_ptr<Connection>> m_connections;  // every connection created
  Aws::Vector<Connection*> m_idle;
};

// Holds a connection for the duration of one call.
class ConnectionLease {
 public:
  explicit ConnectionLease(CurlHttpClient& client) : m_client(client), m_connection(client.Acquire()) {}
  ~ConnectionLease() { m_client.Release(m_connection); }
  ConnectionLease(const ConnectionLease&) = delete;
  ConnectionLease& operator=(const ConnectionLease&) = delete;
  Connection& operator*() const { return *m_connection; }
  Connection* operator->() const { return m_connection; }

 private:
  CurlHttpClient& m_client;
  Connection* m_connection;
};

}  // namespace Internal
}  // namespace Aws
