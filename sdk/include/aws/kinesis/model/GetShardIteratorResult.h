#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// A new shard iterator.
class GetShardIteratorResult {
 public:
  GetShardIteratorResult() = default;

  inline const Aws::String& GetShardIterator() const { return m_shardIterator; }
  inline bool ShardIteratorHasBeenSet() const { return m_shardIteratorHasBeenSet; }
  inline void SetShardIterator(const Aws::String& value) { m_shardIteratorHasBeenSet = true; m_shardIterator = value; }
  inline void SetShardIterator(Aws::String&& value) { m_shardIteratorHasBeenSet = true; m_shardIterator = std::move(value); }
  inline void SetShardIterator(const char* value) { m_shardIteratorHasBeenSet = true; m_shardIterator.assign(value ? value : ""); }
  inline GetShardIteratorResult& WithShardIterator(const Aws::String& value) { SetShardIterator(value); return *this; }
  inline GetShardIteratorResult& WithShardIterator(Aws::String&& value) { SetShardIterator(std::move(value)); return *this; }
  inline GetShardIteratorResult& WithShardIterator(const char* value) { SetShardIterator(value); return *this; }

  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline bool RequestIdHasBeenSet() const { return m_requestIdHasBeenSet; }
  inline void SetRequestId(const Aws::String& value) { m_requestIdHasBeenSet = true; m_requestId = value; }
  inline void SetRequestId(Aws::String&& value) { m_requestIdHasBeenSet = true; m_requestId = std::move(value); }
  inline void SetRequestId(const char* value) { m_requestIdHasBeenSet = true; m_requestId.assign(value ? value : ""); }
  inline GetShardIteratorResult& WithRequestId(const Aws::String& value) { SetRequestId(value); return *this; }
  inline GetShardIteratorResult& WithRequestId(Aws::String&& value) { SetRequestId(std::move(value)); return *this; }
  inline GetShardIteratorResult& WithRequestId(const char* value) { SetRequestId(value); return *this; }

 private:
  Aws::String m_shardIterator;
  bool m_shardIteratorHasBeenSet = false;
  Aws::String m_requestId;
  bool m_requestIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
