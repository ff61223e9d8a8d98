// Our Authorization header for real Kinesis requests, as the fault endpoint received them, equals
// the one botocore (the AWS CLI's signer) computes for the same request, time and keys: every
// operation, binary data, odd names, a session token, another region, a re-signed retry. The
// session token is out of the exports' reach, so this drives the SDK layer's client directly.
#include <aws/core/Aws.h>
#include <aws/kinesis/KinesisClient.h>

#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

namespace {

using namespace Aws::Kinesis::Model;
using rxk::test::SeenRequest;
using Client = Aws::Kinesis::KinesisClient;

std::string runCommand(const std::string& command) {
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[512];
        while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
        if (pclose(pipe) != 0) output = "FAILED: " + output;
    }
    while (!output.empty() && output.back() == '\n') output.pop_back();
    return output;
}

struct Keys {
    std::string access = "AKIDEXAMPLE", secret = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY", token, region = "us-east-1";
};

// The Authorization botocore gives the last `operation` request the endpoint recorded.
std::string botocoreAuthorization(const std::string& endpoint, const char* operation, const Keys& keys) {
    return runCommand("python3 '" RXK_BOTOCORE_SIGNER "' " + endpoint + " " + operation + " '" + keys.access + "' '" + keys.secret + "' '" +
                      keys.token + "' " + keys.region + " 2>&1");
}

Aws::Utils::ByteBuffer bytes(const std::string& text) { return Aws::Utils::ByteBuffer(Aws::String(text)); }

std::string binary(size_t from) {
    std::string data;
    for (size_t i = from; i < 1000; ++i) data.push_back(char((i * 7) & 0xff));
    return data;
}

void oddBatch(const Client& client) {
    PutRecordsRequest request;
    request.SetStreamName("s\"t\\r\xc3\xa9\x01m");
    for (int i = 0; i < 20; ++i)
        request.AddRecords(PutRecordsRequestEntry().WithPartitionKey("k\xe2\x82\xac " + std::to_string(i)).WithData(bytes(binary(i))));
    client.PutRecords(request);
}

void smallPut(const Client& c) { c.PutRecord(PutRecordRequest().WithStreamName("s").WithPartitionKey("k").WithData(bytes("x"))); }

struct Case {
    const char* name;
    const char* operation;
    std::function<void(const Client&)> call;
    Keys keys = {};
    const char* script = "{}";
};
const Case kRows[] = {
    {"PutRecord, binary data and a hash key", "PutRecord", [](const Client& c) {
         c.PutRecord(PutRecordRequest().WithStreamName("s").WithPartitionKey("pk").WithExplicitHashKey("12345").WithData(bytes(binary(0))));
     }},
    {"PutRecords, odd names", "PutRecords", oddBatch},
    {"GetShardIterator at a timestamp", "GetShardIterator", [](const Client& c) {
         c.GetShardIterator(GetShardIteratorRequest().WithStreamName("s").WithShardId("shardId-000000000001")
             .WithShardIteratorType(ShardIteratorType::AT_TIMESTAMP).WithTimestamp(Aws::Utils::DateTime(int64_t{1767225600123})));
     }},
    {"GetRecords, a long iterator", "GetRecords",
     [](const Client& c) { c.GetRecords(GetRecordsRequest().WithShardIterator(std::string(300, 'I') + "/+=").WithLimit(10000)); }},
    {"ListStreams", "ListStreams", [](const Client& c) { c.ListStreams(ListStreamsRequest()); }},
    {"DescribeStream, a page", "DescribeStream", [](const Client& c) {
         c.DescribeStream(DescribeStreamRequest().WithStreamName("s").WithLimit(5).WithExclusiveStartShardId("shardId-0"));
     }},
    {"CreateStream", "CreateStream", [](const Client& c) { c.CreateStream(CreateStreamRequest().WithStreamName("new").WithShardCount(4)); }},
    {"session token, another region, a secret with slashes", "PutRecord", smallPut,
     {"AKIDEXAMPLE", "secret+with/slashes=", "FwoGZXIvYXdzEJr//////////wEaDHc0a2V5c2Vzc2lvbg==", "eu-central-1"}},
    {"a retry, signed again", "PutRecord", smallPut, {},
     R"({"rules":[{"operation":"PutRecord","attempts":[1],"answer":{"error":"InternalFailure","status":500}}]})"},
    {"empty keys: unsigned", "PutRecord", smallPut, {"", "", "", "us-east-1"}},
};

TEST(BotocoreSignature, EveryOperationSignsAsBotocoreDoes) {
    if (runCommand("python3 -c 'import botocore' 2>&1 && echo yes") != "yes") GTEST_SKIP() << "no python3 botocore";
    Aws::SDKOptions options;
    Aws::InitAPI(options);
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        rxk::test::FaultEndpoint endpoint(c.script);
        std::unique_ptr<Client> client;
        {
            rxk::test::ServiceEnvironment environment(endpoint.endpoint());
            Aws::Client::ClientConfiguration config;
            config.region = c.keys.region;
            client = std::make_unique<Client>(Aws::Auth::AWSCredentials(c.keys.access, c.keys.secret, c.keys.token), config);
        }
        c.call(*client);
        const auto requests = endpoint.requests(c.operation);
        ASSERT_FALSE(requests.empty());
        const SeenRequest& request = requests.back();
        EXPECT_EQ(request.header("x-amz-target"), std::string("Kinesis_20131202.") + c.operation);
        EXPECT_EQ(request.header("host"), "127.0.0.1:" + std::to_string(endpoint.port()));
        EXPECT_EQ(request.header("x-amz-security-token"), c.keys.token);
        const bool anonymous = c.keys.access.empty();  // unsigned: neither Authorization nor X-Amz-Date
        EXPECT_EQ(request.header("x-amz-date").empty(), anonymous);
        EXPECT_EQ(request.header("authorization"), anonymous ? "" : botocoreAuthorization(endpoint.endpoint(), c.operation, c.keys));
    }
    Aws::ShutdownAPI(options);
}

}  // namespace
