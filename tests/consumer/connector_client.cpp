#include "connector_client.h"

#include <stdexcept>

namespace rxk::test {

Library& connector() {
    static Library& library = []() -> Library& {
        Library& loaded = sharedLibrary();
        loaded.InititializeInterface();
        loaded.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        return loaded;
    }();
    return library;
}

Client::Client(const std::string& endpoint, ServiceEnvironment::SdkRetries retries) {
    ServiceEnvironment environment(endpoint, retries);  // read by the SDK when the client is built
    id_ = connector().CreateClient("us-east-1", "AKIDTESTCONNECTOR", "secret-of-the-connector-tests");
    if (id_ < 0) throw std::runtime_error("CreateClient failed");
}

Client::~Client() { connector().FreeClient(id_); }

std::string Client::lastError() const {
    char buffer[RXK_ERROR_TEXT_BYTES + 64] = {};
    connector().GetErrorStr(id_, buffer, static_cast<std::int32_t>(sizeof buffer));
    return buffer;
}

std::vector<std::string> logTexts() { return LogCapture::logTexts(); }

std::string clientLine(std::int32_t client, const std::string& rest) {
    return "id:" + std::to_string(client) + " KinesisEnv::" + rest;
}

}  // namespace rxk::test
