// Loads librxkinesis.so the way the host engine does (dlopen) and hands tests typed pointers to
// every export, plus helpers around it: capturing the log callbacks and setting the environment
// through which the library finds its service endpoint.
#pragma once

#include <rxkinesis.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <type_traits>
#include <string>
#include <vector>

namespace rxk::test {

// Every export of include/rxkinesis.h, once; the loader resolves each of them.
#define RXK_FOR_EACH_EXPORT(X)                                                                     \
    X(InititializeInterface) X(CloseInterface) X(InitLogEventCallBack) X(SetGlobalParam)           \
    X(SetGlobalErrorStr) X(GetGlobalErrorStr) X(CreateClient) X(FreeClient) X(GetErrorStr)         \
    X(SetParam) X(GetParam) X(PutRecord) X(GetLastResultPutRecord) X(CreateListRecord)             \
    X(ClearListRecord) X(FreeListRecord) X(GetListRecordInfo) X(AddRecordToList) X(PutRecords)     \
    X(GetLastResultPutRecords) X(StartShardIterator) X(NextShardIterator) X(GetRecordFromIterator) \
    X(PollShardIterator) X(StopShardIterator) X(GetRecord) X(GetData) X(GetListStreams)            \
    X(GetListShards) X(GetShardDetails) X(CreateStream) X(Dummy) X(ReadShardRecord)                \
    X(GetListAllStreams) X(GetShardLineage)

class Library {
public:
    enum class Unload { OnDestruction, Never };

    // Loads the library named by $RXK_LIBRARY; throws std::runtime_error naming what is wrong
    // (variable unset, dlopen failure, missing export).
    explicit Library(Unload unload = Unload::OnDestruction);
    Library(const std::string& path, Unload unload = Unload::OnDestruction);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    const std::string& path() const { return path_; }
    // Any symbol of the library (nullptr if absent).
    void* symbol(const char* name) const;

#define RXK_DECLARE_EXPORT_POINTER(name) decltype(&::name) name = nullptr;
    RXK_FOR_EACH_EXPORT(RXK_DECLARE_EXPORT_POINTER)
#undef RXK_DECLARE_EXPORT_POINTER

private:
    void load();

    std::string path_;
    Unload unload_;
    void* handle_ = nullptr;
};

// One Library per test binary, loaded on first use and never unloaded: the library's module
// state (started flag, client table) then lives exactly as long as it would in the host.
Library& sharedLibrary();

// Path of the library under test from $RXK_LIBRARY ("" if unset).
std::string libraryPathFromEnvironment();

// One line a sink received: the text (up to its NUL) and the length argument as given.
struct LogLine {
    std::string text;  // "" for a NULL text
    std::int32_t length = 0;
};

// Log and trace sinks for InitLogEventCallBack that keep every line; thread-safe.
//   lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
// The two kinds of lines the sinks keep: false for the log, true for the trace.
void captureLine(bool trace, const char* text, std::int32_t length);
std::vector<LogLine> capturedLines(bool trace);
std::vector<std::string> capturedTexts(bool trace);
bool captured(bool trace, const std::string& fragment);
void forgetCapturedLines();

class LogCapture {
public:
    static void logSink(const char* text, std::int32_t length) { captureLine(false, text, length); }
    static void traceSink(const char* text, std::int32_t length) { captureLine(true, text, length); }
    static_assert(std::is_same_v<decltype(&logSink), LogEventCallBack>);

    static std::vector<LogLine> logLines() { return capturedLines(false); }
    static std::vector<LogLine> traceLines() { return capturedLines(true); }
    static std::vector<std::string> logTexts() { return capturedTexts(false); }
    static std::vector<std::string> traceTexts() { return capturedTexts(true); }
    // True if some log (trace) line contains `fragment`.
    static bool logContains(const std::string& fragment) { return captured(false, fragment); }
    static bool traceContains(const std::string& fragment) { return captured(true, fragment); }
    static void reset() { forgetCapturedLines(); }
};

// Sets (or, with nullopt, removes) one environment variable while it lives.
class EnvVar {
public:
    EnvVar(std::string name, const std::optional<std::string>& value);
    ~EnvVar();
    EnvVar(const EnvVar&) = delete;
    EnvVar& operator=(const EnvVar&) = delete;

private:
    std::string name_;
    std::optional<std::string> previous_;
};

// Points clients created while it lives at `endpoint`, through the environment only:
// AWS_ENDPOINT_URL_KINESIS and AWS_ENDPOINT_URL, no instance metadata, no config files.
// With SdkRetries::Off the SDK makes one attempt per call (standard mode, AWS_MAX_ATTEMPTS=1),
// so a test sees exactly the library's own retries.
class ServiceEnvironment {
public:
    enum class SdkRetries { Default, Off };
    explicit ServiceEnvironment(const std::string& endpoint, SdkRetries retries = SdkRetries::Default);
    ~ServiceEnvironment();  // restores every variable it changed
    ServiceEnvironment(const ServiceEnvironment&) = delete;
    ServiceEnvironment& operator=(const ServiceEnvironment&) = delete;

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> previous_;
};

}  // namespace rxk::test
