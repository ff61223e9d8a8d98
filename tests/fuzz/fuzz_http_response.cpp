// An answer as libcurl hands it to the SDK: a status, header lines one callback each (status
// lines of interim answers and line ends included), the body in pieces of any size and cut
// anywhere; then what the client makes of it: a 2xx body read as the result of the operation the
// input picks, another status as the service's error, the server's clock from its Date header.
// The answers read in place are also read by the full parse, and the two readings must agree.
#include "fast_support.h"

#include <aws/core/utils/DateTime.h>

#include <string>
#include <type_traits>

#include "core/curl_http_client.h"
#include "kinesis/response_parser.h"

namespace {

using namespace Aws::Internal;
using namespace Aws::Kinesis::Model;

// What a reader takes from a GetRecords or PutRecords answer, as text, to compare two readings.
std::string field(bool set, const Aws::String& text) { return set ? "[" + text + "]" : "-"; }

std::string described(const GetRecordsResult& result) {
    std::string text = field(true, result.GetNextShardIterator()) + std::to_string(result.GetMillisBehindLatest()) + "/" +
                       std::to_string(result.GetChildShards().size());
    for (const Record& record : result.GetRecords()) {
        const auto& data = record.GetData();
        text += "{" + field(record.SequenceNumberHasBeenSet(), record.GetSequenceNumber()) +
                field(record.PartitionKeyHasBeenSet(), record.GetPartitionKey()) +
                field(record.DataHasBeenSet(), Aws::String(reinterpret_cast<const char*>(data.GetUnderlyingData()),
                                                          data.GetUnderlyingData() ? data.GetLength() : 0)) +
                std::to_string(int(record.GetEncryptionType())) + "@" +
                std::to_string(record.GetApproximateArrivalTimestamp().Millis()) + "}";
    }
    return text;
}

std::string described(const PutRecordsResult& result) {
    std::string text = std::to_string(result.GetFailedRecordCount()) + "/" + std::to_string(int(result.GetEncryptionType()));
    for (const PutRecordsResultEntry& entry : result.GetRecords()) {
        text += "{" + field(entry.SequenceNumberHasBeenSet(), entry.GetSequenceNumber()) +
                field(entry.ShardIdHasBeenSet(), entry.GetShardId()) + field(entry.ErrorCodeHasBeenSet(), entry.GetErrorCode()) +
                field(entry.ErrorMessageHasBeenSet(), entry.GetErrorMessage()) + "}";
    }
    return text;
}

// The two big answers are read in place from a padded body; an unpadded one takes the full parse,
// which must come to the same result.
template <typename Result>
void compareWithFullParse(ResponseParser& parser, const Aws::String& body, const Result& inPlace) {
    if constexpr (std::is_same_v<Result, GetRecordsResult> || std::is_same_v<Result, PutRecordsResult>) {
        Result full;
        Aws::String message;
        rxk::fuzz::expect("the full parse reads what was read in place", parser.Parse(body.data(), body.size(), false, full, message));
        if (described(full) != described(inPlace)) rxk::fuzz::fail("in place and full parse differ", described(inPlace) + " vs " + described(full));
    }
}

template <typename Result>
void readResult(ResponseParser& parser, const Aws::String& body) {
    Result result;
    Aws::String message;
    if (!parser.Parse(body.data(), body.size(), true, result, message)) rxk::fuzz::touch(MarshallUnreadableResult(message.c_str()).GetMessage());
    else compareWithFullParse(parser, body, result);
}

void (*const kReaders[])(ResponseParser&, const Aws::String&) = {
    readResult<Aws::NoResult>, readResult<PutRecordResult>, readResult<PutRecordsResult>, readResult<GetShardIteratorResult>,
    readResult<GetRecordsResult>, readResult<ListStreamsResult>, readResult<DescribeStreamResult>};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static ResponseParser parser;  // one per connection, kept between answers
    FuzzedDataProvider input(data, size);
    const int status = input.ConsumeIntegralInRange<int>(100, 599);
    const auto reader = kReaders[input.ConsumeIntegralInRange<size_t>(0, std::size(kReaders) - 1)];
    Aws::Http::HeaderValueCollection headers;
    for (int lines = input.ConsumeIntegralInRange<int>(0, 12); lines > 0; --lines) {
        const std::string line = input.ConsumeRandomLengthString(300);
        CollectHeaderLine(line.data(), line.size(), headers);
    }
    if (headers.count("date")) rxk::fuzz::touch(Aws::Utils::DateTime(headers["date"], Aws::Utils::DateFormat::AutoDetect).ToGmtStringWithMs());
    Aws::String body;
    while (input.remaining_bytes() > 0) {
        const std::string piece = input.ConsumeBytesAsString(input.ConsumeIntegralInRange<size_t>(0, 2048));
        CollectBodyChunk(piece.data(), piece.size(), kJsonInputPadding, body);
        rxk::fuzz::expect("the body keeps the parser's padding", body.capacity() >= body.size() + kJsonInputPadding);
    }
    if (status >= 200 && status < 300) reader(parser, body);
    else rxk::fuzz::touch(MarshallServiceError(Aws::Http::HttpResponseCode(status), headers, parser.ParseErrorPayload(body.data(), body.size(), true)).GetMessage());
    return 0;
}
