#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Http {

enum class Scheme { HTTP, HTTPS };

namespace SchemeMapper {
const char* ToString(Scheme scheme);
Scheme FromString(const char* name);
}  // namespace SchemeMapper

}  // namespace Http
}  // namespace Aws
