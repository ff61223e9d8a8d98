#pragma once

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/utils/DateTime.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>

#include <array>
#include <memory>
#include <utility>

namespace Aws {
namespace Client {

// A request as the signer sees it: the headers in the order they will be sent (names as
// written, repeats allowed) and the hex SHA-256 of the body.
struct SignableRequest {
  Aws::String method = "POST";
  Aws::String path = "/";  // raw path of the request line, without the query
  Aws::String query;       // raw query string, without '?'
  Aws::Vector<std::pair<Aws::String, Aws::String>> headers;
  Aws::String payloadHash;
};

using SigningKey = std::array<unsigned char, 32>;

// The SigV4 steps, each usable and testable on its own.
namespace SigV4 {
constexpr const char kAlgorithm[] = "AWS4-HMAC-SHA256";

// Headers that travel unsigned because proxies may rewrite them.
bool IsUnsignedHeader(const Aws::String& lowerCaseName);

// "name1;name2;...": lower-cased signed header names, sorted, unique.
Aws::String SignedHeaders(const SignableRequest& request);

// The canonical request. normalizePath removes "." and ".." segments and repeated slashes
// (every service but S3).
Aws::String CanonicalRequest(const SignableRequest& request, bool normalizePath = true);

// "<yyyymmdd>/<region>/<service>/aws4_request"
Aws::String CredentialScope(const Aws::String& date, const Aws::String& region, const Aws::String& service);

Aws::String StringToSign(const Aws::String& canonicalRequest, const Aws::String& amzDate,
                         const Aws::String& credentialScope);

SigningKey DeriveSigningKey(const Aws::String& secretKey, const Aws::String& date, const Aws::String& region,
                            const Aws::String& service);

// 64 lowercase hex characters.
Aws::String Signature(const SigningKey& key, const Aws::String& stringToSign);

// Lowercase hex SHA-256 of a byte range.
Aws::String HashPayload(const void* data, size_t length);
}  // namespace SigV4

// Signs requests of one service in one region with fixed credentials. Thread-safe; the
// signing key is derived once per day and shared.
class AWSAuthV4Signer {
 public:
  // normalizePath: canonicalise "." / ".." segments and repeated slashes (off only for S3).
  AWSAuthV4Signer(const Aws::Auth::AWSCredentials& credentials, const char* serviceName, const Aws::String& region,
                  bool normalizePath = true);
  ~AWSAuthV4Signer();

  AWSAuthV4Signer(const AWSAuthV4Signer&) = delete;
  AWSAuthV4Signer& operator=(const AWSAuthV4Signer&) = delete;

  const char* GetName() const { return "SignatureV4"; }
  const Aws::String& GetRegion() const { return m_region; }
  const Aws::String& GetServiceName() const { return m_serviceName; }

  // Adds x-amz-date, x-amz-security-token (if a token is set), x-amz-content-sha256 (if
  // addContentSha256Header) and authorization. Credentials with an empty key id or secret
  // leave the request untouched (anonymous).
  void SignRequest(SignableRequest& request, const Aws::Utils::DateTime& signingTime,
                   bool addContentSha256Header = true) const;

  // Clock skew learned from the service, applied to the signing time.
  void SetClockSkew(std::chrono::milliseconds skew);
  std::chrono::milliseconds GetClockSkew() const;

 private:
  struct DailyKey;
  std::shared_ptr<const DailyKey> CachedSigningKey(const Aws::String& date) const;

  struct KeyCache;
  Aws::Auth::AWSCredentials m_credentials;
  Aws::String m_serviceName;
  Aws::String m_region;
  bool m_normalizePath;
  std::unique_ptr<KeyCache> m_keyCache;
};

}  // namespace Client
}  // namespace Aws
