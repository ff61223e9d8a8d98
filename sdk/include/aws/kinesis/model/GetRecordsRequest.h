#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisRequest.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Reads records from a shard through an iterator.
class GetRecordsRequest : public KinesisRequest {
 public:
  GetRecordsRequest() = default;

  inline const char* GetServiceRequestName() const override { return "GetRecords"; }

  inline const Aws::String& GetShardIterator() const { return m_shardIterator; }
  inline bool ShardIteratorHasBeenSet() const { return m_shardIteratorHasBeenSet; }
  inline void SetShardIterator(const Aws::String& value) { m_shardIteratorHasBeenSet = true; m_shardIterator = value; }
  inline void SetShardIterator(Aws::String&& value) { m_shardIteratorHasBeenSet = true; m_shardIterator = std::move(value); }
  inline void SetShardIterator(const char* value) { m_shardIteratorHasBeenSet = true; m_shardIterator.assign(value ? value : ""); }
  inline GetRecordsRequest& WithShardIterator(const Aws::String& value) { SetShardIterator(value); return *this; }
  inline GetRecordsRequest& WithShardIterator(Aws::String&& value) { SetShardIterator(std::move(value)); return *this; }
  inline GetRecordsRequest& WithShardIterator(const char* value) { SetShardIterator(value); return *this; }

  inline int GetLimit() const { return m_limit; }
  inline bool LimitHasBeenSet() const { return m_limitHasBeenSet; }
  inline void SetLimit(int value) { m_limitHasBeenSet = true; m_limit = value; }
  inline GetRecordsRequest& WithLimit(int value) { SetLimit(value); return *this; }

  inline const Aws::String& GetStreamARN() const { return m_streamARN; }
  inline bool StreamARNHasBeenSet() const { return m_streamARNHasBeenSet; }
  inline void SetStreamARN(const Aws::String& value) { m_streamARNHasBeenSet = true; m_streamARN = value; }
  inline void SetStreamARN(Aws::String&& value) { m_streamARNHasBeenSet = true; m_streamARN = std::move(value); }
  inline void SetStreamARN(const char* value) { m_streamARNHasBeenSet = true; m_streamARN.assign(value ? value : ""); }
  inline GetRecordsRequest& WithStreamARN(const Aws::String& value) { SetStreamARN(value); return *this; }
  inline GetRecordsRequest& WithStreamARN(Aws::String&& value) { SetStreamARN(std::move(value)); return *this; }
  inline GetRecordsRequest& WithStreamARN(const char* value) { SetStreamARN(value); return *this; }

  inline const Aws::String& GetStreamId() const { return m_streamId; }
  inline bool StreamIdHasBeenSet() const { return m_streamIdHasBeenSet; }
  inline void SetStreamId(const Aws::String& value) { m_streamIdHasBeenSet = true; m_streamId = value; }
  inline void SetStreamId(Aws::String&& value) { m_streamIdHasBeenSet = true; m_streamId = std::move(value); }
  inline void SetStreamId(const char* value) { m_streamIdHasBeenSet = true; m_streamId.assign(value ? value : ""); }
  inline GetRecordsRequest& WithStreamId(const Aws::String& value) { SetStreamId(value); return *this; }
  inline GetRecordsRequest& WithStreamId(Aws::String&& value) { SetStreamId(std::move(value)); return *this; }
  inline GetRecordsRequest& WithStreamId(const char* value) { SetStreamId(value); return *this; }

 private:
  Aws::String m_shardIterator;
  bool m_shardIteratorHasBeenSet = false;
  int m_limit{0};
  bool m_limitHasBeenSet = false;
  Aws::String m_streamARN;
  bool m_streamARNHasBeenSet = false;
  Aws::String m_streamId;
  bool m_streamIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
