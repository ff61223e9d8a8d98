// Records aggregated by the Kinesis Producer Library, as a reading expands them. The input is the
// protobuf message, framed here with the magic and its own MD5 so that decoding is reached rather
// than the checksum; the first byte may instead hand the bytes in bare or with a wrong digest.
#include "fast_support.h"

#include <openssl/evp.h>

#include "consumer/aggregated_record.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const int mode = data[0] % 4;
    const std::string message(reinterpret_cast<const char*>(data + 1), size - 1);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digestSize = 0;
    EVP_Digest(message.data(), message.size(), digest, &digestSize, EVP_md5(), nullptr);
    digest[0] ^= mode == 1;  // a digest that doesn't match: never expanded
    const std::string framed = mode == 2 ? message
                                         : std::string("\xF3\x89\x9A\xC2", 4) + message +
                                               std::string(reinterpret_cast<const char*>(digest), digestSize);
    const Aws::Utils::ByteBuffer record(reinterpret_cast<const unsigned char*>(framed.data()), framed.size());
    Aws::Vector<rxk::AggregatedUserRecord> users;
    const bool expanded = rxk::expandAggregatedRecord(record, &users);
    rxk::fuzz::expect("a record that isn't expanded gives no user records", expanded || users.empty());
    rxk::fuzz::expect("a wrong digest is never expanded", !(expanded && mode == 1));
    for (const auto& user : users) {
        rxk::fuzz::expect("a user record lies within its record", user.data.size() + user.partitionKey.size() <= framed.size());
        rxk::fuzz::touch(user.data);
    }
    return 0;
}
