#pragma once

#include <aws/core/utils/DateTime.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/model/EncryptionType.h>
#include <aws/kinesis/model/Shard.h>
#include <aws/kinesis/model/StreamModeDetails.h>
#include <aws/kinesis/model/StreamStatus.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Description of a stream with one page of its shards.
class StreamDescription {
 public:
  StreamDescription() = default;

  inline const Aws::String& GetStreamName() const { return m_streamName; }
  inline bool StreamNameHasBeenSet() const { return m_streamNameHasBeenSet; }
  inline void SetStreamName(const Aws::String& value) { m_streamNameHasBeenSet = true; m_streamName = value; }
  inline void SetStreamName(Aws::String&& value) { m_streamNameHasBeenSet = true; m_streamName = std::move(value); }
  inline void SetStreamName(const char* value) { m_streamNameHasBeenSet = true; m_streamName.assign(value ? value : ""); }
  inline StreamDescription& WithStreamName(const Aws::String& value) { SetStreamName(value); return *this; }
  inline StreamDescription& WithStreamName(Aws::String&& value) { SetStreamName(std::move(value)); return *this; }
  inline StreamDescription& WithStreamName(const char* value) { SetStreamName(value); return *this; }

  inline const Aws::String& GetStreamARN() const { return m_streamARN; }
  inline bool StreamARNHasBeenSet() const { return m_streamARNHasBeenSet; }
  inline void SetStreamARN(const Aws::String& value) { m_streamARNHasBeenSet = true; m_streamARN = value; }
  inline void SetStreamARN(Aws::String&& value) { m_streamARNHasBeenSet = true; m_streamARN = std::move(value); }
  inline void SetStreamARN(const char* value) { m_streamARNHasBeenSet = true; m_streamARN.assign(value ? value : ""); }
  inline StreamDescription& WithStreamARN(const Aws::String& value) { SetStreamARN(value); return *this; }
  inline StreamDescription& WithStreamARN(Aws::String&& value) { SetStreamARN(std::move(value)); return *this; }
  inline StreamDescription& WithStreamARN(const char* value) { SetStreamARN(value); return *this; }

  inline StreamStatus GetStreamStatus() const { return m_streamStatus; }
  inline bool StreamStatusHasBeenSet() const { return m_streamStatusHasBeenSet; }
  inline void SetStreamStatus(StreamStatus value) { m_streamStatusHasBeenSet = true; m_streamStatus = value; }
  inline StreamDescription& WithStreamStatus(StreamStatus value) { SetStreamStatus(value); return *this; }

  inline const StreamModeDetails& GetStreamModeDetails() const { return m_streamModeDetails; }
  inline bool StreamModeDetailsHasBeenSet() const { return m_streamModeDetailsHasBeenSet; }
  inline void SetStreamModeDetails(const StreamModeDetails& value) { m_streamModeDetailsHasBeenSet = true; m_streamModeDetails = value; }
  inline void SetStreamModeDetails(StreamModeDetails&& value) { m_streamModeDetailsHasBeenSet = true; m_streamModeDetails = std::move(value); }
  inline StreamDescription& WithStreamModeDetails(const StreamModeDetails& value) { SetStreamModeDetails(value); return *this; }
  inline StreamDescription& WithStreamModeDetails(StreamModeDetails&& value) { SetStreamModeDetails(std::move(value)); return *this; }

  inline const Aws::Vector<Shard>& GetShards() const { return m_shards; }
  inline bool ShardsHasBeenSet() const { return m_shardsHasBeenSet; }
  inline void SetShards(const Aws::Vector<Shard>& value) { m_shardsHasBeenSet = true; m_shards = value; }
  inline void SetShards(Aws::Vector<Shard>&& value) { m_shardsHasBeenSet = true; m_shards = std::move(value); }
  inline StreamDescription& WithShards(const Aws::Vector<Shard>& value) { SetShards(value); return *this; }
  inline StreamDescription& WithShards(Aws::Vector<Shard>&& value) { SetShards(std::move(value)); return *this; }
  inline StreamDescription& AddShards(const Shard& value) { m_shardsHasBeenSet = true; m_shards.push_back(value); return *this; }
  inline StreamDescription& AddShards(Shard&& value) { m_shardsHasBeenSet = true; m_shards.push_back(std::move(value)); return *this; }

  inline bool GetHasMoreShards() const { return m_hasMoreShards; }
  inline bool HasMoreShardsHasBeenSet() const { return m_hasMoreShardsHasBeenSet; }
  inline void SetHasMoreShards(bool value) { m_hasMoreShardsHasBeenSet = true; m_hasMoreShards = value; }
  inline StreamDescription& WithHasMoreShards(bool value) { SetHasMoreShards(value); return *this; }

  inline int GetRetentionPeriodHours() const { return m_retentionPeriodHours; }
  inline bool RetentionPeriodHoursHasBeenSet() const { return m_retentionPeriodHoursHasBeenSet; }
  inline void SetRetentionPeriodHours(int value) { m_retentionPeriodHoursHasBeenSet = true; m_retentionPeriodHours = value; }
  inline StreamDescription& WithRetentionPeriodHours(int value) { SetRetentionPeriodHours(value); return *this; }

  inline const Aws::Utils::DateTime& GetStreamCreationTimestamp() const { return m_streamCreationTimestamp; }
  inline bool StreamCreationTimestampHasBeenSet() const { return m_streamCreationTimestampHasBeenSet; }
  inline void SetStreamCreationTimestamp(const Aws::Utils::DateTime& value) { m_streamCreationTimestampHasBeenSet = true; m_streamCreationTimestamp = value; }
  inline void SetStreamCreationTimestamp(Aws::Utils::DateTime&& value) { m_streamCreationTimestampHasBeenSet = true; m_streamCreationTimestamp = std::move(value); }
  inline StreamDescription& WithStreamCreationTimestamp(const Aws::Utils::DateTime& value) { SetStreamCreationTimestamp(value); return *this; }
  inline StreamDescription& WithStreamCreationTimestamp(Aws::Utils::DateTime&& value) { SetStreamCreationTimestamp(std::move(value)); return *this; }

  inline EncryptionType GetEncryptionType() const { return m_encryptionType; }
  inline bool EncryptionTypeHasBeenSet() const { return m_encryptionTypeHasBeenSet; }
  inline void SetEncryptionType(EncryptionType value) { m_encryptionTypeHasBeenSet = true; m_encryptionType = value; }
  inline StreamDescription& WithEncryptionType(EncryptionType value) { SetEncryptionType(value); return *this; }

  inline const Aws::String& GetKeyId() const { return m_keyId; }
  inline bool KeyIdHasBeenSet() const { return m_keyIdHasBeenSet; }
  inline void SetKeyId(const Aws::String& value) { m_keyIdHasBeenSet = true; m_keyId = value; }
  inline void SetKeyId(Aws::String&& value) { m_keyIdHasBeenSet = true; m_keyId = std::move(value); }
  inline void SetKeyId(const char* value) { m_keyIdHasBeenSet = true; m_keyId.assign(value ? value : ""); }
  inline StreamDescription& WithKeyId(const Aws::String& value) { SetKeyId(value); return *this; }
  inline StreamDescription& WithKeyId(Aws::String&& value) { SetKeyId(std::move(value)); return *this; }
  inline StreamDescription& WithKeyId(const char* value) { SetKeyId(value); return *this; }

 private:
  Aws::String m_streamName;
  bool m_streamNameHasBeenSet = false;
  Aws::String m_streamARN;
  bool m_streamARNHasBeenSet = false;
  StreamStatus m_streamStatus{StreamStatus::NOT_SET};
  bool m_streamStatusHasBeenSet = false;
  StreamModeDetails m_streamModeDetails;
  bool m_streamModeDetailsHasBeenSet = false;
  Aws::Vector<Shard> m_shards;
  bool m_shardsHasBeenSet = false;
  bool m_hasMoreShards{false};
  bool m_hasMoreShardsHasBeenSet = false;
  int m_retentionPeriodHours{0};
  bool m_retentionPeriodHoursHasBeenSet = false;
  Aws::Utils::DateTime m_streamCreationTimestamp;
  bool m_streamCreationTimestampHasBeenSet = false;
  EncryptionType m_encryptionType{EncryptionType::NOT_SET};
  bool m_encryptionTypeHasBeenSet = false;
  Aws::String m_keyId;
  bool m_keyIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
