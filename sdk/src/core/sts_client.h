#pragma once

// The two STS calls the credentials providers need, Query protocol over POST, XML answers.

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include "core/credentials_http.h"

namespace Aws {
namespace Internal {

struct StsTarget {
  Aws::String region;  // empty: us-east-1 and the global endpoint
  Aws::String caFile;
};

// Temporary credentials for roleArn, signed with `source`. On failure: empty credentials and
// `reason` ("STS AssumeRole refused: AccessDenied: ...", "STS AssumeRole unreachable: ...").
Aws::Auth::AWSCredentials AssumeRole(const StsTarget& target, const Aws::Auth::AWSCredentials& source,
                                     const Aws::String& roleArn, const Aws::String& sessionName,
                                     const Aws::String& externalId, Aws::String& reason);

// Temporary credentials for roleArn in exchange for an OIDC token; the request is unsigned.
Aws::Auth::AWSCredentials AssumeRoleWithWebIdentity(const StsTarget& target, const Aws::String& roleArn,
                                                    const Aws::String& sessionName, const Aws::String& webIdentityToken,
                                                    Aws::String& reason);

// The credentials of an STS answer that arrived; `prefix` ("STS AssumeRole") starts `reason`.
Aws::Auth::AWSCredentials ReadStsAnswer(const CredentialsHttpResponse& response, const Aws::String& prefix,
                                        Aws::String& reason);

// The STS endpoint: AWS_ENDPOINT_URL_STS, else AWS_ENDPOINT_URL, else the regional one.
Aws::String StsEndpoint(const Aws::String& region);

// A session name for role sessions that were given none.
Aws::String DefaultRoleSessionName();

}  // namespace Internal
}  // namespace Aws
