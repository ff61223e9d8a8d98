// Reading a shard through its ShardIteratorData: start, fetch on demand, hand out record by
// record, and push records through the host's callback until two fetches come back empty.
// Service outcomes are not tested here: a failed request looks like an empty batch.
#include <cstddef>

#include <aws/core/utils/DateTime.h>
#include <aws/kinesis/model/ShardIteratorType.h>

#include "consumer/consumer.h"
#include "consumer/record_text.h"
#include "consumer/shard_iterator_data.h"

namespace rxk {

namespace {

using Aws::Kinesis::Model::ShardIteratorType;

// One area for the whole module: PollShardIterator calls must not overlap (documented for the
// host). A text longer than the area is cut; the callback still gets the full length.
char pollData[RXK_POLL_DATA_BYTES];
static_assert(sizeof(pollData) == 10000, "the poll data buffer is part of the host contract");
constexpr std::size_t kPollSequenceBytes = RXK_POLL_SEQUENCE_BYTES;
static_assert(kPollSequenceBytes == 264, "the sequence buffer is part of the host contract");

// The host's type codes, which differ from the SDK's enumeration order. Other codes have no
// meaning: such a start is refused rather than sent with a made-up position.
bool iteratorTypeForCode(int32_t code, ShardIteratorType* type) {
    switch (code) {
        case RXK_ITERATOR_NOT_SET: *type = ShardIteratorType::NOT_SET; return true;
        case RXK_AT_SEQUENCE_NUMBER: *type = ShardIteratorType::AT_SEQUENCE_NUMBER; return true;
        case RXK_AFTER_SEQUENCE_NUMBER: *type = ShardIteratorType::AFTER_SEQUENCE_NUMBER; return true;
        case RXK_AT_TIMESTAMP: *type = ShardIteratorType::AT_TIMESTAMP; return true;
        case RXK_TRIM_HORIZON: *type = ShardIteratorType::TRIM_HORIZON; return true;
        case RXK_LATEST: *type = ShardIteratorType::LATEST; return true;
        default: return false;
    }
}

int32_t batchResult(const ShardIteratorData& reading) {
    return reading.records().empty() ? RXK_NO_RECORD : RXK_OK;
}

}  // namespace

// Parses the host's timestamp text as the SDK does (no test of the outcome: a text that doesn't
// parse means the epoch) and shows the parsed and the stored value on the log sink.
void Consumer::setStartTimestamp(ShardIteratorData& reading, const char* stream, const char* shard,
                                 const char* startValue) {
    Aws::Utils::DateTime parsed;
    parsed = Aws::String(startValue);
    reading.iteratorRequest.SetTimestamp(parsed);
    const Aws::Utils::DateTime& stored = reading.iteratorRequest.GetTimestamp();
    env_.notify("id:%d KinesisEnv::startGetIterator [%s]:[%s] timestamp:%s ts:%04d-%02d-%02d "
               "%02d.%02d.%02d ItTimestamp:%04d-%02d-%02d %02d.%02d.%02d",
               env_.id(), stream, shard, startValue, parsed.GetYear(false),
               static_cast<int>(parsed.GetMonth(false)), parsed.GetDay(false),
               parsed.GetHour(false), parsed.GetMinute(false), parsed.GetSecond(false),
               stored.GetYear(false), static_cast<int>(stored.GetMonth(false)),
               stored.GetDay(false), stored.GetHour(false), stored.GetMinute(false),
               stored.GetSecond(false));
}

// Hands out the record at the cursor, fetching first when the batch is used up. The host's
// buffers of getRecordFromIterator come without a size; the poll passes its own two bounds.
int32_t Consumer::handOutRecord(const char* stream, const char* shard, TextBuffer sequence, TextBuffer data,
                                int32_t* length) {
    *length = 0;
    ShardIteratorData* reading = FindIterator(stream, shard, false);
    if (reading == nullptr) {
        env_.fail("id:%d KinesisEnv::getRecordFromIterator [%s]:[%s] no iterator available", env_.id(),
                 stream, shard);
        return RXK_NO_ITERATOR;
    }
    if (!reading->hasWaitingRecord()) {
        env_.trace("id:%d KinesisEnv::getRecordFromIterator [%s]:[%s] size:%d cout:%d next iterator...",
                  env_.id(), stream, shard, reading->batchSize(), reading->cursor);
        reading->fetchNextBatch(*env_.service());
        env_.trace("id:%d KinesisEnv::getRecordFromIterator [%s]:[%s] size:%d", env_.id(), stream,
                  shard, reading->batchSize());
    }
    if (!reading->hasWaitingRecord()) {
        env_.trace("id:%d KinesisEnv::getRecordFromIterator [%s]:[%s] size:%d no data", env_.id(),
                  stream, shard, 0);
        return RXK_NO_RECORD;
    }
    const Aws::Kinesis::Model::Record& record = reading->records()[reading->cursor];
    copyAsText(record.GetData(), data.text, data.capacity);
    *length = dataLength(record.GetData());
    if (sequence.text != nullptr) copyAsText(record.GetSequenceNumber(), sequence.text, sequence.capacity);
    ++reading->cursor;
    return RXK_OK;
}

int32_t Consumer::startGetIterator(const char* stream, const char* shard, const char* startValue,
                                     int32_t limit, int32_t type) {
    ShardIteratorType iteratorType = ShardIteratorType::NOT_SET;
    if (!iteratorTypeForCode(type, &iteratorType)) {
        env_.fail("id:%d KinesisEnv::startGetIterator [%s]:[%s] unknown type:%d", env_.id(), stream, shard, type);
        return RXK_ERROR;
    }
    ShardIteratorData* reading = FindIterator(stream, shard, true);
    if (reading == nullptr) return RXK_ERROR;  // a name that doesn't fit, already reported

    reading->started = true;
    reading->cursor = 0;
    Aws::Kinesis::Model::GetShardIteratorRequest& request = reading->iteratorRequest;
    request.SetStreamName(stream);
    request.SetShardId(shard);
    request.SetShardIteratorType(iteratorType);
    const bool bySequenceNumber =
        type == RXK_AT_SEQUENCE_NUMBER || type == RXK_AFTER_SEQUENCE_NUMBER;
    if (bySequenceNumber && startValue != nullptr) request.SetStartingSequenceNumber(startValue);
    if (type == RXK_AT_TIMESTAMP && startValue != nullptr) {
        setStartTimestamp(*reading, stream, shard, startValue);
    }

    reading->iteratorOutcome = env_.service()->GetShardIterator(request);
    reading->iteratorText = reading->iteratorOutcome.GetResult().GetShardIterator();
    reading->recordsRequest.SetLimit(limit);
    reading->fetchWithIteratorText(*env_.service());
    env_.trace("id:%d KinesisEnv::startGetIterator [%s]:[%s] size:%d start:%d", env_.id(), stream, shard,
          reading->batchSize(), static_cast<int>(reading->started));
    return batchResult(*reading);
}

int32_t Consumer::nextGetIterator(const char* stream, const char* shard) {
    ShardIteratorData* reading = FindIterator(stream, shard, false);
    if (reading == nullptr) {
        env_.fail("id:%d KinesisEnv::nextGetIterator [%s]:[%s] no iterator available", env_.id(), stream, shard);
        return RXK_NO_ITERATOR;
    }
    reading->fetchNextBatch(*env_.service());
    env_.trace("id:%d KinesisEnv::nextGetIterator [%s]:[%s] size:%d", env_.id(), stream, shard,
          reading->batchSize());
    return batchResult(*reading);
}

// The host sizes `data` for its longest record; for the sequence number the header names only
// RXK_POLL_SEQUENCE_BYTES, so a longer one from the service is cut to that, never written past it.
int32_t Consumer::getRecordFromIterator(const char* stream, const char* shard,
                                          char* sequenceNumber, char* data, int32_t* length) {
    return handOutRecord(stream, shard, TextBuffer{sequenceNumber, RXK_POLL_SEQUENCE_BYTES},
                         TextBuffer{data, kUnmeasuredBuffer}, length);
}

// Each pass looks the reading up anew, so a callback that stops the pair ends the poll with -4
// at the next pass instead of leaving it on a destroyed record.
int32_t Consumer::poll(const char* stream, const char* shard, PollCallback callback) {
    ShardIteratorData* reading = FindIterator(stream, shard, false);
    if (reading == nullptr) {
        env_.fail("id:%d KinesisEnv::poll [%s]:[%s] no iterator available", env_.id(), stream, shard);
        return RXK_NO_ITERATOR;
    }
    if (reading->records().empty()) return nextGetIterator(stream, shard);

    char sequence[kPollSequenceBytes];
    for (;;) {
        int32_t length = 0;
        const int32_t handedOut =
            handOutRecord(stream, shard, TextBuffer{sequence, sizeof sequence},
                          TextBuffer{pollData, sizeof pollData}, &length);
        if (handedOut == RXK_OK) {
            callback(env_.id(), stream, shard, sequence, pollData, length);
            continue;
        }
        const int32_t fetched = nextGetIterator(stream, shard);
        if (fetched != RXK_OK) return fetched;
    }
}

}  // namespace rxk
