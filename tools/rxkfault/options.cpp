#include "options.h"

#include <cstdlib>
#include <cstring>

namespace rxkfault {

namespace {

constexpr long kMaxPort = 65535;
constexpr long kMaxCount = 1L << 30;

long number(const std::string& option, const char* value, long high) {
    char* end = nullptr;
    const long parsed = std::strtol(value, &end, 10);
    if (*value == '\0' || *end != '\0' || parsed < 0 || parsed > high)
        throw UsageError(option + " needs a whole number 0.." + std::to_string(high) + ", not \"" + value + "\"");
    return parsed;
}

// The options that take a value; false if `option` is none of them.
bool takeValue(Options& options, const std::string& option, const char* value) {
    if (option == "--port") options.port = static_cast<int>(number(option, value, kMaxPort));
    else if (option == "--script") options.scriptFile = value;
    else if (option == "--port-file") options.portFile = value;
    else if (option == "--records-per-get") options.cannedAnswers.recordsPerGet = static_cast<int>(number(option, value, 10000));
    else if (option == "--record-bytes") options.cannedAnswers.recordBytes = static_cast<int>(number(option, value, 1 << 20));
    else if (option == "--batches-per-iterator")
        options.cannedAnswers.batchesPerIterator = static_cast<int>(number(option, value, kMaxCount));
    else return false;
    return true;
}

bool isCannedShape(const std::string& option) {
    return option == "--records-per-get" || option == "--record-bytes" || option == "--batches-per-iterator";
}

}  // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    bool cannedShapeGiven = false;
    for (int i = 1; i < argc; ++i) {
        std::string option = argv[i];
        const char* value = nullptr;
        const auto equals = option.find('=');
        if (option.compare(0, 2, "--") == 0 && equals != std::string::npos) {  // --port=8000
            value = argv[i] + equals + 1;
            option.resize(equals);
        }
        if (option == "--help" || option == "-h") {
            options.help = true;
        } else if (option == "--canned") {
            options.canned = true;
        } else {
            if (value == nullptr && i + 1 < argc) value = argv[++i];
            if (value == nullptr) value = "";
            if (!takeValue(options, option, value)) throw UsageError("unknown option " + option);
            if (value[0] == '\0' && (option == "--script" || option == "--port-file"))
                throw UsageError(option + " needs a file name");
            cannedShapeGiven = cannedShapeGiven || isCannedShape(option);
        }
    }
    if (cannedShapeGiven && !options.canned)
        throw UsageError("--records-per-get, --record-bytes and --batches-per-iterator shape --canned answers: add --canned");
    return options;
}

}  // namespace rxkfault
