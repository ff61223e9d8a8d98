// Security through the exports: the secret key stays out of everything the library produces
// (bar the one trace line of client initialisation that carries the keys by design), TLS
// certificates are verified by default, and hostile names and keys cannot change the shape of
// a request.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <rapidjson/document.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "fault_server.h"
#include "library.h"

namespace rxk::test {
namespace {

constexpr char kRegion[] = "us-east-1";
constexpr char kAccessKey[] = "AKIDSECURITYTEST0001";
constexpr char kSecret[] = "wJalrXUtnFEMI-K7MDENG-bPxRfiCYSECRETKEY";

// Everything a run exposes to the host or the network, with where it came from.
struct Exposure {
    std::string where;
    std::string text;
};

std::vector<Exposure> everythingProduced(Library& lib, const std::vector<int32_t>& clients, const FaultServer& server) {
    std::vector<Exposure> all;
    for (const auto& line : LogCapture::logLines()) all.push_back({"log sink", line.text});
    for (const auto& line : LogCapture::traceLines()) all.push_back({"trace sink", line.text});
    char buffer[RXK_ERROR_TEXT_BYTES + 88];
    lib.GetGlobalErrorStr(buffer, sizeof buffer);
    all.push_back({"GetGlobalErrorStr", buffer});
    for (int32_t id : clients) {
        lib.GetErrorStr(id, buffer, sizeof buffer);
        all.push_back({"GetErrorStr", buffer});
        for (const char* name : {"retry", "retryattemptshow", "maxputrow", "maxputlen", "retryattemptPutRecords",
                                 "retryattemptFailRecords", "exceptiontranslator", "secretkey", "secretKey"}) {
            buffer[0] = '\0';
            if (lib.GetParam(id, name, buffer) == 0) all.push_back({std::string("GetParam ") + name, buffer});
        }
    }
    for (const auto& request : server.requests()) {
        all.push_back({request.operation + " body", request.body});
        all.push_back({request.operation + " path", request.path});
        for (const auto& [name, value] : request.headers) all.push_back({request.operation + " header " + name, value});
    }
    return all;
}

// "id:<n> KinesisEnv::init <region><access key><secret key>", the one line that carries the keys.
bool isInitialisationLine(const std::string& text) {
    const std::string head = "id:", middle = " KinesisEnv::init <";
    const std::string tail = std::string("><") + kAccessKey + "><" + kSecret + ">";
    if (text.rfind(head, 0) != 0 || text.size() < tail.size()) return false;
    const std::size_t digits = text.find_first_not_of("-0123456789", head.size());
    if (digits == head.size() || digits == std::string::npos || text.compare(digits, middle.size(), middle) != 0)
        return false;
    const std::size_t regionStart = digits + middle.size();
    if (text.compare(text.size() - tail.size(), tail.size(), tail) != 0 || regionStart > text.size() - tail.size())
        return false;
    const std::string region = text.substr(regionStart, text.size() - tail.size() - regionStart);
    return region.find_first_of("<>") == std::string::npos;
}

// Catches: the secret key in a log or trace line, an error text, a parameter read-back, or a
// request (header or body) — anywhere but the documented initialisation trace line.
TEST(Security, SecretKeyAppearsOnlyInTheInitialisationTraceLine) {
    Library& lib = sharedLibrary();
    LogCapture::reset();
    lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    lib.InititializeInterface();
    FaultServer server;
    server.addStream("secure", 1);
    server.setHandler("PutRecords", failPutRecordsPositions({{1, {1}}}));
    std::vector<int32_t> clients;
    {
        ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
        EXPECT_EQ(lib.CreateClient("", kAccessKey, kSecret), RXK_ERROR);  // the refused client's texts too
        const int32_t id = lib.CreateClient(kRegion, kAccessKey, kSecret);
        ASSERT_GE(id, 0);
        clients.push_back(id);
        lib.SetParam(id, "retry", "1");
        lib.SetParam(id, "retryattemptshow", "2");
        lib.SetParam(id, "no-such-parameter", kSecret);  // a value is never echoed
        EXPECT_EQ(lib.PutRecord(id, "secure", nullptr, nullptr, "data", 4), 0);
        const int32_t list = lib.CreateListRecord(id);
        for (int i = 0; i < 3; ++i) lib.AddRecordToList(id, list, nullptr, nullptr, "batch", 5);
        EXPECT_EQ(lib.PutRecords(id, list, "secure", nullptr, nullptr, nullptr, nullptr, "secure"), 0);
        EXPECT_EQ(lib.PutRecords(id, list + 7, "secure", nullptr, nullptr, nullptr, nullptr, "secure"), RXK_ERROR);
        char data[64];
        int32_t length = 0;
        lib.StartShardIterator(id, "secure", "shardId-000000000000", nullptr, 10, RXK_TRIM_HORIZON);
        lib.GetRecordFromIterator(id, "secure", "shardId-000000000000", nullptr, data, &length);
        lib.StopShardIterator(id, "secure", "shardId-000000000000");
        lib.StopShardIterator(id, "secure", "shardId-000000000000");
        char listing[512];
        int32_t listingLength = sizeof listing;
        lib.GetShardDetails(id, "secure", "shardId-000000000000", listing, &listingLength);
        listingLength = sizeof listing;
        lib.GetListShards(id, "no-such-stream", listing, &listingLength);
        lib.CreateStream(id, "secure", 1);
        lib.FreeListRecord(id, list);
    }
    {
        ServiceEnvironment unreachable("http://127.0.0.1:1", ServiceEnvironment::SdkRetries::Off);
        const int32_t id = lib.CreateClient(kRegion, kAccessKey, kSecret);
        clients.push_back(id);
        EXPECT_EQ(lib.PutRecord(id, "secure", nullptr, nullptr, "data", 4), RXK_ERROR);
    }

    int initialisationLines = 0;
    const auto all = everythingProduced(lib, clients, server);
    EXPECT_GT(all.size(), 20u);
    for (const Exposure& exposure : all) {
        if (exposure.text.find(kSecret) == std::string::npos) continue;
        if (exposure.where == "trace sink" && isInitialisationLine(exposure.text)) {
            ++initialisationLines;
            continue;
        }
        ADD_FAILURE() << "the secret key appears in " << exposure.where << ": " << exposure.text.substr(0, 300);
    }
    EXPECT_EQ(initialisationLines, 3) << "one initialisation line per CreateClient";
    // The requests were signed: the access key id travels, the secret never does.
    const auto requests = server.requests("PutRecord");
    ASSERT_FALSE(requests.empty());
    EXPECT_NE(requests.front().header("authorization").find(kAccessKey), std::string::npos);
    for (int32_t id : clients) lib.FreeClient(id);
    lib.InitLogEventCallBack(nullptr, nullptr);
}

// ---- TLS ----

// A one-connection-at-a-time TLS server on loopback with a certificate nobody trusts.
class UntrustedTlsServer {
public:
    UntrustedTlsServer(const std::string& certificate, const std::string& key) {
        context_ = SSL_CTX_new(TLS_server_method());
        if (context_ == nullptr || SSL_CTX_use_certificate_file(context_, certificate.c_str(), SSL_FILETYPE_PEM) != 1 ||
            SSL_CTX_use_PrivateKey_file(context_, key.c_str(), SSL_FILETYPE_PEM) != 1)
            throw std::runtime_error("cannot load the test certificate");
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(fd_, 8) != 0 ||
            ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            throw std::runtime_error("cannot listen");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~UntrustedTlsServer() {
        ::shutdown(fd_, SHUT_RDWR);
        ::close(fd_);
        thread_.join();
        SSL_CTX_free(context_);
    }
    std::string endpoint() const { return "https://127.0.0.1:" + std::to_string(port_); }
    int handshakes() const { return handshakes_.load(); }
    int requestsRead() const { return requestsRead_.load(); }

private:
    void serve() {
        for (;;) {
            const int connection = ::accept(fd_, nullptr, nullptr);
            if (connection < 0) return;
            SSL* ssl = SSL_new(context_);
            SSL_set_fd(ssl, connection);
            if (SSL_accept(ssl) == 1) {
                ++handshakes_;
                char request[4096];
                if (SSL_read(ssl, request, sizeof request) > 0) {
                    ++requestsRead_;
                    const char answer[] = "HTTP/1.1 200 OK\r\nContent-Length: 62\r\n\r\n"
                                          "{\"ShardId\":\"shardId-000000000000\",\"SequenceNumber\":\"1\"}     ";
                    SSL_write(ssl, answer, sizeof answer - 1);
                }
            }
            ERR_clear_error();
            SSL_free(ssl);
            ::close(connection);
        }
    }

    SSL_CTX* context_ = nullptr;
    int fd_ = -1;
    int port_ = 0;
    std::thread thread_;
    std::atomic<int> handshakes_{0};
    std::atomic<int> requestsRead_{0};
};

// Catches: certificate verification switched off (or never on), which would let anyone on the
// path read and forge the host's records.
TEST(Security, TlsVerificationIsOnByDefault) {
    const auto directory = std::filesystem::temp_directory_path() / ("rxk-tls-" + std::to_string(::getpid()));
    std::filesystem::create_directories(directory);
    const std::string certificate = (directory / "cert.pem").string(), key = (directory / "key.pem").string();
    const std::string command = "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 "
                                "-addext subjectAltName=IP:127.0.0.1 -keyout '" + key + "' -out '" + certificate +
                                "' >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0) {
        std::filesystem::remove_all(directory);
        GTEST_SKIP() << "openssl could not make a self-signed certificate; TLS verification not checked";
    }
    UntrustedTlsServer server(certificate, key);
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
    const int32_t id = lib.CreateClient(kRegion, kAccessKey, kSecret);
    ASSERT_GE(id, 0);

    EXPECT_EQ(lib.PutRecord(id, "tls", "pk", nullptr, "data", 4), RXK_ERROR);
    char text[RXK_ERROR_TEXT_BYTES];
    lib.GetErrorStr(id, text, sizeof text);
    const std::string words = text;
    EXPECT_TRUE(words.find("SSL") != std::string::npos || words.find("certificate") != std::string::npos)
        << "not a TLS failure: " << words;
    EXPECT_EQ(server.requestsRead(), 0) << "a request went out over an unverified connection";
    lib.FreeClient(id);
    std::filesystem::remove_all(directory);
}

// ---- request shape ----

// Quotes, backslashes, control characters, a NUL-free run of non-ASCII and invalid UTF-8 bytes,
// and text that would close a JSON string and add a member if it were not escaped.
const std::vector<std::string> kHostileTexts = {
    "quote\"quote", "back\\slash\\", "control\x01\x02\x1f\t\r\nend", "caf\xc3\xa9-\xe2\x82\xac", "bad\xff\xfe\xc0utf8",
    "x\",\"Injected\":\"1", "}]}", "\\u0000", "%s%n%d",
};

rapidjson::Document parsed(const std::string& body) {
    rapidjson::Document document;
    document.Parse(body.c_str(), body.size());
    return document;
}

std::string member(const rapidjson::Value& object, const char* name) {
    const auto it = object.FindMember(name);
    if (it == object.MemberEnd() || !it->value.IsString()) return "<missing>";
    return std::string(it->value.GetString(), it->value.GetStringLength());
}

std::vector<std::string> memberNames(const rapidjson::Value& object) {
    std::vector<std::string> names;
    for (const auto& m : object.GetObject()) names.emplace_back(m.name.GetString());
    return names;
}

// Catches: names and keys pasted into the JSON without escaping, so that a stream name could
// add members, end the document or move a record to another stream; or any of them leaking
// into a header.
TEST(Security, HostileNamesAndKeysCannotChangeTheShapeOfARequest) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultServer server;
    ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
    const int32_t id = lib.CreateClient(kRegion, kAccessKey, kSecret);
    ASSERT_GE(id, 0);

    for (const std::string& hostile : kHostileTexts) {
        SCOPED_TRACE(hostile);
        server.clearRequests();
        const char* text = hostile.c_str();
        lib.PutRecord(id, text, text, nullptr, "data", 4);
        const int32_t list = lib.CreateListRecord(id);
        lib.AddRecordToList(id, list, text, nullptr, "one", 3);
        lib.AddRecordToList(id, list, "plain", nullptr, "two", 3);
        lib.PutRecords(id, list, text, nullptr, nullptr, nullptr, nullptr, text);
        lib.FreeListRecord(id, list);
        lib.StartShardIterator(id, text, text, text, 5, RXK_AT_SEQUENCE_NUMBER);
        lib.StopShardIterator(id, text, text);
        char data[16];
        int32_t length = 0;
        lib.GetRecord(id, text, text, text, data, &length);
        char listing[256];
        int32_t listingLength = sizeof listing;
        lib.GetListShards(id, text, listing, &listingLength);
        lib.CreateStream(id, text, 1);

        const auto requests = server.requests();
        EXPECT_GE(requests.size(), 7u);
        for (const auto& request : requests) {
            SCOPED_TRACE(request.operation);
            EXPECT_EQ(request.path, "/");
            EXPECT_EQ(request.header("x-amz-target"), "Kinesis_20131202." + request.operation);
            for (const auto& [name, value] : request.headers) EXPECT_EQ(value.find(hostile), std::string::npos) << name;
            const rapidjson::Document body = parsed(request.body);
            ASSERT_FALSE(body.HasParseError()) << request.body;
            ASSERT_TRUE(body.IsObject());
            for (const std::string& name : memberNames(body)) EXPECT_NE(name, "Injected");
            if (request.operation == "PutRecord") {
                EXPECT_EQ(member(body, "StreamName"), hostile);
                EXPECT_EQ(member(body, "PartitionKey"), hostile);
                EXPECT_EQ(member(body, "Data"), base64Encode("data"));
            } else if (request.operation == "PutRecords") {
                EXPECT_EQ(member(body, "StreamName"), hostile);
                const auto entries = putRecordsEntries(request.body);
                ASSERT_EQ(entries.size(), 2u);
                EXPECT_EQ(entries[0].partitionKey, hostile);
                EXPECT_EQ(entries[0].data, "one");
                EXPECT_EQ(entries[1].partitionKey, "plain");
            } else if (request.operation == "GetShardIterator") {
                EXPECT_EQ(member(body, "StreamName"), hostile);
                EXPECT_EQ(member(body, "ShardId"), hostile);
                EXPECT_EQ(member(body, "StartingSequenceNumber"), hostile);
            } else if (request.operation == "DescribeStream" || request.operation == "CreateStream") {
                EXPECT_EQ(member(body, "StreamName"), hostile);
            }
        }
    }
    lib.FreeClient(id);
}

}  // namespace
}  // namespace rxk::test
