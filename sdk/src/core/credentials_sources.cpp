#include "core/credentials_sources.h"

#include <aws/core/auth/AWSCredentialsProvider.h>
#include <aws/core/auth/GeneralHTTPCredentialsProvider.h>

#include "core/environment.h"

#include <simdjson.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

namespace Aws {
namespace Internal {

namespace {

// A role's source may itself be a role; more links than this is a loop or a mistake.
constexpr int kMaxRoleChain = 5;
// credential_process answers are small JSON objects.
constexpr size_t kMaxProcessOutput = 64 * 1024;

Aws::String JsonText(simdjson::dom::object& object, const char* field) {
  std::string_view text;
  if (object[field].get(text) != simdjson::SUCCESS) return {};
  return Aws::String(text);
}

Aws::Auth::AWSCredentials SourceCredentials(const ProfileMap& profiles, const Aws::String& profile, int depth,
                                            Aws::String& reason);

Aws::Auth::AWSCredentials StaticCredentials(const ProfileMap& profiles, const Aws::String& profile) {
  return Aws::Auth::AWSCredentials(SettingOf(profiles, profile, "aws_access_key_id"),
                                   SettingOf(profiles, profile, "aws_secret_access_key"),
                                   SettingOf(profiles, profile, "aws_session_token"));
}

Aws::String SessionNameOf(const ProfileMap& profiles, const Aws::String& profile) {
  const Aws::String name = SettingOf(profiles, profile, "role_session_name");
  return name.empty() ? DefaultRoleSessionName() : name;
}

// credential_source: where a role's source credentials come from outside the files.
Aws::Auth::AWSCredentials NamedSourceCredentials(const Aws::String& source, Aws::String& reason) {
  std::unique_ptr<Aws::Auth::AWSCredentialsProvider> provider;
  if (source == "Environment") {
    provider = std::make_unique<Aws::Auth::EnvironmentAWSCredentialsProvider>();
  } else if (source == "Ec2InstanceMetadata") {
    provider = std::make_unique<Aws::Auth::InstanceProfileCredentialsProvider>();
  } else if (source == "EcsContainer") {
    using Container = Aws::Auth::GeneralHTTPCredentialsProvider;
    provider = std::make_unique<Container>(GetEnv(Container::AWS_CONTAINER_CREDENTIALS_RELATIVE_URI),
                                           GetEnv(Container::AWS_CONTAINER_CREDENTIALS_FULL_URI),
                                           GetEnv(Container::AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE),
                                           GetEnv(Container::AWS_CONTAINER_AUTHORIZATION_TOKEN));
  } else {
    reason = "unknown credential_source " + source;
    return {};
  }
  Aws::Auth::AWSCredentials credentials = provider->GetAWSCredentials();
  if (credentials.IsEmpty()) reason = provider->GetLastFailure();
  return credentials;
}

Aws::Auth::AWSCredentials AssumeProfileRole(const ProfileMap& profiles, const Aws::String& profile, int depth,
                                            Aws::String& reason) {
  const Aws::String roleArn = SettingOf(profiles, profile, "role_arn");
  const StsTarget target = StsTargetFor(profiles, profile);
  const Aws::String tokenFile = SettingOf(profiles, profile, "web_identity_token_file");
  if (!tokenFile.empty()) {
    const Aws::String token = ReadTokenFile(tokenFile);
    if (token.empty()) {
      reason = "web_identity_token_file " + tokenFile + " unreadable or empty";
      return {};
    }
    return AssumeRoleWithWebIdentity(target, roleArn, SessionNameOf(profiles, profile), token, reason);
  }
  const Aws::String sourceProfile = SettingOf(profiles, profile, "source_profile");
  const Aws::String credentialSource = SettingOf(profiles, profile, "credential_source");
  Aws::Auth::AWSCredentials source;
  if (!sourceProfile.empty()) {
    // A profile that names itself holds the source keys next to its role.
    source = sourceProfile == profile ? StaticCredentials(profiles, profile)
                                      : SourceCredentials(profiles, sourceProfile, depth + 1, reason);
    if (source.IsEmpty() && reason.empty()) reason = "source_profile " + sourceProfile + " has no keys";
  } else if (!credentialSource.empty()) {
    source = NamedSourceCredentials(credentialSource, reason);
    if (!reason.empty()) reason = "credential_source " + credentialSource + ": " + reason;
  } else {
    reason = "role_arn without source_profile, credential_source or web_identity_token_file";
    return {};
  }
  if (source.IsEmpty()) return {};
  return AssumeRole(target, source, roleArn, SessionNameOf(profiles, profile),
                    SettingOf(profiles, profile, "external_id"), reason);
}

Aws::Auth::AWSCredentials SourceCredentials(const ProfileMap& profiles, const Aws::String& profile, int depth,
                                            Aws::String& reason) {
  if (depth > kMaxRoleChain) {
    reason = "more than " + std::to_string(kMaxRoleChain) + " roles in a row (source_profile loop?)";
    return {};
  }
  if (profiles.find(profile) == profiles.end()) {
    reason = "profile " + profile + " not found";
    return {};
  }
  if (!SettingOf(profiles, profile, "role_arn").empty()) return AssumeProfileRole(profiles, profile, depth, reason);
  Aws::Auth::AWSCredentials credentials = StaticCredentials(profiles, profile);
  if (!credentials.GetAWSAccessKeyId().empty() && !credentials.GetAWSSecretKey().empty()) return credentials;
  const Aws::String process = SettingOf(profiles, profile, "credential_process");
  if (!process.empty()) return RunCredentialProcess(process, reason);
  reason = "profile " + profile + " holds no credentials";
  return {};
}

}  // namespace

Aws::String ReadTokenFile(const Aws::String& path) {
  std::ifstream file(ExpandHome(path).c_str(), std::ios::binary);
  if (!file) return {};
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

Aws::Auth::AWSCredentials CredentialsFromJson(const Aws::String& json, const char* tokenField, Aws::String& problem) {
  simdjson::dom::parser parser;
  simdjson::dom::object object;
  if (parser.parse(json.data(), json.size()).get(object) != simdjson::SUCCESS) {
    problem = "answer is no JSON object";
    return {};
  }
  Aws::Auth::AWSCredentials credentials(JsonText(object, "AccessKeyId"), JsonText(object, "SecretAccessKey"),
                                        JsonText(object, tokenField));
  if (credentials.GetAWSAccessKeyId().empty() || credentials.GetAWSSecretKey().empty()) {
    problem = "answer lacks AccessKeyId or SecretAccessKey";
    return {};
  }
  const Aws::String expiration = JsonText(object, "Expiration");
  if (!expiration.empty()) {
    const Aws::Utils::DateTime when(expiration, Aws::Utils::DateFormat::ISO_8601);
    if (!when.WasParseSuccessful()) {
      problem = "answer has an unreadable Expiration";
      return {};
    }
    credentials.SetExpiration(when);
  }
  return credentials;
}

Aws::Auth::AWSCredentials RunCredentialProcess(const Aws::String& command, Aws::String& reason) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    reason = "credential_process could not be started";
    return {};
  }
  Aws::String output;
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) {
    if (output.size() + n > kMaxProcessOutput) break;
    output.append(buffer, n);
  }
  const int status = pclose(pipe);
  if (status != 0) {
    reason = "credential_process exited with status " +
             std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : status);
    return {};
  }
  Aws::String problem;
  Aws::Auth::AWSCredentials credentials = CredentialsFromJson(output, "SessionToken", problem);
  if (!problem.empty()) {
    reason = "credential_process " + problem;
    return {};
  }
  simdjson::dom::parser parser;
  int64_t version = 0;
  if (parser.parse(output.data(), output.size())["Version"].get(version) != simdjson::SUCCESS || version != 1) {
    reason = "credential_process answer is not Version 1";
    return {};
  }
  return credentials;
}

Aws::Auth::AWSCredentials ResolveProfile(const ProfileMap& profiles, const Aws::String& profile, Aws::String& reason) {
  Aws::String why;
  Aws::Auth::AWSCredentials credentials = SourceCredentials(profiles, profile, 0, why);
  if (credentials.IsEmpty()) reason = "profile " + profile + ": " + why;
  return credentials;
}

StsTarget StsTargetFor(const ProfileMap& profiles, const Aws::String& profile) {
  StsTarget target;
  for (const char* name : {"AWS_REGION", "AWS_DEFAULT_REGION"}) {
    if (target.region.empty()) target.region = GetEnv(name);
  }
  if (target.region.empty()) target.region = SettingOf(profiles, profile, "region");
  target.caFile = GetEnv("AWS_CA_BUNDLE");
  if (target.caFile.empty()) target.caFile = ExpandHome(SettingOf(profiles, profile, "ca_bundle"));
  return target;
}

}  // namespace Internal

namespace Auth {

AWSCredentials GetCredentialsFromProcess(const Aws::String& process) {
  Aws::String reason;
  return Internal::RunCredentialProcess(process, reason);
}

}  // namespace Auth
}  // namespace Aws
