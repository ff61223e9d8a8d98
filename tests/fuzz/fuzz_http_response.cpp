// An answer as libcurl hands it to the SDK: a status, header lines one callback each (status
// lines of interim answers and line ends included), the body in pieces of any size and cut
// anywhere; then what the client makes of it: a 2xx body read as a result, another status as
// the service's error, the server's clock from its Date header.
#include "fast_support.h"

#include <aws/core/utils/DateTime.h>

#include "core/curl_http_client.h"
#include "kinesis/response_parser.h"

namespace {

using namespace Aws::Internal;

void readAnswer(ResponseParser& parser, int status, const Aws::Http::HeaderValueCollection& headers, const Aws::String& body) {
    Aws::String message;
    if (status >= 200 && status < 300) {
        Aws::Kinesis::Model::GetRecordsResult result;
        if (!parser.Parse(body.data(), body.size(), true, result, message)) rxk::fuzz::touch(MarshallUnreadableResult(message.c_str()).GetMessage());
        return;
    }
    const auto error = MarshallServiceError(static_cast<Aws::Http::HttpResponseCode>(status), headers,
                                            parser.ParseErrorPayload(body.data(), body.size(), true));
    rxk::fuzz::touch(error.GetMessage());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static ResponseParser parser;
    FuzzedDataProvider input(data, size);
    const int status = input.ConsumeIntegralInRange<int>(100, 599);
    Aws::Http::HeaderValueCollection headers;
    for (int lines = input.ConsumeIntegralInRange<int>(0, 12); lines > 0; --lines) {
        const std::string line = input.ConsumeRandomLengthString(300);
        CollectHeaderLine(line.data(), line.size(), headers);
    }
    for (const auto& header : headers) {
        for (const char c : header.first) rxk::fuzz::expect("header names are lower-case", c < 'A' || c > 'Z');
        if (header.first == "date" || header.first == "x-amz-date")
            rxk::fuzz::touch(Aws::Utils::DateTime(header.second, Aws::Utils::DateFormat::AutoDetect).ToGmtString(Aws::Utils::DateFormat::RFC822));
    }
    Aws::String body;
    while (input.remaining_bytes() > 0) {
        const std::string piece = input.ConsumeBytesAsString(input.ConsumeIntegralInRange<size_t>(0, 2048));
        CollectBodyChunk(piece.data(), piece.size(), kJsonInputPadding, body);
        rxk::fuzz::expect("the body keeps the parser's padding", body.capacity() >= body.size() + kJsonInputPadding);
    }
    readAnswer(parser, status, headers, body);
    return 0;
}
