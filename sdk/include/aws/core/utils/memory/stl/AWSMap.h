#pragma once

#include <map>

namespace Aws {
template <typename K, typename V>
using Map = std::map<K, V>;
}  // namespace Aws
