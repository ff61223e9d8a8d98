// PutRecords: a record list goes out in one request; with `retry` set, the records that the
// service refused are sent again, alone, attempt after attempt, until none fails, the attempt
// limit is reached or a request fails as a whole. `results` stays in the positions of the first
// request throughout: `indexList` maps each record of the latest retry request back to its
// position there.
//
// `step` numbers the stages for the exception lines: fixed per stage, grouped with gaps, never
// reset by an attempt, so that a report tells the last stage begun.
#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

#include <aws/kinesis/model/PutRecordsRequest.h>
#include <aws/kinesis/model/PutRecordsResult.h>

#include "env/client_env.h"
#include "env/text_exception.h"
#include "frame/bounded_copy.h"
#include "frame/message_buffer.h"
#include "frame/module.h"
#include "producer/producer.h"
#include "producer/record_list.h"
#include "producer/unaccounted_answer.h"
#include "rxkinesis_exceptions.h"

namespace rxk {
namespace {

using Aws::Kinesis::Model::PutRecordsOutcome;
using Aws::Kinesis::Model::PutRecordsRequest;
using Aws::Kinesis::Model::PutRecordsRequestEntry;
using Aws::Kinesis::Model::PutRecordsResultEntry;

// Marks a record of `indexList` as settled during one evaluation of an answer.
constexpr uint32_t kSettled = 0xFFFFFFFFu;
// Attempt limit when `retry` is 0.
constexpr int32_t kUnboundedRetryAttempts = 1000;
// firstFailedError from the entry to the retry loop until the first message is taken.
constexpr char kNoFailedErrorYet[] = "None";

// Message formats of this file.
constexpr char kNotFound[] = "id:%d KinesisEnv::putRecords listId:%d not found";
constexpr char kFreeSlot[] = "id:%d KinesisEnv::putRecords ListId:%d tag:[%s] PutRecordsData NULL";
constexpr char kNoRecords[] = "id:%d KinesisEnv::putRecords [%s] no records";
constexpr char kStreamNameTooLong[] =
    "id:%d KinesisEnv::putRecords listId:%d stream name of %d bytes refused, at most %d fit";
constexpr char kFirstAnswerTrace[] = "id:%d KinesisEnv::putRecords [%s] entry:%d failed:%d success:%s bytes:%d";
constexpr char kFirstRequestFailed[] = "id:%d KinesisEnv::putRecords [%s] error:";
constexpr char kResultTrace[] = "id:%d KinesisEnv::putRecords [%s] result:%d entry:%d Bytes:%d failed:%d";
constexpr char kAttemptAnnounce[] = "id:%d KinesisEnv::putRecords [%s] retry(%d/%d) [%d records failed]";
constexpr char kMaxReached[] =
    "id:%d KinesisEnv::putRecords [%s] retry(%d/%d) max reached [%d records failed remaining]";
constexpr char kRetryRequestFailed[] =
    "id:%d KinesisEnv::putRecords [%s] retry(%d/%d) start_failed:%d new_failed:%d records error:";
constexpr char kEvaluationException[] =
    "id:%d KinesisEnv::putRecords [%s] retry(%d/%d) start_failed:%d new_failed:%d records result:%d "
    "RequestList:%d failed:%d ResultList:%d IndexList:%d Exception:[%s]";
constexpr char kEvaluationUnknownException[] =
    "id:%d KinesisEnv::putRecords [%s] retry(%d/%d) start_failed:%d new_failed:%d records result:%d "
    "RequestList:%d failed:%d ResultList:%d IndexList:%d Exception unknow";
constexpr char kOuterFault[] = "id:%d KinesisEnv::putRecords listId:%d thread:%s step:%d size:%d Exception:[%s]";
constexpr char kOuterException[] = "id:%d KinesisEnv::putRecords listId:%d tag:%s step:%d size:%d Exception:[%s]";

// The SDK's models hand out const views only. The objects here are ours and not const, so
// their contents may be moved out instead of copied.
template <typename T>
T& ownedContents(const T& view) {
    return const_cast<T&>(view);
}

bool hasFailed(const PutRecordsResultEntry& entry) { return !entry.GetErrorCode().empty(); }

int32_t countOf(std::size_t size) { return static_cast<int32_t>(size); }

// `retry` above 0 allows that many retry requests, 0 allows 1000. A `retry` lowered below 0
// while the loop runs means no further retry, so the loop cannot outlive a SetParam.
bool attemptLimitReached(int32_t attempt, int32_t retry) {
    if (retry > 0) return attempt >= retry;
    if (retry == 0) return attempt >= kUnboundedRetryAttempts;
    return true;
}

// Gives the list's records to a request for the time of one call and takes them back when it
// ends, also by an exception: a payload is never copied for a request.
class RecordsOnLoan {
public:
    RecordsOnLoan(PutRecordsRequest& request, PutRecordsData& list) : request_(request), list_(list) {
        request_.SetRecords(std::move(list_.entries));
    }
    ~RecordsOnLoan() { list_.entries = std::move(ownedContents(request_.GetRecords())); }
    RecordsOnLoan(const RecordsOnLoan&) = delete;
    RecordsOnLoan& operator=(const RecordsOnLoan&) = delete;

private:
    PutRecordsRequest& request_;
    PutRecordsData& list_;
};

// One call of putRecords. The outer protection lives in Producer::putRecords and reads
// `step` and `size` from here.
class BatchPut {
public:
    BatchPut(ClientEnv& env, RecordLists& lists, int32_t listId, const char* streamName, int32_t* put,
             int32_t* failed, int32_t* bytes, int32_t* output, const char* tag)
        : env_(env), lists_(lists), listId_(listId), streamName_(streamName), put_(put), failed_(failed), bytes_(bytes),
          output_(output), tag_(tag) {}

    int32_t run();

    int32_t step = 0;
    int32_t size = 0;

private:
    int32_t sendFirstRequest();
    void traceFirstAnswer();
    void writeOutputs();
    int32_t retryFailedRecords();
    bool announceAttemptAndTestLimit();
    void collectFailedRecords();
    void evaluateRetryAnswer();
    void foldRetryAnswer();
    void reportInterruptedEvaluation(const char* text);
    PutRecordsOutcome callService() const;
    int32_t failedForLines() const { return failed_ != nullptr ? *failed_ : -1; }
    int32_t answerFailedCount() const { return outcome_.GetResult().GetFailedRecordCount(); }

    ClientEnv& env_;
    RecordLists& lists_;
    const int32_t listId_;
    const char* const streamName_;
    int32_t* const put_;
    int32_t* const failed_;
    int32_t* const bytes_;
    int32_t* const output_;
    const char* const tag_;

    PutRecordsData* list_ = nullptr;
    PutRecordsRequest request_;    // one request object for all attempts
    PutRecordsOutcome outcome_;    // the answer to the latest request
    int32_t result_ = RXK_ERROR;
    int32_t startFailed_ = 0;      // failed records of the first answer
    int32_t attempt_ = 0;          // retry requests answered so far
    int32_t newFailed_ = 0;        // failed records of the latest retry answer
    std::vector<uint32_t> indexList_;
    // False after an evaluation was cut short by an exception: `indexList_` then still speaks of
    // the request before, markers included, and the next scan realigns it.
    bool indexListAligned_ = true;
    Aws::Vector<PutRecordsRequestEntry> retryEntries_;
    Aws::Vector<PutRecordsResultEntry> attemptResults_;  // entries of the latest answer
    bool firstScan_ = true;
    bool firstError_ = true;
};

int32_t BatchPut::run() {
    step = 1;
    size = countOf(lists_.size());
    step = 2;
    if (!isListPosition(lists_, listId_)) {
        env_.fail(kNotFound, env_.id(), listId_);
        return RXK_ERROR;
    }
    step = 3;
    list_ = lists_[listId_].get();
    step = 4;
    if (list_ == nullptr) {
        // The list does not exist: nothing may be read from it, so the call ends here.
        step = 80;
        env_.notify(kFreeSlot, env_.id(), listId_, textOrNullWord(tag_));
        step = 81;
        return RXK_ERROR;
    }
    if (list_->entries.empty()) {
        step = 70;
        env_.notify(kNoRecords, env_.id(), streamName_);
        step = 71;
        return RXK_OK;
    }
    return sendFirstRequest();
}

int32_t BatchPut::sendFirstRequest() {
    // A name that doesn't fit the list's field is refused rather than cut: a cut name would
    // read back as another stream than the one the records went to.
    const std::size_t nameLength = std::strlen(streamName_);
    if (nameLength >= sizeof list_->streamName) {
        env_.fail(kStreamNameTooLong, env_.id(), listId_, countOf(std::min<std::size_t>(nameLength, INT32_MAX)),
                  countOf(sizeof list_->streamName - 1));
        return RXK_ERROR;
    }
    step = 5;
    request_.SetStreamName(streamName_);
    copyBounded(streamName_, nameLength, list_->streamName, sizeof list_->streamName, CopyStyle::Cut);
    step = 6;
    {
        RecordsOnLoan loan(request_, *list_);
        step = 7;
        outcome_ = callService();
    }
    step = 8;
    list_->results = std::move(ownedContents(outcome_.GetResult().GetRecords()));
    step = 9;
    startFailed_ = answerFailedCount();
    step = 10;
    traceFirstAnswer();
    writeOutputs();
    step = 15;
    if (!outcome_.IsSuccess()) {
        step = 50;
        env_.failWithSdkMessage(outcome_.GetError().GetMessage(), kFirstRequestFailed, env_.id(), streamName_);
        step = 51;
        return RXK_ERROR;
    }
    result_ = startFailed_ != 0 ? RXK_SOME_FAILED : RXK_OK;
    if (env_.tracing()) {
        step = 16;
        env_.trace(kResultTrace, env_.id(), streamName_, result_, countOf(list_->entries.size()),
                   static_cast<int32_t>(list_->totalSize), startFailed_);
        step = 17;
    }
    step = 20;
    if (startFailed_ <= 0 || env_.retry() < 0) return result_;
    return retryFailedRecords();
}

void BatchPut::traceFirstAnswer() {
    if (!env_.tracing()) return;
    step = 11;
    MethodMessage line;
    line.format(kFirstAnswerTrace, env_.id(), streamName_, countOf(list_->entries.size()), startFailed_,
                outcome_.IsSuccess() ? "yes" : "no", static_cast<int32_t>(list_->totalSize));
    step = 12;
    sendToTrace(line.text(), line.length());
    step = 13;
}

void BatchPut::writeOutputs() {
    if (put_ != nullptr) *put_ = countOf(list_->entries.size());
    step = 14;
    if (failed_ != nullptr) *failed_ = startFailed_;
    if (bytes_ != nullptr) *bytes_ = static_cast<int32_t>(list_->totalSize);
    if (output_ != nullptr) *output_ = countOf(list_->results.size());
}

int32_t BatchPut::retryFailedRecords() {
    env_.setFirstFailedError(kNoFailedErrorYet);
    result_ = RXK_ERROR;
    step = 21;
    while (answerFailedCount() > 0) {
        step = 31;
        retryEntries_.clear();
        // Later passes took the answer's entries in their evaluation; the first answer lives
        // in `results`.
        if (firstScan_) attemptResults_ = list_->results;
        if (announceAttemptAndTestLimit()) break;
        step = 34;
        env_.feedFailedRecords(answerFailedCount());
        step = 35;
        result_ = RXK_ERROR;
        collectFailedRecords();
        step = 36;
        list_->entries = std::move(retryEntries_);
        {
            RecordsOnLoan loan(request_, *list_);
            outcome_ = callService();
        }
        step = 37;
        if (!outcome_.IsSuccess()) {
            // attempt does not count this request, and result stays -1.
            env_.failWithSdkMessage(outcome_.GetError().GetMessage(), kRetryRequestFailed, env_.id(), streamName_,
                                    attempt_, env_.retry(), startFailed_, failedForLines());
            break;
        }
        newFailed_ = answerFailedCount();
        result_ = newFailed_ != 0 ? RXK_SOME_FAILED : RXK_OK;
        step = 38;
        evaluateRetryAnswer();
        ++attempt_;
    }
    step = 22;
    env_.feedRetryAttempts(attempt_);
    return result_;
}

// True when the attempt limit is reached; result keeps the 3 of the latest retry answer then.
bool BatchPut::announceAttemptAndTestLimit() {
    step = 32;
    if (env_.retryAttemptShow() > 1) {
        env_.notify(kAttemptAnnounce, env_.id(), streamName_, attempt_, env_.retry(), answerFailedCount());
    }
    step = 33;
    const int32_t retry = env_.retry();
    if (!attemptLimitReached(attempt_, retry)) return false;
    env_.notify(kMaxReached, env_.id(), streamName_, attempt_, retry, answerFailedCount());
    return true;
}

// Moves the records that failed in the latest answer to `retryEntries_`. The first scan also
// records their positions in the first request.
void BatchPut::collectFailedRecords() {
    // An answer that doesn't match its request in length is read only as far as both go.
    const std::size_t scanned = std::min(attemptResults_.size(), list_->entries.size());
    retryEntries_.reserve(scanned);
    if (firstScan_) indexList_.reserve(scanned);
    const bool realign = !firstScan_ && !indexListAligned_;
    std::vector<uint32_t> realigned;
    for (std::size_t i = 0; i < scanned; ++i) {
        step = 60;
        PutRecordsRequestEntry& record = list_->entries[i];
        const PutRecordsResultEntry& answer = attemptResults_[i];
        step = 61;
        if (!hasFailed(answer)) continue;
        step = 62;
        retryEntries_.push_back(std::move(record));  // `entries` is replaced right after the scan
        step = 63;
        if (firstScan_) {
            step = 64;
            indexList_.push_back(static_cast<uint32_t>(i));
        } else if (realign) {
            realigned.push_back(i < indexList_.size() ? indexList_[i] : kSettled);
        }
        if (firstError_) {
            step = 65;
            env_.setFirstFailedError(answer.GetErrorMessage());
            step = 66;
            firstError_ = false;
        }
        step = 67;
    }
    if (realign) {
        indexList_ = std::move(realigned);
        indexListAligned_ = true;
    }
    firstScan_ = false;
}

// The inner protection: an exception while the answer is folded into `results` is reported
// and the loop goes on with what the folding had reached.
void BatchPut::evaluateRetryAnswer() {
    try {
        foldRetryAnswer();
    } catch (SE_Exception& fault) {
        reportInterruptedEvaluation(fault.what());
    } catch (std::exception& error) {
        reportInterruptedEvaluation(error.what());
    } catch (...) {
        env_.notify(kEvaluationUnknownException, env_.id(), streamName_, attempt_, env_.retry(), startFailed_,
                    failedForLines(), result_, countOf(list_->entries.size()), newFailed_,
                    countOf(attemptResults_.size()), countOf(indexList_.size()));
    }
}

void BatchPut::reportInterruptedEvaluation(const char* text) {
    env_.notify(kEvaluationException, env_.id(), streamName_, attempt_, env_.retry(), startFailed_,
                failedForLines(), result_, countOf(list_->entries.size()), newFailed_,
                countOf(attemptResults_.size()), countOf(indexList_.size()), text);
}

// A record that succeeded now gets its new entry at its first-request position; one that
// failed again keeps the first answer's failure. Every index is checked against both vectors,
// so a misaligned `indexList_` can drop an update but never write outside `results`.
void BatchPut::foldRetryAnswer() {
    indexListAligned_ = false;
    attemptResults_ = std::move(ownedContents(outcome_.GetResult().GetRecords()));
    step = 39;
    const std::size_t mapped = std::min(attemptResults_.size(), indexList_.size());
    for (std::size_t i = 0; i < mapped; ++i) {
        if (hasFailed(attemptResults_[i])) continue;
        const uint32_t target = indexList_[i];
        if (target < list_->results.size()) {
            list_->results[target] = attemptResults_[i];
            if (failed_ != nullptr) --*failed_;
        }
        indexList_[i] = kSettled;
    }
    step = 40;
    std::vector<uint32_t> stillFailing;
    stillFailing.reserve(mapped);
    for (std::size_t i = 0; i < mapped; ++i) {
        if (indexList_[i] != kSettled) stillFailing.push_back(indexList_[i]);
    }
    step = 41;
    indexList_ = std::move(stillFailing);
    indexListAligned_ = true;
}

PutRecordsOutcome BatchPut::callService() const {
    // Without a service client (never after a successful init) the answer is a failure with no
    // message, like any request that could not be made.
    const Aws::Kinesis::KinesisClient* service = env_.service();
    if (service == nullptr) return PutRecordsOutcome();
    return accountedOrFailed(service->PutRecords(request_), request_.GetRecords().size());
}

}  // namespace

int32_t Producer::putRecords(int32_t listId, const char* streamName, int32_t* put, int32_t* failed,
                             int32_t* bytes, int32_t* output, const char* tag) {
    for (int32_t* value : {put, failed, bytes, output}) {
        if (value != nullptr) *value = 0;
    }
    BatchPut batch(env_, recordLists_, listId, streamName, put, failed, bytes, output, tag);
    // The outer protection reports and throws on: nothing is swallowed here.
    try {
        return batch.run();
    } catch (SE_Exception& fault) {
        env_.fail(kOuterFault, env_.id(), listId, textOrNullWord(tag), batch.step, batch.size, fault.what());
        throw SE_Exception(fault.code);
    } catch (std::exception& error) {
        env_.fail(kOuterException, env_.id(), listId, textOrNullWord(tag), batch.step, batch.size, error.what());
        throw TextException(error.what());
    } catch (...) {
        env_.fail(kOuterException, env_.id(), listId, textOrNullWord(tag), batch.step, batch.size, kUnknownExceptionText);
        throw;
    }
}

}  // namespace rxk
