// The floors under one request: a keep-alive POST loop against the same endpoint, with no
// signing, serialising or parsing.
//   --transport curl    libcurl's easy interface, as the library uses it;
//   --transport socket  the same request bytes written to a plain TCP socket and the answer read
//                       back by Content-Length: what the kernel's loopback round trip costs alone.
// `--headers signed` sends a header set of the same names and sizes as a signed PutRecord, since
// libcurl's own cost grows with the header bytes.
//
//   rxk_request_floor --records N [--transport curl|socket] [--headers minimal|signed]
// Prints one JSON line like rxk_bench's. The endpoint (http://host:port) comes from
// AWS_ENDPOINT_URL_KINESIS.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

double cpuSecondsNow() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

size_t discard(char*, size_t size, size_t count, void*) { return size * count; }

const std::vector<std::string> kSignedHeaders = {
    "content-type: application/x-amz-json-1.1",
    "x-amz-target: Kinesis_20131202.PutRecord",
    "amz-sdk-invocation-id: 3F2504E0-4F89-41D3-9A0C-0305E82C3301",
    "amz-sdk-request: attempt=1",
    "user-agent: aws-sdk-cpp/1.11.0 ua/2.1 api/Kinesis os/Linux#6.1.0-00-amd64 lang/c++#C++17 md/arch#x86_64 "
    "md/GCC#12.2 m/D",
    "x-amz-date: 20260101T000000Z",
    "x-amz-content-sha256: 0000000000000000000000000000000000000000000000000000000000000000",
    "authorization: AWS4-HMAC-SHA256 Credential=bench/20260101/us-east-1/kinesis/aws4_request, "
    "SignedHeaders=amz-sdk-invocation-id;amz-sdk-request;content-length;content-type;host;x-amz-content-sha256;"
    "x-amz-date;x-amz-target, Signature=0000000000000000000000000000000000000000000000000000000000000000",
};

const std::vector<std::string> kMinimalHeaders = {"x-amz-target: Kinesis_20131202.PutRecord"};

struct Options {
    long records = 10000;
    bool socketTransport = false;
    bool signedHeaders = false;
};

const std::string kBody =
    "{\"StreamName\":\"instant\",\"Data\":\"" + std::string(136, 'Y') + "\",\"PartitionKey\":\"single\"}";

// Requests done, out of `records`.
long curlLoop(const std::string& endpoint, const std::vector<std::string>& headerLines, long records) {
    const std::string url = endpoint + "/";
    CURL* curl = curl_easy_init();
    curl_slist* headers = nullptr;
    for (const std::string& header : headerLines) headers = curl_slist_append(headers, header.c_str());
    headers = curl_slist_append(headers, "Expect:");
    headers = curl_slist_append(headers, "Accept:");
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, kBody.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(kBody.size()));
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discard);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
    long done = 0;
    while (done < records && curl_easy_perform(curl) == CURLE_OK) ++done;
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return done;
}

// A TCP connection to the endpoint's host and port, or -1. Loopback endpoints only: no name
// resolution, since the floor is about the round trip.
int connectTo(const std::string& endpoint) {
    unsigned a = 0, b = 0, c = 0, d = 0, port = 0;
    if (std::sscanf(endpoint.c_str(), "http://%u.%u.%u.%u:%u", &a, &b, &c, &d, &port) != 5) return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl((a << 24) | (b << 16) | (c << 8) | d);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    const int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// Reads one answer: headers up to the blank line, then Content-Length bytes of body.
bool readAnswer(int fd, std::string& buffer) {
    buffer.clear();
    char chunk[16384];
    std::size_t headerEnd = std::string::npos;
    std::size_t bodyLength = 0;
    for (;;) {
        if (headerEnd != std::string::npos && buffer.size() >= headerEnd + 4 + bodyLength) return true;
        const ssize_t got = recv(fd, chunk, sizeof chunk, 0);
        if (got <= 0) return false;
        buffer.append(chunk, static_cast<std::size_t>(got));
        if (headerEnd == std::string::npos && (headerEnd = buffer.find("\r\n\r\n")) != std::string::npos) {
            const std::size_t field = buffer.find("ontent-Length:");
            if (field == std::string::npos || field > headerEnd) return false;
            bodyLength = std::strtoul(buffer.c_str() + field + 14, nullptr, 10);
        }
    }
}

long socketLoop(const std::string& endpoint, const std::vector<std::string>& headerLines, long records) {
    const int fd = connectTo(endpoint);
    if (fd < 0) return 0;
    std::string request = "POST / HTTP/1.1\r\nHost: " + endpoint.substr(7) + "\r\n";
    for (const std::string& header : headerLines) request += header + "\r\n";
    request += "Content-Length: " + std::to_string(kBody.size()) + "\r\n\r\n" + kBody;
    std::string answer;
    long done = 0;
    while (done < records) {
        if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) break;
        if (!readAnswer(fd, answer)) break;
        ++done;
    }
    close(fd);
    return done;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--records") == 0) options.records = std::atol(argv[i + 1]);
        if (std::strcmp(argv[i], "--headers") == 0) options.signedHeaders = std::strcmp(argv[i + 1], "signed") == 0;
        if (std::strcmp(argv[i], "--transport") == 0) options.socketTransport = std::strcmp(argv[i + 1], "socket") == 0;
    }
    const char* endpoint = std::getenv("AWS_ENDPOINT_URL_KINESIS");
    if (endpoint == nullptr) {
        std::fprintf(stderr, "rxk_request_floor: AWS_ENDPOINT_URL_KINESIS is not set\n");
        return 2;
    }
    const std::vector<std::string>& headers = options.signedHeaders ? kSignedHeaders : kMinimalHeaders;
    curl_global_init(CURL_GLOBAL_DEFAULT);  // once per process, as a host pays it, outside the timing
    const double cpuBefore = cpuSecondsNow();
    const auto wallBefore = std::chrono::steady_clock::now();
    const long done = options.socketTransport ? socketLoop(endpoint, headers, options.records)
                                              : curlLoop(endpoint, headers, options.records);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
    const double cpuSeconds = cpuSecondsNow() - cpuBefore;
    curl_global_cleanup();
    std::printf("{\"client\":\"%s\",\"workload\":\"single-put\",\"threads\":1,\"records\":%ld,\"seconds\":%.6f,"
                "\"cpu_seconds\":%.6f}\n",
                options.socketTransport ? "socket" : "libcurl", done, seconds, cpuSeconds);
    return done == options.records ? 0 : 1;
}
