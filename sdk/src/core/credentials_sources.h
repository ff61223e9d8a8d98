#pragma once

// What the providers share: reading credentials from the JSON of metadata services and
// credential_process, resolving a profile, and the settings of the STS calls.

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include "core/profile_files.h"
#include "core/sts_client.h"

namespace Aws {
namespace Internal {

// {"AccessKeyId", "SecretAccessKey", tokenField, "Expiration"}: empty credentials and `problem`
// when the text is no such object. A missing Expiration means the credentials never expire.
Aws::Auth::AWSCredentials CredentialsFromJson(const Aws::String& json, const char* tokenField, Aws::String& problem);

// Runs a credential_process command line through the shell.
Aws::Auth::AWSCredentials RunCredentialProcess(const Aws::String& command, Aws::String& reason);

// Credentials of a profile, roles and processes included; `reason` names the profile.
Aws::Auth::AWSCredentials ResolveProfile(const ProfileMap& profiles, const Aws::String& profile, Aws::String& reason);

// Region and trust store of STS calls made for `profile`.
StsTarget StsTargetFor(const ProfileMap& profiles, const Aws::String& profile);

// The contents of a token file as they are (STS gets a web identity token byte for byte, as
// botocore sends it); empty when unreadable.
Aws::String ReadTokenFile(const Aws::String& path);

}  // namespace Internal
}  // namespace Aws
