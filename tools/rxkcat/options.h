// The command line of rxkcat, parsed and checked into one Options value.
#pragma once

#include "record_format.h"
#include "record_limits.h"
#include "rxkinesis.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rxkcat {

enum class Mode { None, List, Produce, Consume, GetRecord, CreateStream, Probe, Help, Version };

enum class ProgressDisplay { WhenTerminal, Always, Never };

// Where a reading starts: a type code of StartShardIterator and its value.
struct StartPosition {
    int type = 4;          // RXK_TRIM_HORIZON
    std::string value;     // sequence number or timestamp text, empty for the ends
    bool needsShard() const;  // a sequence number belongs to one shard
};

struct Options {
    Mode mode = Mode::None;
    std::string stream;
    std::string shard;

    // Producing.
    std::optional<std::string> partitionKey;
    std::optional<std::string> explicitHashKey;
    std::string inputDelimiter = "\n";
    int batchSize = 0;  // 0: the mode's default
    bool singlePut = false;
    std::vector<std::string> inputFiles;  // empty: standard input
    std::optional<std::string> keyDelimiter;  // -K: "key DELIM data" per record (-P), printed so (-C)
    size_t maxRecordBytes = kDefaultRecordLimitBytes;  // larger records are skipped, never sent
    ProgressDisplay progress = ProgressDisplay::WhenTerminal;

    // Consuming and reading.
    StartPosition start;
    RecordFormat format;
    bool formatGiven = false;  // -f or -J
    bool raw = false;  // --raw: aggregated records stay whole
    std::optional<int64_t> recordLimit;
    bool exitAtEnd = false;
    std::string sequenceNumber;

    // Creating.
    int shardCount = 1;
    bool waitForStream = true;

    // Probing.
    std::string probeWord;

    // Client and library.
    std::vector<std::pair<std::string, std::string>> parameters;  // -X key=value, in order
    std::string region;       // empty with the chain: the library resolves it
    std::string accessKeyId;  // from the command line only; both empty: the default chain
    std::string secretKey;
    std::string profile;      // --profile: becomes AWS_PROFILE, and wins over keys in the environment
    std::string endpoint;
    std::string libraryPath;
    int verbosity = 0;
    bool quiet = false;
};

// Default batch sizes: records per PutRecords, records per GetRecords.
constexpr int kDefaultProduceBatch = RXK_DEFAULT_MAX_PUT_ROWS;
constexpr int kDefaultFetchLimit = 10000;
constexpr int kMaxFetchLimit = 10000;

// Parses argv; throws UsageError naming the flag at fault. Reads the environment for the
// region where the command line gives none.
Options parseCommandLine(int argc, char** argv);

int effectiveBatchSize(const Options& options);

// True when no key is given on the command line: the library then takes its credentials from
// the SDK's default chain (environment, profiles, roles, container, instance metadata).
bool usesCredentialsChain(const Options& options);

}  // namespace rxkcat
