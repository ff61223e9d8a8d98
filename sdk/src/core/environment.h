#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Internal {

// The value of an environment variable, empty when unset.
Aws::String GetEnv(const char* name);

// "true" (any case) or "1".
bool IsTrueText(const Aws::String& text);

}  // namespace Internal
}  // namespace Aws
