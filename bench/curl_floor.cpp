// The floor under one request: a bare libcurl keep-alive POST loop against the same endpoint,
// with no signing, serialising or parsing. `--headers signed` sends a header set of the same
// names and sizes as a signed PutRecord, since libcurl's own cost grows with the header bytes.
//
//   rxk_curl_floor --records N [--headers minimal|signed]
// Prints one JSON line like rxk_bench's. The endpoint comes from AWS_ENDPOINT_URL_KINESIS.
#include <curl/curl.h>
#include <sys/resource.h>

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

}  // namespace

int main(int argc, char** argv) {
    long records = 10000;
    bool signedHeaders = false;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--records") == 0) records = std::atol(argv[i + 1]);
        if (std::strcmp(argv[i], "--headers") == 0) signedHeaders = std::strcmp(argv[i + 1], "signed") == 0;
    }
    const char* endpoint = std::getenv("AWS_ENDPOINT_URL_KINESIS");
    if (endpoint == nullptr) {
        std::fprintf(stderr, "rxk_curl_floor: AWS_ENDPOINT_URL_KINESIS is not set\n");
        return 2;
    }
    const std::string url = std::string(endpoint) + "/";
    const std::string body = "{\"StreamName\":\"instant\",\"Data\":\"" + std::string(136, 'Y') +
                             "\",\"PartitionKey\":\"single\"}";
    curl_global_init(CURL_GLOBAL_DEFAULT);
    CURL* curl = curl_easy_init();
    curl_slist* headers = nullptr;
    if (signedHeaders) {
        for (const std::string& header : kSignedHeaders) headers = curl_slist_append(headers, header.c_str());
    } else {
        headers = curl_slist_append(headers, "x-amz-target: Kinesis_20131202.PutRecord");
    }
    headers = curl_slist_append(headers, "Expect:");
    headers = curl_slist_append(headers, "Accept:");
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discard);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TCP_NODELAY, 1L);
    const double cpuBefore = cpuSecondsNow();
    const auto wallBefore = std::chrono::steady_clock::now();
    long done = 0;
    for (; done < records; ++done) {
        if (curl_easy_perform(curl) != CURLE_OK) break;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
    const double cpuSeconds = cpuSecondsNow() - cpuBefore;
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    curl_global_cleanup();
    std::printf("{\"client\":\"libcurl\",\"workload\":\"single-put\",\"threads\":1,\"records\":%ld,\"seconds\":%.6f,"
                "\"cpu_seconds\":%.6f}\n",
                done, seconds, cpuSeconds);
    return done == records ? 0 : 1;
}
