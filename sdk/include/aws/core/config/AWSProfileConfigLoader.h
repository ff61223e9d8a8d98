#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Config {

// A key of the current profile (AWS_PROFILE, else "default") from the config and credentials
// files, empty when absent. The files are read at every call.
Aws::String GetCachedConfigValue(const Aws::String& key);
Aws::String GetCachedConfigValue(const Aws::String& profileName, const Aws::String& key);

}  // namespace Config
}  // namespace Aws
