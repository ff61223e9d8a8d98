#include <aws/core/client/CoreErrors.h>

#include <cstring>
#include <unordered_map>

namespace Aws {
namespace Client {

namespace {

struct CoreErrorEntry {
  CoreErrors type;
  bool retryable;
};

// Exception names the core recognises for every service. Names ending in "Exception"
// are also found without that suffix.
const std::unordered_map<std::string, CoreErrorEntry>& CoreErrorTable() {
  static const std::unordered_map<std::string, CoreErrorEntry> table = {
      {"IncompleteSignature", {CoreErrors::INCOMPLETE_SIGNATURE, false}},
      {"IncompleteSignatureException", {CoreErrors::INCOMPLETE_SIGNATURE, false}},
      {"InternalFailure", {CoreErrors::INTERNAL_FAILURE, true}},
      {"InternalFailureException", {CoreErrors::INTERNAL_FAILURE, true}},
      {"InternalServerError", {CoreErrors::INTERNAL_FAILURE, true}},
      {"InternalError", {CoreErrors::INTERNAL_FAILURE, true}},
      {"InvalidAction", {CoreErrors::INVALID_ACTION, false}},
      {"InvalidClientTokenId", {CoreErrors::INVALID_CLIENT_TOKEN_ID, false}},
      {"InvalidParameterCombination", {CoreErrors::INVALID_PARAMETER_COMBINATION, false}},
      {"InvalidParameterValue", {CoreErrors::INVALID_PARAMETER_VALUE, false}},
      {"InvalidQueryParameter", {CoreErrors::INVALID_QUERY_PARAMETER, false}},
      {"MalformedQueryString", {CoreErrors::MALFORMED_QUERY_STRING, false}},
      {"MissingAction", {CoreErrors::MISSING_ACTION, false}},
      {"MissingAuthenticationToken", {CoreErrors::MISSING_AUTHENTICATION_TOKEN, false}},
      {"MissingParameter", {CoreErrors::MISSING_PARAMETER, false}},
      {"OptInRequired", {CoreErrors::OPT_IN_REQUIRED, false}},
      {"RequestExpired", {CoreErrors::REQUEST_EXPIRED, true}},
      {"ServiceUnavailable", {CoreErrors::SERVICE_UNAVAILABLE, true}},
      {"ServiceUnavailableError", {CoreErrors::SERVICE_UNAVAILABLE, true}},
      {"Throttling", {CoreErrors::THROTTLING, true}},
      {"ThrottledException", {CoreErrors::THROTTLING, true}},
      {"RequestThrottled", {CoreErrors::THROTTLING, true}},
      {"Validation", {CoreErrors::VALIDATION, false}},
      {"ValidationError", {CoreErrors::VALIDATION, false}},
      {"AccessDenied", {CoreErrors::ACCESS_DENIED, false}},
      {"ResourceNotFound", {CoreErrors::RESOURCE_NOT_FOUND, false}},
      {"UnrecognizedClient", {CoreErrors::UNRECOGNIZED_CLIENT, false}},
      {"SlowDown", {CoreErrors::SLOW_DOWN, true}},
      {"RequestTimeTooSkewed", {CoreErrors::REQUEST_TIME_TOO_SKEWED, true}},
      {"InvalidSignature", {CoreErrors::INVALID_SIGNATURE, false}},
      {"SignatureDoesNotMatch", {CoreErrors::SIGNATURE_DOES_NOT_MATCH, false}},
      {"InvalidAccessKeyId", {CoreErrors::INVALID_ACCESS_KEY_ID, false}},
      {"RequestTimeout", {CoreErrors::REQUEST_TIMEOUT, true}},
  };
  return table;
}

constexpr char kExceptionSuffix[] = "Exception";

}  // namespace

namespace CoreErrorsMapper {

AWSError<CoreErrors> GetErrorForName(const char* errorName) {
  const std::string name = errorName ? errorName : "";
  const auto& table = CoreErrorTable();
  auto found = table.find(name);
  const size_t suffixLength = sizeof kExceptionSuffix - 1;
  if (found == table.end() && name.size() > suffixLength &&
      name.compare(name.size() - suffixLength, suffixLength, kExceptionSuffix) == 0) {
    found = table.find(name.substr(0, name.size() - suffixLength));
  }
  if (found == table.end()) return AWSError<CoreErrors>(CoreErrors::UNKNOWN, false);
  return AWSError<CoreErrors>(found->second.type, found->second.retryable);
}

bool IsRetryableHttpResponseCode(Aws::Http::HttpResponseCode code) {
  switch (static_cast<int>(code)) {
    case 408: case 419: case 429: case 440:
    case 500: case 502: case 503: case 504:
    case 509: case 598: case 599:
      return true;
    default:
      return false;
  }
}

AWSError<CoreErrors> GetErrorForHttpResponseCode(Aws::Http::HttpResponseCode code) {
  const int status = static_cast<int>(code);
  CoreErrors type = CoreErrors::UNKNOWN;
  switch (status) {
    case 401: case 403: type = CoreErrors::ACCESS_DENIED; break;
    case 404: type = CoreErrors::RESOURCE_NOT_FOUND; break;
    case 429: type = CoreErrors::SLOW_DOWN; break;
    case 500: type = CoreErrors::INTERNAL_FAILURE; break;
    case 503: type = CoreErrors::SERVICE_UNAVAILABLE; break;
    case 509: type = CoreErrors::THROTTLING; break;
    case 408: case 419: case 440: case 504: case 598: case 599: type = CoreErrors::REQUEST_TIMEOUT; break;
    default: break;
  }
  AWSError<CoreErrors> error(type, IsRetryableHttpResponseCode(code) || (status >= 500 && status < 600));
  error.SetResponseCode(code);
  return error;
}

}  // namespace CoreErrorsMapper
}  // namespace Client
}  // namespace Aws
