// Loads librxkinesis.so the way the host engine does (dlopen) and hands tests typed pointers to
// every export, plus helpers around it: capturing the log callbacks and setting the environment
// through which the library finds its service endpoint.
#pragma once

#include <rxkinesis.h>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace rxk::test {

// Path of the library under test from $RXK_LIBRARY ("" if unset).
std::string libraryPathFromEnvironment();

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

    // Loads the library at `path`, by default the one named by $RXK_LIBRARY; throws
    // std::runtime_error naming what is wrong (variable unset, dlopen failure, missing export).
    explicit Library(const std::string& path = libraryPathFromEnvironment(), Unload unload = Unload::OnDestruction);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // Any symbol of the library (nullptr if absent).
    void* symbol(const char* name) const;
    // The client's last-error text, as GetErrorStr hands it out.
    std::string errorText(std::int32_t id) {
        char text[RXK_ERROR_TEXT_BYTES] = "";
        return GetErrorStr(id, text, sizeof text);
    }

#define RXK_DECLARE_EXPORT_POINTER(name) decltype(&::name) name = nullptr;
    RXK_FOR_EACH_EXPORT(RXK_DECLARE_EXPORT_POINTER)
#undef RXK_DECLARE_EXPORT_POINTER

private:
    std::string path_;
    Unload unload_;
    void* handle_ = nullptr;
};

// One Library per test binary, loaded on first use and never unloaded: the library's module
// state (started flag, client table) then lives exactly as long as it would in the host.
Library& sharedLibrary();


// One line a sink received: the text (up to its NUL) and the length argument as given.
struct LogLine {
    std::string text;  // "" for a NULL text
    std::int32_t length = 0;
};

// Log and trace sinks for InitLogEventCallBack that keep every line; thread-safe.
//   lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
class LogCapture {
public:
    static void logSink(const char* text, std::int32_t length);
    static void traceSink(const char* text, std::int32_t length);

    static std::vector<LogLine> logLines();
    static std::vector<std::string> logTexts() { return texts(false); }
    static std::vector<std::string> traceTexts() { return texts(true); }
    // True if some log (trace) line contains `fragment`.
    static bool logContains(const std::string& fragment) { return contains(false, fragment); }
    static bool traceContains(const std::string& fragment) { return contains(true, fragment); }
    static void reset();

private:
    static std::vector<std::string> texts(bool trace);
    static bool contains(bool trace, const std::string& fragment);
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

// Points clients created while it lives at `endpoint` (and restores every variable it changed
// when it ends), through the environment only:
// AWS_ENDPOINT_URL_KINESIS and AWS_ENDPOINT_URL, no instance metadata, no config files.
// With SdkRetries::Off the SDK makes one attempt per call (standard mode, AWS_MAX_ATTEMPTS=1),
// so a test sees exactly the library's own retries.
class ServiceEnvironment {
public:
    enum class SdkRetries { Default, Off };
    explicit ServiceEnvironment(const std::string& endpoint, SdkRetries retries = SdkRetries::Default);

private:
    std::list<EnvVar> variables_;  // not copyable, as each EnvVar
};

}  // namespace rxk::test
