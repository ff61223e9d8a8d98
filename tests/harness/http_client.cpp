// The one translation unit that includes cpp-httplib: its header is heavy.
#include "http_client.h"

#include <httplib.h>

namespace rxk::test {

HttpResponse httpRequest(const std::string& endpoint, const std::string& method, const std::string& path,
                         const std::string& body, const std::map<std::string, std::string>& headers,
                         Millis timeout) {
    httplib::Client client(endpoint);
    client.set_connection_timeout(timeout);
    client.set_read_timeout(timeout);
    client.set_write_timeout(timeout);
    client.set_keep_alive(false);
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    request.headers = httplib::Headers(headers.begin(), headers.end());
    const auto result = client.send(request);
    if (!result) return {0, "", httplib::to_string(result.error())};
    return {result->status, result->body, ""};
}

}  // namespace rxk::test
