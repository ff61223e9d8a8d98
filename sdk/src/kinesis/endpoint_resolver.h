#pragma once

// Where a Kinesis client sends its requests, decided once at construction.

#include <aws/core/client/AWSError.h>
#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/client/CoreErrors.h>

namespace Aws {
namespace Internal {

struct ResolvedEndpoint {
  bool resolved = false;
  Aws::String url;        // e.g. "https://kinesis.eu-west-1.amazonaws.com"
  Aws::String authority;  // the Host header: host, plus the port when it is not the scheme's default
  Aws::Client::AWSError<Aws::Client::CoreErrors> error;  // why resolution failed
};

// Order: config.endpointOverride; then AWS_ENDPOINT_URL_KINESIS and AWS_ENDPOINT_URL unless
// AWS_IGNORE_CONFIGURED_ENDPOINT_URLS is true; then the partition's Kinesis host for
// config.region. A URL without "http://" or "https://" gets config.scheme.
ResolvedEndpoint ResolveKinesisEndpoint(const Aws::Client::ClientConfiguration& config);

// The DNS suffix of a region's partition, e.g. "amazonaws.com.cn" for "cn-north-1".
Aws::String DnsSuffixForRegion(const Aws::String& region, bool dualStack);

// The region used in signatures: "fips-" / "-fips" removed, "aws-global" -> "us-east-1".
Aws::String SigningRegion(const Aws::String& region);

}  // namespace Internal
}  // namespace Aws
