#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/model/ChildShard.h>
#include <aws/kinesis/model/Record.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// A batch of records and the iterator for the next read; the next iterator is empty
// once a closed shard is fully read.
class GetRecordsResult {
 public:
  GetRecordsResult() = default;

  inline const Aws::Vector<Record>& GetRecords() const { return m_records; }
  inline bool RecordsHasBeenSet() const { return m_recordsHasBeenSet; }
  inline void SetRecords(const Aws::Vector<Record>& value) { m_recordsHasBeenSet = true; m_records = value; }
  inline void SetRecords(Aws::Vector<Record>&& value) { m_recordsHasBeenSet = true; m_records = std::move(value); }
  inline GetRecordsResult& WithRecords(const Aws::Vector<Record>& value) { SetRecords(value); return *this; }
  inline GetRecordsResult& WithRecords(Aws::Vector<Record>&& value) { SetRecords(std::move(value)); return *this; }
  inline GetRecordsResult& AddRecords(const Record& value) { m_recordsHasBeenSet = true; m_records.push_back(value); return *this; }
  inline GetRecordsResult& AddRecords(Record&& value) { m_recordsHasBeenSet = true; m_records.push_back(std::move(value)); return *this; }

  inline const Aws::String& GetNextShardIterator() const { return m_nextShardIterator; }
  inline bool NextShardIteratorHasBeenSet() const { return m_nextShardIteratorHasBeenSet; }
  inline void SetNextShardIterator(const Aws::String& value) { m_nextShardIteratorHasBeenSet = true; m_nextShardIterator = value; }
  inline void SetNextShardIterator(Aws::String&& value) { m_nextShardIteratorHasBeenSet = true; m_nextShardIterator = std::move(value); }
  inline void SetNextShardIterator(const char* value) { m_nextShardIteratorHasBeenSet = true; m_nextShardIterator.assign(value ? value : ""); }
  inline GetRecordsResult& WithNextShardIterator(const Aws::String& value) { SetNextShardIterator(value); return *this; }
  inline GetRecordsResult& WithNextShardIterator(Aws::String&& value) { SetNextShardIterator(std::move(value)); return *this; }
  inline GetRecordsResult& WithNextShardIterator(const char* value) { SetNextShardIterator(value); return *this; }

  inline long long GetMillisBehindLatest() const { return m_millisBehindLatest; }
  inline bool MillisBehindLatestHasBeenSet() const { return m_millisBehindLatestHasBeenSet; }
  inline void SetMillisBehindLatest(long long value) { m_millisBehindLatestHasBeenSet = true; m_millisBehindLatest = value; }
  inline GetRecordsResult& WithMillisBehindLatest(long long value) { SetMillisBehindLatest(value); return *this; }

  inline const Aws::Vector<ChildShard>& GetChildShards() const { return m_childShards; }
  inline bool ChildShardsHasBeenSet() const { return m_childShardsHasBeenSet; }
  inline void SetChildShards(const Aws::Vector<ChildShard>& value) { m_childShardsHasBeenSet = true; m_childShards = value; }
  inline void SetChildShards(Aws::Vector<ChildShard>&& value) { m_childShardsHasBeenSet = true; m_childShards = std::move(value); }
  inline GetRecordsResult& WithChildShards(const Aws::Vector<ChildShard>& value) { SetChildShards(value); return *this; }
  inline GetRecordsResult& WithChildShards(Aws::Vector<ChildShard>&& value) { SetChildShards(std::move(value)); return *this; }
  inline GetRecordsResult& AddChildShards(const ChildShard& value) { m_childShardsHasBeenSet = true; m_childShards.push_back(value); return *this; }
  inline GetRecordsResult& AddChildShards(ChildShard&& value) { m_childShardsHasBeenSet = true; m_childShards.push_back(std::move(value)); return *this; }

  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline bool RequestIdHasBeenSet() const { return m_requestIdHasBeenSet; }
  inline void SetRequestId(const Aws::String& value) { m_requestIdHasBeenSet = true; m_requestId = value; }
  inline void SetRequestId(Aws::String&& value) { m_requestIdHasBeenSet = true; m_requestId = std::move(value); }
  inline void SetRequestId(const char* value) { m_requestIdHasBeenSet = true; m_requestId.assign(value ? value : ""); }
  inline GetRecordsResult& WithRequestId(const Aws::String& value) { SetRequestId(value); return *this; }
  inline GetRecordsResult& WithRequestId(Aws::String&& value) { SetRequestId(std::move(value)); return *this; }
  inline GetRecordsResult& WithRequestId(const char* value) { SetRequestId(value); return *this; }

 private:
  Aws::Vector<Record> m_records;
  bool m_recordsHasBeenSet = false;
  Aws::String m_nextShardIterator;
  bool m_nextShardIteratorHasBeenSet = false;
  long long m_millisBehindLatest{0};
  bool m_millisBehindLatestHasBeenSet = false;
  Aws::Vector<ChildShard> m_childShards;
  bool m_childShardsHasBeenSet = false;
  Aws::String m_requestId;
  bool m_requestIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
