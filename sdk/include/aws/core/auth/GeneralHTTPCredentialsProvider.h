#pragma once

#include <aws/core/auth/AWSCredentialsProvider.h>

namespace Aws {
namespace Auth {

// Container credentials (ECS tasks, EKS Pod Identity): a relative URI on the ECS agent's
// address, or a full URI (https anywhere; http only to loopback or the ECS/EKS agent
// addresses), with an optional Authorization header read from a token file or given as is.
class GeneralHTTPCredentialsProvider : public CachedCredentialsProvider {
 public:
  GeneralHTTPCredentialsProvider(const Aws::String& relativeUri, const Aws::String& absoluteUri,
                                 const Aws::String& authTokenFilePath = "", const Aws::String& authToken = "",
                                 long refreshRateMs = REFRESH_THRESHOLD);

  // False when the URIs are empty or point somewhere credentials must not be fetched from.
  bool IsValid() const { return !m_uri.empty(); }

  static const char AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE[];
  static const char AWS_CONTAINER_CREDENTIALS_RELATIVE_URI[];
  static const char AWS_CONTAINER_CREDENTIALS_FULL_URI[];
  static const char AWS_CONTAINER_AUTHORIZATION_TOKEN[];
  static const char AWS_ECS_CONTAINER_HOST[];
  static const char AWS_EKS_CONTAINER_HOST[];
  static const char AWS_EKS_CONTAINER_HOST_IPV6[];

 protected:
  AWSCredentials Load(Aws::String& reason) override;

 private:
  Aws::String m_uri;
  Aws::String m_uriProblem;  // why m_uri is empty
  Aws::String m_authTokenFilePath;
  Aws::String m_authToken;
};

using TaskRoleCredentialsProvider = GeneralHTTPCredentialsProvider;

}  // namespace Auth
}  // namespace Aws
