#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisRequest.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// Lists the streams of the account, one page at a time.
class ListStreamsRequest : public KinesisRequest {
 public:
  ListStreamsRequest() = default;

  inline const char* GetServiceRequestName() const override { return "ListStreams"; }

  inline int GetLimit() const { return m_limit; }
  inline bool LimitHasBeenSet() const { return m_limitHasBeenSet; }
  inline void SetLimit(int value) { m_limitHasBeenSet = true; m_limit = value; }
  inline ListStreamsRequest& WithLimit(int value) { SetLimit(value); return *this; }

  inline const Aws::String& GetExclusiveStartStreamName() const { return m_exclusiveStartStreamName; }
  inline bool ExclusiveStartStreamNameHasBeenSet() const { return m_exclusiveStartStreamNameHasBeenSet; }
  inline void SetExclusiveStartStreamName(const Aws::String& value) { m_exclusiveStartStreamNameHasBeenSet = true; m_exclusiveStartStreamName = value; }
  inline void SetExclusiveStartStreamName(Aws::String&& value) { m_exclusiveStartStreamNameHasBeenSet = true; m_exclusiveStartStreamName = std::move(value); }
  inline void SetExclusiveStartStreamName(const char* value) { m_exclusiveStartStreamNameHasBeenSet = true; m_exclusiveStartStreamName.assign(value ? value : ""); }
  inline ListStreamsRequest& WithExclusiveStartStreamName(const Aws::String& value) { SetExclusiveStartStreamName(value); return *this; }
  inline ListStreamsRequest& WithExclusiveStartStreamName(Aws::String&& value) { SetExclusiveStartStreamName(std::move(value)); return *this; }
  inline ListStreamsRequest& WithExclusiveStartStreamName(const char* value) { SetExclusiveStartStreamName(value); return *this; }

  inline const Aws::String& GetNextToken() const { return m_nextToken; }
  inline bool NextTokenHasBeenSet() const { return m_nextTokenHasBeenSet; }
  inline void SetNextToken(const Aws::String& value) { m_nextTokenHasBeenSet = true; m_nextToken = value; }
  inline void SetNextToken(Aws::String&& value) { m_nextTokenHasBeenSet = true; m_nextToken = std::move(value); }
  inline void SetNextToken(const char* value) { m_nextTokenHasBeenSet = true; m_nextToken.assign(value ? value : ""); }
  inline ListStreamsRequest& WithNextToken(const Aws::String& value) { SetNextToken(value); return *this; }
  inline ListStreamsRequest& WithNextToken(Aws::String&& value) { SetNextToken(std::move(value)); return *this; }
  inline ListStreamsRequest& WithNextToken(const char* value) { SetNextToken(value); return *this; }

 private:
  int m_limit{0};
  bool m_limitHasBeenSet = false;
  Aws::String m_exclusiveStartStreamName;
  bool m_exclusiveStartStreamNameHasBeenSet = false;
  Aws::String m_nextToken;
  bool m_nextTokenHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
