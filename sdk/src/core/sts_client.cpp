#include "core/sts_client.h"

#include <aws/core/auth/signer/AWSAuthV4Signer.h>

#include "core/credentials_http.h"
#include "core/environment.h"

#include <expat.h>

#include <cctype>

#include <map>
#include <memory>

namespace Aws {
namespace Internal {

namespace {

constexpr char kStsVersion[] = "2011-06-15";
constexpr char kFormContentType[] = "application/x-www-form-urlencoded; charset=utf-8";
constexpr long kStsTimeoutMs = 10000;

// The text of every leaf element of an answer by element name (the last one wins): STS
// answers hold each field once.
class XmlFields {
 public:
  bool Parse(const Aws::String& document) {
    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate("UTF-8"), XML_ParserFree);
    if (!parser) return false;
    XML_SetUserData(parser.get(), this);
    XML_SetElementHandler(parser.get(), OnStart, OnEnd);
    XML_SetCharacterDataHandler(parser.get(), OnText);
    return XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), 1) == XML_STATUS_OK;
  }
  Aws::String Get(const char* name) const {
    const auto found = m_fields.find(name);
    return found == m_fields.end() ? Aws::String() : found->second;
  }

 private:
  static void OnStart(void* user, const XML_Char*, const XML_Char**) { static_cast<XmlFields*>(user)->m_text.clear(); }
  static void OnEnd(void* user, const XML_Char* name) {
    auto* self = static_cast<XmlFields*>(user);
    self->m_fields[name] = self->m_text;
    self->m_text.clear();
  }
  static void OnText(void* user, const XML_Char* text, int length) {
    static_cast<XmlFields*>(user)->m_text.append(text, static_cast<size_t>(length));
  }

  std::map<Aws::String, Aws::String> m_fields;
  Aws::String m_text;
};

Aws::String FormEncode(const Aws::String& text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  Aws::String out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0x0f]);
    }
  }
  return out;
}

Aws::String FormBody(const std::map<Aws::String, Aws::String>& parameters) {
  Aws::String body;
  for (const auto& parameter : parameters) {
    if (parameter.second.empty()) continue;
    if (!body.empty()) body += '&';
    body += parameter.first + "=" + FormEncode(parameter.second);
  }
  return body;
}

Aws::String HostOf(const Aws::String& url) {
  const size_t start = url.find("://");
  const size_t begin = start == Aws::String::npos ? 0 : start + 3;
  const size_t end = url.find('/', begin);
  return url.substr(begin, end == Aws::String::npos ? Aws::String::npos : end - begin);
}

Aws::Auth::AWSCredentials Call(const StsTarget& target, const char* action,
                               std::map<Aws::String, Aws::String> parameters,
                               const Aws::Auth::AWSCredentials* signWith, Aws::String& reason) {
  parameters["Action"] = action;
  parameters["Version"] = kStsVersion;
  CredentialsHttpRequest request;
  request.method = "POST";
  request.url = StsEndpoint(target.region);
  request.body = FormBody(parameters);
  request.timeoutMs = kStsTimeoutMs;
  request.useProxy = true;
  request.caFile = target.caFile;
  Aws::Client::SignableRequest signable;
  signable.headers = {{"host", HostOf(request.url)}, {"content-type", kFormContentType}};
  signable.payloadHash = Aws::Client::SigV4::HashPayload(request.body.data(), request.body.size());
  if (signWith != nullptr) {
    const Aws::Client::AWSAuthV4Signer signer(*signWith, "sts", target.region.empty() ? "us-east-1" : target.region);
    signer.SignRequest(signable, Aws::Utils::DateTime::Now(), false);
  }
  for (auto& header : signable.headers) {
    if (header.first != "host") request.headers.push_back(std::move(header));
  }
  const CredentialsHttpResponse response = SendCredentialsRequest(request);
  const Aws::String prefix = Aws::String("STS ") + action;
  if (!response.transportError.empty()) {
    reason = prefix + " unreachable at " + request.url + ": " + response.transportError;
    return {};
  }
  return ReadStsAnswer(response, prefix, reason);
}

}  // namespace

Aws::Auth::AWSCredentials ReadStsAnswer(const CredentialsHttpResponse& response, const Aws::String& prefix,
                                        Aws::String& reason) {
  XmlFields fields;
  if (!fields.Parse(response.body)) {
    reason = prefix + " answered " + response.Problem() + " with no readable XML";
    return {};
  }
  if (!response.Succeeded()) {
    reason = prefix + " refused: " + response.Problem() + " " + fields.Get("Code") + ": " + fields.Get("Message");
    return {};
  }
  Aws::Auth::AWSCredentials credentials(fields.Get("AccessKeyId"), fields.Get("SecretAccessKey"),
                                        fields.Get("SessionToken"));
  const Aws::Utils::DateTime expiration(fields.Get("Expiration"), Aws::Utils::DateFormat::ISO_8601);
  if (credentials.IsEmpty() || !expiration.WasParseSuccessful()) {
    reason = prefix + " answered without credentials or expiration";
    return {};
  }
  credentials.SetExpiration(expiration);
  return credentials;
}

Aws::String StsEndpoint(const Aws::String& region) {
  for (const char* name : {"AWS_ENDPOINT_URL_STS", "AWS_ENDPOINT_URL"}) {
    const Aws::String url = GetEnv(name);
    if (!url.empty()) return url.find("://") == Aws::String::npos ? "https://" + url : url;
  }
  if (region.empty()) return "https://sts.amazonaws.com";
  const bool china = region.compare(0, 3, "cn-") == 0;
  return "https://sts." + region + (china ? ".amazonaws.com.cn" : ".amazonaws.com");
}

Aws::String DefaultRoleSessionName() {
  return "aws-sdk-cpp-" + std::to_string(Aws::Utils::DateTime::Now().Millis());
}

Aws::Auth::AWSCredentials AssumeRole(const StsTarget& target, const Aws::Auth::AWSCredentials& source,
                                     const Aws::String& roleArn, const Aws::String& sessionName,
                                     const Aws::String& externalId, Aws::String& reason) {
  return Call(target, "AssumeRole", {{"RoleArn", roleArn}, {"RoleSessionName", sessionName}, {"ExternalId", externalId}},
              &source, reason);
}

Aws::Auth::AWSCredentials AssumeRoleWithWebIdentity(const StsTarget& target, const Aws::String& roleArn,
                                                    const Aws::String& sessionName, const Aws::String& webIdentityToken,
                                                    Aws::String& reason) {
  return Call(target, "AssumeRoleWithWebIdentity",
              {{"RoleArn", roleArn}, {"RoleSessionName", sessionName}, {"WebIdentityToken", webIdentityToken}}, nullptr,
              reason);
}

}  // namespace Internal
}  // namespace Aws
