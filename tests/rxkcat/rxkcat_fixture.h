// What the rxkcat tests share: the emulator behind every run, the environment a user would set
// (region, keys, endpoint), and helpers to produce and read back through rxkcat itself.
#pragma once

#include "kinesalite.h"
#include "library.h"
#include "rxkcat_process.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace rxk::test {

// Exit statuses rxkcat documents.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitPartialFailure = 3;

// "exit 1, out: ..., err: ..." for assertion messages.
std::string describe(const RunResult& result);

// Splits at `separator`; a trailing separator makes no empty last field.
std::vector<std::string> splitFields(const std::string& text, char separator);

class RxkcatTest : public ::testing::Test {
protected:
    void SetUp() override;

    static Kinesalite& emulator() { return sharedKinesalite(); }

    // Region, keys and library, as a user's shell would hold them; the endpoint comes from the
    // ServiceEnvironment set up for the emulator.
    std::vector<std::string> userEnvironment() const;

    RunResult rxkcat(const std::vector<std::string>& arguments, const std::string& input = {}) const;

    // Starts rxkcat without waiting for it.
    std::unique_ptr<RxkcatProcess> start(const std::vector<std::string>& arguments) const;

    // Produces `input` with -P into `stream` (extra arguments appended) and expects success.
    void produce(const std::string& stream, const std::string& input, const std::vector<std::string>& extra = {}) const;

    // Everything in the stream, through rxkcat -C -e with `format` (extra arguments appended).
    std::string consumeAll(const std::string& stream, const std::string& format = "%s\\n",
                           const std::vector<std::string>& extra = {}) const;

    // A fresh stream on the emulator.
    std::string newStream(int shards = 1) const { return emulator().createUniqueStream("rxkcat", shards); }

private:
    std::unique_ptr<ServiceEnvironment> service_;
};

}  // namespace rxk::test
