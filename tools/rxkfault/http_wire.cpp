#include "http_wire.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace rxkfault {

namespace {

constexpr std::size_t kMaxHeadBytes = 64 * 1024;
constexpr std::size_t kReceiveChunk = 64 * 1024;

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t\r");
    return std::string(text.substr(first, last - first + 1));
}

std::string httpDate() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

const char* reasonPhrase(int status) {
    switch (status) {
    case 200: return "OK";
    case 400: return "Bad Request";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 413: return "Request Entity Too Large";
    case 429: return "Too Many Requests";
    case 500: return "Internal Server Error";
    case 502: return "Bad Gateway";
    case 503: return "Service Unavailable";
    case 504: return "Gateway Timeout";
    default: return "Status";
    }
}

std::string requestId(int sequence) {
    char id[40];
    std::snprintf(id, sizeof id, "00000000-0000-4000-8000-%012d", sequence);
    return id;
}

bool hasHeader(const Reply& reply, const char* lowerName) {
    return std::any_of(reply.headers.begin(), reply.headers.end(),
                       [&](const auto& header) { return lowerCase(header.first) == lowerName; });
}

}  // namespace

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string HttpRequest::header(const std::string& lowerName) const {
    const auto it = headers.find(lowerName);
    return it == headers.end() ? std::string() : it->second;
}

// MSG_NOSIGNAL: a closed peer must not kill the process with SIGPIPE.
bool sendAll(int fd, std::string_view head, std::string_view body) {
    iovec parts[2] = {{const_cast<char*>(head.data()), head.size()},
                      {const_cast<char*>(body.data()), body.size()}};
    int first = 0;
    while (first < 2) {
        if (parts[first].iov_len == 0) {
            ++first;
            continue;
        }
        msghdr message{};
        message.msg_iov = parts + first;
        message.msg_iovlen = static_cast<std::size_t>(2 - first);
        const ssize_t sent = ::sendmsg(fd, &message, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        auto left = static_cast<std::size_t>(sent);
        while (left > 0 && first < 2) {
            const std::size_t step = std::min(left, parts[first].iov_len);
            parts[first].iov_base = static_cast<char*>(parts[first].iov_base) + step;
            parts[first].iov_len -= step;
            left -= step;
            if (parts[first].iov_len == 0) ++first;
        }
    }
    return true;
}

std::string responseHead(const Reply& reply, int sequence, bool closing) {
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + reasonPhrase(reply.status) + "\r\n";
    for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
    if (!reply.contentType.empty() && !hasHeader(reply, "content-type"))
        head += "Content-Type: " + reply.contentType + "\r\n";
    if (reply.chunkBytes > 0)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!hasHeader(reply, "content-length"))
        head += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    if (reply.dateHeader && !hasHeader(reply, "date")) head += "Date: " + httpDate() + "\r\n";
    if (!hasHeader(reply, "x-amzn-requestid")) head += "x-amzn-RequestId: " + requestId(sequence) + "\r\n";
    if (closing) head += "Connection: close\r\n";
    return head + "\r\n";
}

std::string chunkEncoded(std::string_view body, std::size_t chunkBytes) {
    std::string encoded;
    for (std::size_t at = 0; at < body.size(); at += chunkBytes) {
        const std::string_view chunk = body.substr(at, chunkBytes);
        char size[32];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        encoded.append(size).append(chunk).append("\r\n");
    }
    return encoded + "0\r\n\r\n";
}

RequestReader::RequestReader(int fd) : fd_(fd) {}

// False when the peer closed, the connection broke or the request can't be parsed.
bool RequestReader::read(HttpRequest& request) {
    request = HttpRequest();
    std::size_t headEnd;
    while ((headEnd = buffer_.find("\r\n\r\n")) == std::string::npos) {
        if (buffer_.size() > kMaxHeadBytes || !receiveMore()) return false;
    }
    if (!parseHead(std::string_view(buffer_).substr(0, headEnd), request)) return false;
    buffer_.erase(0, headEnd + 4);
    if (lowerCase(request.header("expect")) == "100-continue" &&
        !sendAll(fd_, "HTTP/1.1 100 Continue\r\n\r\n")) {
        return false;
    }
    if (lowerCase(request.header("transfer-encoding")).find("chunked") != std::string::npos) {
        return readChunkedBody(request.body);
    }
    const std::string length = request.header("content-length");
    char* end = nullptr;
    const std::size_t bodyBytes = std::strtoull(length.c_str(), &end, 10);
    if (end == nullptr || *end != '\0') return false;  // unreadable length: drop the connection
    return readBody(bodyBytes, request.body);
}

bool RequestReader::receiveMore() {
    const std::size_t old = buffer_.size();
    buffer_.resize(old + kReceiveChunk);
    ssize_t got;
    do {
        got = ::recv(fd_, buffer_.data() + old, kReceiveChunk, 0);
    } while (got < 0 && errno == EINTR);
    buffer_.resize(old + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got > 0;
}

bool RequestReader::waitForBytes(std::size_t count) {
    while (buffer_.size() < count) {
        if (!receiveMore()) return false;
    }
    return true;
}

bool RequestReader::readBody(std::size_t length, std::string& body) {
    if (!waitForBytes(length)) return false;
    body.assign(buffer_, 0, length);
    buffer_.erase(0, length);
    return true;
}

bool RequestReader::takeLine(std::string& line) {
    std::size_t end;
    while ((end = buffer_.find("\r\n")) == std::string::npos) {
        if (buffer_.size() > kMaxHeadBytes || !receiveMore()) return false;
    }
    line.assign(buffer_, 0, end);
    buffer_.erase(0, end + 2);
    return true;
}

bool RequestReader::readChunkedBody(std::string& body) {
    std::string line;
    for (;;) {
        if (!takeLine(line)) return false;
        const std::size_t size = std::strtoull(line.c_str(), nullptr, 16);
        if (size == 0) break;
        if (!waitForBytes(size + 2)) return false;
        body.append(buffer_, 0, size);
        buffer_.erase(0, size + 2);
    }
    do {  // trailer fields up to the empty line
        if (!takeLine(line)) return false;
    } while (!line.empty());
    return true;
}

bool RequestReader::parseHead(std::string_view head, HttpRequest& request) {
    const auto lineEnd = head.find("\r\n");
    const std::string_view requestLine = head.substr(0, lineEnd);
    const auto firstSpace = requestLine.find(' ');
    const auto secondSpace = requestLine.find(' ', firstSpace + 1);
    if (firstSpace == std::string_view::npos || secondSpace == std::string_view::npos) return false;
    request.method = std::string(requestLine.substr(0, firstSpace));
    request.path = std::string(requestLine.substr(firstSpace + 1, secondSpace - firstSpace - 1));
    request.version = std::string(requestLine.substr(secondSpace + 1));
    std::size_t position = lineEnd == std::string_view::npos ? head.size() : lineEnd + 2;
    while (position < head.size()) {
        auto end = head.find("\r\n", position);
        if (end == std::string_view::npos) end = head.size();
        const std::string_view line = head.substr(position, end - position);
        const auto colon = line.find(':');
        if (colon != std::string_view::npos) {
            auto& value = request.headers[lowerCase(std::string(line.substr(0, colon)))];
            value += (value.empty() ? "" : ", ") + trimmed(line.substr(colon + 1));
        }
        position = end + 2;
    }
    return true;
}

}  // namespace rxkfault
