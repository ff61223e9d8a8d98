#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/KinesisRequest.h>
#include <aws/kinesis/model/PutRecordsRequestEntry.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Writes up to 500 records in one request.
class PutRecordsRequest : public KinesisRequest {
 public:
  PutRecordsRequest() = default;

  inline const char* GetServiceRequestName() const override { return "PutRecords"; }

  inline const Aws::Vector<PutRecordsRequestEntry>& GetRecords() const { return m_records; }
  inline bool RecordsHasBeenSet() const { return m_recordsHasBeenSet; }
  inline void SetRecords(const Aws::Vector<PutRecordsRequestEntry>& value) { m_recordsHasBeenSet = true; m_records = value; }
  inline void SetRecords(Aws::Vector<PutRecordsRequestEntry>&& value) { m_recordsHasBeenSet = true; m_records = std::move(value); }
  inline PutRecordsRequest& WithRecords(const Aws::Vector<PutRecordsRequestEntry>& value) { SetRecords(value); return *this; }
  inline PutRecordsRequest& WithRecords(Aws::Vector<PutRecordsRequestEntry>&& value) { SetRecords(std::move(value)); return *this; }
  inline PutRecordsRequest& AddRecords(const PutRecordsRequestEntry& value) { m_recordsHasBeenSet = true; m_records.push_back(value); return *this; }
  inline PutRecordsRequest& AddRecords(PutRecordsRequestEntry&& value) { m_recordsHasBeenSet = true; m_records.push_back(std::move(value)); return *this; }

  inline const Aws::String& GetStreamName() const { return m_streamName; }
  inline bool StreamNameHasBeenSet() const { return m_streamNameHasBeenSet; }
  inline void SetStreamName(const Aws::String& value) { m_streamNameHasBeenSet = true; m_streamName = value; }
  inline void SetStreamName(Aws::String&& value) { m_streamNameHasBeenSet = true; m_streamName = std::move(value); }
  inline void SetStreamName(const char* value) { m_streamNameHasBeenSet = true; m_streamName.assign(value ? value : ""); }
  inline PutRecordsRequest& WithStreamName(const Aws::String& value) { SetStreamName(value); return *this; }
  inline PutRecordsRequest& WithStreamName(Aws::String&& value) { SetStreamName(std::move(value)); return *this; }
  inline PutRecordsRequest& WithStreamName(const char* value) { SetStreamName(value); return *this; }

  inline const Aws::String& GetStreamARN() const { return m_streamARN; }
  inline bool StreamARNHasBeenSet() const { return m_streamARNHasBeenSet; }
  inline void SetStreamARN(const Aws::String& value) { m_streamARNHasBeenSet = true; m_streamARN = value; }
  inline void SetStreamARN(Aws::String&& value) { m_streamARNHasBeenSet = true; m_streamARN = std::move(value); }
  inline void SetStreamARN(const char* value) { m_streamARNHasBeenSet = true; m_streamARN.assign(value ? value : ""); }
  inline PutRecordsRequest& WithStreamARN(const Aws::String& value) { SetStreamARN(value); return *this; }
  inline PutRecordsRequest& WithStreamARN(Aws::String&& value) { SetStreamARN(std::move(value)); return *this; }
  inline PutRecordsRequest& WithStreamARN(const char* value) { SetStreamARN(value); return *this; }

  inline const Aws::String& GetStreamId() const { return m_streamId; }
  inline bool StreamIdHasBeenSet() const { return m_streamIdHasBeenSet; }
  inline void SetStreamId(const Aws::String& value) { m_streamIdHasBeenSet = true; m_streamId = value; }
  inline void SetStreamId(Aws::String&& value) { m_streamIdHasBeenSet = true; m_streamId = std::move(value); }
  inline void SetStreamId(const char* value) { m_streamIdHasBeenSet = true; m_streamId.assign(value ? value : ""); }
  inline PutRecordsRequest& WithStreamId(const Aws::String& value) { SetStreamId(value); return *this; }
  inline PutRecordsRequest& WithStreamId(Aws::String&& value) { SetStreamId(std::move(value)); return *this; }
  inline PutRecordsRequest& WithStreamId(const char* value) { SetStreamId(value); return *this; }

 private:
  Aws::Vector<PutRecordsRequestEntry> m_records;
  bool m_recordsHasBeenSet = false;
  Aws::String m_streamName;
  bool m_streamNameHasBeenSet = false;
  Aws::String m_streamARN;
  bool m_streamARNHasBeenSet = false;
  Aws::String m_streamId;
  bool m_streamIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
