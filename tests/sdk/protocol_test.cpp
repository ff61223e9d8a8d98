// Request bodies and answer parsing of the JSON protocol, without a network.
#include <aws/kinesis/KinesisServiceClientModel.h>

#include "core/encoding.h"
#include "kinesis/request_serializer.h"
#include "kinesis/response_parser.h"

#include <gtest/gtest.h>

namespace {

using namespace Aws::Kinesis::Model;
using Aws::Internal::SerializeRequest;

Aws::Utils::ByteBuffer bytes(const std::string& text) {
    return Aws::Utils::ByteBuffer(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

template <typename Request>
std::string body(const Request& request) {
    Aws::String out;
    SerializeRequest(request, out);
    return out;
}

// Fields in model order, and only those set: a field sent by default (e.g. Limit 0) changes
// the service's answer.
TEST(RequestSerialization, OnlySetFieldsInModelOrder) {
    EXPECT_EQ(body(PutRecordRequest()), "{}");
    EXPECT_EQ(body(ListStreamsRequest()), "{}");
    PutRecordRequest put;
    put.SetExplicitHashKey("42");
    put.SetPartitionKey("pk");
    put.SetData(bytes("hello"));
    put.SetStreamName("s");
    EXPECT_EQ(body(put), R"({"StreamName":"s","Data":"aGVsbG8=","PartitionKey":"pk","ExplicitHashKey":"42"})");

    PutRecordsRequest batch;
    batch.SetStreamName("s");
    batch.AddRecords(PutRecordsRequestEntry().WithPartitionKey("a").WithData(bytes("")));
    batch.AddRecords(PutRecordsRequestEntry().WithData(bytes("xy")).WithExplicitHashKey("1").WithPartitionKey("b"));
    EXPECT_EQ(body(batch),
              R"({"Records":[{"Data":"","PartitionKey":"a"},{"Data":"eHk=","ExplicitHashKey":"1","PartitionKey":"b"}],)"
              R"("StreamName":"s"})");

    EXPECT_EQ(body(GetRecordsRequest().WithShardIterator("it").WithLimit(0)), R"({"ShardIterator":"it","Limit":0})");
    EXPECT_EQ(body(ListStreamsRequest().WithExclusiveStartStreamName("a").WithLimit(10)),
              R"({"Limit":10,"ExclusiveStartStreamName":"a"})");
    EXPECT_EQ(body(DescribeStreamRequest().WithExclusiveStartShardId("x").WithStreamName("s").WithLimit(2)),
              R"({"StreamName":"s","Limit":2,"ExclusiveStartShardId":"x"})");
    EXPECT_EQ(body(CreateStreamRequest().WithShardCount(3).WithStreamName("s")), R"({"StreamName":"s","ShardCount":3})");
}

TEST(RequestSerialization, ShardIteratorTypeAndTimestamp) {
    GetShardIteratorRequest request;
    request.SetStreamName("s");
    request.SetShardId("shardId-000000000000");
    request.SetShardIteratorType(ShardIteratorType::AT_TIMESTAMP);
    Aws::Utils::DateTime time;
    time = Aws::String("2016-04-04T19:58:46.480Z");
    request.SetTimestamp(time);
    EXPECT_EQ(body(request),
              R"({"StreamName":"s","ShardId":"shardId-000000000000","ShardIteratorType":"AT_TIMESTAMP",)"
              R"("Timestamp":1459799926.48})");
    request.SetTimestamp(Aws::Utils::DateTime(int64_t{1459799926000}));
    EXPECT_NE(body(request).find(R"("Timestamp":1459799926})"), std::string::npos);
    // A failed parse still goes out, as the epoch.
    time = Aws::String("garbage");
    request.SetTimestamp(time);
    EXPECT_NE(body(request).find(R"("Timestamp":0})"), std::string::npos);
    request.SetShardIteratorType(ShardIteratorType::AFTER_SEQUENCE_NUMBER);
    request.SetStartingSequenceNumber("123");
    EXPECT_NE(body(request).find(R"("ShardIteratorType":"AFTER_SEQUENCE_NUMBER","StartingSequenceNumber":"123")"),
              std::string::npos);
}

// Hostile names must stay inside their string: a quote or backslash that escaped would let a
// stream name rewrite the request.
TEST(RequestSerialization, StringsAreEscaped) {
    PutRecordRequest request;
    request.SetStreamName(std::string("a\"b\\c\n\t\x01\x1f/\x7f\xc3\xa9\xff", 14));
    EXPECT_EQ(body(request), std::string("{\"StreamName\":\"a\\\"b\\\\c\\n\\t\\u0001\\u001f/\x7f\xc3\xa9\xff\"}"));
    request.SetStreamName(std::string("ab\0cd", 5));
    EXPECT_EQ(body(request), R"({"StreamName":"ab"})");
    CreateStreamRequest create;
    create.AddTags("k\"", "v\\");
    EXPECT_EQ(body(create), R"({"Tags":{"k\"":"v\\"}})");
}

TEST(RequestSerialization, BufferIsReusedAcrossBodies) {
    Aws::String out;
    SerializeRequest(PutRecordRequest().WithData(bytes(std::string(100000, 'x'))), out);
    const size_t capacity = out.capacity();
    SerializeRequest(ListStreamsRequest(), out);
    EXPECT_EQ(out, "{}");
    EXPECT_EQ(out.capacity(), capacity);
}

// Base64 both ways over every byte value and every length remainder.
TEST(Base64, RoundTripsAllBytes) {
    std::string all;
    for (int i = 0; i < 256; ++i) all.push_back(static_cast<char>(i));
    for (size_t length : {size_t{0}, size_t{1}, size_t{2}, size_t{3}, size_t{4}, size_t{255}, size_t{256}}) {
        Aws::String encoded;
        Aws::Internal::AppendBase64(encoded, reinterpret_cast<const unsigned char*>(all.data()), length);
        EXPECT_EQ(encoded.size(), Aws::Internal::Base64EncodedLength(length));
        Aws::Utils::ByteBuffer decoded;
        ASSERT_TRUE(Aws::Internal::DecodeBase64(encoded.data(), encoded.size(), decoded)) << length;
        ASSERT_EQ(decoded.GetLength(), length);
        if (length > 0) {
            EXPECT_EQ(std::string(reinterpret_cast<char*>(decoded.GetUnderlyingData()), length), all.substr(0, length));
        }
    }
}

TEST(Base64, InvalidTextIsRefused) {
    for (const char* text : {"a", "abc", "ab=c", "a===", "ab c", "ab\ncd", "abc*", "=abc", "ab==cd==", "YQ=a"}) {
        Aws::Utils::ByteBuffer decoded;
        EXPECT_FALSE(Aws::Internal::DecodeBase64(text, std::strlen(text), decoded)) << text;
        EXPECT_EQ(decoded.GetLength(), 0u);
    }
}

TEST(InvocationId, IsUppercaseVersion4Uuid) {
    const Aws::String id = Aws::Internal::RandomUuid();
    ASSERT_EQ(id.size(), 36u);
    EXPECT_EQ(id[14], '4');
    EXPECT_NE(std::string("89AB").find(id[19]), std::string::npos);
    for (size_t i : {8, 13, 18, 23}) EXPECT_EQ(id[i], '-');
    for (char c : id) EXPECT_TRUE(c == '-' || std::isdigit(static_cast<unsigned char>(c)) || (c >= 'A' && c <= 'F'));
    EXPECT_NE(id, Aws::Internal::RandomUuid());
}

template <typename Result>
bool parse(const std::string& json, Result& result, Aws::String* message = nullptr) {
    Aws::Internal::ResponseParser parser;
    Aws::String ignored;
    return parser.Parse(json.data(), json.size(), false, result, message ? *message : ignored);
}

TEST(ResponseParsing, GetRecordsDecodesEveryField) {
    GetRecordsResult result;
    ASSERT_TRUE(parse(R"({"Records":[{"SequenceNumber":"1","ApproximateArrivalTimestamp":1459799926.48,)"
                      R"("Data":"AAEC/w==","PartitionKey":"pk","EncryptionType":"KMS"}],)"
                      R"("NextShardIterator":"next","MillisBehindLatest":1234567890123,)"
                      R"("ChildShards":[{"ShardId":"c","ParentShards":["p1","p2"],)"
                      R"("HashKeyRange":{"StartingHashKey":"0","EndingHashKey":"9"}}]})",
                      result));
    ASSERT_EQ(result.GetRecords().size(), 1u);
    const Record& record = result.GetRecords()[0];
    EXPECT_EQ(record.GetSequenceNumber(), "1");
    EXPECT_EQ(record.GetApproximateArrivalTimestamp().Millis(), 1459799926480);
    ASSERT_EQ(record.GetData().GetLength(), 4u);
    EXPECT_EQ(record.GetData()[3], 0xff);
    EXPECT_EQ(record.GetPartitionKey(), "pk");
    EXPECT_EQ(record.GetEncryptionType(), EncryptionType::KMS);
    EXPECT_EQ(result.GetNextShardIterator(), "next");
    EXPECT_EQ(result.GetMillisBehindLatest(), 1234567890123);
    ASSERT_EQ(result.GetChildShards().size(), 1u);
    EXPECT_EQ(result.GetChildShards()[0].GetParentShards()[1], "p2");
    EXPECT_EQ(result.GetChildShards()[0].GetHashKeyRange().GetEndingHashKey(), "9");
}

TEST(ResponseParsing, DescribeListAndPutResults) {
    DescribeStreamResult described;
    ASSERT_TRUE(parse(R"({"StreamDescription":{"StreamName":"s","StreamARN":"arn","StreamStatus":"ACTIVE",)"
                      R"("Shards":[{"ShardId":"shardId-0","ParentShardId":"p","HashKeyRange":{"StartingHashKey":"0",)"
                      R"("EndingHashKey":"340282366920938463463374607431768211455"},)"
                      R"("SequenceNumberRange":{"StartingSequenceNumber":"49"}}],"HasMoreShards":true,)"
                      R"("RetentionPeriodHours":24,"StreamCreationTimestamp":1459799926,"EncryptionType":"NONE"}})",
                      described));
    const StreamDescription& d = described.GetStreamDescription();
    EXPECT_EQ(d.GetStreamStatus(), StreamStatus::ACTIVE);
    ASSERT_EQ(d.GetShards().size(), 1u);
    EXPECT_EQ(d.GetShards()[0].GetHashKeyRange().GetEndingHashKey(), "340282366920938463463374607431768211455");
    EXPECT_EQ(d.GetShards()[0].GetSequenceNumberRange().GetStartingSequenceNumber(), "49");
    EXPECT_TRUE(d.GetShards()[0].GetSequenceNumberRange().GetEndingSequenceNumber().empty());
    EXPECT_TRUE(d.GetHasMoreShards());
    EXPECT_EQ(d.GetRetentionPeriodHours(), 24);
    EXPECT_EQ(d.GetStreamCreationTimestamp().Seconds(), 1459799926);
    EXPECT_EQ(d.GetEncryptionType(), EncryptionType::NONE);

    ListStreamsResult listed;
    ASSERT_TRUE(parse(R"({"StreamNames":["a","b"],"HasMoreStreams":true,"NextToken":"t"})", listed));
    EXPECT_EQ(listed.GetStreamNames(), (Aws::Vector<Aws::String>{"a", "b"}));
    EXPECT_TRUE(listed.GetHasMoreStreams());
    EXPECT_EQ(listed.GetNextToken(), "t");

    PutRecordsResult batch;
    ASSERT_TRUE(parse(R"({"FailedRecordCount":1,"Records":[{"SequenceNumber":"1","ShardId":"s"},)"
                      R"({"ErrorCode":"ProvisionedThroughputExceededException","ErrorMessage":"slow"}]})",
                      batch));
    EXPECT_EQ(batch.GetFailedRecordCount(), 1);
    ASSERT_EQ(batch.GetRecords().size(), 2u);
    EXPECT_EQ(batch.GetRecords()[1].GetErrorCode(), "ProvisionedThroughputExceededException");
    EXPECT_TRUE(batch.GetRecords()[1].GetSequenceNumber().empty());
}

// Wrong types, nulls, absurd numbers and bad base64 count as absent: never a crash, never an
// exception, never a half-filled value taken for real.
TEST(ResponseParsing, MalformedMembersAreAbsent) {
    GetRecordsResult records;
    ASSERT_TRUE(parse(R"({"Records":[{"SequenceNumber":7,"Data":"not base64!","ApproximateArrivalTimestamp":1e300,)"
                      R"("PartitionKey":null},"oops",null,{"Data":{"x":1}}],"NextShardIterator":false,)"
                      R"("MillisBehindLatest":1e30})",
                      records));
    ASSERT_EQ(records.GetRecords().size(), 2u);
    EXPECT_FALSE(records.GetRecords()[0].SequenceNumberHasBeenSet());
    EXPECT_FALSE(records.GetRecords()[0].DataHasBeenSet());
    EXPECT_EQ(records.GetRecords()[0].GetData().GetLength(), 0u);
    EXPECT_EQ(records.GetRecords()[0].GetApproximateArrivalTimestamp().Millis(), 0);
    EXPECT_FALSE(records.NextShardIteratorHasBeenSet());
    EXPECT_EQ(records.GetMillisBehindLatest(), 0);

    PutRecordsResult batch;
    ASSERT_TRUE(parse(R"({"FailedRecordCount":99999999999,"Records":"x"})", batch));
    EXPECT_EQ(batch.GetFailedRecordCount(), 0);
    EXPECT_TRUE(batch.GetRecords().empty());
    ASSERT_TRUE(parse(R"({"FailedRecordCount":"3"})", batch));
    EXPECT_EQ(batch.GetFailedRecordCount(), 0);

    DescribeStreamResult described;
    ASSERT_TRUE(parse(R"({"StreamDescription":{"StreamStatus":"SOMETHING_NEW","Shards":[1,"a"]}})", described));
    EXPECT_EQ(described.GetStreamDescription().GetStreamStatus(), StreamStatus::NOT_SET);
    EXPECT_TRUE(described.GetStreamDescription().GetShards().empty());
}

TEST(ResponseParsing, EmptyAndNonObjectBodiesGiveDefaults) {
    PutRecordResult result;
    EXPECT_TRUE(parse("", result));
    EXPECT_TRUE(parse("  \n", result));
    EXPECT_TRUE(parse("[]", result));
    EXPECT_TRUE(parse("null", result));
    EXPECT_TRUE(result.GetShardId().empty());
    Aws::NoResult none;
    EXPECT_TRUE(parse("{}", none));
}

// A body that is not JSON is a failure the caller sees; so is invalid UTF-8 inside strings.
TEST(ResponseParsing, NonJsonBodiesFail) {
    PutRecordResult result;
    Aws::String message;
    for (const std::string& bad : {std::string("{\"ShardId\":"), std::string("<html></html>"),
                                  std::string("{\"ShardId\":\"\xff\xfe\"}"), std::string("{\"a\":1}}"),
                                  std::string("{\"a\":18446744073709551616123}")}) {
        message.clear();
        EXPECT_FALSE(parse(bad, result, &message)) << bad;
        EXPECT_FALSE(message.empty());
    }
    Aws::NoResult none;
    EXPECT_FALSE(parse("not json", none));
}

// Deeply nested garbage must not exhaust the stack.
TEST(ResponseParsing, DeepNestingIsRefusedOrIgnored) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    ListStreamsResult result;
    Aws::String message;
    parse(deep, result, &message);
    EXPECT_TRUE(result.GetStreamNames().empty());
}

TEST(EnumMappers, NamesRoundTrip) {
    for (auto type : {ShardIteratorType::AT_SEQUENCE_NUMBER, ShardIteratorType::AFTER_SEQUENCE_NUMBER,
                      ShardIteratorType::TRIM_HORIZON, ShardIteratorType::LATEST, ShardIteratorType::AT_TIMESTAMP}) {
        EXPECT_EQ(ShardIteratorTypeMapper::GetShardIteratorTypeForName(
                      ShardIteratorTypeMapper::GetNameForShardIteratorType(type)),
                  type);
    }
    EXPECT_EQ(ShardIteratorTypeMapper::GetNameForShardIteratorType(ShardIteratorType::NOT_SET), "");
    EXPECT_EQ(ShardIteratorTypeMapper::GetShardIteratorTypeForName("latest"), ShardIteratorType::NOT_SET);
    EXPECT_EQ(StreamStatusMapper::GetNameForStreamStatus(StreamStatus::UPDATING), "UPDATING");
}

// Setters take rvalues without copying: moving a payload in keeps its storage.
TEST(ModelSetters, RvaluePayloadsAreMovedNotCopied) {
    Aws::Utils::ByteBuffer data = bytes("payload");
    const unsigned char* storage = data.GetUnderlyingData();
    PutRecordsRequestEntry entry;
    entry.SetData(std::move(data));
    EXPECT_EQ(entry.GetData().GetUnderlyingData(), storage);
    Aws::Vector<PutRecordsRequestEntry> entries;
    entries.push_back(std::move(entry));
    const PutRecordsRequestEntry* first = entries.data();
    PutRecordsRequest request;
    request.SetRecords(std::move(entries));
    EXPECT_EQ(request.GetRecords().data(), first);
    EXPECT_TRUE(request.RecordsHasBeenSet());
    PutRecordRequest single;
    single.SetStreamName(static_cast<const char*>(nullptr));
    EXPECT_TRUE(single.StreamNameHasBeenSet());
    EXPECT_TRUE(single.GetStreamName().empty());
}

}  // namespace
