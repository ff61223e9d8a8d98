#pragma once

#include <aws/kinesis/model/StreamMode.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Capacity mode settings of a stream.
class StreamModeDetails {
 public:
  StreamModeDetails() = default;

  inline StreamMode GetStreamMode() const { return m_streamMode; }
  inline bool StreamModeHasBeenSet() const { return m_streamModeHasBeenSet; }
  inline void SetStreamMode(StreamMode value) { m_streamModeHasBeenSet = true; m_streamMode = value; }
  inline StreamModeDetails& WithStreamMode(StreamMode value) { SetStreamMode(value); return *this; }

 private:
  StreamMode m_streamMode{StreamMode::NOT_SET};
  bool m_streamModeHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
