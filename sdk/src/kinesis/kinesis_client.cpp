#include <aws/kinesis/KinesisClient.h>

#include <aws/core/auth/signer/AWSAuthV4Signer.h>
#include <aws/core/client/DefaultRetryStrategy.h>
#include <aws/core/client/RetryStrategy.h>

#include "core/curl_http_client.h"
#include "core/encoding.h"
#include "core/environment.h"
#include "kinesis/endpoint_resolver.h"
#include "kinesis/error_marshaller.h"
#include "kinesis/request_serializer.h"
#include "kinesis/response_parser.h"

#include <sys/utsname.h>

#include <chrono>
#include <exception>
#include <mutex>
#include <thread>

namespace Aws {
namespace Kinesis {

using namespace Aws::Kinesis::Model;
using Aws::Client::AWSError;
using Aws::Client::CoreErrors;

namespace {

constexpr char kServiceName[] = "kinesis";
constexpr char kTargetPrefix[] = "Kinesis_20131202.";
constexpr char kContentType[] = "application/x-amz-json-1.1";
constexpr char kSdkVersion[] = "1.11.0";
// A server clock this far from ours means our signatures are about to be refused.
constexpr std::chrono::minutes kMaxClockSkew{4};

Aws::String DefaultUserAgent(const Aws::Client::ClientConfiguration& config) {
  utsname system{};
  Aws::String os = "Linux";
  if (uname(&system) == 0) os = Aws::String(system.sysname) + "#" + system.release;
  Aws::String agent = Aws::String("aws-sdk-cpp/") + kSdkVersion + " ua/2.1 api/Kinesis os/" + os +
                      " lang/c++#C++" + std::to_string(__cplusplus / 100 % 100);
#if defined(__x86_64__)
  agent += " md/arch#x86_64";
#elif defined(__aarch64__)
  agent += " md/arch#aarch64";
#endif
#if defined(__clang__)
  agent += " md/Clang#" + std::to_string(__clang_major__) + "." + std::to_string(__clang_minor__);
#elif defined(__GNUC__)
  agent += " md/GCC#" + std::to_string(__GNUC__) + "." + std::to_string(__GNUC_MINOR__);
#endif
  const Aws::String strategyName = config.retryStrategy ? config.retryStrategy->GetStrategyName() : "default";
  if (strategyName == "default") agent += " m/D";
  if (!config.appId.empty()) agent += " app/" + config.appId;
  return agent;
}

std::shared_ptr<Aws::Auth::AWSCredentialsProvider> CredentialsFromEnvironment() {
  return std::make_shared<Aws::Auth::SimpleAWSCredentialsProvider>(
      Internal::GetEnv("AWS_ACCESS_KEY_ID"), Internal::GetEnv("AWS_SECRET_ACCESS_KEY"),
      Internal::GetEnv("AWS_SESSION_TOKEN"));
}

bool SameKeys(const Aws::Auth::AWSCredentials& a, const Aws::Auth::AWSCredentials& b) {
  return a.GetAWSAccessKeyId() == b.GetAWSAccessKeyId() && a.GetAWSSecretKey() == b.GetAWSSecretKey() &&
         a.GetSessionToken() == b.GetSessionToken();
}

bool IsSuccessStatus(Aws::Http::HttpResponseCode status) {
  const int code = static_cast<int>(status);
  return code >= 200 && code < 300;
}

// The server's clock from an answer, if it sent one we can read.
bool ServerTime(const Aws::Http::HeaderValueCollection& headers, Aws::Utils::DateTime& time) {
  for (const char* name : {"date", "x-amz-date"}) {
    const auto found = headers.find(name);
    if (found == headers.end()) continue;
    time = Aws::Utils::DateTime(found->second, Aws::Utils::DateFormat::AutoDetect);
    if (time.WasParseSuccessful() && time != Aws::Utils::DateTime()) return true;
  }
  return false;
}

void AttachRequestId(Aws::NoResult&, const Aws::String&) {}

template <typename Result>
void AttachRequestId(Result& result, const Aws::String& requestId) {
  if (!requestId.empty()) result.SetRequestId(requestId);
}

Aws::String HeaderValue(const Aws::Http::HeaderValueCollection& headers, const char* name) {
  const auto found = headers.find(name);
  return found == headers.end() ? Aws::String() : found->second;
}

}  // namespace

class KinesisClient::Impl {
 public:
  Impl(const std::shared_ptr<Aws::Auth::AWSCredentialsProvider>& credentialsProvider,
       const Aws::Client::ClientConfiguration& config)
      : m_endpoint(Internal::ResolveKinesisEndpoint(config)),
        m_credentialsProvider(credentialsProvider),
        m_signingRegion(Internal::SigningRegion(config.region)),
        m_signer(std::make_shared<Aws::Client::AWSAuthV4Signer>(Aws::Auth::AWSCredentials(), kServiceName,
                                                                 m_signingRegion)),
        m_http(config, Internal::kJsonInputPadding),
        m_retryStrategy(config.retryStrategy ? config.retryStrategy
                                             : std::make_shared<Aws::Client::DefaultRetryStrategy>()),
        m_userAgent(config.userAgent.empty() ? DefaultUserAgent(config) : config.userAgent),
        m_requestTimeout(config.requestTimeoutMs),
        m_clockSkewAdjustment(config.enableClockSkewAdjustment) {}

  const Aws::String& Endpoint() const { return m_endpoint.url; }

  template <typename Result, typename Request>
  Aws::Utils::Outcome<Result, KinesisError> Invoke(const Request& request) const {
    if (!m_endpoint.resolved) return KinesisError(m_endpoint.error);
    try {
      return InvokeWithRetries<Result>(request);
    } catch (const std::exception& failure) {
      // Out of memory, mostly. An operation reports; it does not throw.
      return KinesisError(AWSError<CoreErrors>(CoreErrors::UNKNOWN, "", failure.what(), false));
    }
  }

 private:
  // What stays the same across the attempts of one call.
  struct CallIdentity {
    Aws::String target;
    Aws::String invocationId;
    Aws::String payloadHash;  // the body does not change between attempts
  };

  template <typename Result, typename Request>
  Aws::Utils::Outcome<Result, KinesisError> InvokeWithRetries(const Request& request) const {
    Internal::ConnectionLease connection(m_http);
    Internal::SerializeRequest(request, connection->requestBody);
    const CallIdentity call{kTargetPrefix + Aws::String(request.GetServiceRequestName()), Internal::RandomUuid(),
                            Aws::Client::SigV4::HashPayload(connection->requestBody.data(),
                                                            connection->requestBody.size())};
    Internal::HttpAttemptResult response;
    Aws::String ttl;
    AWSError<CoreErrors> lastError;
    for (long retries = 0;; ++retries) {
      const Aws::Utils::DateTime signingTime = Aws::Utils::DateTime::Now();
      const std::shared_ptr<Aws::Client::AWSAuthV4Signer> signer = CurrentSigner(lastError);
      if (!signer) {
        Aws::Utils::Outcome<Result, KinesisError> outcome{KinesisError(std::move(lastError))};
        outcome.SetRetryCount(static_cast<unsigned>(retries));
        return outcome;
      }
      SendAttempt(*signer, *connection, call, retries, ttl, signingTime, response);
      Result result;
      if (ReadAnswer(*connection, response, result, lastError)) {
        m_retryStrategy->RequestBookkeeping(true, lastError);
        Aws::Utils::Outcome<Result, KinesisError> outcome(std::move(result));
        outcome.SetRetryCount(static_cast<unsigned>(retries));
        return outcome;
      }
      if (!PrepareRetry(lastError, response, signingTime, retries, ttl)) {
        Aws::Utils::Outcome<Result, KinesisError> outcome{KinesisError(std::move(lastError))};
        outcome.SetRetryCount(static_cast<unsigned>(retries));
        return outcome;
      }
    }
  }

  // The signer for the provider's current credentials, made anew when they changed (the
  // learned clock skew goes along). Null, with `error` set, when the provider failed.
  std::shared_ptr<Aws::Client::AWSAuthV4Signer> CurrentSigner(AWSError<CoreErrors>& error) const {
    const Aws::Auth::AWSCredentials credentials = m_credentialsProvider->GetAWSCredentials();
    if (credentials.GetAWSAccessKeyId().empty() || credentials.GetAWSSecretKey().empty()) {
      const Aws::String failure = m_credentialsProvider->GetLastFailure();
      if (!failure.empty()) {
        error = AWSError<CoreErrors>(CoreErrors::CLIENT_SIGNING_FAILURE, "", "Credentials: " + failure, false);
        return nullptr;
      }
    }
    std::lock_guard<std::mutex> lock(m_signerMutex);
    if (!SameKeys(credentials, m_signedWith)) {
      auto signer = std::make_shared<Aws::Client::AWSAuthV4Signer>(credentials, kServiceName, m_signingRegion);
      signer->SetClockSkew(m_signer->GetClockSkew());
      m_signer = std::move(signer);
      m_signedWith = credentials;
    }
    return m_signer;
  }

  void SendAttempt(const Aws::Client::AWSAuthV4Signer& signer, Internal::Connection& connection, const CallIdentity& call, long retries, const Aws::String& ttl,
                   const Aws::Utils::DateTime& signingTime, Internal::HttpAttemptResult& response) const {
    Aws::Client::SignableRequest signable;
    signable.payloadHash = call.payloadHash;
    signable.headers = BaseHeaders(call, retries, ttl, connection.requestBody.size());
    signer.SignRequest(signable, signingTime);
    m_http.Post(connection, m_endpoint.url, signable.headers, response);
  }

  // Fills `result` from a successful answer and returns true, or describes the failure.
  template <typename Result>
  bool ReadAnswer(Internal::Connection& connection, const Internal::HttpAttemptResult& response, Result& result,
                  AWSError<CoreErrors>& error) const {
    Internal::ResponseParser& parser = ParserOf(connection);
    const Aws::String& body = connection.responseBody;
    if (response.transportError != 0) {
      error = Internal::MarshallTransportError(response.transportError, response.transportMessage.c_str());
    } else if (!IsSuccessStatus(response.status)) {
      error = Internal::MarshallServiceError(response.status, response.headers,
                                             parser.ParseErrorPayload(body.data(), body.size(), true));
    } else {
      Aws::String parseMessage;
      if (parser.Parse(body.data(), body.size(), true, result, parseMessage)) {
        AttachRequestId(result, HeaderValue(response.headers, "x-amzn-requestid"));
        return true;
      }
      error = Internal::MarshallUnreadableResult(parseMessage.c_str());
      error.SetResponseCode(response.status);
      error.SetResponseHeaders(response.headers);
    }
    error.SetRemoteHostIpAddress(response.remoteIp);
    return false;
  }

  // Asks the retry strategy and waits its delay; false when the call ends with `error`.
  bool PrepareRetry(AWSError<CoreErrors>& error, const Internal::HttpAttemptResult& response,
                    const Aws::Utils::DateTime& signingTime, long retries, Aws::String& ttl) const {
    Aws::Utils::DateTime serverTime;
    const bool hasServerTime = ServerTime(response.headers, serverTime);
    const bool skewCorrected = hasServerTime && CorrectClockSkew(serverTime, signingTime, error);
    m_retryStrategy->RequestBookkeeping(false, error);
    if (!m_retryStrategy->ShouldRetry(error, retries)) return false;
    ttl = hasServerTime ? TimeToLive() : Aws::String();
    if (!skewCorrected) {
      const long delay = m_retryStrategy->CalculateDelayBeforeNextRetry(error, retries);
      if (delay > 0) std::this_thread::sleep_for(std::chrono::milliseconds(delay));
    }
    return true;
  }

  Internal::HeaderList BaseHeaders(const CallIdentity& call, long retries, const Aws::String& ttl,
                                   size_t bodyLength) const {
    Aws::String attempt = "attempt=" + std::to_string(retries + 1);
    if (retries > 0) {
      attempt = (ttl.empty() ? Aws::String() : "ttl=" + ttl + "; ") + attempt + "; max=" +
                std::to_string(m_retryStrategy->GetMaxAttempts());
    }
    Internal::HeaderList headers;
    headers.reserve(11);
    headers.emplace_back("content-type", kContentType);
    headers.emplace_back("x-amz-target", call.target);
    headers.emplace_back("host", m_endpoint.authority);
    headers.emplace_back("content-length", std::to_string(bodyLength));
    headers.emplace_back("amz-sdk-invocation-id", call.invocationId);
    headers.emplace_back("amz-sdk-request", std::move(attempt));
    headers.emplace_back("user-agent", m_userAgent);
    return headers;
  }

  // Learns the server's clock when it is far off ours; the retry then goes without delay.
  bool CorrectClockSkew(const Aws::Utils::DateTime& serverTime, const Aws::Utils::DateTime& signingTime,
                        AWSError<CoreErrors>& error) const {
    if (!m_clockSkewAdjustment) return false;
    const std::shared_ptr<Aws::Client::AWSAuthV4Signer> signer = Signer();
    const auto signedAt = signingTime + signer->GetClockSkew();
    const auto difference = Aws::Utils::DateTime::Diff(serverTime, signedAt);
    if (difference < kMaxClockSkew && difference > -kMaxClockSkew) return false;
    signer->SetClockSkew(Aws::Utils::DateTime::Diff(serverTime, Aws::Utils::DateTime::Now()));
    error.SetRetryableType(Aws::Client::RetryableType::RETRYABLE);
    return true;
  }

  Aws::String TimeToLive() const {
    const auto expiry = Aws::Utils::DateTime::Now() + Signer()->GetClockSkew() +
                        std::chrono::milliseconds(m_requestTimeout);
    return expiry.ToGmtString(Aws::Utils::DateFormat::ISO_8601_BASIC);
  }

  std::shared_ptr<Aws::Client::AWSAuthV4Signer> Signer() const {
    std::lock_guard<std::mutex> lock(m_signerMutex);
    return m_signer;
  }

  static Internal::ResponseParser& ParserOf(Internal::Connection& connection) {
    if (!connection.userState) connection.userState = std::make_shared<Internal::ResponseParser>();
    return *static_cast<Internal::ResponseParser*>(connection.userState.get());
  }

  Internal::ResolvedEndpoint m_endpoint;
  std::shared_ptr<Aws::Auth::AWSCredentialsProvider> m_credentialsProvider;
  Aws::String m_signingRegion;
  mutable std::mutex m_signerMutex;
  // Guarded by m_signerMutex: the signer of the latest credentials and those credentials.
  mutable std::shared_ptr<Aws::Client::AWSAuthV4Signer> m_signer;
  mutable Aws::Auth::AWSCredentials m_signedWith;
  mutable Internal::CurlHttpClient m_http;
  std::shared_ptr<Aws::Client::RetryStrategy> m_retryStrategy;
  Aws::String m_userAgent;
  long m_requestTimeout;
  bool m_clockSkewAdjustment;
};

KinesisClient::KinesisClient(const Aws::Client::ClientConfiguration& clientConfiguration)
    : m_impl(new Impl(CredentialsFromEnvironment(), clientConfiguration)) {}

KinesisClient::KinesisClient(const Aws::Auth::AWSCredentials& credentials,
                             const Aws::Client::ClientConfiguration& clientConfiguration)
    : m_impl(new Impl(std::make_shared<Aws::Auth::SimpleAWSCredentialsProvider>(credentials), clientConfiguration)) {}

KinesisClient::KinesisClient(const std::shared_ptr<Aws::Auth::AWSCredentialsProvider>& credentialsProvider,
                             const Aws::Client::ClientConfiguration& clientConfiguration)
    : m_impl(new Impl(credentialsProvider ? credentialsProvider
                                          : std::make_shared<Aws::Auth::AnonymousAWSCredentialsProvider>(),
                      clientConfiguration)) {}

KinesisClient::~KinesisClient() = default;

const Aws::String& KinesisClient::GetEndpoint() const { return m_impl->Endpoint(); }

CreateStreamOutcome KinesisClient::CreateStream(const CreateStreamRequest& request) const {
  return m_impl->Invoke<Aws::NoResult>(request);
}

DescribeStreamOutcome KinesisClient::DescribeStream(const DescribeStreamRequest& request) const {
  return m_impl->Invoke<DescribeStreamResult>(request);
}

GetRecordsOutcome KinesisClient::GetRecords(const GetRecordsRequest& request) const {
  return m_impl->Invoke<GetRecordsResult>(request);
}

GetShardIteratorOutcome KinesisClient::GetShardIterator(const GetShardIteratorRequest& request) const {
  return m_impl->Invoke<GetShardIteratorResult>(request);
}

ListStreamsOutcome KinesisClient::ListStreams(const ListStreamsRequest& request) const {
  return m_impl->Invoke<ListStreamsResult>(request);
}

PutRecordOutcome KinesisClient::PutRecord(const PutRecordRequest& request) const {
  return m_impl->Invoke<PutRecordResult>(request);
}

PutRecordsOutcome KinesisClient::PutRecords(const PutRecordsRequest& request) const {
  return m_impl->Invoke<PutRecordsResult>(request);
}

}  // namespace Kinesis
}  // namespace Aws
