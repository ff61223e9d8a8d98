#include "kinesis/error_marshaller.h"

#include <aws/kinesis/KinesisErrors.h>

namespace Aws {
namespace Internal {

using Aws::Client::AWSError;
using Aws::Client::CoreErrors;
using Aws::Http::HttpResponseCode;

namespace {

constexpr char kErrorTypeHeader[] = "x-amzn-errortype";
constexpr char kRequestIdHeader[] = "x-amzn-requestid";
constexpr char kNoBodyMessage[] = "No response body.";
constexpr char kUnparsableBodyMessage[] = "Failed to parse error payload: ";
constexpr char kJsonParserErrorName[] = "Json Parser Error";

bool IsStatusRetryable(HttpResponseCode status) {
  return Aws::Client::CoreErrorsMapper::IsRetryableHttpResponseCode(status);
}

// Without a usable body only the access and not-found statuses say what went wrong.
CoreErrors TypeForBodylessStatus(HttpResponseCode status) {
  switch (static_cast<int>(status)) {
    case 401: case 403: return CoreErrors::ACCESS_DENIED;
    case 404: return CoreErrors::RESOURCE_NOT_FOUND;
    default: return CoreErrors::UNKNOWN;
  }
}

Aws::String FindHeader(const Aws::Http::HeaderValueCollection& headers, const char* name) {
  const auto found = headers.find(name);
  return found == headers.end() ? Aws::String() : found->second;
}

// Kinesis names first, then the names every service shares.
AWSError<CoreErrors> LookUpExceptionName(const Aws::String& name) {
  AWSError<CoreErrors> error = Aws::Kinesis::KinesisErrorMapper::GetErrorForName(name.c_str());
  if (error.GetErrorType() != CoreErrors::UNKNOWN) return error;
  return Aws::Client::CoreErrorsMapper::GetErrorForName(name.c_str());
}

AWSError<CoreErrors> ClassifyJsonError(HttpResponseCode status, const Aws::Http::HeaderValueCollection& headers,
                                       const ErrorPayload& payload) {
  Aws::String rawName = FindHeader(headers, kErrorTypeHeader);
  if (rawName.empty()) rawName = payload.typeName;
  if (rawName.empty()) {
    AWSError<CoreErrors> error = Aws::Client::CoreErrorsMapper::GetErrorForHttpResponseCode(status);
    error.SetMessage(payload.message);
    return error;
  }
  const Aws::String name = CleanExceptionName(rawName);
  AWSError<CoreErrors> error = LookUpExceptionName(name);
  if (error.GetErrorType() == CoreErrors::UNKNOWN) {
    return AWSError<CoreErrors>(CoreErrors::UNKNOWN, rawName,
                                "Unable to parse ExceptionName: " + rawName + " Message: " + payload.message, false);
  }
  error.SetExceptionName(name);
  error.SetMessage(payload.message);
  return error;
}

}  // namespace

Aws::String CleanExceptionName(const Aws::String& rawName) {
  const size_t hash = rawName.find('#');
  if (hash != Aws::String::npos) return rawName.substr(hash + 1);
  const size_t colon = rawName.find(':');
  if (colon != Aws::String::npos) return rawName.substr(0, colon);
  return rawName;
}

AWSError<CoreErrors> MarshallTransportError(int curlCode, const char* curlText) {
  return AWSError<CoreErrors>(CoreErrors::NETWORK_CONNECTION, "",
                              "curlCode: " + std::to_string(curlCode) + ", " + (curlText ? curlText : ""), true);
}

AWSError<CoreErrors> MarshallServiceError(HttpResponseCode status, const Aws::Http::HeaderValueCollection& headers,
                                          const ErrorPayload& payload) {
  AWSError<CoreErrors> error;
  switch (payload.kind) {
    case ErrorPayload::Kind::Empty:
      error = AWSError<CoreErrors>(TypeForBodylessStatus(status), "", kNoBodyMessage, IsStatusRetryable(status));
      break;
    case ErrorPayload::Kind::NotJson:
      error = AWSError<CoreErrors>(CoreErrors::UNKNOWN, "", kUnparsableBodyMessage, IsStatusRetryable(status));
      break;
    case ErrorPayload::Kind::Json:
      error = ClassifyJsonError(status, headers, payload);
      error.SetErrorPayloadType(Aws::Client::ErrorPayloadType::JSON);
      break;
  }
  error.SetResponseCode(status);
  error.SetResponseHeaders(headers);
  error.SetRequestId(FindHeader(headers, kRequestIdHeader));
  return error;
}

AWSError<CoreErrors> MarshallUnreadableResult(const char* parserMessage) {
  return AWSError<CoreErrors>(CoreErrors::UNKNOWN, kJsonParserErrorName, parserMessage ? parserMessage : "", false);
}

}  // namespace Internal
}  // namespace Aws
