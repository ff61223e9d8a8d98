// The Kinesis emulator (kinesalite, from node_modules) as a child process on a free loopback
// port, for tests that want a real stream behind the library.
#pragma once

#include "child_process.h"
#include "http_client.h"

#include <string>
#include <vector>

namespace rxk::test {

// POSTs `body` as Kinesis_20131202.<operation>, as an unsigned client would (the emulator only
// wants the signing headers present): the emulator's own view.
HttpResponse kinesisPost(const std::string& endpoint, const std::string& operation, const std::string& body);

class Kinesalite {
public:
    // Starts the emulator and waits until it listens (bounded); throws std::runtime_error with
    // the reason (node or kinesalite missing: run `npm ci`; no port in time; early exit).
    Kinesalite();

    std::string endpoint() const;  // "http://127.0.0.1:<port>"

    // One Kinesis call to the emulator.
    HttpResponse call(const std::string& operation, const std::string& jsonBody) const { return kinesisPost(endpoint(), operation, jsonBody); }

    // Creates a stream and waits (bounded) until it is ACTIVE; throws on failure.
    void createStream(const std::string& name, int shardCount = 1) const;
    // createStream under a fresh uniqueStreamName(prefix); returns the name.
    std::string createUniqueStream(const std::string& prefix = "rxk", int shardCount = 1) const;
    std::vector<std::string> shardIds(const std::string& stream) const;

    // Writes one record straight to the emulator (not through the library) and returns its
    // sequence number; throws on failure.
    std::string putRecord(const std::string& stream, const std::string& data, const std::string& partitionKey = "pk") const;

private:
    PortProcess process_;
};

// One emulator per test binary, started on first use and stopped at exit, so each binary pays
// the start-up once. Streams from different tests stay apart through uniqueStreamName.
// Call it first from the main thread: the emulator is tied to the thread that starts it
// (PR_SET_PDEATHSIG).
Kinesalite& sharedKinesalite();

// A stream name no other test of this process uses: <prefix>-<pid>-<counter>.
std::string uniqueStreamName(const std::string& prefix = "rxk");

}  // namespace rxk::test
