#include "kinesis/request_serializer.h"

#include "core/encoding.h"
#include "kinesis/json_writer.h"

namespace Aws {
namespace Internal {

using namespace Aws::Kinesis::Model;

namespace {

// Room for the names, punctuation and escapes around the payload.
constexpr size_t kFieldOverhead = 64;

size_t EstimatedTextSize(const Aws::String& text) { return text.size() + kFieldOverhead; }

size_t EstimatedBlobSize(const Aws::Utils::ByteBuffer& data) {
  return Base64EncodedLength(data.GetLength()) + kFieldOverhead;
}

// Reserves once for the whole body so that encoding a large payload never regrows it.
void StartBody(Aws::String& body, size_t estimatedSize) {
  body.clear();
  if (body.capacity() < estimatedSize) body.reserve(estimatedSize);
}

void WriteString(JsonWriter& json, const char* name, bool isSet, const Aws::String& value) {
  if (!isSet) return;
  json.Key(name);
  json.String(value);
}

void WriteInteger(JsonWriter& json, const char* name, bool isSet, int value) {
  if (!isSet) return;
  json.Key(name);
  json.Integer(value);
}

void WriteBlob(JsonWriter& json, const char* name, bool isSet, const Aws::Utils::ByteBuffer& value) {
  if (!isSet) return;
  json.Key(name);
  json.Blob(value);
}

void WriteStreamModeDetails(JsonWriter& json, bool isSet, const StreamModeDetails& details) {
  if (!isSet) return;
  json.Key("StreamModeDetails");
  json.BeginObject();
  if (details.StreamModeHasBeenSet()) {
    json.Key("StreamMode");
    json.String(StreamModeMapper::GetNameForStreamMode(details.GetStreamMode()));
  }
  json.EndObject();
}

}  // namespace

void SerializeRequest(const PutRecordRequest& request, Aws::String& body) {
  StartBody(body, EstimatedBlobSize(request.GetData()) + EstimatedTextSize(request.GetStreamName()) +
                      EstimatedTextSize(request.GetPartitionKey()) + 4 * kFieldOverhead);
  JsonWriter json(body);
  json.BeginObject();
  WriteString(json, "StreamName", request.StreamNameHasBeenSet(), request.GetStreamName());
  WriteBlob(json, "Data", request.DataHasBeenSet(), request.GetData());
  WriteString(json, "PartitionKey", request.PartitionKeyHasBeenSet(), request.GetPartitionKey());
  WriteString(json, "ExplicitHashKey", request.ExplicitHashKeyHasBeenSet(), request.GetExplicitHashKey());
  WriteString(json, "SequenceNumberForOrdering", request.SequenceNumberForOrderingHasBeenSet(),
              request.GetSequenceNumberForOrdering());
  WriteString(json, "StreamARN", request.StreamARNHasBeenSet(), request.GetStreamARN());
  WriteString(json, "StreamId", request.StreamIdHasBeenSet(), request.GetStreamId());
  json.EndObject();
}

void SerializeRequest(const PutRecordsRequest& request, Aws::String& body) {
  size_t estimate = EstimatedTextSize(request.GetStreamName()) + 3 * kFieldOverhead;
  for (const PutRecordsRequestEntry& entry : request.GetRecords()) {
    estimate += EstimatedBlobSize(entry.GetData()) + EstimatedTextSize(entry.GetPartitionKey()) +
                EstimatedTextSize(entry.GetExplicitHashKey());
  }
  StartBody(body, estimate);
  JsonWriter json(body);
  json.BeginObject();
  if (request.RecordsHasBeenSet()) {
    json.Key("Records");
    json.BeginArray();
    for (const PutRecordsRequestEntry& entry : request.GetRecords()) {
      json.BeginObject();
      WriteBlob(json, "Data", entry.DataHasBeenSet(), entry.GetData());
      WriteString(json, "ExplicitHashKey", entry.ExplicitHashKeyHasBeenSet(), entry.GetExplicitHashKey());
      WriteString(json, "PartitionKey", entry.PartitionKeyHasBeenSet(), entry.GetPartitionKey());
      json.EndObject();
    }
    json.EndArray();
  }
  WriteString(json, "StreamName", request.StreamNameHasBeenSet(), request.GetStreamName());
  WriteString(json, "StreamARN", request.StreamARNHasBeenSet(), request.GetStreamARN());
  WriteString(json, "StreamId", request.StreamIdHasBeenSet(), request.GetStreamId());
  json.EndObject();
}

void SerializeRequest(const GetShardIteratorRequest& request, Aws::String& body) {
  StartBody(body, 8 * kFieldOverhead + request.GetStreamName().size() + request.GetStartingSequenceNumber().size());
  JsonWriter json(body);
  json.BeginObject();
  WriteString(json, "StreamName", request.StreamNameHasBeenSet(), request.GetStreamName());
  WriteString(json, "ShardId", request.ShardIdHasBeenSet(), request.GetShardId());
  if (request.ShardIteratorTypeHasBeenSet()) {
    json.Key("ShardIteratorType");
    json.String(ShardIteratorTypeMapper::GetNameForShardIteratorType(request.GetShardIteratorType()));
  }
  WriteString(json, "StartingSequenceNumber", request.StartingSequenceNumberHasBeenSet(),
              request.GetStartingSequenceNumber());
  if (request.TimestampHasBeenSet()) {
    json.Key("Timestamp");
    json.Number(request.GetTimestamp().SecondsWithMSPrecision());
  }
  WriteString(json, "StreamARN", request.StreamARNHasBeenSet(), request.GetStreamARN());
  json.EndObject();
}

void SerializeRequest(const GetRecordsRequest& request, Aws::String& body) {
  StartBody(body, 4 * kFieldOverhead + request.GetShardIterator().size());
  JsonWriter json(body);
  json.BeginObject();
  WriteString(json, "ShardIterator", request.ShardIteratorHasBeenSet(), request.GetShardIterator());
  WriteInteger(json, "Limit", request.LimitHasBeenSet(), request.GetLimit());
  WriteString(json, "StreamARN", request.StreamARNHasBeenSet(), request.GetStreamARN());
  WriteString(json, "StreamId", request.StreamIdHasBeenSet(), request.GetStreamId());
  json.EndObject();
}

void SerializeRequest(const ListStreamsRequest& request, Aws::String& body) {
  StartBody(body, 4 * kFieldOverhead + request.GetExclusiveStartStreamName().size() + request.GetNextToken().size());
  JsonWriter json(body);
  json.BeginObject();
  WriteInteger(json, "Limit", request.LimitHasBeenSet(), request.GetLimit());
  WriteString(json, "ExclusiveStartStreamName", request.ExclusiveStartStreamNameHasBeenSet(),
              request.GetExclusiveStartStreamName());
  WriteString(json, "NextToken", request.NextTokenHasBeenSet(), request.GetNextToken());
  json.EndObject();
}

void SerializeRequest(const DescribeStreamRequest& request, Aws::String& body) {
  StartBody(body, 4 * kFieldOverhead + request.GetStreamName().size() + request.GetStreamARN().size());
  JsonWriter json(body);
  json.BeginObject();
  WriteString(json, "StreamName", request.StreamNameHasBeenSet(), request.GetStreamName());
  WriteInteger(json, "Limit", request.LimitHasBeenSet(), request.GetLimit());
  WriteString(json, "ExclusiveStartShardId", request.ExclusiveStartShardIdHasBeenSet(),
              request.GetExclusiveStartShardId());
  WriteString(json, "StreamARN", request.StreamARNHasBeenSet(), request.GetStreamARN());
  json.EndObject();
}

void SerializeRequest(const CreateStreamRequest& request, Aws::String& body) {
  StartBody(body, 8 * kFieldOverhead + request.GetStreamName().size());
  JsonWriter json(body);
  json.BeginObject();
  WriteString(json, "StreamName", request.StreamNameHasBeenSet(), request.GetStreamName());
  WriteInteger(json, "ShardCount", request.ShardCountHasBeenSet(), request.GetShardCount());
  WriteStreamModeDetails(json, request.StreamModeDetailsHasBeenSet(), request.GetStreamModeDetails());
  if (request.TagsHasBeenSet()) {
    json.Key("Tags");
    json.BeginObject();
    for (const auto& tag : request.GetTags()) {
      json.Key(tag.first);
      json.String(tag.second);
    }
    json.EndObject();
  }
  WriteInteger(json, "WarmThroughputMiBps", request.WarmThroughputMiBpsHasBeenSet(),
               request.GetWarmThroughputMiBps());
  WriteInteger(json, "MaxRecordSizeInKiB", request.MaxRecordSizeInKiBHasBeenSet(), request.GetMaxRecordSizeInKiB());
  json.EndObject();
}

}  // namespace Internal
}  // namespace Aws
