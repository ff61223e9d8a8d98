// One run's hold on the library: sinks, SDK start, global parameters and one client, released
// in reverse order on every path.
#pragma once

#include "library_loader.h"
#include "options.h"
#include "tool_error.h"

#include <cstdint>
#include <string>

namespace rxkcat {

class Session {
public:
    // Sets the sinks by verbosity (-v: log, -vv: log and trace, on standard error), starts the
    // SDK, applies the -X parameters and creates the client. Throws UsageError for an unknown
    // parameter, RunError when the library refuses the client.
    Session(const LibraryApi& api, const Options& options);
    ~Session() = default;  // the members release the client, then the interface
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const LibraryApi& api() const { return api_; }
    int32_t client() const { return client_.id; }

    // The client's last-error text and the global error text, as the library holds them.
    std::string errorText() const;
    std::string globalErrorText() const;

    // A RunError "<what>: <the client's last-error text>" (just <what> when the text is empty).
    RunError failure(const std::string& what) const;

    // The byte that separates the fields of the library's listings.
    char listDelimiter() const { return interface_.listDelimiter; }

private:
    // Sinks, SDK start and the global parameters; CloseInterface on the way out.
    struct StartedInterface {
        StartedInterface(const LibraryApi& api, const Options& options);
        ~StartedInterface();
        const LibraryApi& api;
        char listDelimiter = ';';
    };
    // The client; FreeClient on the way out.
    struct Client {
        Client(const LibraryApi& api, const Options& options, const StartedInterface& interface);
        ~Client();
        const LibraryApi& api;
        int32_t id;
    };

    const LibraryApi& api_;
    StartedInterface interface_;
    Client client_;
};

// Joins "<what>: <detail>", or just <what> when there is no detail.
std::string withDetail(const std::string& what, const std::string& detail);

}  // namespace rxkcat
