// Record lists: create, append, clear, free and inspect. The limits of one request (rows and
// bytes) are enforced when a record is appended, so that an accepted list fits one request.
#include "producer/record_list.h"

#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include <aws/core/utils/Array.h>

#include "env/fault_codes.h"
#include "env/fault_translator.h"
#include "env/text_exception.h"
#include "frame/message_buffer.h"
#include "producer/producer.h"
#include "rxkinesis_exceptions.h"

namespace rxk {
namespace {

constexpr int32_t kAllLists = -1;

// Thrown in place of a fault on a thread without the translator, where only a catch (...) can
// receive it, as the fault itself would be.
struct MissingListFault {};

// Message formats of this file.
constexpr char kCreateTrace[] = "id:%d KinesisEnv::createListRecord listId:%d [%s]";
constexpr char kAddTrace[] =
    "id:%d KinesisEnv::addRecordToList listId:%d partitionKey:%s explicitHashKey:%s lenData:%d";
constexpr char kAddNotFound[] = "id:%d KinesisEnv::addRecordToList list [%d] not found";
constexpr char kAddFreeSlot[] = "id:%d KinesisEnv::addRecordToList ListId:%d PutRecordsData NULL";
constexpr char kAddRowLimit[] =
    "id:%d KinesisEnv::addRecordToList listId:%d error request can only support %d records";
constexpr char kAddSizeLimit[] = "id:%d KinesisEnv::addRecordToList listId:%d error request limited to %d Mo";
constexpr char kAddedTrace[] =
    "id:%d KinesisEnv::addRecordToList listId:%d lenData:%d sizeList:%d [%s]:[%s] [%s]:[%s]";
constexpr char kClearNotFound[] = "id:%d KinesisEnv::clearListRecord listId:%d not found";
constexpr char kClearFreeSlot[] = "id:%d KinesisEnv::clearListRecord ListId:%d PutRecordsData NULL";
constexpr char kFreeNotFound[] = "id:%d KinesisEnv::freeListRecord list [%d] not found";
constexpr char kInfoNotFound[] = "id:%d KinesisEnv::getListRecordInfo listId:%d not found";
constexpr char kInfoFreeSlot[] = "id:%d KinesisEnv::getListRecordInfo ListId:%d PutRecordsData NULL";
constexpr char kInfoException[] =
    "id:%d KinesisEnv::getListRecordInfo listId:%d step:%d size:%d Exception:[%s]";

// The list behind a slot. A free slot holds none: instead of dereferencing null, raise what
// that read would raise (an access violation), so that the caller's protection reports it
// the same way.
const PutRecordsData& presentList(const PutRecordsData* list) {
    if (list != nullptr) return *list;
    if (faultTranslatorInstalled()) throw SE_Exception(kAccessViolationCode);
    throw MissingListFault{};
}

void emptyList(PutRecordsData& list) {
    list.entries.clear();  // keeps the capacity for the next batch
    list.totalSize = 0;
}

}  // namespace

int32_t Producer::createListRecord() {
    auto list = std::make_unique<PutRecordsData>();
    std::size_t position = 0;
    while (position < recordLists_.size() && recordLists_[position] != nullptr) ++position;
    const bool reuse = position < recordLists_.size();
    if (reuse) {
        recordLists_[position] = std::move(list);
    } else {
        recordLists_.push_back(std::move(list));
    }
    const auto listId = static_cast<int32_t>(position);
    env_.trace(kCreateTrace, env_.id(), listId, reuse ? "reuse" : "new");
    return listId;
}

int32_t Producer::addRecordToList(int32_t listId, const char* partitionKey, const char* explicitHashKey,
                                    const void* data, int32_t length) {
    env_.trace(kAddTrace, env_.id(), listId, pointerWord(partitionKey),
               pointerWord(explicitHashKey), length);
    if (!isListPosition(recordLists_, listId)) {
        env_.fail(kAddNotFound, env_.id(), listId);
        return RXK_ERROR;
    }
    PutRecordsData* list = recordLists_[listId].get();
    if (list == nullptr) {
        // Nothing is appended and no other list is touched.
        env_.notify(kAddFreeSlot, env_.id(), listId);
        return RXK_ERROR;
    }

    // Without any key, one random text serves as both keys. It is drawn before the limits are
    // tested, so a refused record has used up a draw.
    const bool randomKeys = partitionKey == nullptr && explicitHashKey == nullptr;
    const char* randomKey = randomKeys ? randomKeys_.draw() : nullptr;
    const char* usedPartitionKey = randomKeys ? randomKey : partitionKey;
    const char* usedHashKey = randomKeys ? randomKey : explicitHashKey;
    const uint64_t partitionKeyLength = usedPartitionKey != nullptr ? std::strlen(usedPartitionKey) : 0;
    const uint64_t hashKeyLength = usedHashKey != nullptr ? std::strlen(usedHashKey) : 0;

    // Both limits compare as unsigned, so a negative parameter lifts its limit.
    const int32_t rowLimit = env_.maxPutRow();
    if (list->entries.size() >= static_cast<uint32_t>(rowLimit)) {
        env_.failSilently(kAddRowLimit, env_.id(), listId, rowLimit);
        return RXK_ROW_LIMIT;
    }
    // The explicit hash key counts here but not in totalSize.
    const int32_t sizeLimit = env_.maxPutLen();
    const uint64_t sizeWithRecord =
        partitionKeyLength + hashKeyLength + static_cast<uint64_t>(length) + list->totalSize;
    if (sizeWithRecord >= static_cast<uint32_t>(sizeLimit)) {
        env_.failSilently(kAddSizeLimit, env_.id(), listId, sizeLimit);
        return RXK_SIZE_LIMIT;
    }

    // The payload is copied once, here; the entry and its bytes are moved from then on.
    Aws::Kinesis::Model::PutRecordsRequestEntry entry;
    if (usedPartitionKey != nullptr) entry.SetPartitionKey(usedPartitionKey);
    if (usedHashKey != nullptr) entry.SetExplicitHashKey(usedHashKey);
    entry.SetData(Aws::Utils::ByteBuffer(static_cast<const unsigned char*>(data), static_cast<size_t>(length)));
    list->entries.push_back(std::move(entry));
    list->totalSize += static_cast<uint32_t>(static_cast<uint64_t>(length) + partitionKeyLength);

    // The line shows the arguments, not a drawn key.
    env_.trace(kAddedTrace, env_.id(), listId, length, static_cast<int32_t>(list->entries.size()), "PK",
          givenOrNull(partitionKey), "HK", givenOrNull(explicitHashKey));
    return RXK_OK;
}

int32_t Producer::clearListRecord(int32_t listId) {
    // A clear never fails: an unknown list is reported and still answered with 0.
    if (listId == kAllLists) {
        for (auto& list : recordLists_) {
            if (list != nullptr) emptyList(*list);
        }
        return RXK_OK;
    }
    if (!isListPosition(recordLists_, listId)) {
        env_.fail(kClearNotFound, env_.id(), listId);
        return RXK_OK;
    }
    PutRecordsData* list = recordLists_[listId].get();
    if (list == nullptr) {
        env_.notify(kClearFreeSlot, env_.id(), listId);
        return RXK_OK;
    }
    emptyList(*list);
    return RXK_OK;
}

int32_t Producer::freeListRecord(int32_t listId) {
    if (listId == kAllLists) {
        recordLists_.clear();  // list ids start again at 0
        return RXK_OK;
    }
    if (!isListPosition(recordLists_, listId)) {
        env_.fail(kFreeNotFound, env_.id(), listId);
        return RXK_ERROR;
    }
    recordLists_[listId].reset();  // the slot stays, free for the next list
    return RXK_OK;
}

int32_t Producer::getListRecordInfo(int32_t listId, uint32_t* count, uint32_t* bytes) {
    if (count != nullptr) *count = 0;
    if (bytes != nullptr) *bytes = 0;
    // `step` tells an exception line the last stage begun; `size` is the number of lists then.
    int32_t step = 0;
    int32_t size = 0;
    try {
        step = 1;
        size = static_cast<int32_t>(recordLists_.size());
        step = 2;
        if (!isListPosition(recordLists_, listId)) {
            env_.fail(kInfoNotFound, env_.id(), listId);
            return RXK_ERROR;
        }
        step = 3;
        const PutRecordsData* list = recordLists_[listId].get();
        if (list == nullptr) {
            step = 31;
            env_.notify(kInfoFreeSlot, env_.id(), listId);
            step = 32;
        }
        step = 4;
        if (count != nullptr) *count = static_cast<uint32_t>(presentList(list).entries.size());
        step = 5;
        if (bytes != nullptr) *bytes = presentList(list).totalSize;
        step = 6;
        return RXK_OK;
    } catch (SE_Exception& fault) {
        env_.fail(kInfoException, env_.id(), listId, step, size, fault.what());
    } catch (std::exception& error) {
        env_.fail(kInfoException, env_.id(), listId, step, size, error.what());
    } catch (...) {
        env_.fail(kInfoException, env_.id(), listId, step, size, kUnknownExceptionText);
    }
    return RXK_EXCEPTION;
}

}  // namespace rxk
