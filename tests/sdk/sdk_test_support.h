// Small helpers shared by the SDK tests.
#pragma once

#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace rxk::sdktest {

// Sets (or with nullopt unsets) environment variables for one scope and restores them after.
class ScopedEnv {
public:
    ScopedEnv(std::initializer_list<std::pair<const char*, std::optional<std::string>>> settings) {
        for (const auto& [name, value] : settings) {
            const char* old = std::getenv(name);
            saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
            apply(name, value);
        }
    }
    ~ScopedEnv() {
        for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) apply(it->first, it->second);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    static void apply(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

// Every variable that changes where or how a client talks, cleared.
inline ScopedEnv cleanAwsEnvironment() {
    return ScopedEnv{{"AWS_ENDPOINT_URL", std::nullopt},
                     {"AWS_ENDPOINT_URL_KINESIS", std::nullopt},
                     {"AWS_IGNORE_CONFIGURED_ENDPOINT_URLS", std::nullopt},
                     {"AWS_RETRY_MODE", std::nullopt},
                     {"AWS_MAX_ATTEMPTS", std::nullopt},
                     {"AWS_DEFAULT_REGION", std::nullopt},
                     {"AWS_REGION", std::nullopt},
                     {"http_proxy", std::nullopt},
                     {"https_proxy", std::nullopt},
                     {"HTTP_PROXY", std::nullopt},
                     {"HTTPS_PROXY", std::nullopt},
                     {"ALL_PROXY", std::nullopt}};
}

// The bytes of a file, exactly.
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

}  // namespace rxk::sdktest
