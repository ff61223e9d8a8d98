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
    ShardReading(Session& session, const Options& options, std::string shard)
        : session_(session), api_(session.api()), stream_(options.stream), shard_(std::move(shard)),
          position_(options.start), fetchLimit_(effectiveBatchSize(options)), flags_(readFlags(options.raw)) {}
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
    Consumer(Session& session, const Options& options) : options_(options), started_(Clock::now()) {
        for (const std::string& shard : shardsToRead(session, options))
            readings_.push_back(std::make_unique<ShardReading>(session, options, shard));
    }

    ExitStatus run() {
        for (auto& reading : readings_) reading->start();
        bool outputOpen = true;
        while (outputOpen && !finished()) {
            bool anyRecord = false;
            for (auto& reading : readings_) {
                if (atEnd(*reading)) continue;
                outputOpen = drain(*reading, anyRecord);
                if (!outputOpen || finished()) break;
            }
            outputOpen = outputOpen && output_.flush();
            if (!anyRecord && !options_.exitAtEnd) pauseUnlessStopped(kFollowPause);
        }
        output_.flush();
        printSummary();
        return kExitOk;
    }

private:
    static std::vector<std::string> shardsToRead(Session& session, const Options& options) {
        if (options.shard.empty()) return listShards(session, options.stream);
        shardDetails(session, options.stream, options.shard);  // names a missing shard plainly
        return {options.shard};
    }

    bool finished() const {
        if (stopRequested()) return true;
        if (options_.recordLimit && consumed_ >= static_cast<uint64_t>(*options_.recordLimit)) return true;
        if (!options_.exitAtEnd) return false;
        for (const auto& reading : readings_)
            if (!atEnd(*reading)) return false;
        return true;
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

    const Options& options_;
    Clock::time_point started_;
    std::vector<std::unique_ptr<ShardReading>> readings_;
    ShardRecord record_;
    RecordOutput output_;
    std::string line_;
    uint64_t consumed_ = 0;
};

}  // namespace

ExitStatus runConsume(Session& session, const Options& options) { return Consumer(session, options).run(); }

}  // namespace rxkcat
