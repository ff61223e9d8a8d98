// The instant endpoint's answers, prebuilt so that answering costs the server next to nothing
// and a benchmark measures its client: PutRecords all succeed, GetShardIterator gives
// "canned-0", GetRecords gives the same batch with "canned-<k+1>" as the next iterator, and an
// empty one from batch batchesPerIterator on (when that is > 0).
#pragma once

#include "fault_server.h"

#include <map>
#include <mutex>
#include <string>

namespace rxkfault {

class CannedReplies {
public:
    explicit CannedReplies(const FaultServer::CannedAnswers& answers);

    // The canned answer to `request`; false for an operation it has none for.
    bool reply(const RecordedRequest& request, Reply& reply);

private:
    Reply recordsReply(const RecordedRequest& request) const;
    Reply putRecordsReply(const RecordedRequest& request);

    const std::string recordsBody_;  // the batch, with a mark where the next iterator goes
    const long batchesPerIterator_;
    std::mutex mutex_;
    std::map<int, std::string> putRecordsBodies_;  // by record count, built on first use
};

}  // namespace rxkfault
