#pragma once

namespace Aws {
namespace Kinesis {

// Base of every Kinesis request model.
class KinesisRequest {
 public:
  virtual ~KinesisRequest() = default;
  // The operation name, as in the x-amz-target header.
  virtual const char* GetServiceRequestName() const = 0;

 protected:
  KinesisRequest() = default;
  KinesisRequest(const KinesisRequest&) = default;
  KinesisRequest(KinesisRequest&&) = default;
  KinesisRequest& operator=(const KinesisRequest&) = default;
  KinesisRequest& operator=(KinesisRequest&&) = default;
};

}  // namespace Kinesis
}  // namespace Aws
