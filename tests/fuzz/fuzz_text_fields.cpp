// The SDK's text fields: timestamps in each format it reads (Date headers, STS and metadata
// expirations, iterator timestamps) and base64 (record data), by the first byte's choice. A
// timestamp that parses prints and parses again to the same second; a text that decodes
// encodes to what decodes the same, any bytes come back through base64 unchanged, and both
// directions agree with OpenSSL's codec.
#include "fast_support.h"

#include <aws/core/utils/DateTime.h>

#include "core/encoding.h"

#include <openssl/evp.h>

#include <vector>

namespace {

using Aws::Utils::DateFormat;

void readTimestamp(const Aws::String& text, DateFormat format) {
    const Aws::Utils::DateTime time(text, format);
    if (!time.WasParseSuccessful() || time.GetYear() < 1970 || time.GetYear() > 9999) return;
    const Aws::Utils::DateTime again(time.ToGmtString(DateFormat::ISO_8601), DateFormat::ISO_8601);
    rxk::fuzz::expect("a printed timestamp parses to the same second", again.WasParseSuccessful() && again.Seconds() == time.Seconds());
}

// OpenSSL's codec as the reference: the same text for any bytes, and the same bytes for any text
// ours accepts (OpenSSL also accepts blanks, so a text it takes may still be refused here).
void compareWithOpenSsl(const Aws::String& text) {
    std::vector<unsigned char> reference(text.size() / 3 * 4 + 8);
    Aws::String encoded;
    Aws::Internal::AppendBase64(encoded, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    const int encodedLength = EVP_EncodeBlock(reference.data(), reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
    rxk::fuzz::expect("base64 text as OpenSSL writes it", encoded == Aws::String(reinterpret_cast<char*>(reference.data()), encodedLength));
    Aws::Utils::ByteBuffer bytes;
    if (!Aws::Internal::DecodeBase64(text.data(), text.size(), bytes) || text.empty()) return;
    const int decodedLength = EVP_DecodeBlock(reference.data(), reinterpret_cast<const unsigned char*>(text.data()), int(text.size()));
    rxk::fuzz::expect("accepted base64 OpenSSL also takes", decodedLength >= int(bytes.GetLength()));
    rxk::fuzz::expect("base64 bytes as OpenSSL reads them", std::memcmp(reference.data(), bytes.GetUnderlyingData(), bytes.GetLength()) == 0);
}

Aws::String throughBase64(const Aws::String& text, bool encodeFirst) {
    Aws::String encoded = encodeFirst ? Aws::String() : text;
    if (encodeFirst) Aws::Internal::AppendBase64(encoded, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    Aws::Utils::ByteBuffer bytes;
    if (!Aws::Internal::DecodeBase64(encoded.data(), encoded.size(), bytes)) rxk::fuzz::expect("a refused text leaves nothing", bytes.GetLength() == 0);
    return Aws::String(reinterpret_cast<const char*>(bytes.GetUnderlyingData()), bytes.GetLength());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const Aws::String text(reinterpret_cast<const char*>(data) + 1, size - 1);
    constexpr DateFormat kFormats[] = {DateFormat::RFC822, DateFormat::ISO_8601, DateFormat::ISO_8601_BASIC, DateFormat::AutoDetect};
    if (data[0] % 5 < 4) return readTimestamp(text, kFormats[data[0] % 5]), 0;
    compareWithOpenSsl(text);
    const Aws::String decoded = throughBase64(text, false);
    rxk::fuzz::expect("decoded bytes survive base64", throughBase64(decoded, true) == decoded);
    rxk::fuzz::expect("bytes survive base64", throughBase64(text, true) == text);
    return 0;
}
