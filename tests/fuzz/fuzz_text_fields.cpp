// The SDK's text fields: timestamps in each format it reads (Date headers, STS and metadata
// expirations, iterator timestamps) and base64 (record data, by the first byte's choice). A
// timestamp that parses prints and parses again to the same second; any bytes encode and decode
// back unchanged, and a text that decodes re-encodes to what decodes the same.
#include "fast_support.h"

#include <aws/core/utils/DateTime.h>

#include "core/encoding.h"

namespace {

using Aws::Utils::DateFormat;
using Aws::Utils::DateTime;

void readTimestamp(const Aws::String& text, DateFormat format) {
    const DateTime time(text, format);
    if (!time.WasParseSuccessful()) return;
    rxk::fuzz::touch(time.ToGmtStringWithMs());
    const Aws::String printed = time.ToGmtString(DateFormat::ISO_8601);
    if (time.GetYear() < 1970 || time.GetYear() > 9999) return;
    const DateTime again(printed, DateFormat::ISO_8601);
    rxk::fuzz::expect("a printed timestamp parses to the same second", again.WasParseSuccessful() && again.Seconds() == time.Seconds());
}

Aws::Utils::ByteBuffer decoded(const Aws::String& text) {
    Aws::Utils::ByteBuffer bytes;
    if (!Aws::Internal::DecodeBase64(text.data(), text.size(), bytes)) rxk::fuzz::expect("a refused text leaves nothing", bytes.GetLength() == 0);
    return bytes;
}

void readBase64(const Aws::String& text) {
    const Aws::Utils::ByteBuffer bytes = decoded(text);
    Aws::String encoded;
    Aws::Internal::AppendBase64(encoded, bytes.GetUnderlyingData(), bytes.GetLength());
    rxk::fuzz::expect("decoded bytes encode to a text that decodes to them", decoded(encoded) == bytes);
    encoded.clear();
    Aws::Internal::AppendBase64(encoded, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    const Aws::Utils::ByteBuffer back = decoded(encoded);
    rxk::fuzz::expect("bytes survive base64", Aws::String(reinterpret_cast<const char*>(back.GetUnderlyingData()), back.GetLength()) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const Aws::String text(reinterpret_cast<const char*>(data) + 1, size - 1);
    constexpr DateFormat kFormats[] = {DateFormat::RFC822, DateFormat::ISO_8601, DateFormat::ISO_8601_BASIC, DateFormat::AutoDetect};
    if (data[0] % 5 == 4) readBase64(text);
    else readTimestamp(text, kFormats[data[0] % 5]);
    return 0;
}
