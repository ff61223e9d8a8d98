#pragma once

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/auth/AWSCredentialsProvider.h>
#include <aws/core/client/ClientConfiguration.h>
#include <aws/kinesis/KinesisServiceClientModel.h>

#include <memory>

namespace Aws {
namespace Kinesis {

// Blocking client of the Kinesis Data Streams JSON API. Thread-safe: any number of threads
// may call operations on one client at once. Operations never throw for service or
// network failures; they return an error outcome after the retries of the configured
// retry strategy. Construction makes no network call.
class KinesisClient {
 public:
  static const char* GetServiceName() { return "kinesis"; }
  static const char* GetAllocationTag() { return "KinesisClient"; }

  // Credentials from the environment (AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY,
  // AWS_SESSION_TOKEN); none means unsigned requests.
  explicit KinesisClient(const Aws::Client::ClientConfiguration& clientConfiguration =
                             Aws::Client::ClientConfiguration());
  KinesisClient(const Aws::Auth::AWSCredentials& credentials,
                const Aws::Client::ClientConfiguration& clientConfiguration = Aws::Client::ClientConfiguration());
  // Credentials from the provider, asked before every attempt. When it answers with none and
  // tells why (GetLastFailure), the call fails with CLIENT_SIGNING_FAILURE and those words.
  KinesisClient(const std::shared_ptr<Aws::Auth::AWSCredentialsProvider>& credentialsProvider,
                const Aws::Client::ClientConfiguration& clientConfiguration = Aws::Client::ClientConfiguration());
  virtual ~KinesisClient();

  KinesisClient(const KinesisClient&) = delete;
  KinesisClient& operator=(const KinesisClient&) = delete;

  virtual Model::CreateStreamOutcome CreateStream(const Model::CreateStreamRequest& request) const;
  virtual Model::DescribeStreamOutcome DescribeStream(const Model::DescribeStreamRequest& request = {}) const;
  virtual Model::GetRecordsOutcome GetRecords(const Model::GetRecordsRequest& request) const;
  virtual Model::GetShardIteratorOutcome GetShardIterator(const Model::GetShardIteratorRequest& request) const;
  virtual Model::ListStreamsOutcome ListStreams(const Model::ListStreamsRequest& request = {}) const;
  virtual Model::PutRecordOutcome PutRecord(const Model::PutRecordRequest& request) const;
  virtual Model::PutRecordsOutcome PutRecords(const Model::PutRecordsRequest& request) const;

  // The endpoint every request goes to, resolved at construction; empty when resolution
  // failed (each call then returns that failure).
  const Aws::String& GetEndpoint() const;

 private:
  class Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace Kinesis
}  // namespace Aws
