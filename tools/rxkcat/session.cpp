#include "session.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace rxkcat {
namespace {

// Room for any message the library composes, with space to spare for service messages.
constexpr int32_t kErrorTextBytes = 4 * RXK_ERROR_TEXT_BYTES;

constexpr const char* kGlobalParameters[] = {"delimiter", "statspath", "credentials"};

bool isGlobalParameter(const std::string& name) {
    for (const char* global : kGlobalParameters)
        if (strcasecmp(name.c_str(), global) == 0) return true;
    return false;
}

void writeSinkLine(const char* prefix, const char* text, int32_t length) {
    if (!text) return;
    const size_t size = length >= 0 ? static_cast<size_t>(length) : std::strlen(text);
    std::fputs(prefix, stderr);
    std::fwrite(text, 1, size, stderr);
    std::fputc('\n', stderr);
}

// The sinks may run while the library holds a lock: they only write to standard error.
void logSink(const char* text, int32_t length) { writeSinkLine("rxkinesis: ", text, length); }
// The library's init trace line ends with the secret key as given: "... KinesisEnv::init
// <region><key><secret>". A terminal or a log file is no place for it.
void traceSink(const char* text, int32_t length) {
    if (!text) return;
    std::string line(text, length >= 0 ? static_cast<size_t>(length) : std::strlen(text));
    const size_t secret = line.rfind("><");
    if (line.find(" KinesisEnv::init <") != std::string::npos && secret != std::string::npos &&
        line.size() > secret + 3 && line.back() == '>') {
        line.replace(secret + 2, line.size() - secret - 3, "****");
    }
    writeSinkLine("rxkinesis trace: ", line.c_str(), static_cast<int32_t>(line.size()));
}

// Credentials as the AWS CLI finds them unless keys are on the command line; an explicit
// --profile wins over keys in the environment, as it does for the CLI.
void chooseCredentials(const LibraryApi& api, const Options& options) {
    const bool chain = usesCredentialsChain(options);
    if (chain && !options.profile.empty()) {
        setenv("AWS_PROFILE", options.profile.c_str(), 1);
        for (const char* name : {"AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY", "AWS_SESSION_TOKEN"}) unsetenv(name);
    }
    api.SetGlobalParam("credentials", chain ? "chain" : "keys");
}

// Sets one -X parameter: a global one when client is -1, else one of the client.
void setParameter(const LibraryApi& api, int32_t client, const std::string& name, const std::string& value) {
    const int32_t result = client < 0 ? api.SetGlobalParam(name.c_str(), value.c_str())
                                      : api.SetParam(client, name.c_str(), value.c_str());
    if (result != 0)
        throw UsageError("-X " + name + ": unknown parameter or value (client: retry, retryattemptshow, maxputrow, "
                         "maxputlen, exceptiontranslator, sessiontoken; global: delimiter, statspath, "
                         "credentials=keys|chain)");
}

// Sets the global parameters, before any client exists; returns the listing delimiter.
char applyGlobalParameters(const LibraryApi& api, const Options& options) {
    char listDelimiter = ';';
    for (const auto& [name, value] : options.parameters) {
        if (!isGlobalParameter(name)) continue;
        const bool isDelimiter = strcasecmp(name.c_str(), "delimiter") == 0;
        // An empty delimiter would separate listings by NUL bytes, which cut the text short.
        if (isDelimiter && value.empty()) throw UsageError("-X delimiter needs at least one byte");
        setParameter(api, -1, name, value);
        if (isDelimiter) listDelimiter = value[0];
    }
    return listDelimiter;
}

void applyClientParameters(const LibraryApi& api, const Options& options, int32_t client) {
    for (const auto& [name, value] : options.parameters)
        if (!isGlobalParameter(name)) setParameter(api, client, name, value);
}

std::string readGlobalErrorText(const LibraryApi& api) {
    std::vector<char> buffer(kErrorTextBytes, '\0');
    api.GetGlobalErrorStr(buffer.data(), kErrorTextBytes);
    buffer.back() = '\0';
    return buffer.data();
}

}  // namespace

std::string withDetail(const std::string& what, const std::string& detail) {
    return detail.empty() ? what : what + ": " + detail;
}

Session::StartedInterface::StartedInterface(const LibraryApi& library, const Options& options) : api(library) {
    api.InitLogEventCallBack(options.verbosity >= 1 ? logSink : nullptr,
                             options.verbosity >= 2 ? traceSink : nullptr);
    api.InititializeInterface();
    try {
        chooseCredentials(api, options);
        listDelimiter = applyGlobalParameters(api, options);
    } catch (...) {
        api.CloseInterface();  // the destructor of a half-built member does not run
        throw;
    }
}

Session::StartedInterface::~StartedInterface() { api.CloseInterface(); }

Session::Client::Client(const LibraryApi& library, const Options& options, const StartedInterface&)
    : api(library),
      id(api.CreateClient(options.region.c_str(), options.accessKeyId.c_str(), options.secretKey.c_str())) {
    if (id < 0)
        throw RunError(withDetail("the library refused the client (region '" + options.region + "')",
                                  readGlobalErrorText(api)));
}

Session::Client::~Client() { api.FreeClient(id); }

Session::Session(const LibraryApi& api, const Options& options)
    : api_(api), interface_(api, options), client_(api, options, interface_) {
    applyClientParameters(api_, options, client_.id);
}

std::string Session::errorText() const {
    std::vector<char> buffer(kErrorTextBytes, '\0');
    api_.GetErrorStr(client_.id, buffer.data(), kErrorTextBytes);
    buffer.back() = '\0';
    return buffer.data();
}

std::string Session::globalErrorText() const { return readGlobalErrorText(api_); }

RunError Session::failure(const std::string& what) const { return RunError(withDetail(what, errorText())); }

}  // namespace rxkcat
