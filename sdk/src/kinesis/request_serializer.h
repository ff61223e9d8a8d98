#pragma once

// JSON bodies of the Kinesis operations. Only members whose HasBeenSet flag is on are
// written, in the service model's member order. Each function replaces `body`'s content
// but keeps its capacity, so a reused buffer stops allocating once warm.

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/model/CreateStreamRequest.h>
#include <aws/kinesis/model/DescribeStreamRequest.h>
#include <aws/kinesis/model/GetRecordsRequest.h>
#include <aws/kinesis/model/GetShardIteratorRequest.h>
#include <aws/kinesis/model/ListStreamsRequest.h>
#include <aws/kinesis/model/PutRecordRequest.h>
#include <aws/kinesis/model/PutRecordsRequest.h>

namespace Aws {
namespace Internal {

void SerializeRequest(const Aws::Kinesis::Model::PutRecordRequest& request, Aws::String& body);
void SerializeRequest(const Aws::Kinesis::Model::PutRecordsRequest& request, Aws::String& body);
void SerializeRequest(const Aws::Kinesis::Model::GetShardIteratorRequest& request, Aws::String& body);
void SerializeRequest(const Aws::Kinesis::Model::GetRecordsRequest& request, Aws::String& body);
void SerializeRequest(const Aws::Kinesis::Model::ListStreamsRequest& request, Aws::String& body);
void SerializeRequest(const Aws::Kinesis::Model::DescribeStreamRequest& request, Aws::String& body);
void SerializeRequest(const Aws::Kinesis::Model::CreateStreamRequest& request, Aws::String& body);

}  // namespace Internal
}  // namespace Aws
