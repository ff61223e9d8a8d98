#pragma once

// Reading of Kinesis JSON answers. Members are looked up by exact name; null, a missing
// member and a member of the wrong type all count as absent, so no answer can crash the
// reader: the worst outcome of malformed input is a parse failure reported to the caller.

#include <aws/core/NoResult.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/model/DescribeStreamResult.h>
#include <aws/kinesis/model/GetRecordsResult.h>
#include <aws/kinesis/model/GetShardIteratorResult.h>
#include <aws/kinesis/model/ListStreamsResult.h>
#include <aws/kinesis/model/PutRecordResult.h>
#include <aws/kinesis/model/PutRecordsResult.h>

#include "kinesis/error_marshaller.h"

#include <cstddef>
#include <memory>

namespace Aws {
namespace Internal {

// Readable bytes a buffer must have past its content to be parsed in place.
constexpr size_t kJsonInputPadding = 64;

// One parser per connection: it keeps its buffers between answers. Not thread-safe.
class ResponseParser {
 public:
  ResponseParser();
  ~ResponseParser();
  ResponseParser(const ResponseParser&) = delete;
  ResponseParser& operator=(const ResponseParser&) = delete;

  // Fills `result` from a 2xx body. An empty body gives a default result. Returns false
  // with a description in `errorMessage` when the body is not JSON. `padded` says that
  // kJsonInputPadding readable bytes follow the body, which saves a copy.
  // Answers without members (CreateStream) still have to be JSON.
  bool Parse(const char* body, size_t length, bool padded, Aws::NoResult& result, Aws::String& errorMessage);
  bool Parse(const char* body, size_t length, bool padded, Aws::Kinesis::Model::PutRecordResult& result,
             Aws::String& errorMessage);
  bool Parse(const char* body, size_t length, bool padded, Aws::Kinesis::Model::PutRecordsResult& result,
             Aws::String& errorMessage);
  bool Parse(const char* body, size_t length, bool padded, Aws::Kinesis::Model::GetShardIteratorResult& result,
             Aws::String& errorMessage);
  bool Parse(const char* body, size_t length, bool padded, Aws::Kinesis::Model::GetRecordsResult& result,
             Aws::String& errorMessage);
  bool Parse(const char* body, size_t length, bool padded, Aws::Kinesis::Model::ListStreamsResult& result,
             Aws::String& errorMessage);
  bool Parse(const char* body, size_t length, bool padded, Aws::Kinesis::Model::DescribeStreamResult& result,
             Aws::String& errorMessage);

  // The message and type name of an error answer's body.
  ErrorPayload ParseErrorPayload(const char* body, size_t length, bool padded);

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace Internal
}  // namespace Aws
