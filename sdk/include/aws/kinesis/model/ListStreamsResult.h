#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/model/StreamSummary.h>

#include <utility>

namespace Aws {
namespace Kinesis {
namespace Model {

// One page of stream names.
class ListStreamsResult {
 public:
  ListStreamsResult() = default;

  inline const Aws::Vector<Aws::String>& GetStreamNames() const { return m_streamNames; }
  inline bool StreamNamesHasBeenSet() const { return m_streamNamesHasBeenSet; }
  inline void SetStreamNames(const Aws::Vector<Aws::String>& value) { m_streamNamesHasBeenSet = true; m_streamNames = value; }
  inline void SetStreamNames(Aws::Vector<Aws::String>&& value) { m_streamNamesHasBeenSet = true; m_streamNames = std::move(value); }
  inline ListStreamsResult& WithStreamNames(const Aws::Vector<Aws::String>& value) { SetStreamNames(value); return *this; }
  inline ListStreamsResult& WithStreamNames(Aws::Vector<Aws::String>&& value) { SetStreamNames(std::move(value)); return *this; }
  inline ListStreamsResult& AddStreamNames(const Aws::String& value) { m_streamNamesHasBeenSet = true; m_streamNames.push_back(value); return *this; }
  inline ListStreamsResult& AddStreamNames(Aws::String&& value) { m_streamNamesHasBeenSet = true; m_streamNames.push_back(std::move(value)); return *this; }
  inline ListStreamsResult& AddStreamNames(const char* value) { m_streamNamesHasBeenSet = true; m_streamNames.emplace_back(value ? value : ""); return *this; }

  inline bool GetHasMoreStreams() const { return m_hasMoreStreams; }
  inline bool HasMoreStreamsHasBeenSet() const { return m_hasMoreStreamsHasBeenSet; }
  inline void SetHasMoreStreams(bool value) { m_hasMoreStreamsHasBeenSet = true; m_hasMoreStreams = value; }
  inline ListStreamsResult& WithHasMoreStreams(bool value) { SetHasMoreStreams(value); return *this; }

  inline const Aws::String& GetNextToken() const { return m_nextToken; }
  inline bool NextTokenHasBeenSet() const { return m_nextTokenHasBeenSet; }
  inline void SetNextToken(const Aws::String& value) { m_nextTokenHasBeenSet = true; m_nextToken = value; }
  inline void SetNextToken(Aws::String&& value) { m_nextTokenHasBeenSet = true; m_nextToken = std::move(value); }
  inline void SetNextToken(const char* value) { m_nextTokenHasBeenSet = true; m_nextToken.assign(value ? value : ""); }
  inline ListStreamsResult& WithNextToken(const Aws::String& value) { SetNextToken(value); return *this; }
  inline ListStreamsResult& WithNextToken(Aws::String&& value) { SetNextToken(std::move(value)); return *this; }
  inline ListStreamsResult& WithNextToken(const char* value) { SetNextToken(value); return *this; }

  inline const Aws::Vector<StreamSummary>& GetStreamSummaries() const { return m_streamSummaries; }
  inline bool StreamSummariesHasBeenSet() const { return m_streamSummariesHasBeenSet; }
  inline void SetStreamSummaries(const Aws::Vector<StreamSummary>& value) { m_streamSummariesHasBeenSet = true; m_streamSummaries = value; }
  inline void SetStreamSummaries(Aws::Vector<StreamSummary>&& value) { m_streamSummariesHasBeenSet = true; m_streamSummaries = std::move(value); }
  inline ListStreamsResult& WithStreamSummaries(const Aws::Vector<StreamSummary>& value) { SetStreamSummaries(value); return *this; }
  inline ListStreamsResult& WithStreamSummaries(Aws::Vector<StreamSummary>&& value) { SetStreamSummaries(std::move(value)); return *this; }
  inline ListStreamsResult& AddStreamSummaries(const StreamSummary& value) { m_streamSummariesHasBeenSet = true; m_streamSummaries.push_back(value); return *this; }
  inline ListStreamsResult& AddStreamSummaries(StreamSummary&& value) { m_streamSummariesHasBeenSet = true; m_streamSummaries.push_back(std::move(value)); return *this; }

  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline bool RequestIdHasBeenSet() const { return m_requestIdHasBeenSet; }
  inline void SetRequestId(const Aws::String& value) { m_requestIdHasBeenSet = true; m_requestId = value; }
  inline void SetRequestId(Aws::String&& value) { m_requestIdHasBeenSet = true; m_requestId = std::move(value); }
  inline void SetRequestId(const char* value) { m_requestIdHasBeenSet = true; m_requestId.assign(value ? value : ""); }
  inline ListStreamsResult& WithRequestId(const Aws::String& value) { SetRequestId(value); return *this; }
  inline ListStreamsResult& WithRequestId(Aws::String&& value) { SetRequestId(std::move(value)); return *this; }
  inline ListStreamsResult& WithRequestId(const char* value) { SetRequestId(value); return *this; }

 private:
  Aws::Vector<Aws::String> m_streamNames;
  bool m_streamNamesHasBeenSet = false;
  bool m_hasMoreStreams{false};
  bool m_hasMoreStreamsHasBeenSet = false;
  Aws::String m_nextToken;
  bool m_nextTokenHasBeenSet = false;
  Aws::Vector<StreamSummary> m_streamSummaries;
  bool m_streamSummariesHasBeenSet = false;
  Aws::String m_requestId;
  bool m_requestIdHasBeenSet = false;
};

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
