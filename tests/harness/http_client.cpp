// The one translation unit that includes cpp-httplib: its header is heavy.
#include "http_client.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>

namespace rxk::test {

namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

}  // namespace

std::string HttpResponse::header(const std::string& name) const {
    const auto it = headers.find(lowerCase(name));
    return it == headers.end() ? std::string() : it->second;
}

HttpResponse kinesisPost(const std::string& endpoint, const std::string& operation, const std::string& body,
                         Millis timeout) {
    httplib::Client client(endpoint);
    client.set_connection_timeout(timeout);
    client.set_read_timeout(timeout);
    client.set_write_timeout(timeout);
    client.set_keep_alive(false);
    const httplib::Headers headers = {
        {"X-Amz-Target", "Kinesis_20131202." + operation},
        {"X-Amz-Date", "20260101T000000Z"},
        {"Authorization",
         "AWS4-HMAC-SHA256 Credential=AKID/20260101/us-east-1/kinesis/aws4_request, SignedHeaders=host, "
         "Signature=00"},
    };
    HttpResponse response;
    const auto result = client.Post("/", headers, body, "application/x-amz-json-1.1");
    if (!result) {
        response.error = httplib::to_string(result.error());
        return response;
    }
    response.status = result->status;
    response.body = result->body;
    for (const auto& [name, value] : result->headers) response.headers[lowerCase(name)] = value;
    return response;
}

}  // namespace rxk::test
