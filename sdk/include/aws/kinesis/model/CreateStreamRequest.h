#pragma once

#include <aws/core/utils/memory/stl/AWSMap.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisRequest.h>
#include <aws/kinesis/model/StreamModeDetails.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Creates a stream.
class CreateStreamRequest : public KinesisRequest {
 public:
  CreateStreamRequest() = default;

  inline const char* GetServiceRequestName() const override { return "CreateStream"; }

  inline const Aws::String& GetStreamName() const { return m_streamName; }
  inline bool StreamNameHasBeenSet() const { return m_streamNameHasBeenSet; }
  inline void SetStreamName(const Aws::String& value) { m_streamNameHasBeenSet = true; m_streamName = value; }
  inline void SetStreamName(Aws::String&& value) { m_streamNameHasBeenSet = true; m_streamName = std::move(value); }
  inline void SetStreamName(const char* value) { m_streamNameHasBeenSet = true; m_streamName.assign(value ? value : ""); }
  inline CreateStreamRequest& WithStreamName(const Aws::String& value) { SetStreamName(value); return *this; }
  inline CreateStreamRequest& WithStreamName(Aws::String&& value) { SetStreamName(std::move(value)); return *this; }
  inline CreateStreamRequest& WithStreamName(const char* value) { SetStreamName(value); return *this; }

  inline int GetShardCount() const { return m_shardCount; }
  inline bool ShardCountHasBeenSet() const { return m_shardCountHasBeenSet; }
  inline void SetShardCount(int value) { m_shardCountHasBeenSet = true; m_shardCount = value; }
  inline CreateStreamRequest& WithShardCount(int value) { SetShardCount(value); return *this; }

  inline const StreamModeDetails& GetStreamModeDetails() const { return m_streamModeDetails; }
  inline bool StreamModeDetailsHasBeenSet() const { return m_streamModeDetailsHasBeenSet; }
  inline void SetStreamModeDetails(const StreamModeDetails& value) { m_streamModeDetailsHasBeenSet = true; m_streamModeDetails = value; }
  inline void SetStreamModeDetails(StreamModeDetails&& value) { m_streamModeDetailsHasBeenSet = true; m_streamModeDetails = std::move(value); }
  inline CreateStreamRequest& WithStreamModeDetails(const StreamModeDetails& value) { SetStreamModeDetails(value); return *this; }
  inline CreateStreamRequest& WithStreamModeDetails(StreamModeDetails&& value) { SetStreamModeDetails(std::move(value)); return *this; }

  inline const Aws::Map<Aws::String, Aws::String>& GetTags() const { return m_tags; }
  inline bool TagsHasBeenSet() const { return m_tagsHasBeenSet; }
  inline void SetTags(const Aws::Map<Aws::String, Aws::String>& value) { m_tagsHasBeenSet = true; m_tags = value; }
  inline void SetTags(Aws::Map<Aws::String, Aws::String>&& value) { m_tagsHasBeenSet = true; m_tags = std::move(value); }
  inline CreateStreamRequest& WithTags(const Aws::Map<Aws::String, Aws::String>& value) { SetTags(value); return *this; }
  inline CreateStreamRequest& WithTags(Aws::Map<Aws::String, Aws::String>&& value) { SetTags(std::move(value)); return *this; }
  inline CreateStreamRequest& AddTags(const Aws::String& key, const Aws::String& value) { m_tagsHasBeenSet = true; m_tags[key] = value; return *this; }
  inline CreateStreamRequest& AddTags(Aws::String&& key, Aws::String&& value) { m_tagsHasBeenSet = true; m_tags[std::move(key)] = std::move(value); return *this; }
  inline CreateStreamRequest& AddTags(const char* key, const char* value) { m_tagsHasBeenSet = true; m_tags[key ? key : ""] = value ? value : ""; return *this; }

  inline int GetWarmThroughputMiBps() const { return m_warmThroughputMiBps; }
  inline bool WarmThroughputMiBpsHasBeenSet() const { return m_warmThroughputMiBpsHasBeenSet; }
  inline void SetWarmThroughputMiBps(int value) { m_warmThroughputMiBpsHasBeenSet = true; m_warmThroughputMiBps = value; }
  inline CreateStreamRequest& WithWarmThroughputMiBps(int value) { SetWarmThroughputMiBps(value); return *this; }

  inline int GetMaxRecordSizeInKiB() const { return m_maxRecordSizeInKiB; }
  inline bool MaxRecordSizeInKiBHasBeenSet() const { return m_maxRecordSizeInKiBHasBeenSet; }
  inline void SetMaxRecordSizeInKiB(int value) { m_maxRecordSizeInKiBHasBeenSet = true; m_maxRecordSizeInKiB = value; }
  inline CreateStreamRequest& WithMaxRecordSizeInKiB(int value) { SetMaxRecordSizeInKiB(value); return *this; }

 private:
  Aws::String m_streamName;
  bool m_streamNameHasBeenSet = false;
  int m_shardCount{0};
  bool m_shardCountHasBeenSet = false;
  StreamModeDetails m_streamModeDetails;
  bool m_streamModeDetailsHasBeenSet = false;
  Aws::Map<Aws::String, Aws::String> m_tags;
  bool m_tagsHasBeenSet = false;
  int m_warmThroughputMiBps{0};
  bool m_warmThroughputMiBpsHasBeenSet = false;
  int m_maxRecordSizeInKiB{0};
  bool m_maxRecordSizeInKiBHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
