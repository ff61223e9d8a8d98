#pragma once

namespace Aws {

// Result type of operations whose successful answer carries nothing.
class NoResult {
 public:
  NoResult() = default;
};

}  // namespace Aws
