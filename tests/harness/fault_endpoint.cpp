#include "fault_endpoint.h"

#include "http_client.h"

#include <simdjson.h>

#include <cstdlib>
#include <stdexcept>

namespace rxk::test {

namespace {

std::string toolPath() {
    if (const char* path = std::getenv("RXK_FAULT_ENDPOINT")) return path;
    if (const char* build = std::getenv("RXK_BINARY_DIR")) return std::string(build) + "/tools/rxkfault/rxkfault";
    throw std::runtime_error("rxkfault: set RXK_FAULT_ENDPOINT (the tool) or RXK_BINARY_DIR (the build tree)");
}

std::string text(simdjson::dom::element value, const char* name) { return std::string(value[name].get_string().value()); }

int number(simdjson::dom::element value, const char* name) { return static_cast<int>(value[name].get_int64().value()); }

SeenRequest seenRequest(simdjson::dom::element entry) {
    SeenRequest seen{text(entry, "operation"), number(entry, "attempt"), number(entry, "sequence"),
                     number(entry, "connection"), {}, text(entry, "body"), {}};
    const simdjson::dom::object headers = entry["headers"].get_object().value();
    for (const auto header : headers) seen.headers[std::string(header.key)] = std::string(header.value.get_string().value());
    simdjson::dom::array records;
    if (entry["records"].get_array().get(records) != simdjson::SUCCESS) return seen;
    for (const simdjson::dom::element record : records)
        seen.records.push_back({text(record, "partition_key"), text(record, "explicit_hash_key"),
                                base64Decode(text(record, "data"))});
    return seen;
}

}  // namespace

FaultEndpoint::FaultEndpoint(const std::string& script) : process_({toolPath()}, "rxkfault") {
    if (script != "{}") load(script);
}

std::string FaultEndpoint::control(const std::string& method, const std::string& path, const std::string& body,
                                   int* status) const {
    const HttpResponse answer =
        httpRequest(endpoint(), method, "/_rxkfault/" + path, body, {{"Content-Type", "application/json"}}, Millis(10000));
    if (answer.status == 0) throw std::runtime_error("rxkfault: " + method + " /_rxkfault/" + path + ": " + answer.error);
    if (status != nullptr) *status = answer.status;
    return answer.body;
}

std::string FaultEndpoint::tryLoad(const std::string& script) {
    int status = 0;
    const std::string answer = control("PUT", "script", script, &status);
    if (status == 200) return "";
    simdjson::dom::parser parser;
    std::string_view error;
    return parser.parse(answer)["error"].get_string().get(error) == simdjson::SUCCESS ? std::string(error) : answer;
}

std::vector<SeenRequest> FaultEndpoint::requests(const std::string& operation) const {
    const std::string answer = control("GET", operation.empty() ? "requests" : "requests?operation=" + operation);
    simdjson::dom::parser parser;
    const simdjson::dom::array entries = parser.parse(answer).get_array().value();
    std::vector<SeenRequest> seen;
    for (const simdjson::dom::element entry : entries) seen.push_back(seenRequest(entry));
    return seen;
}

int FaultEndpoint::stat(const std::string& pointer) const {
    simdjson::dom::parser parser;
    int64_t value = 0;
    return parser.parse(control("GET", "stats")).at_pointer(pointer).get_int64().get(value) == simdjson::SUCCESS ? static_cast<int>(value) : 0;
}


}  // namespace rxk::test
