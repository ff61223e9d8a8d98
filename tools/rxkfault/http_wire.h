// HTTP/1.1 on raw sockets, as the fault server speaks it: requests read one after another
// (keep-alive, pipelining, Content-Length or chunked bodies, Expect: 100-continue) and answers
// written byte by byte under the server's control, faults included.
#pragma once

#include "replies.h"

#include <map>
#include <string>
#include <string_view>

namespace rxkfault {

std::string lowerCase(std::string text);

struct HttpRequest {
    std::string method;
    std::string path;
    std::string version;
    std::map<std::string, std::string> headers;  // names lower-cased; repeated ones joined by ", "
    std::string body;

    std::string header(const std::string& lowerName) const;  // "" when absent
};

// Reads the requests of one connection.
class RequestReader {
public:
    explicit RequestReader(int fd);

    // False when the peer closed, the connection broke or the request can't be parsed.
    bool read(HttpRequest& request);

private:
    bool receiveMore();
    bool waitForBytes(std::size_t count);
    bool readBody(std::size_t length, std::string& body);
    bool takeLine(std::string& line);
    bool readChunkedBody(std::string& body);
    static bool parseHead(std::string_view head, HttpRequest& request);

    int fd_;
    std::string buffer_;
};

// Sends both parts completely; false when the peer is gone (never SIGPIPE).
bool sendAll(int fd, std::string_view head, std::string_view body = {});

// The status line and headers of `reply`: Content-Type, Content-Length (or Transfer-Encoding:
// chunked), Date and x-amzn-RequestId added unless the reply names them.
std::string responseHead(const Reply& reply, int sequence, bool closing);

// `body` in chunks of chunkBytes, with the last (empty) chunk.
std::string chunkEncoded(std::string_view body, std::size_t chunkBytes);

}  // namespace rxkfault
