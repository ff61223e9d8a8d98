#include <aws/core/auth/signer/AWSAuthV4Signer.h>

#include "core/encoding.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <mutex>
#include <string_view>

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

void AppendCanonicalUri(Aws::String& out, const Aws::String& path, bool normalizePath) {
  if (path.empty()) {
    out.push_back('/');
  } else {
    AppendUriEncoded(out, normalizePath ? NormalizePath(path) : path, true);
  }
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

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Appends the value trimmed, with every run of blanks (including folded line breaks) reduced
// to one space. A run of other characters goes in with one append.
void AppendCanonicalHeaderValue(Aws::String& out, const Aws::String& value) {
  const char* at = value.data();
  const char* const end = at + value.size();
  for (bool first = true;; first = false) {
    while (at != end && IsBlank(*at)) ++at;
    if (at == end) return;
    const char* const word = at;
    while (at != end && !IsBlank(*at)) ++at;
    if (!first) out.push_back(' ');
    out.append(word, static_cast<size_t>(at - word));
  }
}

// std::tolower as the host's locale has it. No locale makes an ASCII character other than A-Z
// upper case, so the rest (most of every name) skips the call.
char LowerCase(char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte < 0x80 && (byte < 'A' || byte > 'Z')) return c;
  return static_cast<char>(std::tolower(byte));
}

bool IsUnsignedName(std::string_view lowerCaseName) {
  return lowerCaseName == "user-agent" || lowerCaseName == "x-amzn-trace-id" || lowerCaseName == kAuthorizationHeader;
}

using HeaderList = decltype(SignableRequest::headers);

// The signed headers in canonical order, without copying a value: the lower-cased names share
// one buffer, and the entries are sorted by name stably, so a repeated name keeps its values
// in the order they are sent (they are joined in that order).
class CanonicalHeaders {
 public:
  explicit CanonicalHeaders(const HeaderList& headers) : m_headers(headers) {
    size_t namesLength = 0;
    for (const auto& header : headers) namesLength += header.first.size();
    m_names.resize(namesLength);
    m_entries.reserve(headers.size());
    size_t namesEnd = 0;
    for (size_t index = 0; index < headers.size(); ++index) namesEnd = AddIfSigned(index, namesEnd);
    SortByName();
  }

  // "name:value\n" for each name once, the values of a repeated name joined by ','.
  void AppendLines(Aws::String& out) const {
    for (size_t i = 0; i < m_entries.size(); ++i) {
      if (RepeatsPrevious(i)) {
        out.push_back(',');
      } else {
        if (i > 0) out.push_back('\n');
        out.append(Name(i)).push_back(':');
      }
      AppendCanonicalHeaderValue(out, m_headers[m_entries[i].header].second);
    }
    if (!m_entries.empty()) out.push_back('\n');
  }

  // "name1;name2;...", each name once. An empty name (first, if present) adds no separator.
  void AppendNames(Aws::String& out) const {
    const size_t start = out.size();
    for (size_t i = 0; i < m_entries.size(); ++i) {
      if (RepeatsPrevious(i)) continue;
      if (out.size() > start) out.push_back(';');
      out.append(Name(i));
    }
  }

  // At least the length AppendNames adds.
  size_t NamesLengthBound() const { return m_names.size() + m_entries.size(); }

 private:
  struct Entry {
    size_t nameOffset;
    size_t nameLength;
    size_t header;  // index in the request's headers
  };

  // Lower-cases the header's name at `offset` in the names buffer and returns where the next
  // name goes: after it when the header is signed, at the same place when not.
  size_t AddIfSigned(size_t header, size_t offset) {
    const Aws::String& name = m_headers[header].first;
    std::transform(name.begin(), name.end(), &m_names[offset], LowerCase);
    const Entry entry{offset, name.size(), header};
    if (IsUnsignedName(NameOf(entry))) return offset;
    m_entries.push_back(entry);
    return offset + name.size();
  }

  // Insertion sort: a request carries a handful of headers, and it keeps equal names in order.
  void SortByName() {
    for (size_t i = 1; i < m_entries.size(); ++i) {
      const Entry moving = m_entries[i];
      const std::string_view name = NameOf(moving);
      size_t j = i;
      for (; j > 0 && name < NameOf(m_entries[j - 1]); --j) m_entries[j] = m_entries[j - 1];
      m_entries[j] = moving;
    }
  }

  std::string_view NameOf(const Entry& entry) const {
    return std::string_view(m_names.data() + entry.nameOffset, entry.nameLength);
  }
  std::string_view Name(size_t i) const { return NameOf(m_entries[i]); }
  bool RepeatsPrevious(size_t i) const { return i > 0 && Name(i) == Name(i - 1); }

  const HeaderList& m_headers;
  Aws::String m_names;  // sized for every header's name; signed names packed at its start
  Aws::Vector<Entry> m_entries;
};

Aws::String BuildCanonicalRequest(const SignableRequest& request, bool normalizePath,
                                  const CanonicalHeaders& headers) {
  Aws::String canonical;
  canonical.reserve(1024);
  canonical.append(request.method).push_back('\n');
  AppendCanonicalUri(canonical, request.path, normalizePath);
  canonical.push_back('\n');
  canonical.append(CanonicalQuery(request.query)).push_back('\n');
  headers.AppendLines(canonical);
  canonical.push_back('\n');
  headers.AppendNames(canonical);
  canonical.push_back('\n');
  canonical.append(request.payloadHash);
  return canonical;
}

Aws::String StringToSignFromHash(const Internal::Sha256Digest& canonicalRequestHash, const Aws::String& amzDate,
                                 const Aws::String& credentialScope) {
  const size_t hexLength = 2 * canonicalRequestHash.size();
  Aws::String text;
  // sizeof counts the algorithm's terminator: with the 2 it makes room for the three line breaks.
  text.reserve(sizeof SigV4::kAlgorithm + amzDate.size() + credentialScope.size() + hexLength + 2);
  text.append(SigV4::kAlgorithm).append(1, '\n').append(amzDate).append(1, '\n');
  text.append(credentialScope).append(1, '\n');
  Internal::AppendHex(text, canonicalRequestHash.data(), canonicalRequestHash.size());
  return text;
}

// "AWS4-HMAC-SHA256 Credential=<key id>/<scope>, SignedHeaders=<names>, Signature=<hex>"
Aws::String AuthorizationValue(const Aws::String& accessKeyId, const Aws::String& scope,
                               const CanonicalHeaders& headers, const Internal::Sha256Digest& signature) {
  static constexpr char kCredential[] = " Credential=";
  static constexpr char kSignedHeaders[] = ", SignedHeaders=";
  static constexpr char kSignature[] = ", Signature=";
  Aws::String value;
  value.reserve(sizeof SigV4::kAlgorithm + sizeof kCredential + accessKeyId.size() + 1 + scope.size() +
                sizeof kSignedHeaders + headers.NamesLengthBound() + sizeof kSignature + 2 * signature.size());
  value.append(SigV4::kAlgorithm).append(kCredential).append(accessKeyId).append(1, '/').append(scope);
  value.append(kSignedHeaders);
  headers.AppendNames(value);
  value.append(kSignature);
  Internal::AppendHex(value, signature.data(), signature.size());
  return value;
}

bool EqualsIgnoringCase(const Aws::String& text, const char* lowerCase) {
  const size_t length = std::char_traits<char>::length(lowerCase);
  if (text.size() != length) return false;
  for (size_t i = 0; i < length; ++i) {
    if (LowerCase(text[i]) != lowerCase[i]) return false;
  }
  return true;
}

bool IsSigningHeader(const Aws::String& name) {
  return EqualsIgnoringCase(name, kDateHeader) || EqualsIgnoringCase(name, kSecurityTokenHeader) ||
         EqualsIgnoringCase(name, kContentSha256Header) || EqualsIgnoringCase(name, kAuthorizationHeader);
}

}  // namespace

namespace SigV4 {

bool IsUnsignedHeader(const Aws::String& lowerCaseName) { return IsUnsignedName(lowerCaseName); }

Aws::String SignedHeaders(const SignableRequest& request) {
  Aws::String list;
  CanonicalHeaders(request.headers).AppendNames(list);
  return list;
}

Aws::String CanonicalRequest(const SignableRequest& request, bool normalizePath) {
  return BuildCanonicalRequest(request, normalizePath, CanonicalHeaders(request.headers));
}

Aws::String CredentialScope(const Aws::String& date, const Aws::String& region, const Aws::String& service) {
  Aws::String scope;
  scope.reserve(date.size() + region.size() + service.size() + sizeof kTerminator + 2);
  scope.append(date).append(1, '/').append(region).append(1, '/').append(service).append(1, '/').append(kTerminator);
  return scope;
}

Aws::String StringToSign(const Aws::String& canonicalRequest, const Aws::String& amzDate,
                         const Aws::String& credentialScope) {
  return StringToSignFromHash(Internal::Sha256(canonicalRequest.data(), canonicalRequest.size()), amzDate,
                              credentialScope);
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

// One day's signing key, prepared for HMAC. It never changes once made: signing threads use it
// outside the cache's lock, and the last one to let go of an old day's key frees it.
struct AWSAuthV4Signer::DailyKey {
  DailyKey(const Aws::String& day, const SigningKey& key) : date(day), mac(key.data(), key.size()) {}

  const Aws::String date;
  const Internal::HmacSha256Key mac;
};

// The key depends only on the date once the secret, region and service are fixed.
struct AWSAuthV4Signer::KeyCache {
  std::mutex mutex;
  std::shared_ptr<const DailyKey> current;  // guarded by mutex
  std::atomic<long long> clockSkewMs{0};
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

std::shared_ptr<const AWSAuthV4Signer::DailyKey> AWSAuthV4Signer::CachedSigningKey(const Aws::String& date) const {
  std::lock_guard<std::mutex> lock(m_keyCache->mutex);
  if (m_keyCache->current == nullptr || m_keyCache->current->date != date) {
    SigningKey key = SigV4::DeriveSigningKey(m_credentials.GetAWSSecretKey(), date, m_region, m_serviceName);
    m_keyCache->current = std::make_shared<const DailyKey>(date, key);
    Internal::Wipe(key);
  }
  return m_keyCache->current;
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

  const CanonicalHeaders signedHeaders(headers);
  const Aws::String canonicalRequest = BuildCanonicalRequest(request, m_normalizePath, signedHeaders);
  const Aws::String scope = SigV4::CredentialScope(date, m_region, m_serviceName);
  // One context for the request's hash and both halves of its HMAC.
  Internal::Sha256Context scratch;
  const Aws::String stringToSign =
      StringToSignFromHash(scratch.Digest(canonicalRequest.data(), canonicalRequest.size()), amzDate, scope);
  const Internal::Sha256Digest signature =
      CachedSigningKey(date)->mac.Mac(stringToSign.data(), stringToSign.size(), scratch);
  Aws::String authorization = AuthorizationValue(m_credentials.GetAWSAccessKeyId(), scope, signedHeaders, signature);
  headers.emplace_back(kAuthorizationHeader, std::move(authorization));
}

}  // namespace Client
}  // namespace Aws
