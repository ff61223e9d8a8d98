#pragma once

#include <aws/core/NoResult.h>
#include <aws/core/utils/Outcome.h>
#include <aws/kinesis/KinesisErrors.h>
#include <aws/kinesis/model/CreateStreamRequest.h>
#include <aws/kinesis/model/DescribeStreamRequest.h>
#include <aws/kinesis/model/DescribeStreamResult.h>
#include <aws/kinesis/model/GetRecordsRequest.h>
#include <aws/kinesis/model/GetRecordsResult.h>
#include <aws/kinesis/model/GetShardIteratorRequest.h>
#include <aws/kinesis/model/GetShardIteratorResult.h>
#include <aws/kinesis/model/ListStreamsRequest.h>
#include <aws/kinesis/model/ListStreamsResult.h>
#include <aws/kinesis/model/PutRecordRequest.h>
#include <aws/kinesis/model/PutRecordResult.h>
#include <aws/kinesis/model/PutRecordsRequest.h>
#include <aws/kinesis/model/PutRecordsResult.h>

namespace Aws {
namespace Kinesis {
namespace Model {

typedef Aws::Utils::Outcome<Aws::NoResult, KinesisError> CreateStreamOutcome;
typedef Aws::Utils::Outcome<DescribeStreamResult, KinesisError> DescribeStreamOutcome;
typedef Aws::Utils::Outcome<GetRecordsResult, KinesisError> GetRecordsOutcome;
typedef Aws::Utils::Outcome<GetShardIteratorResult, KinesisError> GetShardIteratorOutcome;
typedef Aws::Utils::Outcome<ListStreamsResult, KinesisError> ListStreamsOutcome;
typedef Aws::Utils::Outcome<PutRecordResult, KinesisError> PutRecordOutcome;
typedef Aws::Utils::Outcome<PutRecordsResult, KinesisError> PutRecordsOutcome;

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
