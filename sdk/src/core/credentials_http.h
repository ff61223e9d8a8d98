#pragma once

// One-off HTTP requests of the credentials providers (metadata services, STS): no pool, small
// answers, short deadlines.

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>

#include <utility>

namespace Aws {
namespace Internal {

struct CredentialsHttpRequest {
  const char* method = "GET";
  Aws::String url;
  Aws::Vector<std::pair<Aws::String, Aws::String>> headers;
  Aws::String body;
  long timeoutMs = 1000;  // connect and total
  bool useProxy = false;  // HTTPS_PROXY/HTTP_PROXY/NO_PROXY; never for metadata services
  Aws::String caFile;     // empty: the system's trust store
};

struct CredentialsHttpResponse {
  Aws::String transportError;  // curl's words; empty when an answer arrived
  long status = 0;
  Aws::String body;

  bool Succeeded() const { return transportError.empty() && status >= 200 && status < 300; }
  // "HTTP 404" or the transport error, for failure texts.
  Aws::String Problem() const;
};

CredentialsHttpResponse SendCredentialsRequest(const CredentialsHttpRequest& request);

}  // namespace Internal
}  // namespace Aws
