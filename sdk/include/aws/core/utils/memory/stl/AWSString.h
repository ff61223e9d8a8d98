#pragma once

#include <string>

namespace Aws {
// The SDK's allocator is std::allocator in its default build, so a plain alias keeps
// the connector source-compatible with both libraries.
using String = std::string;
}  // namespace Aws
