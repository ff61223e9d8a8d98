#pragma once

// Turns a failed attempt into the error the caller sees: the classification, retryability
// and texts of a transport failure or a non-2xx answer.

#include <aws/core/client/AWSError.h>
#include <aws/core/client/CoreErrors.h>
#include <aws/core/http/HttpResponse.h>

namespace Aws {
namespace Internal {

// What the body of an error answer held.
struct ErrorPayload {
  enum class Kind { Empty, NotJson, Json };
  Kind kind = Kind::Empty;
  Aws::String message;   // "Message", else "message"
  Aws::String typeName;  // "__type"
};

// No HTTP answer: connection, DNS, TLS failures and timeouts. Always retryable.
Aws::Client::AWSError<Aws::Client::CoreErrors> MarshallTransportError(int curlCode, const char* curlText);

// A non-2xx answer.
Aws::Client::AWSError<Aws::Client::CoreErrors> MarshallServiceError(Aws::Http::HttpResponseCode status,
                                                                    const Aws::Http::HeaderValueCollection& headers,
                                                                    const ErrorPayload& payload);

// A 2xx answer whose body could not be read.
Aws::Client::AWSError<Aws::Client::CoreErrors> MarshallUnreadableResult(const char* parserMessage);

// The name part of "prefix#Name" or "Name:detail".
Aws::String CleanExceptionName(const Aws::String& rawName);

}  // namespace Internal
}  // namespace Aws
