#pragma once

#include <aws/core/utils/DateTime.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisRequest.h>
#include <aws/kinesis/model/ShardIteratorType.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Asks for an iterator that starts reading a shard at a given position.
class GetShardIteratorRequest : public KinesisRequest {
 public:
  GetShardIteratorRequest() = default;

  inline const char* GetServiceRequestName() const override { return "GetShardIterator"; }

  inline const Aws::String& GetStreamName() const { return m_streamName; }
  inline bool StreamNameHasBeenSet() const { return m_streamNameHasBeenSet; }
  inline void SetStreamName(const Aws::String& value) { m_streamNameHasBeenSet = true; m_streamName = value; }
  inline void SetStreamName(Aws::String&& value) { m_streamNameHasBeenSet = true; m_streamName = std::move(value); }
  inline void SetStreamName(const char* value) { m_streamNameHasBeenSet = true; m_streamName.assign(value ? value : ""); }
  inline GetShardIteratorRequest& WithStreamName(const Aws::String& value) { SetStreamName(value); return *this; }
  inline GetShardIteratorRequest& WithStreamName(Aws::String&& value) { SetStreamName(std::move(value)); return *this; }
  inline GetShardIteratorRequest& WithStreamName(const char* value) { SetStreamName(value); return *this; }

  inline const Aws::String& GetShardId() const { return m_shardId; }
  inline bool ShardIdHasBeenSet() const { return m_shardIdHasBeenSet; }
  inline void SetShardId(const Aws::String& value) { m_shardIdHasBeenSet = true; m_shardId = value; }
  inline void SetShardId(Aws::String&& value) { m_shardIdHasBeenSet = true; m_shardId = std::move(value); }
  inline void SetShardId(const char* value) { m_shardIdHasBeenSet = true; m_shardId.assign(value ? value : ""); }
  inline GetShardIteratorRequest& WithShardId(const Aws::String& value) { SetShardId(value); return *this; }
  inline GetShardIteratorRequest& WithShardId(Aws::String&& value) { SetShardId(std::move(value)); return *this; }
  inline GetShardIteratorRequest& WithShardId(const char* value) { SetShardId(value); return *this; }

  inline ShardIteratorType GetShardIteratorType() const { return m_shardIteratorType; }
  inline bool ShardIteratorTypeHasBeenSet() const { return m_shardIteratorTypeHasBeenSet; }
  inline void SetShardIteratorType(ShardIteratorType value) { m_shardIteratorTypeHasBeenSet = true; m_shardIteratorType = value; }
  inline GetShardIteratorRequest& WithShardIteratorType(ShardIteratorType value) { SetShardIteratorType(value); return *this; }

  inline const Aws::String& GetStartingSequenceNumber() const { return m_startingSequenceNumber; }
  inline bool StartingSequenceNumberHasBeenSet() const { return m_startingSequenceNumberHasBeenSet; }
  inline void SetStartingSequenceNumber(const Aws::String& value) { m_startingSequenceNumberHasBeenSet = true; m_startingSequenceNumber = value; }
  inline void SetStartingSequenceNumber(Aws::String&& value) { m_startingSequenceNumberHasBeenSet = true; m_startingSequenceNumber = std::move(value); }
  inline void SetStartingSequenceNumber(const char* value) { m_startingSequenceNumberHasBeenSet = true; m_startingSequenceNumber.assign(value ? value : ""); }
  inline GetShardIteratorRequest& WithStartingSequenceNumber(const Aws::String& value) { SetStartingSequenceNumber(value); return *this; }
  inline GetShardIteratorRequest& WithStartingSequenceNumber(Aws::String&& value) { SetStartingSequenceNumber(std::move(value)); return *this; }
  inline GetShardIteratorRequest& WithStartingSequenceNumber(const char* value) { SetStartingSequenceNumber(value); return *this; }

  inline const Aws::Utils::DateTime& GetTimestamp() const { return m_timestamp; }
  inline bool TimestampHasBeenSet() const { return m_timestampHasBeenSet; }
  inline void SetTimestamp(const Aws::Utils::DateTime& value) { m_timestampHasBeenSet = true; m_timestamp = value; }
  inline void SetTimestamp(Aws::Utils::DateTime&& value) { m_timestampHasBeenSet = true; m_timestamp = std::move(value); }
  inline GetShardIteratorRequest& WithTimestamp(const Aws::Utils::DateTime& value) { SetTimestamp(value); return *this; }
  inline GetShardIteratorRequest& WithTimestamp(Aws::Utils::DateTime&& value) { SetTimestamp(std::move(value)); return *this; }

  inline const Aws::String& GetStreamARN() const { return m_streamARN; }
  inline bool StreamARNHasBeenSet() const { return m_streamARNHasBeenSet; }
  inline void SetStreamARN(const Aws::String& value) { m_streamARNHasBeenSet = true; m_streamARN = value; }
  inline void SetStreamARN(Aws::String&& value) { m_streamARNHasBeenSet = true; m_streamARN = std::move(value); }
  inline void SetStreamARN(const char* value) { m_streamARNHasBeenSet = true; m_streamARN.assign(value ? value : ""); }
  inline GetShardIteratorRequest& WithStreamARN(const Aws::String& value) { SetStreamARN(value); return *this; }
  inline GetShardIteratorRequest& WithStreamARN(Aws::String&& value) { SetStreamARN(std::move(value)); return *this; }
  inline GetShardIteratorRequest& WithStreamARN(const char* value) { SetStreamARN(value); return *this; }

 private:
  Aws::String m_streamName;
  bool m_streamNameHasBeenSet = false;
  Aws::String m_shardId;
  bool m_shardIdHasBeenSet = false;
  ShardIteratorType m_shardIteratorType{ShardIteratorType::NOT_SET};
  bool m_shardIteratorTypeHasBeenSet = false;
  Aws::String m_startingSequenceNumber;
  bool m_startingSequenceNumberHasBeenSet = false;
  Aws::Utils::DateTime m_timestamp;
  bool m_timestampHasBeenSet = false;
  Aws::String m_streamARN;
  bool m_streamARNHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
