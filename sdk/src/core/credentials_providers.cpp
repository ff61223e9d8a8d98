#include <aws/core/auth/AWSCredentialsProvider.h>
#include <aws/core/auth/AWSCredentialsProviderChain.h>
#include <aws/core/auth/GeneralHTTPCredentialsProvider.h>
#include <aws/core/auth/STSCredentialsProvider.h>

#include "core/credentials_http.h"
#include "core/credentials_sources.h"
#include "core/environment.h"

#include <cctype>

namespace Aws {
namespace Auth {

namespace {

using Clock = std::chrono::system_clock;

constexpr char kImdsDefaultEndpoint[] = "http://169.254.169.254";
constexpr char kImdsTokenPath[] = "/latest/api/token";
constexpr char kImdsRolePath[] = "/latest/meta-data/iam/security-credentials/";
constexpr char kImdsTokenTtl[] = "21600";
constexpr long kMetadataTimeoutMs = 1000;
constexpr long kContainerTimeoutMs = 2000;

Aws::String WithoutTrailingSlash(Aws::String url) {
  while (!url.empty() && url.back() == '/') url.pop_back();
  return url;
}

Aws::String HostOf(const Aws::String& url) {
  const size_t start = url.find("://");
  if (start == Aws::String::npos) return {};
  Aws::String authority = url.substr(start + 3, url.find('/', start + 3) - (start + 3));
  if (!authority.empty() && authority[0] == '[') return authority.substr(0, authority.find(']') + 1);
  return authority.substr(0, authority.find(':'));
}

// Plain http carries the credentials in the clear: only to this machine or the agents'
// link-local addresses.
bool IsAllowedHttpHost(const Aws::String& host) {
  return host == "localhost" || host.compare(0, 4, "127.") == 0 || host == "[::1]" ||
         host == GeneralHTTPCredentialsProvider::AWS_ECS_CONTAINER_HOST ||
         host == GeneralHTTPCredentialsProvider::AWS_EKS_CONTAINER_HOST ||
         host == GeneralHTTPCredentialsProvider::AWS_EKS_CONTAINER_HOST_IPV6;
}

}  // namespace

// ---- failure words ----

Aws::String AWSCredentialsProvider::GetLastFailure() const {
  std::lock_guard<std::mutex> lock(m_failureMutex);
  return m_lastFailure;
}

void AWSCredentialsProvider::SetLastFailure(const Aws::String& reason) {
  std::lock_guard<std::mutex> lock(m_failureMutex);
  m_lastFailure = reason;
}

// ---- environment ----

AWSCredentials EnvironmentAWSCredentialsProvider::GetAWSCredentials() {
  AWSCredentials credentials(Internal::GetEnv("AWS_ACCESS_KEY_ID"), Internal::GetEnv("AWS_SECRET_ACCESS_KEY"),
                             Internal::GetEnv("AWS_SESSION_TOKEN"));
  if (credentials.GetAWSAccessKeyId().empty() || credentials.GetAWSSecretKey().empty()) {
    SetLastFailure("environment: AWS_ACCESS_KEY_ID or AWS_SECRET_ACCESS_KEY not set");
    return {};
  }
  return credentials;
}

// ---- the cache every loading provider shares ----

bool CachedCredentialsProvider::IsDue(Clock::time_point now) const {
  return m_cached.IsEmpty() || now >= m_reloadAfter;
}

AWSCredentials CachedCredentialsProvider::GetAWSCredentials() {
  {
    std::shared_lock<std::shared_timed_mutex> reading(m_cacheMutex);
    if (!IsDue(Clock::now())) return m_cached;
  }
  std::unique_lock<std::shared_timed_mutex> loading(m_cacheMutex);
  // Another thread may have loaded while this one waited.
  if (!IsDue(Clock::now())) return m_cached;
  Aws::String reason;
  AWSCredentials fresh = Load(reason);
  if (fresh.GetAWSAccessKeyId().empty() || fresh.GetAWSSecretKey().empty()) {
    SetLastFailure(reason);
    // Credentials that are due but not yet expired still sign; the next call tries again.
    if (!m_cached.IsExpiredOrEmpty()) return m_cached;
    return {};
  }
  const Clock::time_point expiration = fresh.GetExpiration().UnderlyingTimestamp();
  const Clock::time_point periodic = Clock::now() + std::chrono::milliseconds(m_refreshRateMs);
  const Clock::time_point ahead = expiration == Clock::time_point::max()
                                      ? periodic
                                      : expiration - std::chrono::milliseconds(AWS_CREDENTIAL_PROVIDER_EXPIRATION_GRACE_PERIOD);
  m_reloadAfter = std::min(periodic, ahead);
  m_cached = fresh;
  return fresh;
}

// ---- profile files ----

ProfileConfigFileAWSCredentialsProvider::ProfileConfigFileAWSCredentialsProvider(long refreshRateMs)
    : CachedCredentialsProvider(refreshRateMs), m_profileToUse(GetConfigProfileName()) {}

ProfileConfigFileAWSCredentialsProvider::ProfileConfigFileAWSCredentialsProvider(const char* profile,
                                                                               long refreshRateMs)
    : CachedCredentialsProvider(refreshRateMs),
      m_profileToUse(profile != nullptr && *profile != '\0' ? Aws::String(profile) : GetConfigProfileName()) {}

AWSCredentials ProfileConfigFileAWSCredentialsProvider::Load(Aws::String& reason) {
  const Internal::ProfileMap profiles = Internal::LoadProfiles();
  if (profiles.find(m_profileToUse) == profiles.end()) {
    reason = "profile " + m_profileToUse + ": not found in " + GetConfigProfileFilename() + " or " +
             GetCredentialsProfileFilename();
    return {};
  }
  return Internal::ResolveProfile(profiles, m_profileToUse, reason);
}

// ---- credential_process ----

ProcessCredentialsProvider::ProcessCredentialsProvider() : m_profileToUse(GetConfigProfileName()) {}

ProcessCredentialsProvider::ProcessCredentialsProvider(const Aws::String& profile) : m_profileToUse(profile) {}

AWSCredentials ProcessCredentialsProvider::Load(Aws::String& reason) {
  const Aws::String command =
      Internal::SettingOf(Internal::LoadProfiles(), m_profileToUse, "credential_process");
  if (command.empty()) {
    reason = "profile " + m_profileToUse + ": no credential_process";
    return {};
  }
  AWSCredentials credentials = Internal::RunCredentialProcess(command, reason);
  if (credentials.IsEmpty()) reason = "profile " + m_profileToUse + ": " + reason;
  return credentials;
}

// ---- instance metadata ----

InstanceProfileCredentialsProvider::InstanceProfileCredentialsProvider(long refreshRateMs)
    : CachedCredentialsProvider(refreshRateMs) {}

AWSCredentials InstanceProfileCredentialsProvider::Load(Aws::String& reason) {
  if (Internal::IsTrueText(Internal::GetEnv("AWS_EC2_METADATA_DISABLED"))) {
    reason = "instance metadata: disabled by AWS_EC2_METADATA_DISABLED";
    return {};
  }
  Aws::String endpoint = WithoutTrailingSlash(Internal::GetEnv("AWS_EC2_METADATA_SERVICE_ENDPOINT"));
  if (endpoint.empty()) endpoint = kImdsDefaultEndpoint;
  const Aws::String where = "instance metadata at " + endpoint + ": ";

  Internal::CredentialsHttpRequest request;
  request.method = "PUT";
  request.url = endpoint + kImdsTokenPath;
  request.headers = {{"x-aws-ec2-metadata-token-ttl-seconds", kImdsTokenTtl}};
  request.timeoutMs = kMetadataTimeoutMs;
  const Internal::CredentialsHttpResponse tokenAnswer = Internal::SendCredentialsRequest(request);
  // No answer, or 400 (the request itself is wrong), ends here as it does for the SDK and the
  // CLI; any other refusal of the PUT (403, 404, 405, ...) means an IMDSv1-only service.
  if (!tokenAnswer.transportError.empty() || tokenAnswer.status == 400) {
    reason = where + "session token " + tokenAnswer.Problem();
    return {};
  }
  request.method = "GET";
  request.headers.clear();
  if (tokenAnswer.Succeeded()) request.headers = {{"x-aws-ec2-metadata-token", tokenAnswer.body}};
  request.url = endpoint + kImdsRolePath;
  const Internal::CredentialsHttpResponse roleAnswer = Internal::SendCredentialsRequest(request);
  const Aws::String role = roleAnswer.body.substr(0, roleAnswer.body.find('\n'));
  if (!roleAnswer.Succeeded() || role.empty()) {
    reason = where + "no instance profile role (" + roleAnswer.Problem() + ")";
    return {};
  }
  request.url += role;
  const Internal::CredentialsHttpResponse answer = Internal::SendCredentialsRequest(request);
  if (!answer.Succeeded()) {
    reason = where + "role " + role + " " + answer.Problem();
    return {};
  }
  Aws::String problem;
  AWSCredentials credentials = Internal::CredentialsFromJson(answer.body, "Token", problem);
  if (!problem.empty()) reason = where + "role " + role + " " + problem;
  return credentials;
}

// ---- container credentials ----

const char GeneralHTTPCredentialsProvider::AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE[] =
    "AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE";
const char GeneralHTTPCredentialsProvider::AWS_CONTAINER_CREDENTIALS_RELATIVE_URI[] =
    "AWS_CONTAINER_CREDENTIALS_RELATIVE_URI";
const char GeneralHTTPCredentialsProvider::AWS_CONTAINER_CREDENTIALS_FULL_URI[] = "AWS_CONTAINER_CREDENTIALS_FULL_URI";
const char GeneralHTTPCredentialsProvider::AWS_CONTAINER_AUTHORIZATION_TOKEN[] = "AWS_CONTAINER_AUTHORIZATION_TOKEN";
const char GeneralHTTPCredentialsProvider::AWS_ECS_CONTAINER_HOST[] = "169.254.170.2";
const char GeneralHTTPCredentialsProvider::AWS_EKS_CONTAINER_HOST[] = "169.254.170.23";
const char GeneralHTTPCredentialsProvider::AWS_EKS_CONTAINER_HOST_IPV6[] = "[fd00:ec2::23]";

GeneralHTTPCredentialsProvider::GeneralHTTPCredentialsProvider(const Aws::String& relativeUri,
                                                               const Aws::String& absoluteUri,
                                                               const Aws::String& authTokenFilePath,
                                                               const Aws::String& authToken, long refreshRateMs)
    : CachedCredentialsProvider(refreshRateMs), m_authTokenFilePath(authTokenFilePath), m_authToken(authToken) {
  if (!relativeUri.empty()) {
    m_uri = Aws::String("http://") + AWS_ECS_CONTAINER_HOST + relativeUri;
  } else if (absoluteUri.compare(0, 8, "https://") == 0 ||
             (absoluteUri.compare(0, 7, "http://") == 0 && IsAllowedHttpHost(HostOf(absoluteUri)))) {
    m_uri = absoluteUri;
  } else {
    m_uriProblem = absoluteUri.empty() ? "container credentials: no URI set"
                                       : "container credentials: " + absoluteUri +
                                             " is neither https nor a loopback or container agent address";
  }
}

AWSCredentials GeneralHTTPCredentialsProvider::Load(Aws::String& reason) {
  if (m_uri.empty()) {
    reason = m_uriProblem;
    return {};
  }
  const Aws::String where = "container credentials at " + m_uri + ": ";
  Internal::CredentialsHttpRequest request;
  request.url = m_uri;
  request.timeoutMs = kContainerTimeoutMs;
  // The token file wins, and is read at every load: EKS rotates it.
  Aws::String token = m_authToken;
  if (!m_authTokenFilePath.empty()) {
    token = Internal::ReadTokenFile(m_authTokenFilePath);
    // A header can't carry the line break an editor leaves at the end.
    while (!token.empty() && (token.back() == '\n' || token.back() == '\r')) token.pop_back();
    if (token.empty()) {
      reason = where + "token file " + m_authTokenFilePath + " unreadable or empty";
      return {};
    }
  }
  if (!token.empty()) request.headers = {{"Authorization", token}};
  const Internal::CredentialsHttpResponse answer = Internal::SendCredentialsRequest(request);
  if (!answer.Succeeded()) {
    reason = where + answer.Problem();
    return {};
  }
  Aws::String problem;
  AWSCredentials credentials = Internal::CredentialsFromJson(answer.body, "Token", problem);
  if (!problem.empty()) reason = where + problem;
  return credentials;
}

// ---- web identity ----

STSAssumeRoleWebIdentityCredentialsProvider::STSAssumeRoleWebIdentityCredentialsProvider()
    : m_tokenFile(Internal::GetEnv("AWS_WEB_IDENTITY_TOKEN_FILE")),
      m_roleArn(Internal::GetEnv("AWS_ROLE_ARN")),
      m_sessionName(Internal::GetEnv("AWS_ROLE_SESSION_NAME")) {
  const Internal::ProfileMap profiles = Internal::LoadProfiles();
  const Aws::String profile = GetConfigProfileName();
  if (m_tokenFile.empty() || m_roleArn.empty()) {
    m_tokenFile = Internal::SettingOf(profiles, profile, "web_identity_token_file");
    m_roleArn = Internal::SettingOf(profiles, profile, "role_arn");
    m_sessionName = Internal::SettingOf(profiles, profile, "role_session_name");
  }
  if (m_sessionName.empty()) m_sessionName = Internal::DefaultRoleSessionName();
  const Internal::StsTarget target = Internal::StsTargetFor(profiles, profile);
  m_region = target.region;
}

AWSCredentials STSAssumeRoleWebIdentityCredentialsProvider::Load(Aws::String& reason) {
  if (m_tokenFile.empty() || m_roleArn.empty()) {
    reason = "web identity: AWS_WEB_IDENTITY_TOKEN_FILE and AWS_ROLE_ARN not set";
    return {};
  }
  const Aws::String token = Internal::ReadTokenFile(m_tokenFile);
  if (token.empty()) {
    reason = "web identity: token file " + m_tokenFile + " unreadable or empty";
    return {};
  }
  Internal::StsTarget target = Internal::StsTargetFor(Internal::LoadProfiles(), GetConfigProfileName());
  if (target.region.empty()) target.region = m_region;
  AWSCredentials credentials = Internal::AssumeRoleWithWebIdentity(target, m_roleArn, m_sessionName, token, reason);
  if (credentials.IsEmpty()) reason = "web identity: " + reason;
  return credentials;
}

// ---- chains ----

AWSCredentials AWSCredentialsProviderChain::GetAWSCredentials() {
  std::shared_ptr<AWSCredentialsProvider> cached;
  {
    std::lock_guard<std::mutex> lock(m_cachedProviderMutex);
    cached = m_cachedProvider;
  }
  if (cached) {
    AWSCredentials credentials = cached->GetAWSCredentials();
    if (!credentials.GetAWSAccessKeyId().empty() && !credentials.GetAWSSecretKey().empty()) return credentials;
  }
  Aws::String reasons;
  for (const auto& provider : m_providerChain) {
    AWSCredentials credentials = provider->GetAWSCredentials();
    if (!credentials.GetAWSAccessKeyId().empty() && !credentials.GetAWSSecretKey().empty()) {
      std::lock_guard<std::mutex> lock(m_cachedProviderMutex);
      m_cachedProvider = provider;
      return credentials;
    }
    const Aws::String reason = provider->GetLastFailure();
    if (!reason.empty()) reasons += (reasons.empty() ? "" : "; ") + reason;
  }
  SetLastFailure("no credentials in the default chain (" + reasons + ")");
  return {};
}

DefaultAWSCredentialsProviderChain::DefaultAWSCredentialsProviderChain() {
  AddProvider(std::make_shared<EnvironmentAWSCredentialsProvider>());
  AddProvider(std::make_shared<ProfileConfigFileAWSCredentialsProvider>());
  AddProvider(std::make_shared<ProcessCredentialsProvider>());
  AddProvider(std::make_shared<STSAssumeRoleWebIdentityCredentialsProvider>());
  using Container = GeneralHTTPCredentialsProvider;
  const Aws::String relativeUri = Internal::GetEnv(Container::AWS_CONTAINER_CREDENTIALS_RELATIVE_URI);
  const Aws::String absoluteUri = Internal::GetEnv(Container::AWS_CONTAINER_CREDENTIALS_FULL_URI);
  if (!relativeUri.empty() || !absoluteUri.empty()) {
    AddProvider(std::make_shared<Container>(relativeUri, absoluteUri,
                                            Internal::GetEnv(Container::AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE),
                                            Internal::GetEnv(Container::AWS_CONTAINER_AUTHORIZATION_TOKEN)));
  } else if (!Internal::IsTrueText(Internal::GetEnv("AWS_EC2_METADATA_DISABLED"))) {
    AddProvider(std::make_shared<InstanceProfileCredentialsProvider>());
  }
}

}  // namespace Auth
}  // namespace Aws
