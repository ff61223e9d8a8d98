#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/model/StreamDescription.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// The description of a stream.
class DescribeStreamResult {
 public:
  DescribeStreamResult() = default;

  inline const StreamDescription& GetStreamDescription() const { return m_streamDescription; }
  inline bool StreamDescriptionHasBeenSet() const { return m_streamDescriptionHasBeenSet; }
  inline void SetStreamDescription(const StreamDescription& value) { m_streamDescriptionHasBeenSet = true; m_streamDescription = value; }
  inline void SetStreamDescription(StreamDescription&& value) { m_streamDescriptionHasBeenSet = true; m_streamDescription = std::move(value); }
  inline DescribeStreamResult& WithStreamDescription(const StreamDescription& value) { SetStreamDescription(value); return *this; }
  inline DescribeStreamResult& WithStreamDescription(StreamDescription&& value) { SetStreamDescription(std::move(value)); return *this; }

  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline bool RequestIdHasBeenSet() const { return m_requestIdHasBeenSet; }
  inline void SetRequestId(const Aws::String& value) { m_requestIdHasBeenSet = true; m_requestId = value; }
  inline void SetRequestId(Aws::String&& value) { m_requestIdHasBeenSet = true; m_requestId = std::move(value); }
  inline void SetRequestId(const char* value) { m_requestIdHasBeenSet = true; m_requestId.assign(value ? value : ""); }
  inline DescribeStreamResult& WithRequestId(const Aws::String& value) { SetRequestId(value); return *this; }
  inline DescribeStreamResult& WithRequestId(Aws::String&& value) { SetRequestId(std::move(value)); return *this; }
  inline DescribeStreamResult& WithRequestId(const char* value) { SetRequestId(value); return *this; }

 private:
  StreamDescription m_streamDescription;
  bool m_streamDescriptionHasBeenSet = false;
  Aws::String m_requestId;
  bool m_requestIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
