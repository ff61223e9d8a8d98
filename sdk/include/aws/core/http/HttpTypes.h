#pragma once

#include <aws/core/utils/memory/stl/AWSMap.h>
#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Http {

enum class HttpMethod { HTTP_GET, HTTP_POST, HTTP_DELETE, HTTP_PUT, HTTP_HEAD, HTTP_PATCH };

// Response headers keyed by lower-cased name.
using HeaderValueCollection = Aws::Map<Aws::String, Aws::String>;

}  // namespace Http
}  // namespace Aws
