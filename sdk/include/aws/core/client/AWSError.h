#pragma once

#include <aws/core/http/HttpResponse.h>
#include <aws/core/http/HttpTypes.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <utility>

namespace Aws {
namespace Client {

enum class CoreErrors;

enum class RetryableType { NOT_RETRYABLE, RETRYABLE, RETRYABLE_THROTTLING };

enum class ErrorPayloadType { NOT_SET, XML, JSON };

// An error of one call: its type, the service's exception name and message, whether a
// retry may help, and what the HTTP response said. Convertible between error enums; the
// numeric value of the type is kept.
template <typename ERROR_TYPE>
class AWSError {
  template <typename T>
  friend class AWSError;

 public:
  AWSError() : m_errorType(static_cast<ERROR_TYPE>(0)) {}

  AWSError(ERROR_TYPE errorType, Aws::String exceptionName, Aws::String message, bool isRetryable)
      : m_errorType(errorType),
        m_exceptionName(std::move(exceptionName)),
        m_message(std::move(message)),
        m_retryableType(isRetryable ? RetryableType::RETRYABLE : RetryableType::NOT_RETRYABLE) {}

  AWSError(ERROR_TYPE errorType, Aws::String exceptionName, Aws::String message, RetryableType retryableType)
      : m_errorType(errorType),
        m_exceptionName(std::move(exceptionName)),
        m_message(std::move(message)),
        m_retryableType(retryableType) {}

  AWSError(ERROR_TYPE errorType, bool isRetryable)
      : m_errorType(errorType),
        m_retryableType(isRetryable ? RetryableType::RETRYABLE : RetryableType::NOT_RETRYABLE) {}

  AWSError(ERROR_TYPE errorType, RetryableType retryableType) : m_errorType(errorType), m_retryableType(retryableType) {}

  template <typename OTHER_ERROR_TYPE>
  AWSError(const AWSError<OTHER_ERROR_TYPE>& rhs)
      : m_errorType(static_cast<ERROR_TYPE>(rhs.m_errorType)),
        m_exceptionName(rhs.m_exceptionName),
        m_message(rhs.m_message),
        m_remoteHostIpAddress(rhs.m_remoteHostIpAddress),
        m_requestId(rhs.m_requestId),
        m_responseHeaders(rhs.m_responseHeaders),
        m_responseCode(rhs.m_responseCode),
        m_errorPayloadType(rhs.m_errorPayloadType),
        m_retryableType(rhs.m_retryableType) {}

  template <typename OTHER_ERROR_TYPE>
  AWSError(AWSError<OTHER_ERROR_TYPE>&& rhs)
      : m_errorType(static_cast<ERROR_TYPE>(rhs.m_errorType)),
        m_exceptionName(std::move(rhs.m_exceptionName)),
        m_message(std::move(rhs.m_message)),
        m_remoteHostIpAddress(std::move(rhs.m_remoteHostIpAddress)),
        m_requestId(std::move(rhs.m_requestId)),
        m_responseHeaders(std::move(rhs.m_responseHeaders)),
        m_responseCode(rhs.m_responseCode),
        m_errorPayloadType(rhs.m_errorPayloadType),
        m_retryableType(rhs.m_retryableType) {}

  AWSError(const AWSError&) = default;
  AWSError(AWSError&&) = default;
  AWSError& operator=(const AWSError&) = default;
  AWSError& operator=(AWSError&&) = default;
  virtual ~AWSError() = default;

  inline ERROR_TYPE GetErrorType() const { return m_errorType; }
  inline const Aws::String& GetExceptionName() const { return m_exceptionName; }
  inline void SetExceptionName(const Aws::String& name) { m_exceptionName = name; }
  inline const Aws::String& GetMessage() const { return m_message; }
  inline void SetMessage(const Aws::String& message) { m_message = message; }
  inline const Aws::String& GetRemoteHostIpAddress() const { return m_remoteHostIpAddress; }
  inline void SetRemoteHostIpAddress(const Aws::String& address) { m_remoteHostIpAddress = address; }
  inline const Aws::String& GetRequestId() const { return m_requestId; }
  inline void SetRequestId(const Aws::String& requestId) { m_requestId = requestId; }
  inline bool ShouldRetry() const { return m_retryableType != RetryableType::NOT_RETRYABLE; }
  inline bool ShouldThrottle() const { return m_retryableType == RetryableType::RETRYABLE_THROTTLING; }
  inline void SetRetryableType(RetryableType type) { m_retryableType = type; }
  inline Aws::Http::HttpResponseCode GetResponseCode() const { return m_responseCode; }
  inline void SetResponseCode(Aws::Http::HttpResponseCode code) { m_responseCode = code; }
  inline const Aws::Http::HeaderValueCollection& GetResponseHeaders() const { return m_responseHeaders; }
  inline void SetResponseHeaders(const Aws::Http::HeaderValueCollection& headers) { m_responseHeaders = headers; }
  inline void SetResponseHeaders(Aws::Http::HeaderValueCollection&& headers) { m_responseHeaders = std::move(headers); }
  // Header names are stored lower-cased; pass the name in lower case.
  inline bool ResponseHeaderExists(const Aws::String& name) const {
    return m_responseHeaders.find(name) != m_responseHeaders.end();
  }
  inline ErrorPayloadType GetErrorPayloadType() const { return m_errorPayloadType; }
  inline void SetErrorPayloadType(ErrorPayloadType type) { m_errorPayloadType = type; }

 protected:
  ERROR_TYPE m_errorType;
  Aws::String m_exceptionName;
  Aws::String m_message;
  Aws::String m_remoteHostIpAddress;
  Aws::String m_requestId;
  Aws::Http::HeaderValueCollection m_responseHeaders;
  Aws::Http::HttpResponseCode m_responseCode = Aws::Http::HttpResponseCode::REQUEST_NOT_MADE;
  ErrorPayloadType m_errorPayloadType = ErrorPayloadType::NOT_SET;
  RetryableType m_retryableType = RetryableType::NOT_RETRYABLE;
};

}  // namespace Client
}  // namespace Aws
