// The JSON answer of every operation, success and error, as the SDK reads a body off a
// connection: the first byte picks the reader and whether the body lies in a buffer with the
// parser's padding past it (read in place) or without (copied first).
#include "fast_support.h"

#include "core/curl_http_client.h"
#include "kinesis/response_parser.h"

namespace {

using Aws::Internal::ResponseParser;

template <typename Result>
void readAs(ResponseParser& parser, const Aws::String& body, bool padded) {
    Result result;
    Aws::String message;
    if (!parser.Parse(body.data(), body.size(), padded, result, message)) rxk::fuzz::expect("a refused answer says why", !message.empty());
}

void readError(ResponseParser& parser, const Aws::String& body, bool padded) {
    const auto error = Aws::Internal::MarshallServiceError(Aws::Http::HttpResponseCode::BAD_REQUEST, {},
                                                           parser.ParseErrorPayload(body.data(), body.size(), padded));
    rxk::fuzz::touch(error.GetMessage());
    rxk::fuzz::touch(error.GetExceptionName());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static ResponseParser parser;  // one per connection, kept between answers
    if (size == 0) return 0;
    const bool padded = data[0] & 0x80;
    Aws::String body;
    Aws::Internal::CollectBodyChunk(reinterpret_cast<const char*>(data) + 1, size - 1, padded ? Aws::Internal::kJsonInputPadding : 0, body);
    switch (data[0] & 0x7F) {
        case 0: readAs<Aws::NoResult>(parser, body, padded); break;
        case 1: readAs<Aws::Kinesis::Model::PutRecordResult>(parser, body, padded); break;
        case 2: readAs<Aws::Kinesis::Model::PutRecordsResult>(parser, body, padded); break;
        case 3: readAs<Aws::Kinesis::Model::GetShardIteratorResult>(parser, body, padded); break;
        case 4: readAs<Aws::Kinesis::Model::GetRecordsResult>(parser, body, padded); break;
        case 5: readAs<Aws::Kinesis::Model::ListStreamsResult>(parser, body, padded); break;
        case 6: readAs<Aws::Kinesis::Model::DescribeStreamResult>(parser, body, padded); break;
        default: readError(parser, body, padded); break;
    }
    return 0;
}
