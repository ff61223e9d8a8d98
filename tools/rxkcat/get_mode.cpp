// -G: the one record at a sequence number, printed by the -f format.
#include "modes.h"
#include "record_limits.h"

#include <cstdio>
#include <vector>

namespace rxkcat {

ExitStatus runGetRecord(Session& session, const Options& options) {
    std::vector<char> data(kMaxRecordBytes + 1, '\0');
    int32_t length = 0;
    const int32_t result = session.api().GetRecord(session.client(), options.stream.c_str(), options.shard.c_str(),
                                                   options.sequenceNumber.c_str(), data.data(), &length);
    if (result != RXK_OK)
        throw session.failure("no record at sequence number " + options.sequenceNumber + " in shard '" +
                              options.shard + "' of stream '" + options.stream + "'");
    std::string line;
    options.format.render({options.stream, options.shard, options.sequenceNumber.c_str(), data.data(), length}, line);
    std::fwrite(line.data(), 1, line.size(), stdout);
    return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
}

}  // namespace rxkcat
