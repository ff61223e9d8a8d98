// Our Authorization header for real Kinesis requests, as they went over the wire, equals the
// one botocore (the AWS CLI's signer) computes for the same request, time and keys.
#include <aws/kinesis/KinesisClient.h>

#include "fault_server.h"
#include "wire_test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

using namespace Aws::Kinesis::Model;
using rxk::sdktest::bytesOf;
using rxk::sdktest::clientFor;
using rxk::test::FaultServer;
using rxk::test::RecordedRequest;

const std::string kSignerScript = RXK_BOTOCORE_SIGNER;

std::string runCommand(const std::string& command) {
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[512];
        while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
        if (pclose(pipe) != 0) output = "FAILED: " + output;
    }
    while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) output.pop_back();
    return output;
}

bool botocoreAvailable() {
    static const bool available = runCommand("python3 -c 'import botocore' 2>&1 && echo yes") == "yes";
    return available;
}

struct Signing {
    std::string accessKey = "AKIDEXAMPLE";
    std::string secretKey = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY";
    std::string token;
    std::string region = "us-east-1";
};

std::string botocoreAuthorization(const RecordedRequest& request, const std::string& endpoint, const Signing& signing) {
    char requestPath[] = "/tmp/rxk-sigv4-request-XXXXXX";
    char bodyPath[] = "/tmp/rxk-sigv4-body-XXXXXX";
    const int requestFd = mkstemp(requestPath);
    const int bodyFd = mkstemp(bodyPath);
    close(requestFd);
    close(bodyFd);
    {
        std::ofstream description(requestPath, std::ios::binary);
        description << "K\taccess_key\t" << signing.accessKey << "\n"
             << "K\tsecret_key\t" << signing.secretKey << "\n"
             << "K\ttoken\t" << signing.token << "\n"
             << "K\tregion\t" << signing.region << "\n"
             << "K\tservice\tkinesis\n"
             << "K\turl\t" << endpoint << request.path << "\n"
             << "K\tamz_date\t" << request.header("x-amz-date") << "\n";
        for (const auto& [name, value] : request.headers) description << "H\t" << name << "\t" << value << "\n";
        std::ofstream body(bodyPath, std::ios::binary);
        body << request.body;
    }
    const std::string authorization =
        runCommand("python3 '" + kSignerScript + "' '" + requestPath + "' '" + bodyPath + "' 2>&1");
    unlink(requestPath);
    unlink(bodyPath);
    return authorization;
}

class BotocoreSignature : public ::testing::Test {
protected:
    void SetUp() override {
        if (!botocoreAvailable()) GTEST_SKIP() << "python3 with botocore is not available";
    }

    // Runs one call, then compares the signature of what the server received.
    template <typename Call>
    void expectSameSignature(const std::string& operation, Call call, const Signing& signing = Signing()) {
        FaultServer server;
        auto client = clientFor(
            server.endpoint(), [&](Aws::Client::ClientConfiguration& c) { c.region = signing.region; },
            Aws::Auth::AWSCredentials(signing.accessKey, signing.secretKey, signing.token));
        call(*client);
        ASSERT_GE(server.requestCount(operation), 1) << operation;
        const RecordedRequest request = server.lastRequest(operation);
        ASSERT_FALSE(request.header("authorization").empty());
        EXPECT_EQ(request.header("authorization"), botocoreAuthorization(request, server.endpoint(), signing)) << operation;
    }
};

std::string binaryPayload() {
    std::string bytes;
    for (int i = 0; i < 1000; ++i) bytes.push_back(static_cast<char>((i * 7) & 0xff));
    return bytes;
}

TEST_F(BotocoreSignature, PutRecordWithBinaryPayload) {
    expectSameSignature("PutRecord", [](const Aws::Kinesis::KinesisClient& c) {
        c.PutRecord(PutRecordRequest().WithStreamName("stream").WithPartitionKey("pk").WithExplicitHashKey("12345")
                        .WithData(bytesOf(binaryPayload())));
    });
}

TEST_F(BotocoreSignature, PutRecordsWithUnusualNames) {
    expectSameSignature("PutRecords", [](const Aws::Kinesis::KinesisClient& c) {
        PutRecordsRequest request;
        request.SetStreamName("s\"t\\r\xc3\xa9\x01m");
        for (int i = 0; i < 20; ++i) {
            request.AddRecords(PutRecordsRequestEntry().WithPartitionKey("k\xe2\x82\xac " + std::to_string(i))
                                   .WithData(bytesOf(binaryPayload().substr(static_cast<size_t>(i)))));
        }
        c.PutRecords(request);
    });
}

TEST_F(BotocoreSignature, GetShardIteratorAndGetRecords) {
    expectSameSignature("GetShardIterator", [](const Aws::Kinesis::KinesisClient& c) {
        c.GetShardIterator(GetShardIteratorRequest().WithStreamName("s").WithShardId("shardId-000000000001")
                               .WithShardIteratorType(ShardIteratorType::AT_TIMESTAMP)
                               .WithTimestamp(Aws::Utils::DateTime(int64_t{1767225600123})));
    });
    expectSameSignature("GetRecords", [](const Aws::Kinesis::KinesisClient& c) {
        c.GetRecords(GetRecordsRequest().WithShardIterator(std::string(300, 'I') + "/+=").WithLimit(10000));
    });
}

TEST_F(BotocoreSignature, CatalogueOperations) {
    expectSameSignature("ListStreams", [](const Aws::Kinesis::KinesisClient& c) { c.ListStreams(ListStreamsRequest()); });
    expectSameSignature("DescribeStream", [](const Aws::Kinesis::KinesisClient& c) {
        c.DescribeStream(DescribeStreamRequest().WithStreamName("s").WithLimit(5).WithExclusiveStartShardId("shardId-0"));
    });
    expectSameSignature("CreateStream", [](const Aws::Kinesis::KinesisClient& c) {
        c.CreateStream(CreateStreamRequest().WithStreamName("new-stream").WithShardCount(4));
    });
}

TEST_F(BotocoreSignature, SessionTokenAndOtherRegion) {
    Signing signing;
    signing.token = "FwoGZXIvYXdzEJr//////////wEaDHc0a2V5c2Vzc2lvbg==";
    signing.region = "eu-central-1";
    signing.secretKey = "secret+with/slashes=";
    expectSameSignature("PutRecord", [](const Aws::Kinesis::KinesisClient& c) {
        c.PutRecord(PutRecordRequest().WithStreamName("s").WithPartitionKey("k").WithData(bytesOf("x")));
    }, signing);
}

}  // namespace
