#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Range of 128-bit hash keys of a shard, as decimal texts.
class HashKeyRange {
 public:
  HashKeyRange() = default;

  inline const Aws::String& GetStartingHashKey() const { return m_startingHashKey; }
  inline bool StartingHashKeyHasBeenSet() const { return m_startingHashKeyHasBeenSet; }
  inline void SetStartingHashKey(const Aws::String& value) { m_startingHashKeyHasBeenSet = true; m_startingHashKey = value; }
  inline void SetStartingHashKey(Aws::String&& value) { m_startingHashKeyHasBeenSet = true; m_startingHashKey = std::move(value); }
  inline void SetStartingHashKey(const char* value) { m_startingHashKeyHasBeenSet = true; m_startingHashKey.assign(value ? value : ""); }
  inline HashKeyRange& WithStartingHashKey(const Aws::String& value) { SetStartingHashKey(value); return *this; }
  inline HashKeyRange& WithStartingHashKey(Aws::String&& value) { SetStartingHashKey(std::move(value)); return *this; }
  inline HashKeyRange& WithStartingHashKey(const char* value) { SetStartingHashKey(value); return *this; }

  inline const Aws::String& GetEndingHashKey() const { return m_endingHashKey; }
  inline bool EndingHashKeyHasBeenSet() const { return m_endingHashKeyHasBeenSet; }
  inline void SetEndingHashKey(const Aws::String& value) { m_endingHashKeyHasBeenSet = true; m_endingHashKey = value; }
  inline void SetEndingHashKey(Aws::String&& value) { m_endingHashKeyHasBeenSet = true; m_endingHashKey = std::move(value); }
  inline void SetEndingHashKey(const char* value) { m_endingHashKeyHasBeenSet = true; m_endingHashKey.assign(value ? value : ""); }
  inline HashKeyRange& WithEndingHashKey(const Aws::String& value) { SetEndingHashKey(value); return *this; }
  inline HashKeyRange& WithEndingHashKey(Aws::String&& value) { SetEndingHashKey(std::move(value)); return *this; }
  inline HashKeyRange& WithEndingHashKey(const char* value) { SetEndingHashKey(value); return *this; }

 private:
  Aws::String m_startingHashKey;
  bool m_startingHashKeyHasBeenSet = false;
  Aws::String m_endingHashKey;
  bool m_endingHashKeyHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
