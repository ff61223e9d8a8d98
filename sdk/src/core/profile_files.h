#pragma once

// The shared config and credentials files as botocore and the AWS CLI read them.

#include <aws/core/utils/memory/stl/AWSString.h>

#include <istream>
#include <map>

namespace Aws {
namespace Internal {

using ProfileSettings = std::map<Aws::String, Aws::String>;  // key names lower-cased
using ProfileMap = std::map<Aws::String, ProfileSettings>;

// Profiles of both files: "[profile x]" and "[default]" of the config file, "[x]" of the
// credentials file, whose keys win where both name one. Missing files give no profiles.
ProfileMap LoadProfiles();

// Adds the profiles of one file's text; `overwrite`: its keys replace those already read.
void ReadProfiles(std::istream& text, bool configFile, bool overwrite, ProfileMap& profiles);

// "~/" at the start becomes $HOME.
Aws::String ExpandHome(const Aws::String& path);

// A setting of a profile, empty when either is absent.
Aws::String SettingOf(const ProfileMap& profiles, const Aws::String& profile, const char* key);

}  // namespace Internal
}  // namespace Aws
