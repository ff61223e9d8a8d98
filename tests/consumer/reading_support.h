// What the reading tests share: the connector loaded once per test process with both log sinks
// captured, clients bound to one endpoint, records seeded straight into the emulator, and
// reads through the exports into guarded buffers.
#pragma once

#include "fault_server.h"
#include "kinesalite.h"
#include "library.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rxk::test {

// The library, loaded and initialised once; its sinks feed LogCapture.
Library& connector();

// A client of the library whose requests go to `endpoint`; freed at the end of the scope.
class Client {
public:
    explicit Client(const std::string& endpoint,
                    ServiceEnvironment::SdkRetries retries = ServiceEnvironment::SdkRetries::Default);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    std::int32_t id() const { return id_; }
    std::string lastError() const;

private:
    std::int32_t id_ = -1;
};

// Writes records to a one-shard stream of the emulator in one or more PutRecords calls, in
// order; returns their sequence numbers. Throws on any failure.
std::vector<std::string> putRecords(const Kinesalite& kinesalite, const std::string& stream,
                                    const std::vector<std::string>& data);

// What one GetRecordFromIterator gave.
struct ReadResult {
    std::int32_t result = 0;
    std::string sequenceNumber;  // as text, up to its NUL
    std::string text;            // data as text, up to its NUL
    std::int32_t length = 0;
    bool guardsIntact = true;    // nothing written past text + NUL, nor past the sequence's NUL
    bool buffersUntouched = false;
};

// GetRecordFromIterator into buffers filled with a guard byte, then checked.
ReadResult readRecord(std::int32_t client, const std::string& stream, const std::string& shard);

// Every line the log sink received since the last LogCapture::reset().
std::vector<std::string> logTexts();

// Lines of a test-made stream are printed with the client id: "id:<id> KinesisEnv::...".
std::string clientLine(std::int32_t client, const std::string& rest);

constexpr const char* kShard0 = "shardId-000000000000";

}  // namespace rxk::test
