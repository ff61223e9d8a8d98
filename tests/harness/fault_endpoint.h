// A running rxkfault endpoint for a test: the tool as a process on a free port, driven by its
// script format and control requests as a host developer would drive it.
#pragma once

#include "child_process.h"

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace rxk::test {

// A record of a PutRecords or PutRecord request, Data decoded.
struct SentRecord {
    std::string partitionKey, explicitHashKey, data;
};

// One Kinesis request the endpoint recorded.
struct SeenRequest {
    std::string operation;
    int attempt = 0, sequence = 0, connection = 0;
    std::map<std::string, std::string> headers;  // names lower-cased
    std::string body;
    std::vector<SentRecord> records;             // PutRecords and PutRecord only

    std::string header(const std::string& lowerName) const { return headers.count(lowerName) ? headers.at(lowerName) : ""; }
};

// A running rxkfault process on a free port, killed on destruction. The binary is
// $RXK_FAULT_ENDPOINT, else $RXK_BINARY_DIR/tools/rxkfault/rxkfault.
class FaultEndpoint {
public:
    explicit FaultEndpoint(const std::string& script = "{}");  // throws std::runtime_error on failure

    int port() const { return process_.port(); }
    std::string endpoint() const { return "http://127.0.0.1:" + std::to_string(port()); }

    std::string tryLoad(const std::string& script);  // "" on success, else the error text
    void load(const std::string& script) {           // throws with the tool's error text
        if (const std::string error = tryLoad(script); !error.empty()) throw std::runtime_error(error);
    }

    std::vector<SeenRequest> requests(const std::string& operation = "") const;
    // Requests since the start or the last clear(), of `operation` or all; connections that carried one.
    int count(const std::string& operation = "") const { return stat(operation.empty() ? "/requests" : "/operations/" + operation); }
    int connections() const { return stat("/connections"); }
    void clear() { control("DELETE", "requests"); }

private:
    std::string control(const std::string& method, const std::string& path, const std::string& body = "",
                        int* status = nullptr) const;
    int stat(const std::string& pointer) const;  // a number of the stats at a JSON pointer; 0 when absent

    PortProcess process_;
};

}  // namespace rxk::test
