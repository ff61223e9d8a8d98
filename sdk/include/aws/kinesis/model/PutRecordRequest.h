#pragma once

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisRequest.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Writes one record.
class PutRecordRequest : public KinesisRequest {
 public:
  PutRecordRequest() = default;

  inline const char* GetServiceRequestName() const override { return "PutRecord"; }

  inline const Aws::String& GetStreamName() const { return m_streamName; }
  inline bool StreamNameHasBeenSet() const { return m_streamNameHasBeenSet; }
  inline void SetStreamName(const Aws::String& value) { m_streamNameHasBeenSet = true; m_streamName = value; }
  inline void SetStreamName(Aws::String&& value) { m_streamNameHasBeenSet = true; m_streamName = std::move(value); }
  inline void SetStreamName(const char* value) { m_streamNameHasBeenSet = true; m_streamName.assign(value ? value : ""); }
  inline PutRecordRequest& WithStreamName(const Aws::String& value) { SetStreamName(value); return *this; }
  inline PutRecordRequest& WithStreamName(Aws::String&& value) { SetStreamName(std::move(value)); return *this; }
  inline PutRecordRequest& WithStreamName(const char* value) { SetStreamName(value); return *this; }

  inline const Aws::Utils::ByteBuffer& GetData() const { return m_data; }
  inline bool DataHasBeenSet() const { return m_dataHasBeenSet; }
  inline void SetData(const Aws::Utils::ByteBuffer& value) { m_dataHasBeenSet = true; m_data = value; }
  inline void SetData(Aws::Utils::ByteBuffer&& value) { m_dataHasBeenSet = true; m_data = std::move(value); }
  inline PutRecordRequest& WithData(const Aws::Utils::ByteBuffer& value) { SetData(value); return *this; }
  inline PutRecordRequest& WithData(Aws::Utils::ByteBuffer&& value) { SetData(std::move(value)); return *this; }

  inline const Aws::String& GetPartitionKey() const { return m_partitionKey; }
  inline bool PartitionKeyHasBeenSet() const { return m_partitionKeyHasBeenSet; }
  inline void SetPartitionKey(const Aws::String& value) { m_partitionKeyHasBeenSet = true; m_partitionKey = value; }
  inline void SetPartitionKey(Aws::String&& value) { m_partitionKeyHasBeenSet = true; m_partitionKey = std::move(value); }
  inline void SetPartitionKey(const char* value) { m_partitionKeyHasBeenSet = true; m_partitionKey.assign(value ? value : ""); }
  inline PutRecordRequest& WithPartitionKey(const Aws::String& value) { SetPartitionKey(value); return *this; }
  inline PutRecordRequest& WithPartitionKey(Aws::String&& value) { SetPartitionKey(std::move(value)); return *this; }
  inline PutRecordRequest& WithPartitionKey(const char* value) { SetPartitionKey(value); return *this; }

  inline const Aws::String& GetExplicitHashKey() const { return m_explicitHashKey; }
  inline bool ExplicitHashKeyHasBeenSet() const { return m_explicitHashKeyHasBeenSet; }
  inline void SetExplicitHashKey(const Aws::String& value) { m_explicitHashKeyHasBeenSet = true; m_explicitHashKey = value; }
  inline void SetExplicitHashKey(Aws::String&& value) { m_explicitHashKeyHasBeenSet = true; m_explicitHashKey = std::move(value); }
  inline void SetExplicitHashKey(const char* value) { m_explicitHashKeyHasBeenSet = true; m_explicitHashKey.assign(value ? value : ""); }
  inline PutRecordRequest& WithExplicitHashKey(const Aws::String& value) { SetExplicitHashKey(value); return *this; }
  inline PutRecordRequest& WithExplicitHashKey(Aws::String&& value) { SetExplicitHashKey(std::move(value)); return *this; }
  inline PutRecordRequest& WithExplicitHashKey(const char* value) { SetExplicitHashKey(value); return *this; }

  inline const Aws::String& GetSequenceNumberForOrdering() const { return m_sequenceNumberForOrdering; }
  inline bool SequenceNumberForOrderingHasBeenSet() const { return m_sequenceNumberForOrderingHasBeenSet; }
  inline void SetSequenceNumberForOrdering(const Aws::String& value) { m_sequenceNumberForOrderingHasBeenSet = true; m_sequenceNumberForOrdering = value; }
  inline void SetSequenceNumberForOrdering(Aws::String&& value) { m_sequenceNumberForOrderingHasBeenSet = true; m_sequenceNumberForOrdering = std::move(value); }
  inline void SetSequenceNumberForOrdering(const char* value) { m_sequenceNumberForOrderingHasBeenSet = true; m_sequenceNumberForOrdering.assign(value ? value : ""); }
  inline PutRecordRequest& WithSequenceNumberForOrdering(const Aws::String& value) { SetSequenceNumberForOrdering(value); return *this; }
  inline PutRecordRequest& WithSequenceNumberForOrdering(Aws::String&& value) { SetSequenceNumberForOrdering(std::move(value)); return *this; }
  inline PutRecordRequest& WithSequenceNumberForOrdering(const char* value) { SetSequenceNumberForOrdering(value); return *this; }

  inline const Aws::String& GetStreamARN() const { return m_streamARN; }
  inline bool StreamARNHasBeenSet() const { return m_streamARNHasBeenSet; }
  inline void SetStreamARN(const Aws::String& value) { m_streamARNHasBeenSet = true; m_streamARN = value; }
  inline void SetStreamARN(Aws::String&& value) { m_streamARNHasBeenSet = true; m_streamARN = std::move(value); }
  inline void SetStreamARN(const char* value) { m_streamARNHasBeenSet = true; m_streamARN.assign(value ? value : ""); }
  inline PutRecordRequest& WithStreamARN(const Aws::String& value) { SetStreamARN(value); return *this; }
  inline PutRecordRequest& WithStreamARN(Aws::String&& value) { SetStreamARN(std::move(value)); return *this; }
  inline PutRecordRequest& WithStreamARN(const char* value) { SetStreamARN(value); return *this; }

  inline const Aws::String& GetStreamId() const { return m_streamId; }
  inline bool StreamIdHasBeenSet() const { return m_streamIdHasBeenSet; }
  inline void SetStreamId(const Aws::String& value) { m_streamIdHasBeenSet = true; m_streamId = value; }
  inline void SetStreamId(Aws::String&& value) { m_streamIdHasBeenSet = true; m_streamId = std::move(value); }
  inline void SetStreamId(const char* value) { m_streamIdHasBeenSet = true; m_streamId.assign(value ? value : ""); }
  inline PutRecordRequest& WithStreamId(const Aws::String& value) { SetStreamId(value); return *this; }
  inline PutRecordRequest& WithStreamId(Aws::String&& value) { SetStreamId(std::move(value)); return *this; }
  inline PutRecordRequest& WithStreamId(const char* value) { SetStreamId(value); return *this; }

 private:
  Aws::String m_streamName;
  bool m_streamNameHasBeenSet = false;
  Aws::Utils::ByteBuffer m_data;
  bool m_dataHasBeenSet = false;
  Aws::String m_partitionKey;
  bool m_partitionKeyHasBeenSet = false;
  Aws::String m_explicitHashKey;
  bool m_explicitHashKeyHasBeenSet = false;
  Aws::String m_sequenceNumberForOrdering;
  bool m_sequenceNumberForOrderingHasBeenSet = false;
  Aws::String m_streamARN;
  bool m_streamARNHasBeenSet = false;
  Aws::String m_streamId;
  bool m_streamIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
