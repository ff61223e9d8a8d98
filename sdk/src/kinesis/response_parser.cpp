#include "kinesis/response_parser.h"

#include "core/encoding.h"

#include <simdjson.h>

#include <algorithm>
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

// The members of a PutRecords entry, all strings: the first string of each name wins, whether
// the answer is read in place or in full.
struct EntryMember {
  std::string_view name;
  bool (PutRecordsResultEntry::*hasBeenSet)() const;
  void (PutRecordsResultEntry::*set)(Aws::String&&);
};

constexpr EntryMember kEntryMembers[] = {
    {"SequenceNumber", &PutRecordsResultEntry::SequenceNumberHasBeenSet, &PutRecordsResultEntry::SetSequenceNumber},
    {"ShardId", &PutRecordsResultEntry::ShardIdHasBeenSet, &PutRecordsResultEntry::SetShardId},
    {"ErrorCode", &PutRecordsResultEntry::ErrorCodeHasBeenSet, &PutRecordsResultEntry::SetErrorCode},
    {"ErrorMessage", &PutRecordsResultEntry::ErrorMessageHasBeenSet, &PutRecordsResultEntry::SetErrorMessage},
};

// The entry member `isNamed` picks out by name, or null.
template <typename NamePredicate>
const EntryMember* FindEntryMember(NamePredicate isNamed) {
  for (const EntryMember& member : kEntryMembers) {
    if (isNamed(member.name)) return &member;
  }
  return nullptr;
}

// One pass over the members, as for a record: an answer holds an entry per record sent.
PutRecordsResultEntry ReadPutRecordsResultEntry(const object& source) {
  PutRecordsResultEntry entry;
  Aws::String text;
  for (const simdjson::dom::key_value_pair field : source) {
    if (field.value.is_null()) continue;
    const EntryMember* member = FindEntryMember([&](std::string_view name) { return name == field.key; });
    if (member != nullptr && !(entry.*member->hasBeenSet)() && StringOf(field.value, text)) {
      (entry.*member->set)(std::move(text));
    }
  }
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

// ---- GetRecords and PutRecords in place ----
//
// The two answers that grow with the records are read without building the parser's tree and its
// copy of every string. A batch's payloads are decoded straight from the body, so the decoding is
// the one copy of a record's bytes between the answer and the result. The walk visits every
// value, so that it refuses what the full parse refuses; whatever it doesn't take on (an error, a
// root that isn't an object, child shards) is left to the full parse, which then decides as it
// always has.

namespace ondemand = simdjson::ondemand;
using simdjson::error_code;

// Something the full parse has to decide, without being an error of the body.
constexpr error_code kLeftToFullParse = simdjson::UNSUPPORTED_ARCHITECTURE;
// Deeper nesting than an answer has is left to the full parse, which knows its own limit; the
// walk recurses, so this also bounds its stack.
constexpr int kDeepestWalk = 32;

error_code Visit(ondemand::value value, int depth);

// The next member of an object: its name as it stands in the body, its value and the value's type.
struct Field {
  ondemand::raw_json_string key;
  ondemand::value value;
  ondemand::json_type type;

  // A name with no escape in it, compared byte for byte.
  bool Is(std::string_view name) const { return key.unsafe_is_equal(name); }
};

// Always inlined: called apart, the field's parts go through the stack in pieces and are read
// back whole, a stall that costs more per record than the copy this reader saves.
inline __attribute__((always_inline)) error_code Open(simdjson::simdjson_result<ondemand::field>&& item,
                                                      Field& member) {
  ondemand::field field;
  if (const error_code error = std::move(item).get(field)) return error;
  member.key = field.key();
  member.value = field.value();
  return member.value.type().get(member.type);
}

// A name that none of the readers asked for. One with an escape might still unescape to one of
// theirs, and its escapes need checking: both are left to the full parse.
error_code OtherName(const Field& member) {
  for (const char* c = member.key.raw(); *c != '"'; ++c) {
    if (*c == '\\') return kLeftToFullParse;
  }
  return simdjson::SUCCESS;
}

// A string's text: as it stands in the body, or unescaped by the parser when it holds an escape.
// Either way the value is consumed, so that the walk checks what follows it.
error_code TextIn(ondemand::value value, std::string_view& text) {
  const std::string_view token = value.raw_json_token();
  text = token.substr(1, token.rfind('"') - 1);
  if (text.find('\\') != std::string_view::npos) return value.get_string().get(text);
  ondemand::raw_json_string consumed;
  return value.get_raw_json_string().get(consumed);
}

error_code VisitObject(ondemand::object object, int depth) {
  for (auto item : object) {
    Field member;
    if (const error_code error = Open(std::move(item), member)) return error;
    if (const error_code error = OtherName(member)) return error;
    if (const error_code error = Visit(member.value, depth + 1)) return error;
  }
  return simdjson::SUCCESS;
}

error_code Visit(ondemand::value value, int depth) {
  if (depth > kDeepestWalk) return kLeftToFullParse;
  ondemand::json_type type;
  if (const error_code error = value.type().get(type)) return error;
  switch (type) {
    case ondemand::json_type::object: {
      ondemand::object object;
      if (const error_code error = value.get_object().get(object)) return error;
      return VisitObject(object, depth);
    }
    case ondemand::json_type::array: {
      ondemand::array items;
      if (const error_code error = value.get_array().get(items)) return error;
      for (auto item : items) {
        ondemand::value element;
        if (const error_code error = item.get(element)) return error;
        if (const error_code error = Visit(element, depth + 1)) return error;
      }
      return simdjson::SUCCESS;
    }
    case ondemand::json_type::string: {
      std::string_view text;
      return TextIn(value, text);
    }
    case ondemand::json_type::number: {
      ondemand::number number;
      return value.get_number().get(number);
    }
    case ondemand::json_type::boolean: {
      bool flag = false;
      return value.get_bool().get(flag);
    }
    case ondemand::json_type::null: {
      bool isNull = false;
      if (const error_code error = value.is_null().get(isNull)) return error;
      return isNull ? simdjson::SUCCESS : simdjson::N_ATOM_ERROR;
    }
  }
  return simdjson::SUCCESS;
}

error_code StringIn(ondemand::value value, Aws::String& out) {
  std::string_view text;
  if (const error_code error = TextIn(value, text)) return error;
  out.assign(text.data(), text.size());
  return simdjson::SUCCESS;
}

// The payload decoded from its base64 text; `decoded` is false when the text is no base64, as
// for the full parse. A backslash is no base64 character, so text that decodes as it stands in
// the body holds no escape; only text that doesn't is unescaped and decoded again.
error_code BlobIn(ondemand::value value, Aws::Utils::ByteBuffer& out, bool& decoded) {
  const std::string_view token = value.raw_json_token();
  const std::string_view raw = token.substr(1, token.rfind('"') - 1);
  decoded = DecodeBase64(raw.data(), raw.size(), out);
  if (decoded) {
    ondemand::raw_json_string consumed;
    return value.get_raw_json_string().get(consumed);
  }
  std::string_view text;
  if (const error_code error = TextIn(value, text)) return error;
  if (text.size() != raw.size()) decoded = DecodeBase64(text.data(), text.size(), out);
  return simdjson::SUCCESS;
}

// As Int64Of for what the service sends, an integer; any other number is left to the full parse.
error_code Int64In(ondemand::value value, int64_t& out) {
  ondemand::number_type type;
  if (const error_code error = value.get_number_type().get(type)) return error;
  if (type != ondemand::number_type::signed_integer) return kLeftToFullParse;
  return value.get_int64().get(out);
}

// A number's text as the walk sees it: the token runs to the next structural character, blanks
// included. Scanned by hand, since find_first_of calls memchr once per character.
struct NumberText {
  size_t length = 0;
  bool real = false;  // with a fraction or an exponent
};

NumberText ScanNumber(std::string_view token) {
  NumberText number;
  for (const char c : token) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') break;
    number.real |= c == '.' || c == 'e' || c == 'E';
    ++number.length;
  }
  return number;
}

// Longer number texts than a timestamp ever has are left to the full parse: the walk's own
// reading of a mantissa of more than 19 digits can differ from the full parse's.
constexpr size_t kLongestTimestampText = 20;

// As TimestampOf, for a number member: a real as it stands, an integer only while it fits 64
// bits (a longer one is no number to the full parse).
error_code SecondsIn(ondemand::value value, double& seconds) {
  const NumberText number = ScanNumber(value.raw_json_token());
  if (number.length > kLongestTimestampText) return kLeftToFullParse;
  if (number.real) return value.get_double().get(seconds);
  ondemand::number_type type;
  if (const error_code error = value.get_number_type().get(type)) return error;
  if (type == ondemand::number_type::signed_integer) {
    int64_t whole = 0;
    if (const error_code error = value.get_int64().get(whole)) return error;
    seconds = static_cast<double>(whole);
    return simdjson::SUCCESS;
  }
  if (type == ondemand::number_type::unsigned_integer) {
    uint64_t whole = 0;
    if (const error_code error = value.get_uint64().get(whole)) return error;
    seconds = static_cast<double>(whole);
    return simdjson::SUCCESS;
  }
  return kLeftToFullParse;
}

// As ReadRecord: the first member of each name that reads wins; others are visited.
error_code RecordIn(ondemand::object source, Record& record) {
  for (auto item : source) {
    Field member;
    if (const error_code error = Open(std::move(item), member)) return error;
    const bool isString = member.type == ondemand::json_type::string;
    Aws::String text;
    if (member.Is("Data") && isString && !record.DataHasBeenSet()) {
      Aws::Utils::ByteBuffer data;
      bool decoded = false;
      if (const error_code error = BlobIn(member.value, data, decoded)) return error;
      if (decoded) record.SetData(std::move(data));
    } else if (member.Is("SequenceNumber") && isString && !record.SequenceNumberHasBeenSet()) {
      if (const error_code error = StringIn(member.value, text)) return error;
      record.SetSequenceNumber(std::move(text));
    } else if (member.Is("PartitionKey") && isString && !record.PartitionKeyHasBeenSet()) {
      if (const error_code error = StringIn(member.value, text)) return error;
      record.SetPartitionKey(std::move(text));
    } else if (member.Is("EncryptionType") && isString && !record.EncryptionTypeHasBeenSet()) {
      if (const error_code error = StringIn(member.value, text)) return error;
      record.SetEncryptionType(EncryptionTypeMapper::GetEncryptionTypeForName(text));
    } else if (member.Is("ApproximateArrivalTimestamp") && member.type == ondemand::json_type::number &&
               !record.ApproximateArrivalTimestampHasBeenSet()) {
      double seconds = 0;
      if (const error_code error = SecondsIn(member.value, seconds)) return error;
      if (std::isfinite(seconds) && std::fabs(seconds) <= kMaxEpochSeconds) {
        record.SetApproximateArrivalTimestamp(Aws::Utils::DateTime(seconds));
      }
    } else if (const error_code error = OtherName(member)) {
      return error;
    } else if (const error_code error = Visit(member.value, 4)) {
      return error;
    }
  }
  return simdjson::SUCCESS;
}

// The objects of an array, each read by `read` into an item of its own; other values are visited.
// `expected`: how many items to make room for (counting them first would walk the array twice).
template <typename Item, typename Reader>
error_code ObjectsIn(ondemand::value value, size_t expected, Aws::Vector<Item>& out, Reader read) {
  ondemand::array items;
  if (const error_code error = value.get_array().get(items)) return error;
  out.reserve(expected);
  for (auto item : items) {
    ondemand::value element;
    if (const error_code error = item.get(element)) return error;
    ondemand::json_type type;
    if (const error_code error = element.type().get(type)) return error;
    if (type != ondemand::json_type::object) {
      if (const error_code error = Visit(element, 3)) return error;
      continue;
    }
    ondemand::object source;
    if (const error_code error = element.get_object().get(source)) return error;
    out.emplace_back();
    if (const error_code error = read(source, out.back())) return error;
  }
  return simdjson::SUCCESS;
}

error_code RecordsIn(ondemand::value value, size_t expected, GetRecordsResult& result) {
  Aws::Vector<Record> records;
  if (const error_code error = ObjectsIn(value, expected, records, RecordIn)) return error;
  result.SetRecords(std::move(records));
  return simdjson::SUCCESS;
}

// As ReadPutRecordsResultEntry; a member that isn't taken is visited.
error_code PutRecordsEntryIn(ondemand::object source, PutRecordsResultEntry& entry) {
  for (auto item : source) {
    Field member;
    if (const error_code error = Open(std::move(item), member)) return error;
    const EntryMember* known = FindEntryMember([&](std::string_view name) { return member.Is(name); });
    error_code error = simdjson::SUCCESS;
    if (known != nullptr && member.type == ondemand::json_type::string && !(entry.*known->hasBeenSet)()) {
      Aws::String text;
      error = StringIn(member.value, text);
      if (!error) (entry.*known->set)(std::move(text));
    } else if (known != nullptr || (error = OtherName(member)) == simdjson::SUCCESS) {
      error = Visit(member.value, 4);
    }
    if (error) return error;
  }
  return simdjson::SUCCESS;
}

// As ReadInt for FailedRecordCount: an integer that fits; any other number is left to the full parse.
error_code CountIn(ondemand::value value, bool& set, int& count) {
  int64_t wide = 0;
  if (const error_code error = Int64In(value, wide)) return error;
  set = wide >= std::numeric_limits<int>::min() && wide <= std::numeric_limits<int>::max();
  if (set) count = static_cast<int>(wide);
  return simdjson::SUCCESS;
}

// As FillResult for PutRecords: the first member of each name decides, null counting as absent.
error_code PutRecordsIn(ondemand::object root, size_t expectedEntries, PutRecordsResult& result) {
  bool recordsSeen = false, countSeen = false, encryptionSeen = false;
  for (auto item : root) {
    Field member;
    if (const error_code error = Open(std::move(item), member)) return error;
    if (member.Is("Records") && !recordsSeen) {
      recordsSeen = true;
      if (member.type == ondemand::json_type::array) {
        Aws::Vector<PutRecordsResultEntry> entries;
        if (const error_code error = ObjectsIn(member.value, expectedEntries, entries, PutRecordsEntryIn)) return error;
        result.SetRecords(std::move(entries));
        continue;
      }
    } else if (member.Is("FailedRecordCount") && !countSeen) {
      countSeen = true;
      if (member.type == ondemand::json_type::number) {
        bool set = false;
        int count = 0;
        if (const error_code error = CountIn(member.value, set, count)) return error;
        if (set) result.SetFailedRecordCount(count);
        continue;
      }
    } else if (member.Is("EncryptionType") && !encryptionSeen) {
      encryptionSeen = true;
      if (member.type == ondemand::json_type::string) {
        Aws::String text;
        if (const error_code error = StringIn(member.value, text)) return error;
        result.SetEncryptionType(EncryptionTypeMapper::GetEncryptionTypeForName(text));
        continue;
      }
    } else if (const error_code error = OtherName(member)) {
      return error;
    }
    if (const error_code error = Visit(member.value, 2)) return error;
  }
  return simdjson::SUCCESS;
}

// As FillResult for GetRecords: the first member of each name decides, null counting as absent.
error_code GetRecordsIn(ondemand::object root, size_t expectedRecords, GetRecordsResult& result) {
  bool recordsSeen = false, iteratorSeen = false, millisSeen = false;
  for (auto item : root) {
    Field member;
    if (const error_code error = Open(std::move(item), member)) return error;
    const bool isNull = member.type == ondemand::json_type::null;
    if (member.Is("Records") && !recordsSeen) {
      recordsSeen = true;
      if (member.type == ondemand::json_type::array) {
        if (const error_code error = RecordsIn(member.value, expectedRecords, result)) return error;
        continue;
      }
    } else if (member.Is("NextShardIterator") && !iteratorSeen) {
      iteratorSeen = true;
      if (member.type == ondemand::json_type::string) {
        Aws::String text;
        if (const error_code error = StringIn(member.value, text)) return error;
        result.SetNextShardIterator(std::move(text));
        continue;
      }
    } else if (member.Is("MillisBehindLatest") && !millisSeen) {
      millisSeen = true;
      if (member.type == ondemand::json_type::number) {
        int64_t millis = 0;
        if (const error_code error = Int64In(member.value, millis)) return error;
        result.SetMillisBehindLatest(millis);
        continue;
      }
    } else if (member.Is("ChildShards") && !isNull) {
      return kLeftToFullParse;
    } else if (const error_code error = OtherName(member)) {
      return error;
    }
    if (const error_code error = Visit(member.value, 2)) return error;
  }
  return simdjson::SUCCESS;
}

}  // namespace

struct ResponseParser::State {
  simdjson::dom::parser parser;
  ondemand::parser walker;
  size_t lastBatchSize = 0;  // batches of one reading tend to be alike: room for as many again
  size_t lastEntryCount = 0;  // the same for the entries of PutRecords answers

  // A body read in place by `read` (see GetRecordsIn); false leaves it to ParseResult.
  template <typename Result, typename Reader>
  bool ReadInPlace(const char* body, size_t length, Result& result, Reader read) {
    result = Result();
    if (IsBlank(body, length)) return false;
    ondemand::document document;
    if (walker.iterate(body, length, length + kJsonInputPadding).get(document) != simdjson::SUCCESS) return false;
    ondemand::object root;
    if (document.get_object().get(root) != simdjson::SUCCESS) return false;
    if (read(root, result) != simdjson::SUCCESS) return false;
    // Past the root object there must be nothing left: the full parse refuses trailing content.
    return document.current_location().error() == simdjson::OUT_OF_BOUNDS;
  }

  bool ReadInPlace(const char* body, size_t length, GetRecordsResult& result) {
    const bool read = ReadInPlace(body, length, result, [this](ondemand::object root, GetRecordsResult& out) {
      return GetRecordsIn(root, lastBatchSize, out);
    });
    if (read) lastBatchSize = result.GetRecords().size();
    return read;
  }

  bool ReadInPlace(const char* body, size_t length, PutRecordsResult& result) {
    const bool read = ReadInPlace(body, length, result, [this](ondemand::object root, PutRecordsResult& out) {
      return PutRecordsIn(root, lastEntryCount, out);
    });
    if (read) lastEntryCount = result.GetRecords().size();
    return read;
  }

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
  if (padded && m_state->ReadInPlace(body, length, result)) return true;
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, GetShardIteratorResult& result,
                           Aws::String& errorMessage) {
  return m_state->ParseResult(body, length, padded, result, errorMessage);
}
bool ResponseParser::Parse(const char* body, size_t length, bool padded, GetRecordsResult& result,
                           Aws::String& errorMessage) {
  if (padded && m_state->ReadInPlace(body, length, result)) return true;
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
