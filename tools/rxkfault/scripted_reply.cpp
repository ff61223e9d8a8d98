// Turns an answer of the script into the Reply for one request: first the body kind, then the
// modifiers (status, headers, delay, transport faults, framing) on top.
#include "endpoint.h"

#include <algorithm>

namespace rxkfault {

namespace {

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// The 0-based positions of the request's entries that the script fails.
std::set<int> failedPositions(const FailRecords& fail, const RecordedRequest& request) {
    std::set<int> failed = fail.positions;
    const std::vector<RequestRecord> entries = putRecordsEntries(request.body);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const std::string& key = entries[i].partitionKey;
        if (fail.keys.count(key) != 0 || (fail.keyPrefix && startsWith(key, *fail.keyPrefix)))
            failed.insert(static_cast<int>(i));
    }
    return failed;
}

Reply bodyReply(const AnswerPlan& answer, const RecordedRequest& request, FaultServer& server) {
    switch (answer.kind) {
    case BodyKind::Builtin: return server.builtInReply(request);
    case BodyKind::Error: return Reply::error(400, answer.error, answer.message);
    case BodyKind::Json:
    case BodyKind::Text: return Reply::json(answer.text);
    case BodyKind::FailRecords: {
        const FailRecords& fail = answer.failRecords;
        return putRecordsReply(request, failedPositions(fail, request), fail.error, fail.message);
    }
    case BodyKind::Records:
        return getRecordsReply(answer.records.records, answer.records.nextIterator, answer.records.millisBehind);
    case BodyKind::ShardIterator: return shardIteratorReply(answer.text);
    case BodyKind::DescribePages: {
        const StreamShape& shape = answer.describePages;
        return describeStreamPage(request, shape.name, shape.shards, shape.shardsPerPage, shape.status);
    }
    case BodyKind::StreamsPage: return listStreamsReply(answer.streamsPage.names, answer.streamsPage.hasMore);
    case BodyKind::Raw: return Reply::rawBytes(answer.text);
    }
    return server.builtInReply(request);
}

void applyModifiers(const AnswerPlan& answer, Reply& reply) {
    if (answer.status) reply.status = *answer.status;
    if (answer.contentType) reply.contentType = *answer.contentType;
    reply.headers.insert(reply.headers.end(), answer.headers.begin(), answer.headers.end());
    reply.dateHeader = reply.dateHeader && answer.dateHeader;
    reply.delay = answer.delay;
    if (answer.fault != Fault::None) {
        reply.fault = answer.fault;
        reply.faultAfterBodyBytes = answer.afterBytes;
        reply.stall = answer.stall;
    }
    reply.chunkBytes = answer.chunkBytes;
    if (answer.closeAfter) reply.closeAfter = *answer.closeAfter;
}

}  // namespace

Reply scriptedReply(const AnswerPlan& answer, const RecordedRequest& request, FaultServer& server) {
    Reply reply = bodyReply(answer, request, server);
    applyModifiers(answer, reply);
    return reply;
}

}  // namespace rxkfault
