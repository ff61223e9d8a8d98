// -G: the one record at a sequence number, printed by the -f format (an aggregated one as all of
// its user records, unless --raw). It is read through a reading that starts at the sequence
// number, so its bytes come out exactly.
#include "modes.h"
#include "shard_record.h"

#include <cstdio>

namespace rxkcat {

ExitStatus runGetRecord(Session& session, const Options& options) {
    const LibraryApi& api = session.api();
    const char* stream = options.stream.c_str();
    const char* shard = options.shard.c_str();
    const std::string missing = "no record at sequence number " + options.sequenceNumber + " in shard '" +
                                options.shard + "' of stream '" + options.stream + "'";
    if (api.StartShardIterator(session.client(), stream, shard, options.sequenceNumber.c_str(), 1,
                               RXK_AT_SEQUENCE_NUMBER) != RXK_OK) {
        api.StopShardIterator(session.client(), stream, shard);
        throw session.failure(missing);
    }
    ShardRecord record;
    const int32_t flags = readFlags(options.raw);
    int32_t result = record.readNext(session, options.stream, options.shard, flags);
    if (result != RXK_OK) {
        api.StopShardIterator(session.client(), stream, shard);
        throw session.failure(missing);
    }
    // An aggregated record comes out as its user records, which share its sequence number: all
    // of them are the record asked for. The first record after them ends the output unprinted.
    const std::string sequenceNumber = record.info.sequenceNumber;
    std::string line;
    do {
        line.clear();
        options.format.render(record.view(options.stream, options.shard), line);
        std::fwrite(line.data(), 1, line.size(), stdout);
        if (record.info.subSequenceNumber < 0) break;
        result = record.readNext(session, options.stream, options.shard, flags);
    } while (result == RXK_OK && sequenceNumber == record.info.sequenceNumber && record.info.subSequenceNumber > 0);
    api.StopShardIterator(session.client(), stream, shard);
    return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
}

}  // namespace rxkcat
