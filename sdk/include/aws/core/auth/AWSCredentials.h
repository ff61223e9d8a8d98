#pragma once

#include <aws/core/utils/DateTime.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <chrono>
#include <utility>

namespace Aws {
namespace Auth {

// An access key pair with an optional session token. The destructor wipes the secrets.
class AWSCredentials {
 public:
  AWSCredentials() : m_expiration((std::chrono::time_point<std::chrono::system_clock>::max)()) {}
  AWSCredentials(const Aws::String& awsAccessKeyId, const Aws::String& awsSecretKey)
      : m_accessKeyId(awsAccessKeyId),
        m_secretKey(awsSecretKey),
        m_expiration((std::chrono::time_point<std::chrono::system_clock>::max)()) {}
  AWSCredentials(const Aws::String& awsAccessKeyId, const Aws::String& awsSecretKey, const Aws::String& sessionToken,
                 Aws::Utils::DateTime expiration = (std::chrono::time_point<std::chrono::system_clock>::max)())
      : m_accessKeyId(awsAccessKeyId), m_secretKey(awsSecretKey), m_sessionToken(sessionToken),
        m_expiration(expiration) {}
  AWSCredentials(const Aws::String& awsAccessKeyId, const Aws::String& awsSecretKey, const Aws::String& sessionToken,
                 Aws::Utils::DateTime expiration, const Aws::String& accountId)
      : m_accessKeyId(awsAccessKeyId), m_secretKey(awsSecretKey), m_sessionToken(sessionToken),
        m_expiration(expiration), m_accountId(accountId) {}

  AWSCredentials(const AWSCredentials&) = default;
  AWSCredentials(AWSCredentials&&) = default;
  AWSCredentials& operator=(const AWSCredentials&) = default;
  AWSCredentials& operator=(AWSCredentials&&) = default;
  ~AWSCredentials();

  bool operator==(const AWSCredentials& other) const {
    return m_accessKeyId == other.m_accessKeyId && m_secretKey == other.m_secretKey &&
           m_sessionToken == other.m_sessionToken && m_expiration == other.m_expiration;
  }
  bool operator!=(const AWSCredentials& other) const { return !(*this == other); }

  inline bool IsEmpty() const { return m_accessKeyId.empty() && m_secretKey.empty(); }
  inline bool IsExpired() const { return m_expiration <= Aws::Utils::DateTime::Now(); }
  inline bool IsExpiredOrEmpty() const { return IsEmpty() || IsExpired(); }

  inline const Aws::String& GetAWSAccessKeyId() const { return m_accessKeyId; }
  inline const Aws::String& GetAWSSecretKey() const { return m_secretKey; }
  inline const Aws::String& GetSessionToken() const { return m_sessionToken; }
  inline Aws::Utils::DateTime GetExpiration() const { return m_expiration; }
  inline const Aws::String& GetAccountId() const { return m_accountId; }

  inline void SetAWSAccessKeyId(const Aws::String& value) { m_accessKeyId = value; }
  inline void SetAWSAccessKeyId(const char* value) { m_accessKeyId = value ? value : ""; }
  inline void SetAWSSecretKey(const Aws::String& value) { m_secretKey = value; }
  inline void SetAWSSecretKey(const char* value) { m_secretKey = value ? value : ""; }
  inline void SetSessionToken(const Aws::String& value) { m_sessionToken = value; }
  inline void SetSessionToken(const char* value) { m_sessionToken = value ? value : ""; }
  inline void SetAccountId(const Aws::String& value) { m_accountId = value; }
  inline void SetAccountId(const char* value) { m_accountId = value ? value : ""; }
  inline void SetExpiration(Aws::Utils::DateTime expiration) { m_expiration = std::move(expiration); }

 private:
  Aws::String m_accessKeyId;
  Aws::String m_secretKey;
  Aws::String m_sessionToken;
  Aws::Utils::DateTime m_expiration;
  Aws::String m_accountId;
};

}  // namespace Auth
}  // namespace Aws
