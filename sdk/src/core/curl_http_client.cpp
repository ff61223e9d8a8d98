#include "core/curl_http_client.h"

#include <curl/curl.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <ctime>

namespace Aws {
namespace Internal {

namespace {

// curl's low-speed time is whole seconds: round down, but never turn a set timeout off.
long LowSpeedSeconds(long requestTimeoutMs) {
  if (requestTimeoutMs <= 0) return 0;
  return std::max(1L, requestTimeoutMs / 1000);
}

Aws::String ProxyUrl(const Aws::Client::ClientConfiguration& config) {
  if (config.proxyHost.empty()) return {};
  Aws::String url = Aws::String(Aws::Http::SchemeMapper::ToString(config.proxyScheme)) + "://" + config.proxyHost;
  if (config.proxyPort != 0) url += ":" + std::to_string(config.proxyPort);
  return url;
}

// A write on a socket the peer closed raises SIGPIPE, which kills a process that does not
// handle it. curl avoids most such writes, but not all (TLS shutdown, some platforms), so
// the signal is blocked on this thread for the transfer and a pending one is consumed
// before the old mask comes back.
class SigPipeGuard {
 public:
  SigPipeGuard() {
    sigemptyset(&m_pipe);
    sigaddset(&m_pipe, SIGPIPE);
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    m_wasPending = sigismember(&pending, SIGPIPE) == 1;
    m_blocked = pthread_sigmask(SIG_BLOCK, &m_pipe, &m_oldMask) == 0;
  }

  ~SigPipeGuard() {
    if (!m_blocked) return;
    if (!m_wasPending) {
      sigset_t pending;
      sigemptyset(&pending);
      sigpending(&pending);
      if (sigismember(&pending, SIGPIPE) == 1) {
        const timespec noWait{0, 0};
        int result;
        do {
          result = sigtimedwait(&m_pipe, nullptr, &noWait);
        } while (result == -1 && errno == EINTR);
      }
    }
    pthread_sigmask(SIG_SETMASK, &m_oldMask, nullptr);
  }

  SigPipeGuard(const SigPipeGuard&) = delete;
  SigPipeGuard& operator=(const SigPipeGuard&) = delete;

 private:
  sigset_t m_pipe;
  sigset_t m_oldMask;
  bool m_wasPending = false;
  bool m_blocked = false;
};

using SteadyClock = std::chrono::steady_clock;

// The low-speed abort measured per second: the transfer ends when, for lowSpeedTime, no
// second-long stretch moved lowSpeedLimit bytes per second. curl's own check averages over a
// five-second window, which lets a silent peer hold a call for several seconds longer.
class LowSpeedWatch {
 public:
  LowSpeedWatch(unsigned long limit, long seconds) : m_limit(limit), m_window(std::chrono::seconds(seconds)) {}

  // False when the transfer has been too slow for too long.
  bool Observe(curl_off_t bytesMoved) {
    if (m_window.count() == 0) return true;
    const auto now = SteadyClock::now();
    if (!m_started) {
      m_started = true;
      m_bucketStart = m_lastGood = m_lastMovement = now;
      m_bucketBytes = bytesMoved;
    }
    if (bytesMoved != m_lastBytes) m_lastMovement = now;
    m_lastBytes = bytesMoved;
    const auto bucketLength = now - m_bucketStart;
    if (bucketLength >= std::chrono::seconds(1)) {
      const double seconds = std::chrono::duration<double>(bucketLength).count();
      if (static_cast<double>(bytesMoved - m_bucketBytes) / seconds >= static_cast<double>(m_limit)) {
        m_lastGood = m_lastMovement;
      }
      m_bucketStart = now;
      m_bucketBytes = bytesMoved;
    }
    // At one byte per second any movement is fast enough: the window runs from the last byte.
    if (m_limit <= 1 && m_lastMovement > m_lastGood) m_lastGood = m_lastMovement;
    m_tooSlow = now - m_lastGood >= m_window;
    return !m_tooSlow;
  }

  bool TooSlow() const { return m_tooSlow; }

 private:
  unsigned long m_limit;
  std::chrono::nanoseconds m_window;
  bool m_started = false;
  bool m_tooSlow = false;
  SteadyClock::time_point m_bucketStart, m_lastGood, m_lastMovement;
  curl_off_t m_bucketBytes = 0;
  curl_off_t m_lastBytes = 0;
};

struct TransferContext {
  Aws::String* body;
  size_t padding;
  HttpAttemptResult* result;
  LowSpeedWatch lowSpeed;
};

int OnProgress(void* user, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded) {
  auto* context = static_cast<TransferContext*>(user);
  return context->lowSpeed.Observe(downloaded + uploaded) ? 0 : 1;
}

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* context = static_cast<TransferContext*>(user);
  const size_t length = size * count;
  CollectBodyChunk(data, length, context->padding, *context->body);
  return length;
}

Aws::String Trimmed(const char* begin, const char* end) {
  while (begin < end && std::isspace(static_cast<unsigned char>(*begin))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(end[-1]))) --end;
  return Aws::String(begin, end);
}

size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto* context = static_cast<TransferContext*>(user);
  const size_t length = size * count;
  CollectHeaderLine(data, length, context->result->headers);
  return length;
}

}  // namespace

void CollectBodyChunk(const char* data, size_t length, size_t padding, Aws::String& body) {
  const size_t needed = body.size() + length + padding;
  // Grow geometrically and keep the parser's padding in the capacity, so that the body
  // never needs a second copy to be parsed.
  if (body.capacity() < needed) body.reserve(std::max(needed, body.capacity() * 2));
  body.append(data, length);
}

void CollectHeaderLine(const char* data, size_t length, Aws::Http::HeaderValueCollection& headers) {
  const char* end = data + length;
  if (length >= 5 && std::equal(data, data + 5, "HTTP/")) {
    // A new status line (after 100-continue or a redirect): start over.
    headers.clear();
    return;
  }
  const char* colon = std::find(data, end, ':');
  if (colon == end) return;
  Aws::String name = Trimmed(data, colon);
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  headers[std::move(name)] = Trimmed(colon + 1, end);
}

namespace {

// curl_slist that frees itself.
class HeaderSlist {
 public:
  explicit HeaderSlist(const HeaderList& headers) {
    Aws::String line;
    for (const auto& header : headers) {
      line.assign(header.first).append(": ").append(header.second);
      Append(line.c_str());
    }
    // Waiting for "100 Continue" costs a round trip on every larger body; the service
    // reads the body regardless.
    Append("Expect:");
    // curl's default "Accept: */*" is noise to the service.
    Append("Accept:");
  }
  ~HeaderSlist() { curl_slist_free_all(m_list); }
  HeaderSlist(const HeaderSlist&) = delete;
  HeaderSlist& operator=(const HeaderSlist&) = delete;
  curl_slist* Get() const { return m_list; }
  bool Complete() const { return m_complete; }

 private:
  void Append(const char* line) {
    curl_slist* grown = curl_slist_append(m_list, line);
    if (grown == nullptr) {
      m_complete = false;
      return;
    }
    m_list = grown;
  }
  curl_slist* m_list = nullptr;
  bool m_complete = true;
};

}  // namespace

CurlHttpClient::CurlHttpClient(const Aws::Client::ClientConfiguration& config, size_t responsePadding)
    : m_settings{config.connectTimeoutMs,
                 LowSpeedSeconds(config.requestTimeoutMs),
                 config.lowSpeedLimit,
                 config.httpRequestTimeoutMs,
                 config.enableTcpKeepAlive,
                 std::max(1L, static_cast<long>(config.tcpKeepAliveIntervalMs / 1000)),
                 config.verifySSL,
                 config.caFile,
                 config.caPath,
                 config.allowSystemProxy,
                 ProxyUrl(config),
                 config.proxyUserName,
                 config.proxyPassword,
                 config.nonProxyHosts,
                 config.followRedirects != Aws::Client::FollowRedirectsPolicy::NEVER},
      m_responsePadding(responsePadding),
      m_maxConnections(std::max(1u, config.maxConnections)) {}

CurlHttpClient::~CurlHttpClient() {
  for (auto& connection : m_connections) curl_easy_cleanup(static_cast<CURL*>(connection->curlHandle));
}

Connection* CurlHttpClient::Acquire() {
  std::unique_lock<std::mutex> lock(m_poolMutex);
  for (;;) {
    if (!m_idle.empty()) {
      Connection* connection = m_idle.back();
      m_idle.pop_back();
      return connection;
    }
    if (m_connections.size() < m_maxConnections) {
      // The curl handle is made on first use, outside the pool lock.
      m_connections.push_back(std::make_unique<Connection>());
      return m_connections.back().get();
    }
    m_poolReady.wait(lock);
  }
}

void CurlHttpClient::Release(Connection* connection) {
  if (connection == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(m_poolMutex);
    m_idle.push_back(connection);
  }
  m_poolReady.notify_one();
}

void CurlHttpClient::ApplyOptions(void* handle) const {
  CURL* curl = static_cast<CURL*>(handle);
  const Settings& s = m_settings;
  curl_easy_setopt(curl, CURLOPT_POST, 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, OnHeader);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, OnProgress);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, s.connectTimeoutMs);
  if (s.lowSpeedTimeSeconds > 0) {
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, static_cast<long>(s.lowSpeedLimit));
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, s.lowSpeedTimeSeconds);
  }
  if (s.totalTimeoutMs > 0) curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, s.totalTimeoutMs);
  if (s.tcpKeepAlive) {
    curl_easy_setopt(curl, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(curl, CURLOPT_TCP_KEEPIDLE, s.tcpKeepAliveSeconds);
    curl_easy_setopt(curl, CURLOPT_TCP_KEEPINTVL, s.tcpKeepAliveSeconds);
  }
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, s.verifySsl ? 1L : 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, s.verifySsl ? 2L : 0L);
  if (!s.caFile.empty()) curl_easy_setopt(curl, CURLOPT_CAINFO, s.caFile.c_str());
  if (!s.caPath.empty()) curl_easy_setopt(curl, CURLOPT_CAPATH, s.caPath.c_str());
  if (!s.proxyUrl.empty()) {
    curl_easy_setopt(curl, CURLOPT_PROXY, s.proxyUrl.c_str());
    if (!s.proxyUserName.empty()) curl_easy_setopt(curl, CURLOPT_PROXYUSERNAME, s.proxyUserName.c_str());
    if (!s.proxyPassword.empty()) curl_easy_setopt(curl, CURLOPT_PROXYPASSWORD, s.proxyPassword.c_str());
    if (!s.nonProxyHosts.empty()) curl_easy_setopt(curl, CURLOPT_NOPROXY, s.nonProxyHosts.c_str());
  } else if (!s.allowSystemProxy) {
    // Without this curl would follow http_proxy/https_proxy from the environment.
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  }
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, s.followRedirects ? 1L : 0L);
}

void CurlHttpClient::Post(Connection& connection, const Aws::String& url, const HeaderList& headers,
                          HttpAttemptResult& result) const {
  result = HttpAttemptResult();
  connection.responseBody.clear();
  if (connection.curlHandle == nullptr) {
    // The options that stay the same for every call are set once per handle.
    connection.curlHandle = curl_easy_init();
    if (connection.curlHandle != nullptr) ApplyOptions(connection.curlHandle);
  }
  CURL* curl = static_cast<CURL*>(connection.curlHandle);
  if (curl == nullptr) {
    result.transportError = CURLE_FAILED_INIT;
    result.transportMessage = curl_easy_strerror(CURLE_FAILED_INIT);
    return;
  }
  HeaderSlist headerList(headers);
  if (!headerList.Complete()) {
    result.transportError = CURLE_OUT_OF_MEMORY;
    result.transportMessage = curl_easy_strerror(CURLE_OUT_OF_MEMORY);
    return;
  }
  TransferContext context{&connection.responseBody, m_responsePadding, &result,
                          LowSpeedWatch(m_settings.lowSpeedLimit, m_settings.lowSpeedTimeSeconds)};
  if (connection.url != url) {
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    connection.url = url;
  }
  // What points into this call is set anew each time; the header list is freed when it ends.
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, connection.requestBody.data());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(connection.requestBody.size()));
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headerList.Get());
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &context);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &context);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &context);

  CURLcode code;
  {
    SigPipeGuard guard;
    code = curl_easy_perform(curl);
  }
  char* ip = nullptr;
  if (curl_easy_getinfo(curl, CURLINFO_PRIMARY_IP, &ip) == CURLE_OK && ip != nullptr) result.remoteIp = ip;
  // Our low-speed abort is a timeout like curl's own.
  if (code == CURLE_ABORTED_BY_CALLBACK && context.lowSpeed.TooSlow()) code = CURLE_OPERATION_TIMEDOUT;
  if (code != CURLE_OK) {
    result.transportError = static_cast<int>(code);
    result.transportMessage = curl_easy_strerror(code);
    result.headers.clear();
    connection.responseBody.clear();
    return;
  }
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  result.status = static_cast<Aws::Http::HttpResponseCode>(status);
  if (connection.responseBody.capacity() < connection.responseBody.size() + m_responsePadding) {
    connection.responseBody.reserve(connection.responseBody.size() + m_responsePadding);
  }
}

}  // namespace Internal
}  // namespace Aws
