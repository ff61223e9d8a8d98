#include "library.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace rxk::test {

namespace {

#define RXK_EXPORT_NAME(name) #name,
const std::vector<std::string> kExportNames = {RXK_FOR_EACH_EXPORT(RXK_EXPORT_NAME)};
#undef RXK_EXPORT_NAME

struct CapturedLines {
    std::mutex mutex;
    std::vector<LogLine> lines;

    void add(const char* text, std::int32_t length) {
        LogLine line{text != nullptr ? std::string(text) : std::string(), length, text == nullptr};
        std::lock_guard<std::mutex> lock(mutex);
        lines.push_back(std::move(line));
    }
    std::vector<LogLine> snapshot() {
        std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }
    std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (auto& line : snapshot()) result.push_back(std::move(line.text));
        return result;
    }
    bool contains(const std::string& fragment) {
        std::lock_guard<std::mutex> lock(mutex);
        for (const auto& line : lines)
            if (line.text.find(fragment) != std::string::npos) return true;
        return false;
    }
    void clear() {
        std::lock_guard<std::mutex> lock(mutex);
        lines.clear();
    }
};

// Function-local so that a sink called during static destruction of another object still works.
CapturedLines& capturedLog() {
    static auto* lines = new CapturedLines;
    return *lines;
}
CapturedLines& capturedTrace() {
    static auto* lines = new CapturedLines;
    return *lines;
}

std::optional<std::string> currentValue(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

void assign(const std::string& name, const std::optional<std::string>& value) {
    if (value)
        ::setenv(name.c_str(), value->c_str(), 1);
    else
        ::unsetenv(name.c_str());
}

}  // namespace

const std::vector<std::string>& exportNames() { return kExportNames; }

std::string libraryPathFromEnvironment() {
    const char* path = std::getenv("RXK_LIBRARY");
    return path != nullptr ? path : "";
}

// ---- Library ----

Library::Library(Unload unload) : Library(libraryPathFromEnvironment(), unload) {}

Library::Library(const std::string& path, Unload unload) : path_(path), unload_(unload) { load(); }

Library::~Library() {
    if (handle_ != nullptr && unload_ == Unload::OnDestruction) ::dlclose(handle_);
}

void Library::load() {
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
    if (!missing.empty()) {
        ::dlclose(handle_);
        handle_ = nullptr;
        throw std::runtime_error(path_ + " lacks the export(s): " + missing);
    }
}

void* Library::symbol(const char* name) const { return ::dlsym(handle_, name); }

Library& sharedLibrary() {
    static Library library(Library::Unload::Never);
    return library;
}

// ---- LogCapture ----

void LogCapture::logSink(const char* text, std::int32_t length) { capturedLog().add(text, length); }
void LogCapture::traceSink(const char* text, std::int32_t length) { capturedTrace().add(text, length); }
std::vector<LogLine> LogCapture::logLines() { return capturedLog().snapshot(); }
std::vector<LogLine> LogCapture::traceLines() { return capturedTrace().snapshot(); }
std::vector<std::string> LogCapture::logTexts() { return capturedLog().texts(); }
std::vector<std::string> LogCapture::traceTexts() { return capturedTrace().texts(); }
bool LogCapture::logContains(const std::string& fragment) { return capturedLog().contains(fragment); }
bool LogCapture::traceContains(const std::string& fragment) { return capturedTrace().contains(fragment); }

void LogCapture::reset() {
    capturedLog().clear();
    capturedTrace().clear();
}

// ---- EnvVar ----

EnvVar::EnvVar(std::string name, const std::optional<std::string>& value)
    : name_(std::move(name)), previous_(currentValue(name_)) {
    assign(name_, value);
}

EnvVar::~EnvVar() { assign(name_, previous_); }

// ---- ServiceEnvironment ----

ServiceEnvironment::ServiceEnvironment(const std::string& endpoint, SdkRetries retries)
    : endpointKinesis_("AWS_ENDPOINT_URL_KINESIS", endpoint),
      endpointAll_("AWS_ENDPOINT_URL", endpoint),
      ignoreConfigured_("AWS_IGNORE_CONFIGURED_ENDPOINT_URLS", std::nullopt),
      metadataDisabled_("AWS_EC2_METADATA_DISABLED", std::string("true")),
      configFile_("AWS_CONFIG_FILE", std::string("/dev/null")),
      credentialsFile_("AWS_SHARED_CREDENTIALS_FILE", std::string("/dev/null")),
      retryMode_("AWS_RETRY_MODE",
                 retries == SdkRetries::Off ? std::optional<std::string>("standard") : std::nullopt),
      maxAttempts_("AWS_MAX_ATTEMPTS",
                   retries == SdkRetries::Off ? std::optional<std::string>("1") : std::nullopt) {}

}  // namespace rxk::test
