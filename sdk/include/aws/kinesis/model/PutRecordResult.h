#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/model/EncryptionType.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Where a record written by PutRecord went.
class PutRecordResult {
 public:
  PutRecordResult() = default;

  inline const Aws::String& GetShardId() const { return m_shardId; }
  inline bool ShardIdHasBeenSet() const { return m_shardIdHasBeenSet; }
  inline void SetShardId(const Aws::String& value) { m_shardIdHasBeenSet = true; m_shardId = value; }
  inline void SetShardId(Aws::String&& value) { m_shardIdHasBeenSet = true; m_shardId = std::move(value); }
  inline void SetShardId(const char* value) { m_shardIdHasBeenSet = true; m_shardId.assign(value ? value : ""); }
  inline PutRecordResult& WithShardId(const Aws::String& value) { SetShardId(value); return *this; }
  inline PutRecordResult& WithShardId(Aws::String&& value) { SetShardId(std::move(value)); return *this; }
  inline PutRecordResult& WithShardId(const char* value) { SetShardId(value); return *this; }

  inline const Aws::String& GetSequenceNumber() const { return m_sequenceNumber; }
  inline bool SequenceNumberHasBeenSet() const { return m_sequenceNumberHasBeenSet; }
  inline void SetSequenceNumber(const Aws::String& value) { m_sequenceNumberHasBeenSet = true; m_sequenceNumber = value; }
  inline void SetSequenceNumber(Aws::String&& value) { m_sequenceNumberHasBeenSet = true; m_sequenceNumber = std::move(value); }
  inline void SetSequenceNumber(const char* value) { m_sequenceNumberHasBeenSet = true; m_sequenceNumber.assign(value ? value : ""); }
  inline PutRecordResult& WithSequenceNumber(const Aws::String& value) { SetSequenceNumber(value); return *this; }
  inline PutRecordResult& WithSequenceNumber(Aws::String&& value) { SetSequenceNumber(std::move(value)); return *this; }
  inline PutRecordResult& WithSequenceNumber(const char* value) { SetSequenceNumber(value); return *this; }

  inline EncryptionType GetEncryptionType() const { return m_encryptionType; }
  inline bool EncryptionTypeHasBeenSet() const { return m_encryptionTypeHasBeenSet; }
  inline void SetEncryptionType(EncryptionType value) { m_encryptionTypeHasBeenSet = true; m_encryptionType = value; }
  inline PutRecordResult& WithEncryptionType(EncryptionType value) { SetEncryptionType(value); return *this; }

  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline bool RequestIdHasBeenSet() const { return m_requestIdHasBeenSet; }
  inline void SetRequestId(const Aws::String& value) { m_requestIdHasBeenSet = true; m_requestId = value; }
  inline void SetRequestId(Aws::String&& value) { m_requestIdHasBeenSet = true; m_requestId = std::move(value); }
  inline void SetRequestId(const char* value) { m_requestIdHasBeenSet = true; m_requestId.assign(value ? value : ""); }
  inline PutRecordResult& WithRequestId(const Aws::String& value) { SetRequestId(value); return *this; }
  inline PutRecordResult& WithRequestId(Aws::String&& value) { SetRequestId(std::move(value)); return *this; }
  inline PutRecordResult& WithRequestId(const char* value) { SetRequestId(value); return *this; }

 private:
  Aws::String m_shardId;
  bool m_shardIdHasBeenSet = false;
  Aws::String m_sequenceNumber;
  bool m_sequenceNumberHasBeenSet = false;
  EncryptionType m_encryptionType{EncryptionType::NOT_SET};
  bool m_encryptionTypeHasBeenSet = false;
  Aws::String m_requestId;
  bool m_requestIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
