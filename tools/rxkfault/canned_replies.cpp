#include "canned_replies.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace rxkfault {

namespace {

constexpr const char* kIteratorPrefix = "canned-";
// Stands in the batch's body where the next iterator goes.
constexpr const char* kNextIteratorMark = "canned-@next@";

std::string recordsBody(const FaultServer::CannedAnswers& answers) {
    std::vector<TestRecord> records(static_cast<std::size_t>(std::max(0, answers.recordsPerGet)));
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].data.assign(static_cast<std::size_t>(std::max(0, answers.recordBytes)), 'r');
        records[i].partitionKey = std::to_string(i);
    }
    return getRecordsReply(records, kNextIteratorMark).body;
}

std::string iterator(long batch) { return kIteratorPrefix + std::to_string(batch); }

// The batch number k of a canned iterator "canned-<k>" (0 for anything else).
long batchNumber(const std::string& iterator) {
    if (iterator.compare(0, std::strlen(kIteratorPrefix), kIteratorPrefix) != 0) return 0;
    return std::strtol(iterator.c_str() + std::strlen(kIteratorPrefix), nullptr, 10);
}

// Counts the records of a PutRecords body without parsing it: each entry has one "Data" member
// and base64 can't contain a quote.
int countDataMembers(std::string_view body) {
    int count = 0;
    for (auto at = body.find("\"Data\""); at != std::string_view::npos; at = body.find("\"Data\"", at + 6)) ++count;
    return count;
}

}  // namespace

CannedReplies::CannedReplies(const FaultServer::CannedAnswers& answers)
    : recordsBody_(recordsBody(answers)), batchesPerIterator_(answers.batchesPerIterator) {}

bool CannedReplies::reply(const RecordedRequest& request, Reply& reply) {
    const std::string& operation = request.operation;
    if (operation == "PutRecords") reply = putRecordsReply(request);
    else if (operation == "PutRecord") reply = putRecordReply();
    else if (operation == "GetShardIterator") reply = shardIteratorReply(iterator(0));
    else if (operation == "GetRecords") reply = recordsReply(request);
    else return false;
    return true;
}

Reply CannedReplies::recordsReply(const RecordedRequest& request) const {
    const long batch = batchNumber(jsonString(request.body, "ShardIterator"));
    if (batchesPerIterator_ > 0 && batch >= batchesPerIterator_) return getRecordsReply({}, iterator(batch + 1));
    std::string body = recordsBody_;
    // The mark follows the records: searched from the end, a 10,000-record body costs nothing
    // to patch.
    const std::size_t mark = body.rfind(kNextIteratorMark);
    if (mark != std::string::npos) body.replace(mark, std::strlen(kNextIteratorMark), iterator(batch + 1));
    return Reply::json(std::move(body));
}

Reply CannedReplies::putRecordsReply(const RecordedRequest& request) {
    const int count = countDataMembers(request.body);
    std::lock_guard<std::mutex> lock(mutex_);
    std::string& body = putRecordsBodies_[count];
    if (body.empty()) body = rxkfault::putRecordsReply(count).body;
    return Reply::json(body);
}

}  // namespace rxkfault
