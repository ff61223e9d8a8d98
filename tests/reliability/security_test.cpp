// Security through the exports: the secret key stays out of everything the library produces
// (bar the one trace line of client initialisation that carries the keys by design), TLS
// certificates are verified, and hostile names and keys arrive byte for byte without changing
// the shape of a request.
#include "every_path.h"
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <openssl/ssl.h>
#include <rapidjson/document.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

namespace rxk::test {
namespace {

constexpr char kAccessKey[] = "AKIDSECURITYTEST0001", kSecret[] = "wJalrXUtnFEMI-K7MDENG-bPxRfiCYSECRETKEY";

// Catches: the secret in a log or trace line, an error text, a parameter read-back or a request.
TEST(Security, SecretKeyOnlyInTheInitialisationTraceLine) {
    Library& lib = sharedLibrary();
    LogCapture::reset();
    lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    FaultEndpoint endpoint(R"({"streams":[{"name":"paths","shards":1}],
        "rules":[{"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"fail-"}}}]})");
    std::vector<std::string> exposed = exerciseEveryPath(lib, endpoint.endpoint(), kAccessKey, kSecret);
    lib.InitLogEventCallBack(nullptr, nullptr);
    for (const std::string& line : LogCapture::logTexts()) exposed.push_back(line);
    const std::string keys = std::string("><") + kAccessKey + "><" + kSecret + ">";
    int initialisationLines = 0;
    for (const std::string& line : LogCapture::traceTexts()) {
        if (line.find(" KinesisEnv::init <") != std::string::npos && line.size() > keys.size() &&
            line.compare(line.size() - keys.size(), keys.size(), keys) == 0) ++initialisationLines;
        else exposed.push_back(line);
    }
    for (const auto& request : endpoint.requests()) {
        exposed.push_back(request.body);
        for (const auto& [name, value] : request.headers) exposed.push_back(name + ": " + value);
    }
    EXPECT_GT(exposed.size(), 30u);
    for (const std::string& text : exposed) EXPECT_EQ(text.find(kSecret), std::string::npos) << text.substr(0, 300);
    EXPECT_EQ(initialisationLines, 4) << "one initialisation line per CreateClient";
    EXPECT_NE(endpoint.requests("PutRecord").at(0).header("authorization").find(kAccessKey), std::string::npos);
}

// Catches: certificate verification off, which lets anyone on the path read and forge records.
TEST(Security, UntrustedCertificateIsRefusedBeforeAnyRequest) {
    const std::string dir = "/tmp/rxk-tls-" + std::to_string(getpid());
    const std::string make = "mkdir -p " + dir + " && openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 "
                             "-addext subjectAltName=IP:127.0.0.1 -keyout " + dir + "/key.pem -out " + dir + "/cert.pem >/dev/null 2>&1";
    ASSERT_EQ(std::system(make.c_str()), 0) << "openssl could not make a certificate";
    SSL_CTX* context = SSL_CTX_new(TLS_server_method());
    ASSERT_EQ(SSL_CTX_use_certificate_file(context, (dir + "/cert.pem").c_str(), SSL_FILETYPE_PEM), 1);
    ASSERT_EQ(SSL_CTX_use_PrivateKey_file(context, (dir + "/key.pem").c_str(), SSL_FILETYPE_PEM), 1);
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), length) | listen(listener, 8), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::atomic<int> requestsRead{0};
    std::thread server([&] {
        for (int connection; (connection = accept(listener, nullptr, nullptr)) >= 0; close(connection)) {
            SSL* ssl = SSL_new(context);
            SSL_set_fd(ssl, connection);
            char request[4096];
            if (SSL_accept(ssl) == 1 && SSL_read(ssl, request, sizeof request) > 0) ++requestsRead;
            SSL_free(ssl);
        }
    });
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    {
        ServiceEnvironment environment("https://127.0.0.1:" + std::to_string(ntohs(address.sin_port)), ServiceEnvironment::SdkRetries::Off);
        const int32_t id = lib.CreateClient("us-east-1", kAccessKey, kSecret);
        EXPECT_EQ(lib.PutRecord(id, "tls", "pk", nullptr, "data", 4), RXK_ERROR);
        char text[RXK_ERROR_TEXT_BYTES];
        const std::string words = lib.GetErrorStr(id, text, sizeof text);
        EXPECT_TRUE(words.find("SSL") != std::string::npos || words.find("certificate") != std::string::npos) << words;
        lib.FreeClient(id);
    }
    shutdown(listener, SHUT_RDWR);
    close(listener);
    server.join();
    SSL_CTX_free(context);
    EXPECT_EQ(requestsRead.load(), 0) << "a request went out over an unverified connection";
    std::system(("rm -rf " + dir).c_str());
}

std::string member(const std::string& body, const char* name) {
    rapidjson::Document document;
    document.Parse(body.c_str(), body.size());
    if (document.HasParseError() || !document.IsObject()) return "<not a JSON object: " + body + ">";
    if (document.MemberCount() > 6) return "<members added>";
    const auto it = document.FindMember(name);
    return it == document.MemberEnd() || !it->value.IsString() ? "<missing>" : std::string(it->value.GetString(), it->value.GetStringLength());
}

// Catches: names and keys pasted into the JSON unescaped, so that a stream name could add
// members, end the document or move a record to another stream, or leak into a header.
TEST(Security, HostileNamesAndKeysArriveByteForByte) {
    // The endpoint records a body that isn't UTF-8 byte by byte, as characters U+0080..U+00FF.
    struct Case { std::string sent, recorded; };
    const Case kRows[] = {
        {"quote\"quote", ""}, {"back\\slash\\", ""}, {"control\x01\x02\x1f\t\r\nend", ""}, {"caf\xc3\xa9-\xe2\x82\xac", ""},
        {"bad\xff\xfe\xc0utf8", "bad\xc3\xbf\xc3\xbe\xc3\x80utf8"}, {"x\",\"Injected\":\"1", ""}, {"}]}", ""}, {"\\u0000", ""}, {"%s%n%d", ""},
    };
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultEndpoint endpoint;
    ServiceEnvironment environment(endpoint.endpoint(), ServiceEnvironment::SdkRetries::Off);
    const int32_t id = lib.CreateClient("us-east-1", kAccessKey, kSecret);
    for (const Case& c : kRows) {
        const std::string& hostile = c.sent;
        const std::string recorded = c.recorded.empty() ? hostile : c.recorded;
        SCOPED_TRACE(hostile);
        endpoint.clear();
        const char* text = hostile.c_str();
        lib.PutRecord(id, text, text, nullptr, "data", 4);
        const int32_t list = lib.CreateListRecord(id);
        lib.AddRecordToList(id, list, text, nullptr, "one", 3);
        lib.AddRecordToList(id, list, "plain", nullptr, "two", 3);
        lib.PutRecords(id, list, text, nullptr, nullptr, nullptr, nullptr, text);
        lib.FreeListRecord(id, list);
        lib.StartShardIterator(id, text, text, text, 5, RXK_AT_SEQUENCE_NUMBER);
        lib.StopShardIterator(id, text, text);
        char listing[256];
        int32_t length = sizeof listing;
        lib.GetListShards(id, text, listing, &length);
        lib.CreateStream(id, text, 1);
        const auto requests = endpoint.requests();
        ASSERT_GE(requests.size(), 6u);
        for (const auto& request : requests) {
            SCOPED_TRACE(request.operation);
            EXPECT_EQ(request.header("x-amz-target"), "Kinesis_20131202." + request.operation);
            for (const auto& [name, value] : request.headers) EXPECT_EQ(value.find(hostile), std::string::npos) << name;
            if (request.operation != "GetRecords") {
                EXPECT_EQ(member(request.body, "StreamName"), recorded);
            }
            if (request.operation == "GetShardIterator") {
                EXPECT_EQ(member(request.body, "ShardId") + member(request.body, "StartingSequenceNumber"), recorded + recorded);
            }
        }
        const auto put = endpoint.requests("PutRecord"), batch = endpoint.requests("PutRecords");
        ASSERT_EQ(put.size() * 10 + batch.size(), 11u);
        ASSERT_EQ(put[0].records.size() * 10 + batch[0].records.size(), 12u);
        EXPECT_EQ(put[0].records[0].partitionKey + "|" + put[0].records[0].data, recorded + "|data");
        EXPECT_EQ(batch[0].records[0].partitionKey + "|" + batch[0].records[0].data + "|" + batch[0].records[1].partitionKey,
                  recorded + "|one|plain");
    }
    lib.FreeClient(id);
}

}  // namespace
}  // namespace rxk::test
