#include "kinesis/response_parser.h"

#include "core/encoding.h"

#include <simdjson.h>

#include <cmath>
#include <limits>

namespace Aws {
namespace Internal {

using namespace Aws::Kinesis::Model;
using simdjson::dom::array;
using simdjson::dom::element;
using simdjson::dom::object;

static_assert(kJsonInputPadding >= simdjson::SIMDJSON_PADDING, "padding promised by callers is too small");

namespace {

// Beyond about year 5000 a timestamp is garbage, and converting it would overflow.
constexpr double kMaxEpochSeconds = 1e11;

bool IsBlank(const char* body, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    const char c = body[i];
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
  }
  return true;
}

// The non-null value of a member.
bool Member(const object& parent, std::string_view key, element& value) {
  auto found = parent.at_key(key);
  if (found.error() != simdjson::SUCCESS) return false;
  value = found.value_unsafe();
  return !value.is_null();
}

bool StringOf(const element& value, Aws::String& out) {
  std::string_view text;
  if (value.get_string().get(text) != simdjson::SUCCESS) return false;
  out.assign(text.data(), text.size());
  return true;
}

bool Int64Of(const element& value, int64_t& out) {
  if (value.get_int64().get(out) == simdjson::SUCCESS) return true;
  double real = 0;
  if (value.get_double().get(real) != simdjson::SUCCESS || !std::isfinite(real) || std::fabs(real) >= 9.2e18) {
    return false;
  }
  out = static_cast<int64_t>(real);
  return true;
}

// Epoch seconds with a fraction, as the service sends timestamps.
bool TimestampOf(const element& value, Aws::Utils::DateTime& out) {
  double seconds = 0;
  if (value.get_double().get(seconds) != simdjson::SUCCESS || !std::isfinite(seconds) ||
      std::fabs(seconds) > kMaxEpochSeconds) {
    return false;
  }
  out = Aws::Utils::DateTime(seconds);
  return true;
}

bool BlobOf(const element& value, Aws::Utils::ByteBuffer& out) {
  std::string_view text;
  if (value.get_string().get(text) != simdjson::SUCCESS) return false;
  return DecodeBase64(text.data(), text.size(), out);
}

bool ReadString(const object& parent, std::string_view key, Aws::String& out) {
  element value;
  return Member(parent, key, value) && StringOf(value, out);
}

bool ReadInt64(const object& parent, std::string_view key, int64_t& out) {
  element value;
  return Member(parent, key, value) && Int64Of(value, out);
}

bool ReadInt(const object& parent, std::string_view key, int& out) {
  int64_t wide = 0;
  if (!ReadInt64(parent, key, wide) || wide < std::numeric_limits<int>::min() ||
      wide > std::numeric_limits<int>::max()) {
    return false;
  }
  out = static_cast<int>(wide);
  return true;
}

bool ReadBool(const object& parent, std::string_view key, bool& out) {
  element value;
  return Member(parent, key, value) && value.get_bool().get(out) == simdjson::SUCCESS;
}

bool ReadTimestamp(const object& parent, std::string_view key, Aws::Utils::DateTime& out) {
  element value;
  return Member(parent, key, value) && TimestampOf(value, out);
}

bool ReadObject(const object& parent, std::string_view key, object& out) {
  element value;
  return Member(parent, key, value) && value.get_object().get(out) == simdjson::SUCCESS;
}

bool ReadArray(const object& parent, std::string_view key, array& out) {
  element value;
  return Member(parent, key, value) && value.get_array().get(out) == simdjson::SUCCESS;
}

void ReadEncryptionType(const object& parent, EncryptionType& out, bool& found) {
  Aws::String name;
  found = ReadString(parent, "EncryptionType", name);
  if (found) out = EncryptionTypeMapper::GetEncryptionTypeForName(name);
}

Aws::Vector<Aws::String> ReadStringList(const array& items) {
  Aws::Vector<Aws::String> list;
  list.reserve(items.size());
  for (element item : items) {
    std::string_view text;
    if (item.get_string().get(text) == simdjson::SUCCESS) list.emplace_back(text.data(), text.size());
  }
  return list;
}

HashKeyRange ReadHashKeyRange(const object& source) {
  HashKeyRange range;
  Aws::String text;
  if (ReadString(source, "StartingHashKey", text)) range.SetStartingHashKey(std::move(text));
  if (ReadString(source, "EndingHashKey", text)) range.SetEndingHashKey(std::move(text));
  return range;
}

SequenceNumberRange ReadSequenceNumberRange(const object& source) {
  SequenceNumberRange range;
  Aws::String text;
  if (ReadString(source, "StartingSequenceNumber", text)) range.SetStartingSequenceNumber(std::move(text));
  if (ReadString(source, "EndingSequenceNumber", text)) range.SetEndingSequenceNumber(std::move(text));
  return range;
}

StreamModeDetails ReadStreamModeDetails(const object& source) {
  StreamModeDetails details;
  Aws::String name;
  if (ReadString(source, "StreamMode", name)) details.SetStreamMode(StreamModeMapper::GetStreamModeForName(name));
  return details;
}

Shard ReadShard(const object& source) {
  Shard shard;
  Aws::String text;
  object nested;
  if (ReadString(source, "ShardId", text)) shard.SetShardId(std::move(text));
  if (ReadString(source, "ParentShardId", text)) shard.SetParentShardId(std::move(text));
  if (ReadString(source, "AdjacentParentShardId", text)) shard.SetAdjacentParentShardId(std::move(text));
  if (ReadObject(source, "HashKeyRange", nested)) shard.SetHashKeyRange(ReadHashKeyRange(nested));
  if (ReadObject(source, "SequenceNumberRange", nested)) shard.SetSequenceNumberRange(ReadSequenceNumberRange(nested));
  return shard;
}

ChildShard ReadChildShard(const object& source) {
  ChildShard child;
  Aws::String text;
  object nested;
  array parents;
  if (ReadString(source, "ShardId", text)) child.SetShardId(std::move(text));
  if (ReadArray(source, "ParentShards", parents)) child.SetParentShards(ReadStringList(parents));
  if (ReadObject(source, "HashKeyRange", nested)) child.SetHashKeyRange(ReadHashKeyRange(nested));
  return child;
}

// Fills a record in place, decoding its payload straight into its own buffer. A batch holds
// up to 10,000 records, so the members are taken in one pass over the object rather than by
// a lookup each; the first occurrence of a member wins, as with a lookup.
void ReadRecord(const object& source, Record& record) {
  Aws::String text;
  Aws::Utils::DateTime arrival;
  Aws::Utils::ByteBuffer data;
  for (const simdjson::dom::key_value_pair field : source) {
    const element& value = field.value;
    if (value.is_null()) continue;
    const std::string_view key = field.key;
    if (key == "SequenceNumber") {
      if (!record.SequenceNumberHasBeenSet() && StringOf(value, text)) record.SetSequenceNumber(std::move(text));
    } else if (key == "Data") {
      if (!record.DataHasBeenSet() && BlobOf(value, data)) record.SetData(std::move(data));
    } else if (key == "PartitionKey") {
      if (!record.PartitionKeyHasBeenSet() && StringOf(value, text)) record.SetPartitionKey(std::move(text));
    } else if (key == "ApproximateArrivalTimestamp") {
      if (!record.ApproximateArrivalTimestampHasBeenSet() && TimestampOf(value, arrival)) {
        record.SetApproximateArrivalTimestamp(arrival);
      }
    } else if (key == "EncryptionType") {
      if (!record.EncryptionTypeHasBeenSet() && StringOf(value, text)) {
        record.SetEncryptionType(EncryptionTypeMapper::GetEncryptionTypeForName(text));
      }
    }
  }
}

PutRecordsResultEntry ReadPutRecordsResultEntry(const object& source) {
  PutRecordsResultEntry entry;
  Aws::String text;
  if (ReadString(source, "SequenceNumber", text)) entry.SetSequenceNumber(std::move(text));
  if (ReadString(source, "ShardId", text)) entry.SetShardId(std::move(text));
  if (ReadString(source, "ErrorCode", text)) entry.SetErrorCode(std::move(text));
  if (ReadString(source, "ErrorMessage", text)) entry.SetErrorMessage(std::move(text));
  return entry;
}

StreamSummary ReadStreamSummary(const object& source) {
  StreamSummary summary;
  Aws::String text;
  object nested;
  Aws::Utils::DateTime created;
  if (ReadString(source, "StreamName", text)) summary.SetStreamName(std::move(text));
  if (ReadString(source, "StreamARN", text)) summary.SetStreamARN(std::move(text));
  if (ReadString(source, "StreamStatus", text)) summary.SetStreamStatus(StreamStatusMapper::GetStreamStatusForName(text));
  if (ReadObject(source, "StreamModeDetails", nested)) summary.SetStreamModeDetails(ReadStreamModeDetails(nested));
  if (ReadTimestamp(source, "StreamCreationTimestamp", created)) summary.SetStreamCreationTimestamp(created);
  return summary;
}

StreamDescription ReadStreamDescription(const object& source) {
  StreamDescription description;
  Aws::String text;
  object nested;
  array items;
  bool flag = false;
  int number = 0;
  Aws::Utils::DateTime created;
  if (ReadString(source, "StreamName", text)) description.SetStreamName(std::move(text));
  if (ReadString(source, "StreamARN", text)) description.SetStreamARN(std::move(text));
  if (ReadString(source, "StreamStatus", text)) {
    description.SetStreamStatus(StreamStatusMapper::GetStreamStatusForName(text));
  }
  if (ReadObject(source, "StreamModeDetails", nested)) description.SetStreamModeDetails(ReadStreamModeDetails(nested));
  if (ReadArray(source, "Shards", items)) {
    Aws::Vector<Shard> shards;
    shards.reserve(items.size());
    for (element item : items) {
      object shard;
      if (item.get_object().get(shard) == simdjson::SUCCESS) shards.push_back(ReadShard(shard));
    }
    description.SetShards(std::move(shards));
  }
  if (ReadBool(source, "HasMoreShards", flag)) description.SetHasMoreShards(flag);
  if (ReadInt(source, "RetentionPeriodHours", number)) description.SetRetentionPeriodHours(number);
  if (ReadTimestamp(source, "StreamCreationTimestamp", created)) description.SetStreamCreationTimestamp(created);
  EncryptionType encryption = EncryptionType::NOT_SET;
  ReadEncryptionType(source, encryption, flag);
  if (flag) description.SetEncryptionType(encryption);
  if (ReadString(source, "KeyId", text)) description.SetKeyId(std::move(text));
  return description;
}

// Objects of an array, each read by `read`; other items are skipped.
template <typename Item, typename Reader>
Aws::Vector<Item> ReadObjectList(const array& items, Reader read) {
  Aws::Vector<Item> list;
  list.reserve(items.size());
  for (element item : items) {
    object source;
    if (item.get_object().get(source) == simdjson::SUCCESS) list.push_back(read(source));
  }
  return list;
}

void FillResult(const object&, Aws::NoResult&) {}

void FillResult(const object& root, PutRecordResult& result) {
  Aws::String text;
  bool hasEncryption = false;
  EncryptionType encryption = EncryptionType::NOT_SET;
  if (ReadString(root, "ShardId", text)) result.SetShardId(std::move(text));
  if (ReadString(root, "SequenceNumber", text)) result.SetSequenceNumber(std::move(text));
  ReadEncryptionType(root, encryption, hasEncryption);
  if (hasEncryption) result.SetEncryptionType(encryption);
}

void FillResult(const object& root, PutRecordsResult& result) {
  int failed = 0;
  array items;
  bool hasEncryption = false;
  EncryptionType encryption = EncryptionType::NOT_SET;
  if (ReadInt(root, "FailedRecordCount", failed)) result.SetFailedRecordCount(failed);
  if (ReadArray(root, "Records", items)) {
    result.SetRecords(ReadObjectList<PutRecordsResultEntry>(items, ReadPutRecordsResultEntry));
  }
  ReadEncryptionType(root, encryption, hasEncryption);
  if (hasEncryption) result.SetEncryptionType(encryption);
}

void FillResult(const object& root, GetShardIteratorResult& result) {
  Aws::String text;
  if (ReadString(root, "ShardIterator", text)) result.SetShardIterator(std::move(text));
}

void FillResult(const object& root, GetRecordsResult& result) {
  array items;
  Aws::String text;
  int64_t millis = 0;
  if (ReadArray(root, "Records", items)) {
    Aws::Vector<Record> records;
    records.reserve(items.size());
    for (element item : items) {
      object source;
      if (item.get_object().get(source) != simdjson::SUCCESS) continue;
      records.emplace_back();
      ReadRecord(source, records.back());
    }
    result.SetRecords(std::move(records));
  }
  if (ReadString(root, "NextShardIterator", text)) result.SetNextShardIterator(std::move(text));
  if (ReadInt64(root, "MillisBehindLatest", millis)) result.SetMillisBehindLatest(millis);
  if (ReadArray(root, "ChildShards", items)) result.SetChildShards(ReadObjectList<ChildShard>(items, ReadChildShard));
}

void FillResult(const object& root, ListStreamsResult& result) {
  array items;
  Aws::String text;
  bool flag = false;
  if (ReadArray(root, "StreamNames", items)) result.SetStreamNames(ReadStringList(items));
  if (ReadBool(root, "HasMoreStreams", flag)) result.SetHasMoreStreams(flag);
  if (ReadString(root, "NextToken", text)) result.SetNextToken(std::move(text));
  if (ReadArray(root, "StreamSummaries", items)) {
    result.SetStreamSummaries(ReadObjectList<StreamSummary>(items, ReadStreamSummary));
  }
}

void FillResult(const object& root, DescribeStreamResult& result) {
  object description;
  if (ReadObject(root, "StreamDescription", description)) result.SetStreamDescription(ReadStreamDescription(description));
}

}  // namespace

struct ResponseParser::State {
  simdjson::dom::parser parser;

  // The root element of the body, or the parser's complaint.
  bool ParseDocument(const char* body, size_t length, bool padded, element& root, Aws::String& errorMessage) {
    const simdjson::error_code error = parser.parse(body, length, !padded).get(root);
    if (error == simdjson::SUCCESS) return true;
    errorMessage = simdjson::error_message(error);
    return false;
  }

  template <typename Result>
  bool ParseResult(const char* body, size_t length, bool padded, Result& result, Aws::String& errorMessage) {
    result = Result();
    if (IsBlank(body, length)) return true;
    element root;
    if (!ParseDocument(body, length, padded, root, errorMessage)) return false;
    object members;
    // Another JSON value than an object carries none of the members: a default result.
    if (root.get_object().get(members) == simdjson::SUCCESS) FillResult(members, result);
    return true;
  }
};

ResponseParser::ResponseParser() : m_state(new State) {}
ResponseParser::~ResponseParser() = default;

bool ResponseParser::Parse(const char* body, size_t length, bool padded, Aws::NoResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, PutRecordResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, PutRecordsResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, GetShardIteratorResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, GetRecordsResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, ListStreamsResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, DescribeStreamResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}

ErrorPayload ResponseParser::ParseErrorPayload(const char* body, size_t length, bool padded) {
  ErrorPayload payload;
  if (length == 0) return payload;
  element root;
  Aws::String ignored;
  if (!m_state->ParseDocument(body, length, padded, root, ignored)) {
    payload.kind = ErrorPayload::Kind::NotJson;
    return payload;
  }
  payload.kind = ErrorPayload::Kind::Json;
  object members;
  if (root.get_object().get(members) != simdjson::SUCCESS) return payload;
  if (!ReadString(members, "Message", payload.message)) ReadString(members, "message", payload.message);
  ReadString(members, "__type", payload.typeName);
  return payload;
}

}  // namespace Internal
}  // namespace Aws
