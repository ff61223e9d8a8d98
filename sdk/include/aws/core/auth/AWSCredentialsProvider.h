#pragma once

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <shared_mutex>

namespace Aws {
namespace Auth {

// How often static credentials from files are read again.
constexpr int REFRESH_THRESHOLD = 1000 * 60 * 5;
// Temporary credentials are replaced this long before they expire.
constexpr int AWS_CREDENTIAL_PROVIDER_EXPIRATION_GRACE_PERIOD = 5 * 1000;

// AWS_CONFIG_FILE, else ~/.aws/config.
Aws::String GetConfigProfileFilename();
// AWS_PROFILE, else AWS_DEFAULT_PROFILE, else "default".
Aws::String GetConfigProfileName();
// Runs a credential_process command and reads its JSON answer (Version 1). Empty credentials
// when the command fails or answers something else.
AWSCredentials GetCredentialsFromProcess(const Aws::String& process);

// A source of credentials. GetAWSCredentials is safe to call from any number of threads.
class AWSCredentialsProvider {
 public:
  AWSCredentialsProvider() = default;
  virtual ~AWSCredentialsProvider() = default;
  AWSCredentialsProvider(const AWSCredentialsProvider&) = delete;
  AWSCredentialsProvider& operator=(const AWSCredentialsProvider&) = delete;

  // Empty credentials when the source has none.
  virtual AWSCredentials GetAWSCredentials() = 0;

  // Not in the SDK, which only logs it: why the latest empty answer was empty, naming the
  // source and the reason ("profile dev: no such profile in ..."). Never holds a secret.
  // Empty when the provider never failed or signs anonymously on purpose.
  Aws::String GetLastFailure() const;

 protected:
  void SetLastFailure(const Aws::String& reason);

 private:
  mutable std::mutex m_failureMutex;
  Aws::String m_lastFailure;
};

// Unsigned requests.
class AnonymousAWSCredentialsProvider : public AWSCredentialsProvider {
 public:
  AWSCredentials GetAWSCredentials() override { return AWSCredentials(); }
};

// Fixed credentials, as given.
class SimpleAWSCredentialsProvider : public AWSCredentialsProvider {
 public:
  SimpleAWSCredentialsProvider(const Aws::String& awsAccessKeyId, const Aws::String& awsSecretAccessKey,
                               const Aws::String& sessionToken = "")
      : m_credentials(awsAccessKeyId, awsSecretAccessKey, sessionToken) {}
  explicit SimpleAWSCredentialsProvider(const AWSCredentials& credentials) : m_credentials(credentials) {}
  AWSCredentials GetAWSCredentials() override { return m_credentials; }

 private:
  AWSCredentials m_credentials;
};

// AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY and AWS_SESSION_TOKEN, read at every call.
class EnvironmentAWSCredentialsProvider : public AWSCredentialsProvider {
 public:
  AWSCredentials GetAWSCredentials() override;
};

// Credentials that are loaded, kept, and loaded again when due: before they expire, or after
// a fixed period for those that never do. One load at a time; readers never wait for a load
// unless the credentials they would get are due.
class CachedCredentialsProvider : public AWSCredentialsProvider {
 public:
  AWSCredentials GetAWSCredentials() override;

 protected:
  explicit CachedCredentialsProvider(long refreshRateMs = REFRESH_THRESHOLD) : m_refreshRateMs(refreshRateMs) {}
  // Fetches fresh credentials; on failure returns empty ones and sets `reason`.
  virtual AWSCredentials Load(Aws::String& reason) = 0;

 private:
  bool IsDue(std::chrono::system_clock::time_point now) const;

  long m_refreshRateMs;
  mutable std::shared_timed_mutex m_cacheMutex;
  AWSCredentials m_cached;
  std::chrono::system_clock::time_point m_reloadAfter{};
};

// The shared credentials and config files (AWS_SHARED_CREDENTIALS_FILE, AWS_CONFIG_FILE) for
// one profile: static keys (with aws_session_token), role_arn through STS AssumeRole with
// source_profile or credential_source (Environment, Ec2InstanceMetadata, EcsContainer),
// web_identity_token_file, and credential_process.
class ProfileConfigFileAWSCredentialsProvider : public CachedCredentialsProvider {
 public:
  explicit ProfileConfigFileAWSCredentialsProvider(long refreshRateMs = REFRESH_THRESHOLD);
  explicit ProfileConfigFileAWSCredentialsProvider(const char* profile, long refreshRateMs = REFRESH_THRESHOLD);

  // AWS_SHARED_CREDENTIALS_FILE, else ~/.aws/credentials.
  static Aws::String GetCredentialsProfileFilename();
  // The directory of the default files: ~/.aws.
  static Aws::String GetProfileDirectory();

 protected:
  AWSCredentials Load(Aws::String& reason) override;

 private:
  Aws::String m_profileToUse;
};

// credential_process of a profile, run again when its credentials are due.
class ProcessCredentialsProvider : public CachedCredentialsProvider {
 public:
  ProcessCredentialsProvider();
  explicit ProcessCredentialsProvider(const Aws::String& profile);

 protected:
  AWSCredentials Load(Aws::String& reason) override;

 private:
  Aws::String m_profileToUse;
};

// The EC2 instance metadata service, IMDSv2 (session token first, IMDSv1 when the service
// does not offer tokens). AWS_EC2_METADATA_SERVICE_ENDPOINT overrides http://169.254.169.254.
class InstanceProfileCredentialsProvider : public CachedCredentialsProvider {
 public:
  explicit InstanceProfileCredentialsProvider(long refreshRateMs = REFRESH_THRESHOLD);

 protected:
  AWSCredentials Load(Aws::String& reason) override;
};

}  // namespace Auth
}  // namespace Aws
