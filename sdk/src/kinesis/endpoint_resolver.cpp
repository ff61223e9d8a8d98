#include "kinesis/endpoint_resolver.h"

#include "core/environment.h"

#include <cctype>

namespace Aws {
namespace Internal {

using Aws::Client::AWSError;
using Aws::Client::CoreErrors;

namespace {

constexpr char kServiceHostPrefix[] = "kinesis";
constexpr char kInvalidHostMessage[] = "Invalid DNS Label found in URI host";

bool StartsWith(const Aws::String& text, const char* prefix) {
  return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

bool EndsWith(const Aws::String& text, const char* suffix) {
  const size_t length = std::char_traits<char>::length(suffix);
  return text.size() >= length && text.compare(text.size() - length, length, suffix) == 0;
}

bool HasScheme(const Aws::String& url) {
  auto lowerStartsWith = [&](const char* prefix) {
    const size_t length = std::char_traits<char>::length(prefix);
    if (url.size() < length) return false;
    for (size_t i = 0; i < length; ++i) {
      if (std::tolower(static_cast<unsigned char>(url[i])) != prefix[i]) return false;
    }
    return true;
  };
  return lowerStartsWith("http://") || lowerStartsWith("https://");
}

Aws::String WithScheme(const Aws::String& url, Aws::Http::Scheme scheme) {
  if (HasScheme(url)) return url;
  return Aws::String(Aws::Http::SchemeMapper::ToString(scheme)) + "://" + url;
}

// Letters, digits and hyphens, 1..63 characters, no hyphen first.
bool IsValidHostLabel(const Aws::String& label) {
  if (label.empty() || label.size() > 63 || label.front() == '-') return false;
  for (unsigned char c : label) {
    if (!std::isalnum(c) && c != '-') return false;
  }
  return true;
}

// The host part of an http(s) URL, with the port when it is not the scheme's default.
Aws::String AuthorityOf(const Aws::String& url) {
  const size_t start = url.find("://") + 3;
  size_t end = url.find_first_of("/?#", start);
  if (end == Aws::String::npos) end = url.size();
  Aws::String authority = url.substr(start, end - start);
  const size_t at = authority.rfind('@');
  if (at != Aws::String::npos) authority.erase(0, at + 1);
  const bool https = std::tolower(static_cast<unsigned char>(url[4])) == 's';
  const char* defaultPort = https ? ":443" : ":80";
  if (EndsWith(authority, defaultPort) && authority.find(']') == Aws::String::npos) {
    authority.erase(authority.size() - std::char_traits<char>::length(defaultPort));
  }
  return authority;
}

ResolvedEndpoint Resolved(const Aws::String& url) {
  ResolvedEndpoint endpoint;
  endpoint.resolved = true;
  endpoint.url = url;
  endpoint.authority = AuthorityOf(url);
  return endpoint;
}

ResolvedEndpoint Failed(CoreErrors type, const Aws::String& message) {
  ResolvedEndpoint endpoint;
  endpoint.error = AWSError<CoreErrors>(type, "", message, false);
  return endpoint;
}

Aws::String ConfiguredEndpointFromEnvironment() {
  if (IsTrueText(GetEnv("AWS_IGNORE_CONFIGURED_ENDPOINT_URLS"))) return {};
  Aws::String url = GetEnv("AWS_ENDPOINT_URL_KINESIS");
  if (url.empty()) url = GetEnv("AWS_ENDPOINT_URL");
  return url;
}

bool IsFipsRegion(const Aws::String& region) { return StartsWith(region, "fips-") || EndsWith(region, "-fips"); }

struct Partition {
  const char* regionPrefix;
  const char* dnsSuffix;
  const char* dualStackDnsSuffix;  // null: no dual-stack endpoints
};

// Most specific prefixes first; anything else belongs to the "aws" partition.
constexpr Partition kPartitions[] = {
    {"us-gov-", "amazonaws.com", "api.aws"},
    {"us-isob-", "sc2s.sgov.gov", nullptr},
    {"us-isof-", "csp.hci.ic.gov", nullptr},
    {"us-iso-", "c2s.ic.gov", nullptr},
    {"eu-isoe-", "cloud.adc-e.uk", nullptr},
    {"cn-", "amazonaws.com.cn", "api.amazonwebservices.com.cn"},
};
constexpr Partition kDefaultPartition = {"", "amazonaws.com", "api.aws"};

const Partition& PartitionForRegion(const Aws::String& region) {
  for (const Partition& partition : kPartitions) {
    if (StartsWith(region, partition.regionPrefix)) return partition;
  }
  return kDefaultPartition;
}

}  // namespace

Aws::String SigningRegion(const Aws::String& region) {
  if (region == "aws-global") return "us-east-1";
  Aws::String stripped = region;
  if (StartsWith(stripped, "fips-")) stripped.erase(0, 5);
  if (EndsWith(stripped, "-fips")) stripped.erase(stripped.size() - 5);
  return stripped;
}

Aws::String DnsSuffixForRegion(const Aws::String& region, bool dualStack) {
  const Partition& partition = PartitionForRegion(SigningRegion(region));
  if (!dualStack) return partition.dnsSuffix;
  return partition.dualStackDnsSuffix ? partition.dualStackDnsSuffix : "";
}

ResolvedEndpoint ResolveKinesisEndpoint(const Aws::Client::ClientConfiguration& config) {
  if (!config.endpointOverride.empty()) {
    if (config.useFIPS) {
      return Failed(CoreErrors::ENDPOINT_RESOLUTION_FAILURE,
                    "Invalid Configuration: FIPS and custom endpoint are not supported");
    }
    if (config.useDualStack) {
      return Failed(CoreErrors::ENDPOINT_RESOLUTION_FAILURE,
                    "Invalid Configuration: Dualstack and custom endpoint are not supported");
    }
    return Resolved(WithScheme(config.endpointOverride, config.scheme));
  }
  const Aws::String configured = ConfiguredEndpointFromEnvironment();
  if (!configured.empty()) return Resolved(WithScheme(configured, config.scheme));

  const Aws::String region = SigningRegion(config.region.empty() ? Aws::String("region-not-set") : config.region);
  if (!IsValidHostLabel(region)) return Failed(CoreErrors::VALIDATION, kInvalidHostMessage);
  const bool fips = config.useFIPS || IsFipsRegion(config.region);
  const bool govCloud = StartsWith(region, "us-gov-");
  const Aws::String suffix = DnsSuffixForRegion(region, config.useDualStack);
  if (suffix.empty()) {
    return Failed(CoreErrors::ENDPOINT_RESOLUTION_FAILURE,
                  "DualStack is enabled but this partition does not support DualStack");
  }
  Aws::String host = kServiceHostPrefix;
  if (fips && !(govCloud && !config.useDualStack)) host += "-fips";
  return Resolved("https://" + host + "." + region + "." + suffix);
}

}  // namespace Internal
}  // namespace Aws
