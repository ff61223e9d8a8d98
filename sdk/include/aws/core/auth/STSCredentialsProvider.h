#pragma once

#include <aws/core/auth/AWSCredentialsProvider.h>

namespace Aws {
namespace Auth {

// EKS service accounts: AWS_WEB_IDENTITY_TOKEN_FILE, AWS_ROLE_ARN and AWS_ROLE_SESSION_NAME,
// else the profile's web_identity_token_file, role_arn and role_session_name, exchanged at STS
// AssumeRoleWithWebIdentity (AWS_ENDPOINT_URL_STS, else the regional endpoint).
class STSAssumeRoleWebIdentityCredentialsProvider : public CachedCredentialsProvider {
 public:
  STSAssumeRoleWebIdentityCredentialsProvider();

 protected:
  AWSCredentials Load(Aws::String& reason) override;

 private:
  Aws::String m_tokenFile;
  Aws::String m_roleArn;
  Aws::String m_sessionName;
  Aws::String m_region;
};

}  // namespace Auth
}  // namespace Aws
