#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisRequest.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Describes a stream and one page of its shards.
class DescribeStreamRequest : public KinesisRequest {
 public:
  DescribeStreamRequest() = default;

  inline const char* GetServiceRequestName() const override { return "DescribeStream"; }

  inline const Aws::String& GetStreamName() const { return m_streamName; }
  inline bool StreamNameHasBeenSet() const { return m_streamNameHasBeenSet; }
  inline void SetStreamName(const Aws::String& value) { m_streamNameHasBeenSet = true; m_streamName = value; }
  inline void SetStreamName(Aws::String&& value) { m_streamNameHasBeenSet = true; m_streamName = std::move(value); }
  inline void SetStreamName(const char* value) { m_streamNameHasBeenSet = true; m_streamName.assign(value ? value : ""); }
  inline DescribeStreamRequest& WithStreamName(const Aws::String& value) { SetStreamName(value); return *this; }
  inline DescribeStreamRequest& WithStreamName(Aws::String&& value) { SetStreamName(std::move(value)); return *this; }
  inline DescribeStreamRequest& WithStreamName(const char* value) { SetStreamName(value); return *this; }

  inline int GetLimit() const { return m_limit; }
  inline bool LimitHasBeenSet() const { return m_limitHasBeenSet; }
  inline void SetLimit(int value) { m_limitHasBeenSet = true; m_limit = value; }
  inline DescribeStreamRequest& WithLimit(int value) { SetLimit(value); return *this; }

  inline const Aws::String& GetExclusiveStartShardId() const { return m_exclusiveStartShardId; }
  inline bool ExclusiveStartShardIdHasBeenSet() const { return m_exclusiveStartShardIdHasBeenSet; }
  inline void SetExclusiveStartShardId(const Aws::String& value) { m_exclusiveStartShardIdHasBeenSet = true; m_exclusiveStartShardId = value; }
  inline void SetExclusiveStartShardId(Aws::String&& value) { m_exclusiveStartShardIdHasBeenSet = true; m_exclusiveStartShardId = std::move(value); }
  inline void SetExclusiveStartShardId(const char* value) { m_exclusiveStartShardIdHasBeenSet = true; m_exclusiveStartShardId.assign(value ? value : ""); }
  inline DescribeStreamRequest& WithExclusiveStartShardId(const Aws::String& value) { SetExclusiveStartShardId(value); return *this; }
  inline DescribeStreamRequest& WithExclusiveStartShardId(Aws::String&& value) { SetExclusiveStartShardId(std::move(value)); return *this; }
  inline DescribeStreamRequest& WithExclusiveStartShardId(const char* value) { SetExclusiveStartShardId(value); return *this; }

  inline const Aws::String& GetStreamARN() const { return m_streamARN; }
  inline bool StreamARNHasBeenSet() const { return m_streamARNHasBeenSet; }
  inline void SetStreamARN(const Aws::String& value) { m_streamARNHasBeenSet = true; m_streamARN = value; }
  inline void SetStreamARN(Aws::String&& value) { m_streamARNHasBeenSet = true; m_streamARN = std::move(value); }
  inline void SetStreamARN(const char* value) { m_streamARNHasBeenSet = true; m_streamARN.assign(value ? value : ""); }
  inline DescribeStreamRequest& WithStreamARN(const Aws::String& value) { SetStreamARN(value); return *this; }
  inline DescribeStreamRequest& WithStreamARN(Aws::String&& value) { SetStreamARN(std::move(value)); return *this; }
  inline DescribeStreamRequest& WithStreamARN(const char* value) { SetStreamARN(value); return *this; }

 private:
  Aws::String m_streamName;
  bool m_streamNameHasBeenSet = false;
  int m_limit{0};
  bool m_limitHasBeenSet = false;
  Aws::String m_exclusiveStartShardId;
  bool m_exclusiveStartShardIdHasBeenSet = false;
  Aws::String m_streamARN;
  bool m_streamARNHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
