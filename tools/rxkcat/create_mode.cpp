// -N: asks for a new stream, then waits until it lists its shards (unless --no-wait).
#include "catalogue.h"
#include "modes.h"
#include "stop_signal.h"

#include <chrono>
#include <cstdio>

namespace rxkcat {
namespace {

constexpr std::chrono::seconds kStreamWaitLimit{120};
constexpr std::chrono::milliseconds kStreamWaitPause{500};

// Polls the shard listing: a stream still being created has none yet.
size_t waitForShards(Session& session, const Options& options) {
    const auto deadline = std::chrono::steady_clock::now() + kStreamWaitLimit;
    for (;;) {
        try {
            const size_t shards = listShards(session, options.stream).size();
            if (shards > 0) return shards;
        } catch (const RunError&) {
            if (std::chrono::steady_clock::now() >= deadline) throw;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            throw RunError("stream '" + options.stream + "' listed no shard within " +
                           std::to_string(kStreamWaitLimit.count()) + " s");
        pauseUnlessStopped(kStreamWaitPause);
        if (stopRequested()) throw RunError("stopped while waiting for stream '" + options.stream + "'");
    }
}

}  // namespace

ExitStatus runCreateStream(Session& session, const Options& options) {
    if (session.api().CreateStream(session.client(), options.stream.c_str(), options.shardCount) != RXK_OK)
        throw session.failure("cannot create stream '" + options.stream + "'");
    if (!options.waitForStream) {
        if (!options.quiet)
            std::fprintf(stderr, "rxkcat: stream '%s' with %d shard(s) requested\n", options.stream.c_str(),
                         options.shardCount);
        return kExitOk;
    }
    const size_t shards = waitForShards(session, options);
    if (!options.quiet) std::fprintf(stderr, "rxkcat: stream '%s' created with %zu shard(s)\n", options.stream.c_str(), shards);
    return kExitOk;
}

}  // namespace rxkcat
