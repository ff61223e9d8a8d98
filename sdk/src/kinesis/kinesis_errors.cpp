#include <aws/kinesis/KinesisErrors.h>

#include <cstring>
#include <unordered_map>

namespace Aws {
namespace Kinesis {

namespace {

struct KinesisErrorEntry {
  KinesisErrors type;
  bool retryable;
};

const std::unordered_map<std::string, KinesisErrorEntry>& KinesisErrorTable() {
  static const std::unordered_map<std::string, KinesisErrorEntry> table = {
      {"DryRunOperation", {KinesisErrors::DRY_RUN_OPERATION, false}},
      {"ExpiredIteratorException", {KinesisErrors::EXPIRED_ITERATOR, false}},
      {"ExpiredNextTokenException", {KinesisErrors::EXPIRED_NEXT_TOKEN, false}},
      {"InvalidArgumentException", {KinesisErrors::INVALID_ARGUMENT, false}},
      {"KMSAccessDeniedException", {KinesisErrors::K_M_S_ACCESS_DENIED, false}},
      {"KMSDisabledException", {KinesisErrors::K_M_S_DISABLED, false}},
      {"KMSInvalidStateException", {KinesisErrors::K_M_S_INVALID_STATE, false}},
      {"KMSNotFoundException", {KinesisErrors::K_M_S_NOT_FOUND, false}},
      {"KMSOptInRequired", {KinesisErrors::K_M_S_OPT_IN_REQUIRED, false}},
      // Throttling by KMS is not retried by the SDK either.
      {"KMSThrottlingException", {KinesisErrors::K_M_S_THROTTLING, false}},
      {"LimitExceededException", {KinesisErrors::LIMIT_EXCEEDED, true}},
      {"ProvisionedThroughputExceededException", {KinesisErrors::PROVISIONED_THROUGHPUT_EXCEEDED, true}},
      {"ResourceInUseException", {KinesisErrors::RESOURCE_IN_USE, false}},
  };
  return table;
}

}  // namespace

namespace KinesisErrorMapper {

Aws::Client::AWSError<Aws::Client::CoreErrors> GetErrorForName(const char* errorName) {
  const auto& table = KinesisErrorTable();
  const auto found = table.find(errorName ? errorName : "");
  if (found == table.end()) {
    return Aws::Client::AWSError<Aws::Client::CoreErrors>(Aws::Client::CoreErrors::UNKNOWN, false);
  }
  return Aws::Client::AWSError<Aws::Client::CoreErrors>(static_cast<Aws::Client::CoreErrors>(found->second.type),
                                                        found->second.retryable);
}

}  // namespace KinesisErrorMapper
}  // namespace Kinesis
}  // namespace Aws
