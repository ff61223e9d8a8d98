#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/model/EncryptionType.h>
#include <aws/kinesis/model/PutRecordsResultEntry.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// One entry per request record, in request order. A failed record does not fail the call.
class PutRecordsResult {
 public:
  PutRecordsResult() = default;

  inline int GetFailedRecordCount() const { return m_failedRecordCount; }
  inline bool FailedRecordCountHasBeenSet() const { return m_failedRecordCountHasBeenSet; }
  inline void SetFailedRecordCount(int value) { m_failedRecordCountHasBeenSet = true; m_failedRecordCount = value; }
  inline PutRecordsResult& WithFailedRecordCount(int value) { SetFailedRecordCount(value); return *this; }

  inline const Aws::Vector<PutRecordsResultEntry>& GetRecords() const { return m_records; }
  inline bool RecordsHasBeenSet() const { return m_recordsHasBeenSet; }
  inline void SetRecords(const Aws::Vector<PutRecordsResultEntry>& value) { m_recordsHasBeenSet = true; m_records = value; }
  inline void SetRecords(Aws::Vector<PutRecordsResultEntry>&& value) { m_recordsHasBeenSet = true; m_records = std::move(value); }
  inline PutRecordsResult& WithRecords(const Aws::Vector<PutRecordsResultEntry>& value) { SetRecords(value); return *this; }
  inline PutRecordsResult& WithRecords(Aws::Vector<PutRecordsResultEntry>&& value) { SetRecords(std::move(value)); return *this; }
  inline PutRecordsResult& AddRecords(const PutRecordsResultEntry& value) { m_recordsHasBeenSet = true; m_records.push_back(value); return *this; }
  inline PutRecordsResult& AddRecords(PutRecordsResultEntry&& value) { m_recordsHasBeenSet = true; m_records.push_back(std::move(value)); return *this; }

  inline EncryptionType GetEncryptionType() const { return m_encryptionType; }
  inline bool EncryptionTypeHasBeenSet() const { return m_encryptionTypeHasBeenSet; }
  inline void SetEncryptionType(EncryptionType value) { m_encryptionTypeHasBeenSet = true; m_encryptionType = value; }
  inline PutRecordsResult& WithEncryptionType(EncryptionType value) { SetEncryptionType(value); return *this; }

  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline bool RequestIdHasBeenSet() const { return m_requestIdHasBeenSet; }
  inline void SetRequestId(const Aws::String& value) { m_requestIdHasBeenSet = true; m_requestId = value; }
  inline void SetRequestId(Aws::String&& value) { m_requestIdHasBeenSet = true; m_requestId = std::move(value); }
  inline void SetRequestId(const char* value) { m_requestIdHasBeenSet = true; m_requestId.assign(value ? value : ""); }
  inline PutRecordsResult& WithRequestId(const Aws::String& value) { SetRequestId(value); return *this; }
  inline PutRecordsResult& WithRequestId(Aws::String&& value) { SetRequestId(std::move(value)); return *this; }
  inline PutRecordsResult& WithRequestId(const char* value) { SetRequestId(value); return *this; }

 private:
  int m_failedRecordCount{0};
  bool m_failedRecordCountHasBeenSet = false;
  Aws::Vector<PutRecordsResultEntry> m_records;
  bool m_recordsHasBeenSet = false;
  EncryptionType m_encryptionType{EncryptionType::NOT_SET};
  bool m_encryptionTypeHasBeenSet = false;
  Aws::String m_requestId;
  bool m_requestIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
