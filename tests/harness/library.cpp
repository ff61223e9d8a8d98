#include "library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace rxk::test {

namespace {

// The lines kept, [0] of the log and [1] of the trace. Never destroyed, so that a sink called
// during static destruction of another object still works.
struct Kept {
    std::mutex mutex;
    std::vector<LogLine> lines[2];
};
Kept& kept() {
    static auto* kept = new Kept;
    return *kept;
}

void keep(bool trace, const char* text, std::int32_t length) {
    std::lock_guard<std::mutex> lock(kept().mutex);
    kept().lines[trace].push_back({text != nullptr ? text : "", length});
}

std::vector<LogLine> linesKept(bool trace) {
    std::lock_guard<std::mutex> lock(kept().mutex);
    return kept().lines[trace];
}

std::optional<std::string> currentValue(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

void assign(const std::string& name, const std::optional<std::string>& value) {
    if (value) ::setenv(name.c_str(), value->c_str(), 1);
    else ::unsetenv(name.c_str());
}

}  // namespace

std::string libraryPathFromEnvironment() {
    const char* path = std::getenv("RXK_LIBRARY");
    return path != nullptr ? path : "";
}

Library::~Library() {
    if (handle_ != nullptr && unload_ == Unload::OnDestruction) ::dlclose(handle_);
}

Library::Library(const std::string& path, Unload unload) : path_(path), unload_(unload) {
    if (path_.empty())
        throw std::runtime_error("RXK_LIBRARY is not set: run the test through ctest, or set it to the path "
                                 "of librxkinesis.so");
    handle_ = ::dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) throw std::runtime_error("dlopen(" + path_ + ") failed: " + ::dlerror());
    std::string missing;
#define RXK_RESOLVE_EXPORT(name)                                                  \
    name = reinterpret_cast<decltype(name)>(::dlsym(handle_, #name));             \
    if (name == nullptr) missing += std::string(missing.empty() ? "" : ", ") + #name;
    RXK_FOR_EACH_EXPORT(RXK_RESOLVE_EXPORT)
#undef RXK_RESOLVE_EXPORT
    if (missing.empty()) return;
    ::dlclose(handle_);
    handle_ = nullptr;
    throw std::runtime_error(path_ + " lacks the export(s): " + missing);
}

void* Library::symbol(const char* name) const { return ::dlsym(handle_, name); }

Library& sharedLibrary() {
    static Library library(libraryPathFromEnvironment(), Library::Unload::Never);
    return library;
}

void LogCapture::logSink(const char* text, std::int32_t length) { keep(false, text, length); }
void LogCapture::traceSink(const char* text, std::int32_t length) { keep(true, text, length); }
std::vector<LogLine> LogCapture::logLines() { return linesKept(false); }

std::vector<std::string> LogCapture::texts(bool trace) {
    std::vector<std::string> texts;
    for (LogLine& line : linesKept(trace)) texts.push_back(std::move(line.text));
    return texts;
}

bool LogCapture::contains(bool trace, const std::string& fragment) {
    for (const std::string& text : texts(trace))
        if (text.find(fragment) != std::string::npos) return true;
    return false;
}

void LogCapture::reset() {
    std::lock_guard<std::mutex> lock(kept().mutex);
    for (auto& lines : kept().lines) lines.clear();
}

EnvVar::EnvVar(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)), previous_(currentValue(name_.c_str())) {
    assign(name_, value);
}

EnvVar::~EnvVar() { assign(name_, previous_); }

ServiceEnvironment::ServiceEnvironment(const std::string& endpoint, SdkRetries retries) {
    const bool once = retries == SdkRetries::Off;
    const std::pair<const char*, std::optional<std::string>> settings[] = {
        {"AWS_ENDPOINT_URL_KINESIS", endpoint},
        {"AWS_ENDPOINT_URL", endpoint},
        {"AWS_IGNORE_CONFIGURED_ENDPOINT_URLS", std::nullopt},
        {"AWS_EC2_METADATA_DISABLED", "true"},
        {"AWS_CONFIG_FILE", "/dev/null"},
        {"AWS_SHARED_CREDENTIALS_FILE", "/dev/null"},
        {"AWS_RETRY_MODE", once ? std::optional<std::string>("standard") : std::nullopt},
        {"AWS_MAX_ATTEMPTS", once ? std::optional<std::string>("1") : std::nullopt}};
    for (const auto& [name, value] : settings) variables_.emplace_back(name, value);
}

}  // namespace rxk::test
