// Classification of failed answers: exception names, messages, retryability, status codes.
#include <aws/kinesis/KinesisErrors.h>

#include "kinesis/error_marshaller.h"
#include "kinesis/response_parser.h"

#include <gtest/gtest.h>

namespace {

using Aws::Client::CoreErrors;
using Aws::Http::HttpResponseCode;
using Aws::Kinesis::KinesisError;
using Aws::Kinesis::KinesisErrors;

KinesisError classify(int status, const std::string& body, Aws::Http::HeaderValueCollection headers = {}) {
    Aws::Internal::ResponseParser parser;
    return KinesisError(Aws::Internal::MarshallServiceError(
        static_cast<HttpResponseCode>(status), headers, parser.ParseErrorPayload(body.data(), body.size(), false)));
}

// Wrong lookups make a throttled batch fail for good, or make a bad request loop for 25 s.
TEST(ErrorParsing, KinesisExceptionsByName) {
    struct Case {
        const char* name;
        KinesisErrors type;
        bool retryable;
    } cases[] = {
        {"ProvisionedThroughputExceededException", KinesisErrors::PROVISIONED_THROUGHPUT_EXCEEDED, true},
        {"LimitExceededException", KinesisErrors::LIMIT_EXCEEDED, true},
        {"KMSThrottlingException", KinesisErrors::K_M_S_THROTTLING, false},
        {"ExpiredIteratorException", KinesisErrors::EXPIRED_ITERATOR, false},
        {"InvalidArgumentException", KinesisErrors::INVALID_ARGUMENT, false},
        {"ResourceInUseException", KinesisErrors::RESOURCE_IN_USE, false},
        {"ResourceNotFoundException", KinesisErrors::RESOURCE_NOT_FOUND, false},
        {"AccessDeniedException", KinesisErrors::ACCESS_DENIED, false},
        {"ValidationException", KinesisErrors::VALIDATION, false},
        {"UnrecognizedClientException", KinesisErrors::UNRECOGNIZED_CLIENT, false},
        {"InternalFailure", KinesisErrors::INTERNAL_FAILURE, true},
        {"ServiceUnavailable", KinesisErrors::SERVICE_UNAVAILABLE, true},
        {"ThrottlingException", KinesisErrors::THROTTLING, true},
        {"RequestExpired", KinesisErrors::REQUEST_EXPIRED, true},
    };
    for (const Case& c : cases) {
        const KinesisError error =
            classify(400, std::string("{\"__type\":\"") + c.name + "\",\"message\":\"why\"}");
        EXPECT_EQ(error.GetErrorType(), c.type) << c.name;
        EXPECT_EQ(error.ShouldRetry(), c.retryable) << c.name;
        EXPECT_EQ(error.GetExceptionName(), c.name);
        EXPECT_EQ(error.GetMessage(), "why");
        EXPECT_EQ(error.GetResponseCode(), HttpResponseCode::BAD_REQUEST);
    }
}

TEST(ErrorParsing, NameCleanupAndHeaderPrecedence) {
    const KinesisError hashed =
        classify(400, R"({"__type":"com.amazonaws.kinesis.v20131202#ResourceNotFoundException","Message":"gone"})");
    EXPECT_EQ(hashed.GetErrorType(), KinesisErrors::RESOURCE_NOT_FOUND);
    EXPECT_EQ(hashed.GetExceptionName(), "ResourceNotFoundException");
    EXPECT_EQ(hashed.GetMessage(), "gone");

    const KinesisError fromHeader = classify(400, R"({"__type":"ResourceNotFoundException","message":"m"})",
                                             {{"x-amzn-errortype", "LimitExceededException:http://internal/"}});
    EXPECT_EQ(fromHeader.GetErrorType(), KinesisErrors::LIMIT_EXCEEDED);
    EXPECT_EQ(fromHeader.GetExceptionName(), "LimitExceededException");
    EXPECT_TRUE(fromHeader.ShouldRetry());

    // "Message" wins over "message".
    EXPECT_EQ(classify(400, R"({"__type":"InvalidArgumentException","message":"b","Message":"a"})").GetMessage(), "a");
}

// An unknown name is never retried, whatever the status, and the raw name is kept.
TEST(ErrorParsing, UnknownNameIsNotRetryable) {
    const KinesisError error = classify(503, R"({"__type":"prefix#ExpiredTokenException","message":"old"})");
    EXPECT_EQ(error.GetErrorType(), KinesisErrors::UNKNOWN);
    EXPECT_FALSE(error.ShouldRetry());
    EXPECT_EQ(error.GetExceptionName(), "prefix#ExpiredTokenException");
    EXPECT_EQ(error.GetMessage(), "Unable to parse ExceptionName: prefix#ExpiredTokenException Message: old");
}

TEST(ErrorParsing, BodiesWithoutUsableContent) {
    const KinesisError empty500 = classify(500, "");
    EXPECT_EQ(empty500.GetErrorType(), KinesisErrors::UNKNOWN);
    EXPECT_EQ(empty500.GetMessage(), "No response body.");
    EXPECT_TRUE(empty500.ShouldRetry());
    EXPECT_TRUE(empty500.GetExceptionName().empty());

    EXPECT_EQ(classify(403, "").GetErrorType(), KinesisErrors::ACCESS_DENIED);
    EXPECT_FALSE(classify(403, "").ShouldRetry());
    EXPECT_EQ(classify(404, "").GetErrorType(), KinesisErrors::RESOURCE_NOT_FOUND);
    EXPECT_FALSE(classify(400, "").ShouldRetry());

    const KinesisError html = classify(502, "<html><body>Bad Gateway</body></html>");
    EXPECT_EQ(html.GetErrorType(), KinesisErrors::UNKNOWN);
    EXPECT_EQ(html.GetMessage(), "Failed to parse error payload: ");
    EXPECT_TRUE(html.ShouldRetry());
    EXPECT_FALSE(classify(400, "{not json").ShouldRetry());
}

// JSON without a name falls back to the status; every 5xx is then retryable.
TEST(ErrorParsing, StatusDecidesWhenNoNameIsGiven) {
    struct Case {
        int status;
        KinesisErrors type;
        bool retryable;
    } cases[] = {
        {500, KinesisErrors::INTERNAL_FAILURE, true},  {503, KinesisErrors::SERVICE_UNAVAILABLE, true},
        {429, KinesisErrors::SLOW_DOWN, true},         {509, KinesisErrors::THROTTLING, true},
        {408, KinesisErrors::REQUEST_TIMEOUT, true},   {504, KinesisErrors::REQUEST_TIMEOUT, true},
        {401, KinesisErrors::ACCESS_DENIED, false},    {404, KinesisErrors::RESOURCE_NOT_FOUND, false},
        {400, KinesisErrors::UNKNOWN, false},          {501, KinesisErrors::UNKNOWN, true},
        {302, KinesisErrors::UNKNOWN, false},
    };
    for (const Case& c : cases) {
        const KinesisError error = classify(c.status, R"({"message":"text"})");
        EXPECT_EQ(error.GetErrorType(), c.type) << c.status;
        EXPECT_EQ(error.ShouldRetry(), c.retryable) << c.status;
        EXPECT_EQ(error.GetMessage(), "text") << c.status;
        EXPECT_TRUE(error.GetExceptionName().empty()) << c.status;
    }
}

TEST(ErrorParsing, RequestIdAndHeadersAreAttached) {
    const KinesisError error = classify(400, R"({"__type":"InvalidArgumentException"})",
                                        {{"x-amzn-requestid", "req-1"}, {"x-custom", "v"}});
    EXPECT_EQ(error.GetRequestId(), "req-1");
    EXPECT_TRUE(error.ResponseHeaderExists("x-custom"));
    EXPECT_EQ(error.GetMessage(), "");
}

// Odd JSON shapes in an error body must not crash or throw.
TEST(ErrorParsing, WrongTypesInErrorBodyAreIgnored) {
    const KinesisError error = classify(400, R"({"__type":17,"message":{"x":1},"Message":null})");
    EXPECT_EQ(error.GetErrorType(), KinesisErrors::UNKNOWN);
    EXPECT_EQ(error.GetMessage(), "");
    EXPECT_FALSE(error.ShouldRetry());
    EXPECT_EQ(classify(500, "[1,2,3]").GetErrorType(), KinesisErrors::INTERNAL_FAILURE);
    EXPECT_EQ(classify(500, "\"just a string\"").GetErrorType(), KinesisErrors::INTERNAL_FAILURE);
}

TEST(ErrorParsing, TransportFailureText) {
    const KinesisError error(Aws::Internal::MarshallTransportError(7, "Couldn't connect to server"));
    EXPECT_EQ(error.GetErrorType(), KinesisErrors::NETWORK_CONNECTION);
    EXPECT_EQ(error.GetMessage(), "curlCode: 7, Couldn't connect to server");
    EXPECT_TRUE(error.ShouldRetry());
    EXPECT_EQ(error.GetResponseCode(), HttpResponseCode::REQUEST_NOT_MADE);
    EXPECT_TRUE(error.GetExceptionName().empty());
}

// Error values survive conversion between enums by number.
TEST(ErrorTypes, ConversionKeepsNumbersAndDefaults) {
    const KinesisError none;
    EXPECT_EQ(static_cast<int>(none.GetErrorType()), 0);
    EXPECT_FALSE(none.ShouldRetry());
    EXPECT_EQ(none.GetResponseCode(), HttpResponseCode::REQUEST_NOT_MADE);
    const Aws::Client::AWSError<CoreErrors> core(CoreErrors::NETWORK_CONNECTION, "n", "m", true);
    const KinesisError converted(core);
    EXPECT_EQ(converted.GetErrorType(), KinesisErrors::NETWORK_CONNECTION);
    EXPECT_EQ(static_cast<int>(KinesisErrors::EXPIRED_ITERATOR), 130);
    EXPECT_EQ(static_cast<int>(KinesisErrors::RESOURCE_IN_USE), 141);
}

}  // namespace
