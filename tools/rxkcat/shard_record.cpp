#include "shard_record.h"

namespace rxkcat {

int32_t ShardRecord::readNext(Session& session, const std::string& stream, const std::string& shard,
                              int32_t flags) {
    for (;;) {
        const int32_t result = session.api().ReadShardRecord(session.client(), stream.c_str(), shard.c_str(),
                                                             data.data(), static_cast<int32_t>(data.size()),
                                                             &length, &info, flags);
        if (result != RXK_NEEDS_ROOM) return result;
        data.resize(static_cast<size_t>(length));
    }
}

int32_t readFlags(bool raw) { return raw ? 0 : RXK_READ_EXPAND_AGGREGATED; }

}  // namespace rxkcat
