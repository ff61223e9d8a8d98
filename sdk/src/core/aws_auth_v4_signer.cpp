#include <aws/core/auth/signer/AWSAuthV4Signer.h>

#include "core/encoding.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <mutex>

namespace Aws {
namespace Client {

namespace {

constexpr char kDateHeader[] = "x-amz-date";
constexpr char kSecurityTokenHeader[] = "x-amz-security-token";
constexpr char kContentSha256Header[] = "x-amz-content-sha256";
constexpr char kAuthorizationHeader[] = "authorization";
constexpr char kTerminator[] = "aws4_request";

bool IsUnreserved(unsigned char c) {
  return std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~';
}

// RFC 3986 percent-encoding of every byte but the unreserved ones (and '/' when asked).
void AppendUriEncoded(Aws::String& out, const Aws::String& text, bool keepSlash) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (unsigned char c : text) {
    if (IsUnreserved(c) || (keepSlash && c == '/')) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back('%');
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0x0f]);
    }
  }
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

Aws::String UriDecode(const Aws::String& text) {
  Aws::String out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
      out.push_back(static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2])));
      i += 2;
    } else {
      out.push_back(text[i]);
    }
  }
  return out;
}

// Removes "." and ".." segments and empty segments (repeated slashes), keeping a trailing
// slash.
Aws::String NormalizePath(const Aws::String& path) {
  Aws::Vector<Aws::String> segments;
  size_t start = 0;
  bool endsAsDirectory = false;
  while (start <= path.size()) {
    size_t end = path.find('/', start);
    if (end == Aws::String::npos) end = path.size();
    const Aws::String segment = path.substr(start, end - start);
    endsAsDirectory = segment.empty() || segment == "." || segment == "..";
    if (segment == "..") {
      if (!segments.empty()) segments.pop_back();
    } else if (!segment.empty() && segment != ".") {
      segments.push_back(segment);
    }
    start = end + 1;
  }
  Aws::String normalized;
  for (const Aws::String& segment : segments) normalized += "/" + segment;
  if (normalized.empty() || endsAsDirectory) normalized += "/";
  return normalized;
}

Aws::String CanonicalUri(const Aws::String& path, bool normalizePath) {
  const Aws::String source = path.empty() ? Aws::String("/") : (normalizePath ? NormalizePath(path) : path);
  Aws::String encoded;
  AppendUriEncoded(encoded, source, true);
  return encoded;
}

Aws::String CanonicalQuery(const Aws::String& query) {
  if (query.empty()) return {};
  Aws::Vector<std::pair<Aws::String, Aws::String>> parameters;
  size_t start = 0;
  while (start <= query.size()) {
    size_t end = query.find('&', start);
    if (end == Aws::String::npos) end = query.size();
    const Aws::String pair = query.substr(start, end - start);
    if (!pair.empty()) {
      const size_t equals = pair.find('=');
      Aws::String key, value;
      AppendUriEncoded(key, UriDecode(pair.substr(0, equals)), false);
      if (equals != Aws::String::npos) AppendUriEncoded(value, UriDecode(pair.substr(equals + 1)), false);
      parameters.emplace_back(std::move(key), std::move(value));
    }
    start = end + 1;
  }
  std::sort(parameters.begin(), parameters.end());
  Aws::String canonical;
  for (const auto& parameter : parameters) {
    if (!canonical.empty()) canonical += '&';
    canonical += parameter.first + "=" + parameter.second;
  }
  return canonical;
}

// Appends the value trimmed, with every run of blanks (including folded line breaks) reduced
// to one space.
void AppendCanonicalHeaderValue(Aws::String& out, const Aws::String& value) {
  const size_t start = out.size();
  bool pendingSpace = false;
  for (char c : value) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      pendingSpace = out.size() > start;
      continue;
    }
    if (pendingSpace) out.push_back(' ');
    pendingSpace = false;
    out.push_back(c);
  }
}

Aws::String LowerCased(const Aws::String& text) {
  Aws::String lower(text.size(), '\0');
  for (size_t i = 0; i < text.size(); ++i) {
    lower[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
  }
  return lower;
}

// Signed headers in canonical order: lower-cased name -> values joined by ','.
Aws::Vector<std::pair<Aws::String, Aws::String>> CanonicalHeaderList(const SignableRequest& request) {
  Aws::Vector<std::pair<Aws::String, Aws::String>> merged;
  merged.reserve(request.headers.size());
  for (const auto& header : request.headers) {
    Aws::String name = LowerCased(header.first);
    if (SigV4::IsUnsignedHeader(name)) continue;
    auto existing = std::find_if(merged.begin(), merged.end(), [&](const auto& h) { return h.first == name; });
    if (existing == merged.end()) {
      merged.emplace_back(std::move(name), Aws::String());
      existing = merged.end() - 1;
    } else {
      existing->second.push_back(',');
    }
    AppendCanonicalHeaderValue(existing->second, header.second);
  }
  // Names are unique once merged, so any sort gives the one canonical order.
  std::sort(merged.begin(), merged.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  return merged;
}

// The canonical request, and the signed-header list it contains.
Aws::String BuildCanonicalRequest(const SignableRequest& request, bool normalizePath, Aws::String& signedHeaders) {
  const auto headers = CanonicalHeaderList(request);
  Aws::String canonical;
  canonical.reserve(1024);
  canonical.append(request.method).push_back('\n');
  canonical.append(CanonicalUri(request.path, normalizePath)).push_back('\n');
  canonical.append(CanonicalQuery(request.query)).push_back('\n');
  signedHeaders.clear();
  for (const auto& header : headers) {
    canonical.append(header.first).append(1, ':').append(header.second).push_back('\n');
    if (!signedHeaders.empty()) signedHeaders += ';';
    signedHeaders += header.first;
  }
  canonical.append(1, '\n').append(signedHeaders).append(1, '\n').append(request.payloadHash);
  return canonical;
}

bool EqualsIgnoringCase(const Aws::String& text, const char* lowerCase) {
  const size_t length = std::char_traits<char>::length(lowerCase);
  if (text.size() != length) return false;
  for (size_t i = 0; i < length; ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != lowerCase[i]) return false;
  }
  return true;
}

bool IsSigningHeader(const Aws::String& name) {
  return EqualsIgnoringCase(name, kDateHeader) || EqualsIgnoringCase(name, kSecurityTokenHeader) ||
         EqualsIgnoringCase(name, kContentSha256Header) || EqualsIgnoringCase(name, kAuthorizationHeader);
}

}  // namespace

namespace SigV4 {

bool IsUnsignedHeader(const Aws::String& lowerCaseName) {
  return lowerCaseName == "user-agent" || lowerCaseName == "x-amzn-trace-id" ||
         lowerCaseName == kAuthorizationHeader;
}

Aws::String SignedHeaders(const SignableRequest& request) {
  Aws::String list;
  for (const auto& header : CanonicalHeaderList(request)) {
    if (!list.empty()) list += ';';
    list += header.first;
  }
  return list;
}

Aws::String CanonicalRequest(const SignableRequest& request, bool normalizePath) {
  Aws::String signedHeaders;
  return BuildCanonicalRequest(request, normalizePath, signedHeaders);
}

Aws::String CredentialScope(const Aws::String& date, const Aws::String& region, const Aws::String& service) {
  return date + "/" + region + "/" + service + "/" + kTerminator;
}

Aws::String StringToSign(const Aws::String& canonicalRequest, const Aws::String& amzDate,
                         const Aws::String& credentialScope) {
  const auto hash = Internal::Sha256(canonicalRequest.data(), canonicalRequest.size());
  return Aws::String(kAlgorithm) + "\n" + amzDate + "\n" + credentialScope + "\n" +
         Internal::HexEncode(hash.data(), hash.size());
}

SigningKey DeriveSigningKey(const Aws::String& secretKey, const Aws::String& date, const Aws::String& region,
                            const Aws::String& service) {
  // Every step's key is as good as the secret for a day: none outlives this call.
  Aws::String seed = "AWS4" + secretKey;
  auto dateKey = Internal::HmacSha256(seed.data(), seed.size(), date.data(), date.size());
  Internal::Wipe(seed);
  auto regionKey = Internal::HmacSha256(dateKey.data(), dateKey.size(), region.data(), region.size());
  Internal::Wipe(dateKey);
  auto serviceKey = Internal::HmacSha256(regionKey.data(), regionKey.size(), service.data(), service.size());
  Internal::Wipe(regionKey);
  const SigningKey key = Internal::HmacSha256(serviceKey.data(), serviceKey.size(), kTerminator, sizeof kTerminator - 1);
  Internal::Wipe(serviceKey);
  return key;
}

Aws::String Signature(const SigningKey& key, const Aws::String& stringToSign) {
  const auto mac = Internal::HmacSha256(key.data(), key.size(), stringToSign.data(), stringToSign.size());
  return Internal::HexEncode(mac.data(), mac.size());
}

Aws::String HashPayload(const void* data, size_t length) {
  const auto hash = Internal::Sha256(data, length);
  return Internal::HexEncode(hash.data(), hash.size());
}

}  // namespace SigV4

// The key depends only on the date once the secret, region and service are fixed.
struct AWSAuthV4Signer::KeyCache {
  std::mutex mutex;
  Aws::String date;
  SigningKey key{};
  std::atomic<long long> clockSkewMs{0};

  KeyCache() = default;
  KeyCache(const KeyCache&) = delete;
  KeyCache& operator=(const KeyCache&) = delete;
  ~KeyCache() { Internal::Wipe(key); }
};

AWSAuthV4Signer::AWSAuthV4Signer(const Aws::Auth::AWSCredentials& credentials, const char* serviceName,
                                 const Aws::String& region, bool normalizePath)
    : m_credentials(credentials),
      m_serviceName(serviceName ? serviceName : ""),
      m_region(region),
      m_normalizePath(normalizePath),
      m_keyCache(new KeyCache) {}

AWSAuthV4Signer::~AWSAuthV4Signer() = default;

void AWSAuthV4Signer::SetClockSkew(std::chrono::milliseconds skew) { m_keyCache->clockSkewMs = skew.count(); }

std::chrono::milliseconds AWSAuthV4Signer::GetClockSkew() const {
  return std::chrono::milliseconds(m_keyCache->clockSkewMs.load());
}

SigningKey AWSAuthV4Signer::CachedSigningKey(const Aws::String& date) const {
  std::lock_guard<std::mutex> lock(m_keyCache->mutex);
  if (m_keyCache->date != date) {
    m_keyCache->key = SigV4::DeriveSigningKey(m_credentials.GetAWSSecretKey(), date, m_region, m_serviceName);
    m_keyCache->date = date;
  }
  return m_keyCache->key;
}

void AWSAuthV4Signer::SignRequest(SignableRequest& request, const Aws::Utils::DateTime& signingTime,
                                  bool addContentSha256Header) const {
  if (m_credentials.GetAWSAccessKeyId().empty() || m_credentials.GetAWSSecretKey().empty()) return;

  auto& headers = request.headers;
  headers.erase(std::remove_if(headers.begin(), headers.end(), [](const auto& h) { return IsSigningHeader(h.first); }),
                headers.end());
  const Aws::Utils::DateTime skewed = signingTime + GetClockSkew();
  const Aws::String amzDate = skewed.ToGmtString(Aws::Utils::DateFormat::ISO_8601_BASIC);
  const Aws::String date = amzDate.substr(0, 8);
  headers.emplace_back(kDateHeader, amzDate);
  if (!m_credentials.GetSessionToken().empty()) headers.emplace_back(kSecurityTokenHeader, m_credentials.GetSessionToken());
  if (addContentSha256Header) headers.emplace_back(kContentSha256Header, request.payloadHash);

  Aws::String signedHeaders;
  const Aws::String canonicalRequest = BuildCanonicalRequest(request, m_normalizePath, signedHeaders);
  const Aws::String scope = SigV4::CredentialScope(date, m_region, m_serviceName);
  SigningKey key = CachedSigningKey(date);
  const Aws::String signature = SigV4::Signature(key, SigV4::StringToSign(canonicalRequest, amzDate, scope));
  Internal::Wipe(key);
  headers.emplace_back(kAuthorizationHeader, Aws::String(SigV4::kAlgorithm) + " Credential=" +
                                                 m_credentials.GetAWSAccessKeyId() + "/" + scope +
                                                 ", SignedHeaders=" + signedHeaders + ", Signature=" + signature);
}

}  // namespace Client
}  // namespace Aws
