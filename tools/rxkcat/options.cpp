#include "options.h"

#include "escapes.h"
#include "record_limits.h"
#include "tool_error.h"

#include <getopt.h>
#include <strings.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace rxkcat {
namespace {

// Long-only options get codes above the byte range.
enum LongOnly : int {
    kAccessKey = 1000,
    kSecretKey,
    kProfile,
    kEndpoint,
    kProgress,
    kNoProgress,
    kNoWait,
    kQuiet,
    kRaw,
    kMaxRecord,
};

constexpr char kShortOptions[] = ":LPCGNZ:s:p:k:K:H:D:b:1o:f:Jc:eq:n:X:r:l:vhV";

const struct option kLongOptions[] = {
    {"list", no_argument, nullptr, 'L'},
    {"produce", no_argument, nullptr, 'P'},
    {"consume", no_argument, nullptr, 'C'},
    {"get", no_argument, nullptr, 'G'},
    {"create", no_argument, nullptr, 'N'},
    {"probe", required_argument, nullptr, 'Z'},
    {"stream", required_argument, nullptr, 's'},
    {"shard", required_argument, nullptr, 'p'},
    {"key", required_argument, nullptr, 'k'},
    {"key-delimiter", required_argument, nullptr, 'K'},
    {"max-record-bytes", required_argument, nullptr, kMaxRecord},
    {"hash-key", required_argument, nullptr, 'H'},
    {"delimiter", required_argument, nullptr, 'D'},
    {"batch", required_argument, nullptr, 'b'},
    {"single", no_argument, nullptr, '1'},
    {"offset", required_argument, nullptr, 'o'},
    {"format", required_argument, nullptr, 'f'},
    {"json", no_argument, nullptr, 'J'},
    {"raw", no_argument, nullptr, kRaw},
    {"count", required_argument, nullptr, 'c'},
    {"exit", no_argument, nullptr, 'e'},
    {"sequence", required_argument, nullptr, 'q'},
    {"shards", required_argument, nullptr, 'n'},
    {"set", required_argument, nullptr, 'X'},
    {"region", required_argument, nullptr, 'r'},
    {"library", required_argument, nullptr, 'l'},
    {"verbose", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {"access-key", required_argument, nullptr, kAccessKey},
    {"secret-key", required_argument, nullptr, kSecretKey},
    {"profile", required_argument, nullptr, kProfile},
    {"endpoint", required_argument, nullptr, kEndpoint},
    {"progress", no_argument, nullptr, kProgress},
    {"no-progress", no_argument, nullptr, kNoProgress},
    {"no-wait", no_argument, nullptr, kNoWait},
    {"quiet", no_argument, nullptr, kQuiet},
    {nullptr, 0, nullptr, 0},
};

// The name of an option as the user may have typed it, for error messages.
std::string flagName(int code) {
    for (const struct option* entry = kLongOptions; entry->name; ++entry) {
        if (entry->val != code) continue;
        if (code < 256) return std::string("-") + static_cast<char>(code) + "/--" + entry->name;
        return std::string("--") + entry->name;
    }
    return code < 256 ? std::string("-") + static_cast<char>(code) : std::string("?");
}

int64_t parseWholeNumber(const char* text, int code, int64_t lowest, int64_t highest) {
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || value < lowest || value > highest) {
        throw UsageError(flagName(code) + " needs a whole number from " + std::to_string(lowest) +
                         " to " + std::to_string(highest) + ", got '" + text + "'");
    }
    return value;
}

bool allDigits(const std::string& text) {
    if (text.empty()) return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

bool digitsAt(const std::string& text, size_t position, size_t count) {
    return position + count <= text.size() && allDigits(text.substr(position, count));
}

// Accepts YYYY-MM-DDTHH:MM:SS[.fraction]Z and returns the form the library parses (the
// fraction padded to three digits): other forms would silently read from 1970.
std::string normalizeTimestamp(const std::string& text) {
    const std::string bad = "-o ts: needs a UTC time like 2026-01-01T00:00:00Z or "
                            "2026-01-01T00:00:00.250Z, got '" + text + "'";
    if (text.size() < 20 || !digitsAt(text, 0, 4) || text[4] != '-' || !digitsAt(text, 5, 2) ||
        text[7] != '-' || !digitsAt(text, 8, 2) || text[10] != 'T' || !digitsAt(text, 11, 2) ||
        text[13] != ':' || !digitsAt(text, 14, 2) || text[16] != ':' || !digitsAt(text, 17, 2) ||
        text.back() != 'Z') {
        throw UsageError(bad);
    }
    if (text.size() == 20) return text;
    if (text[19] != '.') throw UsageError(bad);
    std::string fraction = text.substr(20, text.size() - 21);
    if (fraction.empty() || fraction.size() > 9 || !allDigits(fraction)) throw UsageError(bad);
    while (fraction.size() < 3) fraction += '0';
    return text.substr(0, 20) + fraction + "Z";
}

StartPosition parseStartPosition(const std::string& text) {
    StartPosition position;
    auto valueAfter = [&](const char* prefix) -> std::optional<std::string> {
        const size_t length = std::strlen(prefix);
        if (text.compare(0, length, prefix) != 0) return std::nullopt;
        return text.substr(length);
    };
    if (text == "beginning") {
        position.type = 4;  // RXK_TRIM_HORIZON
    } else if (text == "end") {
        position.type = 5;  // RXK_LATEST
    } else if (auto at = valueAfter("at:")) {
        position.type = 1;  // RXK_AT_SEQUENCE_NUMBER
        position.value = *at;
    } else if (auto after = valueAfter("after:")) {
        position.type = 2;  // RXK_AFTER_SEQUENCE_NUMBER
        position.value = *after;
    } else if (auto time = valueAfter("ts:")) {
        position.type = 3;  // RXK_AT_TIMESTAMP
        position.value = normalizeTimestamp(*time);
    } else {
        throw UsageError("-o/--offset: unknown position '" + text +
                         "' (use beginning, end, at:SEQ, after:SEQ or ts:2026-01-01T00:00:00Z)");
    }
    if ((position.type == 1 || position.type == 2) && !allDigits(position.value))
        throw UsageError("-o/--offset: a sequence number is digits only, got '" + position.value + "'");
    return position;
}

// The library reads numbers like atoi ("abc" is 0, which for retry means 1000 attempts): a
// value its key can't take is refused here, naming the key.
constexpr const char* kNumericParameters[] = {"retry", "retryattemptshow", "maxputrow", "maxputlen"};

void checkParameterValue(const std::string& key, const std::string& value) {
    for (const char* numeric : kNumericParameters) {
        if (strcasecmp(key.c_str(), numeric) != 0) continue;
        errno = 0;
        char* end = nullptr;
        const long long number = std::strtoll(value.c_str(), &end, 10);
        if (value.empty() || errno != 0 || *end != '\0' || number < INT32_MIN || number > INT32_MAX)
            throw UsageError("-X " + key + " needs a whole number, got '" + value + "'");
    }
}

std::pair<std::string, std::string> parseParameter(const std::string& text) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw UsageError("-X/--set needs key=value (e.g. -X retry=3), got '" + text + "'");
    std::pair<std::string, std::string> parameter{text.substr(0, equals), text.substr(equals + 1)};
    checkParameterValue(parameter.first, parameter.second);
    return parameter;
}

void setMode(Options& options, Mode mode, int code) {
    if (options.mode == Mode::Help || options.mode == Mode::Version) return;  // they win over modes
    if (options.mode != Mode::None && options.mode != mode)
        throw UsageError(flagName(code) + ": only one mode at a time (-L, -P, -C, -G, -N or -Z)");
    options.mode = mode;
}

std::string firstEnvironment(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        const char* value = std::getenv(name);
        if (value && *value) return value;
    }
    return {};
}

void applyOption(Options& options, int code, const char* argument) {
    switch (code) {
    case 'L': setMode(options, Mode::List, code); break;
    case 'P': setMode(options, Mode::Produce, code); break;
    case 'C': setMode(options, Mode::Consume, code); break;
    case 'G': setMode(options, Mode::GetRecord, code); break;
    case 'N': setMode(options, Mode::CreateStream, code); break;
    case 'Z':
        setMode(options, Mode::Probe, code);
        options.probeWord = argument;
        break;
    case 'h': options.mode = Mode::Help; break;
    case 'V':
        if (options.mode != Mode::Help) options.mode = Mode::Version;
        break;
    case 's': options.stream = argument; break;
    case 'p': options.shard = argument; break;
    case 'k': options.partitionKey = std::string(argument); break;
    case 'K':
        options.keyDelimiter = decodeEscapes(argument, flagName(code));
        if (options.keyDelimiter->empty()) throw UsageError(flagName(code) + " needs at least one byte");
        break;
    case kMaxRecord:
        options.maxRecordBytes = static_cast<size_t>(parseWholeNumber(argument, code, 1, kMaxRecordBytes));
        break;
    case 'H': options.explicitHashKey = std::string(argument); break;
    case 'D':
        options.inputDelimiter = decodeEscapes(argument, flagName(code));
        if (options.inputDelimiter.empty()) throw UsageError(flagName(code) + " needs at least one byte");
        break;
    case 'b': options.batchSize = static_cast<int>(parseWholeNumber(argument, code, 1, kMaxFetchLimit)); break;
    case '1': options.singlePut = true; break;
    case 'o': options.start = parseStartPosition(argument); break;
    case 'f':
        options.format = RecordFormat::parse(argument);
        options.formatGiven = true;
        break;
    case 'J':
        options.format = RecordFormat::json();
        options.formatGiven = true;
        break;
    case kRaw: options.raw = true; break;
    case 'c': options.recordLimit = parseWholeNumber(argument, code, 1, INT64_MAX); break;
    case 'e': options.exitAtEnd = true; break;
    case 'q': options.sequenceNumber = argument; break;
    case 'n': options.shardCount = static_cast<int>(parseWholeNumber(argument, code, 1, INT32_MAX)); break;
    case 'X': options.parameters.push_back(parseParameter(argument)); break;
    case 'r': options.region = argument; break;
    case 'l': options.libraryPath = argument; break;
    case 'v': ++options.verbosity; break;
    case kAccessKey: options.accessKeyId = argument; break;
    case kSecretKey: options.secretKey = argument; break;
    case kProfile: options.profile = argument; break;
    case kEndpoint: options.endpoint = argument; break;
    case kProgress: options.progress = ProgressDisplay::Always; break;
    case kNoProgress: options.progress = ProgressDisplay::Never; break;
    case kNoWait: options.waitForStream = false; break;
    case kQuiet: options.quiet = true; break;
    default: throw UsageError("unhandled option " + flagName(code));
    }
}

void requireStream(const Options& options, const char* modeFlag) {
    if (options.stream.empty())
        throw UsageError(std::string(modeFlag) + " needs a stream: add -s STREAM");
}

void checkModeArguments(const Options& options, const std::vector<std::string>& operands) {
    if (options.mode != Mode::Produce && !operands.empty())
        throw UsageError("unexpected argument '" + operands.front() +
                         "' (only -P reads files named on the command line)");
    switch (options.mode) {
    case Mode::None:
        throw UsageError("no mode given: use -L (list), -P (produce), -C (consume), -G (get one record), "
                         "-N (create a stream) or -Z WORD (exception probe)");
    case Mode::List:
        if (!options.shard.empty() && options.stream.empty())
            throw UsageError("-L with -p SHARD needs the stream too: add -s STREAM");
        break;
    case Mode::Produce:
        requireStream(options, "-P");
        if (options.singlePut && options.batchSize != 0)
            throw UsageError("-1 (one PutRecord per record) and -b (batch size) exclude each other");
        break;
    case Mode::Consume:
        requireStream(options, "-C");
        if (options.start.needsShard() && options.shard.empty())
            throw UsageError("-o at:/after: needs -p SHARD: a sequence number belongs to one shard");
        break;
    case Mode::GetRecord:
        requireStream(options, "-G");
        if (options.shard.empty()) throw UsageError("-G needs the shard of the record: add -p SHARD");
        if (options.sequenceNumber.empty()) throw UsageError("-G needs a sequence number: add -q SEQ");
        break;
    case Mode::CreateStream: requireStream(options, "-N"); break;
    case Mode::Probe:
        if (options.probeWord.empty()) throw UsageError("-Z needs a word, e.g. -Z exception7");
        break;
    case Mode::Help:
    case Mode::Version: break;
    }
}

// The keys are not read here: without keys on the command line the library's chain reads
// AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY and AWS_SESSION_TOKEN itself, as the AWS CLI does.
void fillFromEnvironment(Options& options) {
    if (options.region.empty()) options.region = firstEnvironment({"AWS_REGION", "AWS_DEFAULT_REGION"});
}

void checkClientSettings(const Options& options) {
    if (options.mode == Mode::Help || options.mode == Mode::Version) return;
    if (options.accessKeyId.empty() != options.secretKey.empty())
        throw UsageError("--access-key and --secret-key go together; give neither to use the environment "
                         "or a profile");
    if (!options.profile.empty() && !usesCredentialsChain(options))
        throw UsageError("--profile and --access-key/--secret-key exclude each other");
    if (options.region.empty() && !usesCredentialsChain(options))
        throw UsageError("no region: give -r REGION or set AWS_REGION");
}

}  // namespace

bool StartPosition::needsShard() const { return type == 1 || type == 2; }

bool usesCredentialsChain(const Options& options) {
    return options.accessKeyId.empty() && options.secretKey.empty();
}

int effectiveBatchSize(const Options& options) {
    if (options.batchSize > 0) return options.batchSize;
    return options.mode == Mode::Consume ? kDefaultFetchLimit : kDefaultProduceBatch;
}

Options parseCommandLine(int argc, char** argv) {
    Options options;
    opterr = 0;  // the messages below name the flag and what to try instead
    optind = 1;
    int code;
    int longIndex = -1;
    while ((code = getopt_long(argc, argv, kShortOptions, kLongOptions, &longIndex)) != -1) {
        const char* typed = argv[optind - 1];
        if (code == '?') {
            if (optopt != 0 && optopt < 256) throw UsageError(std::string("unknown option '-") + static_cast<char>(optopt) + "'");
            throw UsageError(std::string("unknown option '") + typed + "'");
        }
        if (code == ':') {
            const std::string name = optopt != 0 ? flagName(optopt) : std::string(typed);
            throw UsageError(name + " needs a value");
        }
        applyOption(options, code, optarg);
    }
    std::vector<std::string> operands(argv + optind, argv + argc);
    if (options.mode == Mode::Produce) options.inputFiles = operands;
    // The service requires a partition key even where an explicit hash key decides the shard.
    if (options.explicitHashKey && !options.partitionKey) options.partitionKey = options.explicitHashKey;
    if (options.mode == Mode::Help || options.mode == Mode::Version) return options;
    // kcat's -K on the consuming side: the key, the delimiter, then the data.
    if (options.keyDelimiter && !options.formatGiven) options.format = RecordFormat::keyed(*options.keyDelimiter);
    checkModeArguments(options, operands);
    fillFromEnvironment(options);
    checkClientSettings(options);
    return options;
}

}  // namespace rxkcat
