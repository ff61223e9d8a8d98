// Security on the wire, through the exports: TLS certificates are verified, and hostile names and
// keys arrive byte for byte without changing the shape of a request.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <rapidjson/document.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

namespace rxk::test {
namespace {

// Catches: certificate verification off, which lets anyone on the path read and forge records,
// and an authority the host names in AWS_CA_BUNDLE ignored where it should count (the chain
// mode, as for the CLI) or counted where it shouldn't (the default mode, as always).
// The server answers any request as a successful PutRecord: only a refused connection fails.
TEST(Security, CertificatesAreVerifiedAgainstTheTrustedAuthorities) {
    const std::string dir = "/tmp/rxk-tls-" + std::to_string(getpid());
    const std::string make = "mkdir -p " + dir + " && openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 "
                             "-addext subjectAltName=IP:127.0.0.1 -keyout " + dir + "/key.pem -out " + dir + "/cert.pem >/dev/null 2>&1";
    ASSERT_EQ(std::system(make.c_str()), 0) << "openssl could not make a certificate";
    PortProcess server({"node", "-e", "const fs = require('fs'), dir = process.argv[1];"
                        "const s = require('https').createServer({key: fs.readFileSync(dir + '/key.pem'), cert: fs.readFileSync(dir + '/cert.pem')},"
                        "  (q, r) => r.end('{\"ShardId\":\"shardId-000000000000\",\"SequenceNumber\":\"1\"}'));"
                        "s.listen(0, '127.0.0.1', () => console.log('port=' + s.address().port));", dir}, "TLS server");
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    ServiceEnvironment environment("https://127.0.0.1:" + std::to_string(server.port()), ServiceEnvironment::SdkRetries::Off);
    const struct { const char* name; const char* credentials; bool bundle; int32_t result; } kRows[] = {
        {"an unknown authority is refused before any request", "keys", false, RXK_ERROR},
        {"the default mode leaves AWS_CA_BUNDLE alone", "keys", true, RXK_ERROR},
        {"the chain mode trusts the AWS_CA_BUNDLE authority", "chain", true, RXK_OK},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        EnvVar bundle("AWS_CA_BUNDLE", row.bundle ? std::optional<std::string>(dir + "/cert.pem") : std::nullopt);
        ASSERT_EQ(lib.SetGlobalParam("credentials", row.credentials), 0);
        const int32_t id = lib.CreateClient("us-east-1", "AKIDTLS", "tls-secret");
        EXPECT_EQ(lib.PutRecord(id, "tls", "pk", nullptr, "data", 4), row.result);
        if (row.result != RXK_OK) {
            char text[RXK_ERROR_TEXT_BYTES];
            const std::string words = lib.GetErrorStr(id, text, sizeof text);
            EXPECT_TRUE(words.find("SSL") != std::string::npos || words.find("certificate") != std::string::npos) << words;
        }
        lib.FreeClient(id);
    }
    lib.SetGlobalParam("credentials", "keys");
    std::system(("rm -rf " + dir).c_str());
}

// A request's members as sent: the stream, then shard and start position, then each record.
std::string members(const SeenRequest& request) {
    rapidjson::Document document;
    document.Parse(request.body.c_str(), request.body.size());
    if (document.HasParseError() || !document.IsObject()) return "<not a JSON object: " + request.body + ">";
    std::string seen = request.operation;
    for (const char* name : {"StreamName", "ShardId", "StartingSequenceNumber"}) {
        const auto it = document.FindMember(name);
        if (it != document.MemberEnd()) seen += " " + std::string(it->value.GetString(), it->value.GetStringLength());
    }
    for (const SentRecord& record : request.records) seen += " " + record.partitionKey + "|" + record.data;
    return seen + "\n";
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
    const int32_t id = lib.CreateClient("us-east-1", "AKIDHOSTILE", "hostile-secret");
    for (const Case& c : kRows) {
        const char* text = c.sent.c_str();
        const std::string r = c.recorded.empty() ? c.sent : c.recorded;
        SCOPED_TRACE(c.sent);
        endpoint.clear();
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
        std::string seen;
        for (const SeenRequest& request : endpoint.requests()) {
            for (const auto& [name, value] : request.headers) EXPECT_EQ(value.find(c.sent), std::string::npos) << name;
            if (request.operation != "GetRecords") seen += members(request);
        }
        EXPECT_EQ(seen, "PutRecord " + r + " " + r + "|data\nPutRecords " + r + " " + r + "|one plain|two\nGetShardIterator " + r +
                        " " + r + " " + r + "\nDescribeStream " + r + "\nCreateStream " + r + "\n");
    }
    lib.FreeClient(id);
}

}  // namespace
}  // namespace rxk::test
