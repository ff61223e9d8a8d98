// -L: streams of the account, shards of a stream, or the details of one shard; one per line.
#include "catalogue.h"
#include "modes.h"

#include <cstdio>

namespace rxkcat {
namespace {

// Labels of the fields of a shard's details, in the library's order.
constexpr const char* kShardDetailLabels[] = {
    "ShardId", "StartingHashKey", "EndingHashKey", "StartingSequenceNumber", "EndingSequenceNumber"};

void printLines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) std::printf("%s\n", line.c_str());
}

void printShardDetails(const std::vector<std::string>& fields) {
    const size_t labelled = std::size(kShardDetailLabels);
    for (size_t i = 0; i < fields.size(); ++i) {
        const char* label = i < labelled ? kShardDetailLabels[i] : "Field";
        if (fields[i].empty())
            std::printf("%s:\n", label);  // an open shard has no ending sequence number
        else
            std::printf("%s: %s\n", label, fields[i].c_str());
    }
}

}  // namespace

ExitStatus runList(Session& session, const Options& options) {
    if (options.stream.empty())
        printLines(listStreams(session));
    else if (options.shard.empty())
        printLines(listShards(session, options.stream));
    else
        printShardDetails(shardDetails(session, options.stream, options.shard));
    return kExitOk;
}

}  // namespace rxkcat
