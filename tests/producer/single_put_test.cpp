// The single put against the fault endpoint: what the request carries for the keys given, and
// the words and read-back of a put the service refuses.
#include "fault_endpoint.h"
#include "host.h"

namespace rxk::test {
namespace {

// Would catch an empty partition key taken for a missing one (a random key drawn), a partition
// key invented for a fresh client given only a hash key, bytes altered on the way, a failure
// reported in one sink call or without the service's message, a read-back that hides the stored
// failure, a long message cut before the last-error text or copied past an ample read-back
// buffer, and a later success that clears the last-error text.
TEST(SinglePut, RequestsAndRefusals) {
    const std::string kLong(5000, 'm'), binary("bin\0ary\xff", 8);
    struct Case { const char* name; std::string message; const char* pk; const char* hk; std::string body; const char* absent; };
    const Case kRows[] = {
        {"an empty partition key goes out as given", "", "", nullptr, R"("PartitionKey":"")", "ExplicitHashKey"},
        {"a hash key alone on a fresh client", "", nullptr, "12345", R"("ExplicitHashKey":"12345")", "PartitionKey"},
        {"a refused put", "Stream missing under account 000000000000 not found.", "pk", nullptr, R"("PartitionKey":"pk")", "Explicit"},
        {"a refused put with a long message", kLong, "pk", nullptr, R"("StreamName":"missing")", "Explicit"},
    };
    FaultEndpoint endpoint;
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        endpoint.load(c.message.empty() ? "{}" : R"({"rules":[{"operation":"PutRecord","times":1,"answer":)"
                                                 R"({"error":"ResourceNotFoundException","message":")" + c.message + "\"}}]}");
        endpoint.clear();
        const int32_t id = clientAt(endpoint.endpoint());
        host().SetGlobalErrorStr("kept");
        LogCapture::reset();
        EXPECT_EQ(host().PutRecord(id, "missing", c.pk, c.hk, binary.data(), 8), c.message.empty() ? 0 : -1);
        const auto requests = endpoint.requests("PutRecord");
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].records.at(0).data, binary);
        EXPECT_NE(requests[0].body.find(c.body), std::string::npos) << requests[0].body;
        EXPECT_EQ(requests[0].body.find(c.absent), std::string::npos) << requests[0].body;
        Guarded shard(RXK_NAME_BYTES), sequence(RXK_NAME_BYTES), error(RXK_ERROR_TEXT_BYTES);
        unsigned char success = 7;
        ASSERT_EQ(host().GetLastResultPutRecord(id, nullptr, shard.data(), sequence.data(), &success, nullptr, nullptr,
                                                error.data(), nullptr), 0);
        EXPECT_EQ(error.text(), c.message.substr(0, RXK_ERROR_TEXT_BYTES - 1));
        EXPECT_TRUE(error.guardsIntact());
        EXPECT_EQ(success, c.message.empty() ? 1 : 0);
        EXPECT_EQ(globalError(), "kept");
        if (c.message.empty()) continue;
        const std::string line = fmt("id:%d KinesisEnv::putRecord [missing] error :", id);
        EXPECT_EQ(shard.text() + sequence.text(), "");
        EXPECT_EQ(clientError(id), (line + c.message).substr(0, kTextBytes - 10) + (line.size() + c.message.size() < kTextBytes ? "" : " [...]"));
        const auto lines = LogCapture::logLines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].text + "|" + std::to_string(lines[0].length), line + "|" + std::to_string(line.size()));
        EXPECT_EQ(lines[1].text + "|" + std::to_string(lines[1].length), c.message + "|" + std::to_string(c.message.size()));
        const std::string failure = clientError(id);
        ASSERT_EQ(host().PutRecord(id, "missing", "pk", nullptr, "x", 1), 0);
        ASSERT_EQ(host().GetLastResultPutRecord(id, nullptr, nullptr, nullptr, &success, nullptr, nullptr, error.data(), nullptr), 0);
        EXPECT_EQ(error.text() + std::to_string(success), "1");
        EXPECT_EQ(clientError(id), failure);
    }
}

}  // namespace
}  // namespace rxk::test
