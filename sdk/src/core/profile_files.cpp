#include "core/profile_files.h"

#include <aws/core/auth/AWSCredentialsProvider.h>
#include <aws/core/config/AWSProfileConfigLoader.h>

#include "core/environment.h"

#include <cctype>
#include <fstream>

namespace Aws {
namespace Internal {

namespace {

Aws::String Trim(const Aws::String& text) {
  size_t begin = 0, end = text.size();
  while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  return text.substr(begin, end - begin);
}

Aws::String Lower(Aws::String text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The profile a section header names, empty when the section is no profile of this file.
Aws::String ProfileOfSection(const Aws::String& section, bool configFile) {
  if (!configFile) return section;
  if (section == "default") return section;
  const Aws::String prefix = "profile";
  if (section.compare(0, prefix.size(), prefix) != 0 || section.size() <= prefix.size() ||
      !std::isspace(static_cast<unsigned char>(section[prefix.size()]))) {
    return {};
  }
  return Trim(section.substr(prefix.size()));
}

void ReadFile(const Aws::String& path, bool configFile, bool overwrite, ProfileMap& profiles) {
  std::ifstream file(path.c_str());
  if (file) ReadProfiles(file, configFile, overwrite, profiles);
}

}  // namespace

// INI as configparser reads it: comment lines start with '#' or ';', "key = value" or
// "key: value"; indented lines continue the previous key (nested settings such as s3 are
// skipped: nothing here reads them).
void ReadProfiles(std::istream& file, bool configFile, bool overwrite, ProfileMap& profiles) {
  ProfileSettings* current = nullptr;
  Aws::String line;
  while (std::getline(file, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const Aws::String trimmed = Trim(line);
    if (trimmed.empty() || trimmed[0] == '#' || trimmed[0] == ';') continue;
    if (std::isspace(static_cast<unsigned char>(line[0]))) continue;
    if (trimmed[0] == '[') {
      const size_t close = trimmed.find(']');
      const Aws::String profile =
          close == Aws::String::npos ? Aws::String() : ProfileOfSection(Trim(trimmed.substr(1, close - 1)), configFile);
      current = profile.empty() ? nullptr : &profiles[profile];
      continue;
    }
    const size_t separator = trimmed.find_first_of("=:");
    if (current == nullptr || separator == Aws::String::npos) continue;
    const Aws::String key = Lower(Trim(trimmed.substr(0, separator)));
    const Aws::String value = Trim(trimmed.substr(separator + 1));
    if (overwrite || current->find(key) == current->end()) (*current)[key] = value;
  }
}

Aws::String ExpandHome(const Aws::String& path) {
  if (path.size() >= 2 && path[0] == '~' && path[1] == '/') return GetEnv("HOME") + path.substr(1);
  return path;
}

ProfileMap LoadProfiles() {
  ProfileMap profiles;
  ReadFile(ExpandHome(Aws::Auth::GetConfigProfileFilename()), true, false, profiles);
  ReadFile(ExpandHome(Aws::Auth::ProfileConfigFileAWSCredentialsProvider::GetCredentialsProfileFilename()), false,
           true, profiles);
  return profiles;
}

Aws::String SettingOf(const ProfileMap& profiles, const Aws::String& profile, const char* key) {
  const auto section = profiles.find(profile);
  if (section == profiles.end()) return {};
  const auto value = section->second.find(key);
  return value == section->second.end() ? Aws::String() : value->second;
}

}  // namespace Internal

namespace Auth {

Aws::String GetConfigProfileFilename() {
  const Aws::String path = Internal::GetEnv("AWS_CONFIG_FILE");
  return path.empty() ? ProfileConfigFileAWSCredentialsProvider::GetProfileDirectory() + "/config" : path;
}

Aws::String GetConfigProfileName() {
  for (const char* name : {"AWS_PROFILE", "AWS_DEFAULT_PROFILE"}) {
    const Aws::String profile = Internal::GetEnv(name);
    if (!profile.empty()) return profile;
  }
  return "default";
}

Aws::String ProfileConfigFileAWSCredentialsProvider::GetCredentialsProfileFilename() {
  const Aws::String path = Internal::GetEnv("AWS_SHARED_CREDENTIALS_FILE");
  return path.empty() ? GetProfileDirectory() + "/credentials" : path;
}

Aws::String ProfileConfigFileAWSCredentialsProvider::GetProfileDirectory() { return Internal::GetEnv("HOME") + "/.aws"; }

}  // namespace Auth

namespace Config {

Aws::String GetCachedConfigValue(const Aws::String& key) {
  return GetCachedConfigValue(Aws::Auth::GetConfigProfileName(), key);
}

Aws::String GetCachedConfigValue(const Aws::String& profileName, const Aws::String& key) {
  return Internal::SettingOf(Internal::LoadProfiles(), profileName, key.c_str());
}

}  // namespace Config
}  // namespace Aws
