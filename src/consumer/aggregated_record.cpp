#include "consumer/aggregated_record.h"

#include <openssl/evp.h>

#include <cstring>
#include <memory>

#include "aggregated_record.pb-c.h"

namespace rxk {

namespace {

constexpr unsigned char kMagic[] = {0xF3, 0x89, 0x9A, 0xC2};
constexpr std::size_t kDigestBytes = 16;  // MD5

bool digestMatches(const unsigned char* message, std::size_t size, const unsigned char* digest) {
    unsigned char computed[EVP_MAX_MD_SIZE];
    unsigned int computedSize = 0;
    return EVP_Digest(message, size, computed, &computedSize, EVP_md5(), nullptr) == 1 &&
           computedSize == kDigestBytes && std::memcmp(computed, digest, kDigestBytes) == 0;
}

struct MessageDeleter {
    void operator()(AggregatedRecord* message) const { aggregated_record__free_unpacked(message, nullptr); }
};

}  // namespace

bool expandAggregatedRecord(const Aws::Utils::ByteBuffer& data, Aws::Vector<AggregatedUserRecord>* out) {
    out->clear();
    const unsigned char* bytes = data.GetUnderlyingData();
    const std::size_t size = data.GetLength();
    if (bytes == nullptr || size < sizeof kMagic + kDigestBytes || std::memcmp(bytes, kMagic, sizeof kMagic) != 0)
        return false;
    const unsigned char* message = bytes + sizeof kMagic;
    const std::size_t messageSize = size - sizeof kMagic - kDigestBytes;
    if (!digestMatches(message, messageSize, message + messageSize)) return false;
    const std::unique_ptr<AggregatedRecord, MessageDeleter> decoded(
        aggregated_record__unpack(nullptr, messageSize, message));
    if (decoded == nullptr || decoded->n_records == 0) return false;

    out->reserve(decoded->n_records);
    for (std::size_t i = 0; i < decoded->n_records; ++i) {
        const Record& record = *decoded->records[i];
        if (record.partition_key_index >= decoded->n_partition_key_table) {
            out->clear();
            return false;
        }
        out->push_back({decoded->partition_key_table[record.partition_key_index],
                        std::string(reinterpret_cast<const char*>(record.data.data), record.data.len)});
    }
    return true;
}

}  // namespace rxk
