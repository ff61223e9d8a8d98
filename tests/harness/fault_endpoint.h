// A running rxkfault endpoint for a test: the tool as a process on a free port, driven by its
// script format and control requests as a host developer would drive it.
#pragma once

#include "child_process.h"

#include <map>
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

    std::string header(const std::string& lowerName) const;  // "" when absent
};

// A running rxkfault process on a free port, killed on destruction. The binary is
// $RXK_FAULT_ENDPOINT, else $RXK_BINARY_DIR/tools/rxkfault/rxkfault.
class FaultEndpoint {
public:
    explicit FaultEndpoint(const std::string& script = "{}");  // throws std::runtime_error on failure
    ~FaultEndpoint();

    int port() const;
    std::string endpoint() const;  // "http://127.0.0.1:<port>"

    void load(const std::string& script);           // throws with the tool's error text
    std::string tryLoad(const std::string& script);  // "" on success, else the error text

    std::vector<SeenRequest> requests(const std::string& operation = "") const;
    int count(const std::string& operation = "") const;
    void clear();  // DELETE /_rxkfault/requests
    int connections() const;

private:
    std::string control(const std::string& method, const std::string& path, const std::string& body = "",
                        int* status = nullptr) const;

    PortProcess process_;
};

}  // namespace rxk::test
