// -P: records from standard input or files into a stream, in batches through a record list
// (PutRecords) or one by one (PutRecord, -1).
#include "modes.h"
#include "progress_line.h"
#include "record_reader.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace rxkcat {
namespace {

using Clock = std::chrono::steady_clock;

// Failed records are reported one by one up to this many; the summary counts all of them.
constexpr uint64_t kFailuresShown = 20;
constexpr char kBatchTag[] = "rxkcat";
constexpr size_t kRecordErrorBytes = 16 * 1024;

struct ProduceTotals {
    uint64_t accepted = 0;
    uint64_t failed = 0;
    uint64_t skippedEmpty = 0;
    uint64_t skippedOversize = 0;
    uint64_t bytes = 0;
    Clock::time_point started = Clock::now();

    double seconds() const { return std::chrono::duration<double>(Clock::now() - started).count(); }
    double recordsPerSecond() const {
        const double elapsed = seconds();
        return elapsed > 0 ? static_cast<double>(accepted + failed) / elapsed : 0.0;
    }
};

void reportFailedRecord(ProduceTotals& totals, uint64_t number, const std::string& why, bool verbose) {
    ++totals.failed;
    if (totals.failed <= kFailuresShown || verbose)
        std::fprintf(stderr, "rxkcat: record %llu failed: %s\n", static_cast<unsigned long long>(number), why.c_str());
    else if (totals.failed == kFailuresShown + 1)
        std::fprintf(stderr, "rxkcat: more records failed; they are counted, not shown (-v shows all)\n");
}

const char* optionalText(const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; }

// One record list of the client, freed on every path.
class RecordList {
public:
    explicit RecordList(Session& session) : session_(session), id_(session.api().CreateListRecord(session.client())) {
        if (id_ < 0) throw session.failure("cannot create a record list");
    }
    ~RecordList() { session_.api().FreeListRecord(session_.client(), id_); }
    RecordList(const RecordList&) = delete;
    RecordList& operator=(const RecordList&) = delete;
    int32_t id() const { return id_; }

private:
    Session& session_;
    int32_t id_;
};

// Gathers records in a list and sends it when the batch is full or the library's limits
// (maxputrow, maxputlen) are reached.
class BatchSender {
public:
    BatchSender(Session& session, const Options& options, ProduceTotals& totals)
        : session_(session), api_(session.api()), options_(options), totals_(totals), list_(session),
          batchSize_(static_cast<size_t>(effectiveBatchSize(options))) {}

    void add(const std::string& record, const char* partitionKey, uint64_t number) {
        int32_t result = append(record, partitionKey);
        if ((result == RXK_ROW_LIMIT || result == RXK_SIZE_LIMIT) && !pending_.empty()) {
            send();
            result = append(record, partitionKey);
        }
        switch (result) {
        case RXK_OK:
            pending_.push_back({number, record.size()});
            if (pending_.size() >= batchSize_) send();
            return;
        case RXK_SIZE_LIMIT:
            reportFailedRecord(totals_, number,
                               std::to_string(record.size()) + " bytes exceed the list size limit (-X maxputlen)",
                               options_.verbosity > 0);
            return;
        case RXK_ROW_LIMIT:
            throw RunError("the record list takes no record at all (-X maxputrow is below 1?)");
        default:
            throw session_.failure("the library refused record " + std::to_string(number));
        }
    }

    // Sends what is gathered; throws RunError when the request fails as a whole.
    void send() {
        if (pending_.empty()) return;
        int32_t put = 0, failed = 0, bytes = 0, entries = 0;
        const int32_t result = api_.PutRecords(session_.client(), list_.id(), options_.stream.c_str(), &put, &failed,
                                               &bytes, &entries, kBatchTag);
        if (result < 0) {
            totals_.failed += pending_.size();
            throw session_.failure("PutRecords failed for records " + std::to_string(pending_.front().number) + " to " +
                                   std::to_string(pending_.back().number));
        }
        if (result == RXK_SOME_FAILED)
            readBackFailures();
        else
            acceptAll();
        api_.ClearListRecord(session_.client(), list_.id());
        pending_.clear();
    }

private:
    struct PendingRecord {
        uint64_t number;
        size_t bytes;
    };

    int32_t append(const std::string& record, const char* partitionKey) {
        return api_.AddRecordToList(session_.client(), list_.id(), partitionKey,
                                    optionalText(options_.explicitHashKey), record.data(),
                                    static_cast<int32_t>(record.size()));
    }

    void acceptAll() {
        for (const PendingRecord& record : pending_) accept(record);
    }

    void accept(const PendingRecord& record) {
        ++totals_.accepted;
        totals_.bytes += record.bytes;
    }

    void readBackFailures() {
        std::vector<char> error(kRecordErrorBytes, '\0');
        for (size_t index = 0; index < pending_.size(); ++index) {
            unsigned char success = 0;
            error[0] = '\0';
            const int32_t result = api_.GetLastResultPutRecords(session_.client(), list_.id(), static_cast<int32_t>(index),
                                                                nullptr, nullptr, nullptr, &success, nullptr, nullptr,
                                                                error.data(), nullptr);
            error.back() = '\0';
            if (result == RXK_OK && success)
                accept(pending_[index]);
            else
                reportFailedRecord(totals_, pending_[index].number,
                                   result == RXK_OK ? std::string(error.data()) : session_.errorText(),
                                   options_.verbosity > 0);
        }
    }

    Session& session_;
    const LibraryApi& api_;
    const Options& options_;
    ProduceTotals& totals_;
    RecordList list_;
    size_t batchSize_;
    std::vector<PendingRecord> pending_;
};

// One PutRecord per record: a failure ends the run, since it is the request that failed.
void putSingle(Session& session, const Options& options, ProduceTotals& totals, const std::string& record,
               const char* partitionKey, uint64_t number) {
    const int32_t result = session.api().PutRecord(session.client(), options.stream.c_str(), partitionKey,
                                                   optionalText(options.explicitHashKey), record.data(),
                                                   static_cast<int32_t>(record.size()));
    if (result != RXK_OK) {
        ++totals.failed;
        throw session.failure("PutRecord failed for record " + std::to_string(number));
    }
    ++totals.accepted;
    totals.bytes += record.size();
}

std::string progressText(const ProduceTotals& totals) {
    char text[160];
    std::snprintf(text, sizeof text, "rxkcat: %llu sent, %llu failed, %.0f records/s",
                  static_cast<unsigned long long>(totals.accepted), static_cast<unsigned long long>(totals.failed),
                  totals.recordsPerSecond());
    return text;
}

void printSummary(const Options& options, const ProduceTotals& totals, bool interrupted) {
    if (options.quiet) return;
    std::fprintf(stderr,
                 "rxkcat: %llu records sent to stream '%s' (%llu bytes), %llu failed, in %.3f s: %.0f records/s%s\n",
                 static_cast<unsigned long long>(totals.accepted), options.stream.c_str(),
                 static_cast<unsigned long long>(totals.bytes), static_cast<unsigned long long>(totals.failed),
                 totals.seconds(), totals.recordsPerSecond(), interrupted ? " (stopped by a signal)" : "");
    if (totals.skippedOversize > 0)
        std::fprintf(stderr, "rxkcat: %llu records over %zu bytes skipped, not sent (--max-record-bytes)\n",
                     static_cast<unsigned long long>(totals.skippedOversize), options.maxRecordBytes);
    if (totals.skippedEmpty > 0)
        std::fprintf(stderr, "rxkcat: %llu empty records skipped (the service takes no empty record)\n",
                     static_cast<unsigned long long>(totals.skippedEmpty));
}

// "line 7" where records are lines, else "record 7".
std::string recordLabel(const Options& options, uint64_t number) {
    return (options.inputDelimiter == "\n" ? "line " : "record ") + std::to_string(number);
}

// With -K the record's key is what precedes the first key delimiter (none there: the record
// is all data, under -k or a random key); `record` keeps the data.
std::optional<std::string> takeKey(const Options& options, std::string& record) {
    if (!options.keyDelimiter) return options.partitionKey;
    const size_t at = record.find(*options.keyDelimiter);
    if (at == std::string::npos) return options.partitionKey;
    std::string key = record.substr(0, at);
    record.erase(0, at + options.keyDelimiter->size());
    if (key.empty()) return options.partitionKey;  // the service takes no empty key
    return key;
}

}  // namespace

ExitStatus runProduce(Session& session, const Options& options) {
    ProduceTotals totals;
    RecordReader reader(options.inputFiles, options.inputDelimiter);
    ProgressLine progress(options.progress);
    bool interrupted = false;
    try {
        std::optional<BatchSender> batches;
        if (!options.singlePut) batches.emplace(session, options, totals);
        std::string record;
        uint64_t number = 0;
        uint64_t taken = 0;
        while (!options.recordLimit || taken < static_cast<uint64_t>(*options.recordLimit)) {
            const RecordReader::Status status = reader.next(record);
            if (status == RecordReader::Status::Idle) {
                if (batches) batches->send();  // a quiet input doesn't hold records back
                continue;
            }
            if (status != RecordReader::Status::Record) {
                interrupted = status == RecordReader::Status::Stopped;
                break;
            }
            ++number;
            const std::optional<std::string> key = takeKey(options, record);
            if (record.empty()) {
                ++totals.skippedEmpty;
                continue;
            }
            if (record.size() > options.maxRecordBytes) {
                ++totals.skippedOversize;
                std::fprintf(stderr, "rxkcat: %s skipped: %zu bytes exceed the record limit of %zu bytes\n",
                             recordLabel(options, number).c_str(), record.size(), options.maxRecordBytes);
                continue;
            }
            ++taken;
            const char* partitionKey = key ? key->c_str() : nullptr;
            if (batches)
                batches->add(record, partitionKey, number);
            else
                putSingle(session, options, totals, record, partitionKey, number);
            progress.update([&] { return progressText(totals); });
        }
        if (batches) batches->send();
    } catch (const ToolError&) {
        progress.finish();
        printSummary(options, totals, interrupted);
        throw;
    }
    progress.finish();
    printSummary(options, totals, interrupted);
    return totals.failed > 0 || totals.skippedOversize > 0 ? kExitPartialFailure : kExitOk;
}

}  // namespace rxkcat
