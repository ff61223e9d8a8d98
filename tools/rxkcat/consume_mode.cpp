// -C: records of one shard or of every shard of a stream, printed by the -f format, until a
// count (-c), the end of the shards (-e), or a stop signal.
#include "catalogue.h"
#include "modes.h"
#include "shard_record.h"
#include "stop_signal.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace rxkcat {
namespace {

using Clock = std::chrono::steady_clock;

// Between passes that brought nothing, when following a stream: the service allows five
// reads per second and shard.
constexpr std::chrono::milliseconds kFollowPause{250};
// The library reports a failed fetch as an empty batch and keeps the dead iterator; a reading
// that stays empty this many fetches in a row is started again where it stood.
constexpr int kEmptyFetchesBeforeRestart = 20;
// With -e, a shard is at its end after this many empty fetches in a row.
constexpr int kEmptyFetchesAtEnd = 2;
// While following a whole stream, the shards are listed again this often for shards that a
// resharding made (a shard's end lists them at once).
constexpr std::chrono::seconds kRelistInterval{10};
const StartPosition kFromShardStart{RXK_TRIM_HORIZON, {}};

// "2026-01-01T00:00:00.000Z" for now: where a reading that started at the end restarts.
std::string currentUtcTimestamp() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const long millis = static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[80];  // room for any int the fields may hold
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, millis);
    return text;
}

// The reading state of one shard in the client, stopped on every path.
class ShardReading {
public:
    ShardReading(Session& session, const Options& options, std::string shard, StartPosition position)
        : session_(session), api_(session.api()), stream_(options.stream), shard_(std::move(shard)),
          position_(std::move(position)), fetchLimit_(effectiveBatchSize(options)), flags_(readFlags(options.raw)) {}
    ~ShardReading() {
        if (started_) api_.StopShardIterator(session_.client(), stream_.c_str(), shard_.c_str());
    }
    ShardReading(const ShardReading&) = delete;
    ShardReading& operator=(const ShardReading&) = delete;

    const std::string& shard() const { return shard_; }
    int emptyFetchesInARow() const { return emptyFetches_; }

    void start() {
        // A reading that starts at the end restarts at the time it first started.
        if (position_.type == RXK_LATEST) restartPosition_ = {RXK_AT_TIMESTAMP, currentUtcTimestamp()};
        else restartPosition_ = position_;
        begin(position_);
    }

    bool ended() const { return ended_; }

    // Hands out the next record into `record`: true with a record, false after an empty fetch
    // or at the end of a closed shard.
    bool next(ShardRecord& record) {
        const int32_t result = record.readNext(session_, stream_, shard_, flags_);
        if (result == RXK_OK) {
            emptyFetches_ = 0;
            // Restarts come only after empty fetches, when every user record of an aggregated
            // record is out: after its sequence number is right for both.
            restartPosition_ = {RXK_AFTER_SEQUENCE_NUMBER, record.info.sequenceNumber};
            return true;
        }
        if (result == RXK_NO_RECORD) {
            ++emptyFetches_;
            return false;
        }
        if (result == RXK_SHARD_ENDED) {
            ended_ = true;
            return false;
        }
        throw session_.failure("reading shard '" + shard_ + "' of stream '" + stream_ + "' failed");
    }

    // Starts again after the last record handed out (or where the reading first started).
    void restart() { begin(restartPosition_); }

private:
    void begin(const StartPosition& position) {
        const char* value = position.value.empty() ? nullptr : position.value.c_str();
        const int32_t result = api_.StartShardIterator(session_.client(), stream_.c_str(), shard_.c_str(), value,
                                                       fetchLimit_, position.type);
        if (result < 0) throw session_.failure("cannot start reading shard '" + shard_ + "' of stream '" + stream_ + "'");
        started_ = true;
        emptyFetches_ = result == RXK_NO_RECORD ? 1 : 0;
    }

    Session& session_;
    const LibraryApi& api_;
    const std::string& stream_;
    std::string shard_;
    StartPosition position_;
    StartPosition restartPosition_;
    int32_t fetchLimit_;
    int32_t flags_;
    bool started_ = false;
    bool ended_ = false;
    int emptyFetches_ = 0;
};

// Standard output, where a closed pipe ends the run quietly.
class RecordOutput {
public:
    // False when the reader went away (EPIPE); throws RunError on other write errors.
    bool write(const std::string& text) {
        if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size()) return true;
        return failed();
    }
    bool flush() { return std::fflush(stdout) == 0 || failed(); }

private:
    static bool failed() {
        if (errno == EPIPE) return false;
        throw RunError(std::string("cannot write to standard output: ") + std::strerror(errno));
    }
};

class Consumer {
public:
    Consumer(Session& session, const Options& options)
        : session_(session), options_(options), started_(Clock::now()) {}

    ExitStatus run() {
        if (options_.shard.empty()) {
            discoverShards(options_.start);
        } else {
            shardDetails(session_, options_.stream, options_.shard);  // names a missing shard plainly
            startReading(options_.shard, options_.start);
        }
        bool outputOpen = true;
        while (outputOpen && !finished()) {
            bool anyRecord = false;
            // By index: a shard's end starts its children at the back of the list.
            for (size_t i = 0; i < readings_.size(); ++i) {
                ShardReading& reading = *readings_[i];
                if (atEnd(reading)) continue;
                outputOpen = drain(reading, anyRecord);
                if (reading.ended() && followsResharding()) discoverShards(kFromShardStart);
                if (!outputOpen || finished()) break;
            }
            outputOpen = outputOpen && output_.flush();
            if (followsResharding() && !options_.exitAtEnd && Clock::now() - lastListing_ >= kRelistInterval)
                discoverShards(kFromShardStart);
            if (!anyRecord && !options_.exitAtEnd) pauseUnlessStopped(kFollowPause);
        }
        output_.flush();
        printSummary();
        return kExitOk;
    }

private:
    bool followsResharding() const { return options_.shard.empty(); }

    void startReading(const std::string& shard, const StartPosition& position) {
        readings_.push_back(std::make_unique<ShardReading>(session_, options_, shard, position));
        readings_.back()->start();
    }

    const ShardReading* readingOf(const std::string& shard) const {
        for (const auto& reading : readings_)
            if (reading->shard() == shard) return reading.get();
        return nullptr;
    }

    // A shard is read after its parents, so that a key's records come out in order across a
    // split or a merge. A parent the stream no longer lists (expired) holds nothing back.
    bool parentsRead(const ShardLineage& shard) const {
        for (const std::string& parent : shard.parents) {
            const ShardReading* reading = readingOf(parent);
            if (reading != nullptr ? !reading->ended() : known_.count(parent) > 0) return false;
        }
        return true;
    }

    // Lists the shards, keeps the new ones waiting and starts those whose parents are read:
    // the shards of the first listing at the -o position, later ones from their start.
    void discoverShards(const StartPosition& positionOfNewShards) {
        for (ShardLineage& shard : shardLineage(session_, options_.stream))
            if (known_.insert(shard.id).second) waiting_.push_back({std::move(shard), positionOfNewShards});
        lastListing_ = Clock::now();
        for (bool started = true; started;) {
            started = false;
            for (auto it = waiting_.begin(); it != waiting_.end(); ++it) {
                if (!parentsRead(it->shard)) continue;
                const WaitingShard ready = std::move(*it);
                waiting_.erase(it);
                startReading(ready.shard.id, ready.position);
                started = true;
                break;
            }
        }
    }

    bool finished() const {
        if (stopRequested()) return true;
        if (options_.recordLimit && consumed_ >= static_cast<uint64_t>(*options_.recordLimit)) return true;
        for (const auto& reading : readings_)
            if (!reading->ended() && !(options_.exitAtEnd && atEnd(*reading))) return false;
        return waiting_.empty() || options_.exitAtEnd;
    }

    bool atEnd(const ShardReading& reading) const {
        return reading.ended() || (options_.exitAtEnd && reading.emptyFetchesInARow() >= kEmptyFetchesAtEnd);
    }

    // Hands out the shard's records until a fetch comes back empty; false when output closed.
    bool drain(ShardReading& reading, bool& anyRecord) {
        while (!stopRequested() && reading.next(record_)) {
            anyRecord = true;
            ++consumed_;
            line_.clear();
            options_.format.render(record_.view(options_.stream, reading.shard()), line_);
            if (!output_.write(line_)) return false;
            if (options_.recordLimit && consumed_ >= static_cast<uint64_t>(*options_.recordLimit)) return true;
        }
        if (!options_.exitAtEnd && !reading.ended() && reading.emptyFetchesInARow() >= kEmptyFetchesBeforeRestart)
            reading.restart();
        return true;
    }

    void printSummary() const {
        if (options_.quiet) return;
        const double seconds = std::chrono::duration<double>(Clock::now() - started_).count();
        std::fprintf(stderr, "rxkcat: %llu records consumed from %zu shard(s) of stream '%s' in %.3f s: %.0f records/s%s\n",
                     static_cast<unsigned long long>(consumed_), readings_.size(), options_.stream.c_str(), seconds,
                     seconds > 0 ? static_cast<double>(consumed_) / seconds : 0.0,
                     stopRequested() ? " (stopped by a signal)" : "");
    }

    struct WaitingShard {
        ShardLineage shard;
        StartPosition position;
    };

    Session& session_;
    const Options& options_;
    Clock::time_point started_;
    Clock::time_point lastListing_;
    std::vector<std::unique_ptr<ShardReading>> readings_;
    std::set<std::string> known_;        // every shard listed so far
    std::vector<WaitingShard> waiting_;  // listed, waiting for their parents to be read
    ShardRecord record_;
    RecordOutput output_;
    std::string line_;
    uint64_t consumed_ = 0;
};

}  // namespace

ExitStatus runConsume(Session& session, const Options& options) { return Consumer(session, options).run(); }

}  // namespace rxkcat
