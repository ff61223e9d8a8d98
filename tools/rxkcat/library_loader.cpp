#include "library_loader.h"

#include "tool_error.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

namespace rxkcat {
namespace {

constexpr char kLibraryEnvironment[] = "RXKCAT_LIBRARY";
constexpr char kSearchPathName[] = "librxkinesis.so.0";
constexpr char kSeExceptionWhatSymbol[] = "_ZN12SE_Exception4whatEv";

struct Candidate {
    std::string path;
    std::string origin;
};

std::string executableDirectory() {
    char buffer[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) return {};
    const std::string path(buffer, static_cast<size_t>(length));
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::vector<Candidate> candidates(const std::string& explicitPath) {
    // An explicit choice is the only one tried: falling back silently would hide a typo.
    if (!explicitPath.empty()) return {{explicitPath, "-l"}};
    if (const char* fromEnvironment = std::getenv(kLibraryEnvironment); fromEnvironment && *fromEnvironment)
        return {{fromEnvironment, kLibraryEnvironment}};
    std::vector<Candidate> list;
    const std::string directory = executableDirectory();
    if (!directory.empty()) {
        list.push_back({directory + "/../../librxkinesis.so", "build tree"});
        list.push_back({directory + "/../lib/librxkinesis.so.0", "install tree"});
        list.push_back({directory + "/../lib/x86_64-linux-gnu/librxkinesis.so.0", "install tree"});
    }
    list.push_back({kSearchPathName, "loader search path"});
    return list;
}

void* openCandidate(const Candidate& candidate, std::string& failure) {
    const bool isPath = candidate.path.find('/') != std::string::npos;
    if (isPath && access(candidate.path.c_str(), F_OK) != 0) {
        failure = "no such file";
        return nullptr;
    }
    dlerror();
    void* handle = dlopen(candidate.path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* reason = dlerror();
        failure = reason ? reason : "dlopen failed";
    }
    return handle;
}

std::string resolvedPath(const Candidate& candidate) {
    char buffer[PATH_MAX];
    if (candidate.path.find('/') != std::string::npos && realpath(candidate.path.c_str(), buffer))
        return buffer;
    return candidate.path;
}

template <typename Function>
void resolve(void* handle, const char* name, Function& target, std::string& missing) {
    target = reinterpret_cast<Function>(dlsym(handle, name));
    if (!target) missing += missing.empty() ? name : std::string(", ") + name;
}

}  // namespace

LibraryApi loadLibrary(const std::string& explicitPath) {
    std::string tried;
    for (const Candidate& candidate : candidates(explicitPath)) {
        std::string failure;
        // The handle stays open until the process ends: the SDK inside registers exit handlers
        // and thread-local state that must not outlive the code that owns them.
        void* handle = openCandidate(candidate, failure);
        if (!handle) {
            tried += "\n  " + candidate.path + " (" + candidate.origin + "): " + failure;
            continue;
        }
        LibraryApi api;
        api.path = resolvedPath(candidate);
        std::string missing;
#define RXKCAT_RESOLVE_EXPORT(name) resolve(handle, #name, api.name, missing);
        RXKCAT_LIBRARY_EXPORTS(RXKCAT_RESOLVE_EXPORT)
#undef RXKCAT_RESOLVE_EXPORT
        resolve(handle, kSeExceptionWhatSymbol, api.seExceptionWhat, missing);
        if (!missing.empty())
            throw RunError("the library " + api.path + " lacks exports: " + missing +
                           " (an older or partial build? rebuild it, or give another with -l PATH)");
        return api;
    }
    throw RunError("cannot load librxkinesis; tried:" + tried +
                   "\nGive its path with -l PATH or RXKCAT_LIBRARY=PATH (e.g. -l build/librxkinesis.so).");
}

}  // namespace rxkcat
