// A scriptable Kinesis JSON 1.1 server on 127.0.0.1 for the failures an emulator never shows:
// throttling, partial batch failures, server errors, broken or silent connections, raw HTTP.
// The rxkfault tool serves it as a process; the library's fuzz targets embed it.
//
// Per request the server records what came, then answers from, in this order: the operation's
// queue of one-shot replies, the operation's handler, the catch-all handler, the canned answers
// (if enabled), and last a tiny valid Kinesis (PutRecord/PutRecords succeed, reading gives
// empty batches, CreateStream/DescribeStream/ListStreams keep a list of streams).
//
// It speaks HTTP/1.1 on its own sockets rather than through an HTTP library, because its faults
// need every byte under control: dropping a connection mid-answer, wrong framing, silence.
#pragma once

#include "replies.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace rxkfault {

class FaultServer {
public:
    using Handler = std::function<Reply(const RecordedRequest&)>;

    // Prebuilt answers for benchmarks: PutRecords all succeed, GetRecords gives a batch of
    // recordsPerGet records of recordBytes bytes each; nothing is recorded but counts.
    // With batchesPerIterator > 0 a shard runs dry after that many batches: the iterators are
    // "canned-<k>", and GetRecords for k >= batchesPerIterator answers an empty batch.
    struct CannedAnswers {
        int recordsPerGet = 10;
        int recordBytes = 100;
        int batchesPerIterator = 0;
    };

    // Listens at once on 127.0.0.1:port (0: a free port).
    explicit FaultServer(int port = 0);
    ~FaultServer();  // stop()
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    int port() const;
    std::string endpoint() const;  // "http://127.0.0.1:<port>"

    // ---- scripting (any thread, any time) ----
    // Answers the next request of `operation` with `reply`, once; replies queue up in order.
    void enqueue(const std::string& operation, Reply reply);
    // Answers every request of `operation` that finds its queue empty.
    void setHandler(const std::string& operation, Handler handler);
    // Answers every request that no queue or operation handler took.
    void setCatchAllHandler(Handler handler);
    // Forgets queues and handlers (not the recorded requests, nor the streams).
    void resetScript();
    // Switches on the canned answers (and stops recording request contents).
    void useCannedAnswers(CannedAnswers answers);
    // Switches the canned answers off again (recording stays as it is).
    void stopCannedAnswers();
    // A stream the built-in DescribeStream/ListStreams know of.
    void addStream(const std::string& name, int shardCount, int shardsPerPage = 100,
                   const std::string& status = "ACTIVE");
    // Forgets every stream, the scripted ones and those CreateStream made.
    void forgetStreams();
    // Requests whose path starts with `pathPrefix` go to `handler` instead: they are neither
    // recorded nor counted, and no script answers them (the tool's control requests).
    void setControlHandler(std::string pathPrefix, Handler handler);

    // ---- what came ----
    std::vector<RecordedRequest> requests() const;
    std::vector<RecordedRequest> requests(const std::string& operation) const;
    // The latest request of `operation`; throws std::runtime_error if none came.
    RecordedRequest lastRequest(const std::string& operation) const;
    int requestCount() const;                              // since the last clearRequests()
    int requestCount(const std::string& operation) const;  // since the last clearRequests()
    long totalRequestCount() const;                        // since the server started
    std::map<std::string, int> requestCounts() const;      // per operation, since clearRequests()
    // Waits (bounded) until `count` requests of `operation` came; true if they did.
    bool waitForRequests(const std::string& operation, int count, Millis timeout) const;
    int connectionCount() const;  // TCP connections accepted so far
    int kinesisConnectionCount() const;  // of those, the ones that carried a request (not control)
    // Forgets the recorded requests and restarts the counters.
    void clearRequests();
    // Restarts the attempt counters only: the next request of each operation is attempt 1.
    void restartAttempts();
    // Records contents (headers, bodies) or only counts; on by default.
    void setRecording(bool recordContents);

    // The answer the server gives when nothing is scripted (for handlers that delegate).
    Reply builtInReply(const RecordedRequest& request);

    // Closes the listener and every connection and joins the threads; idempotent.
    void stop();

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

// ---- handlers for common scripts ----

// PutRecords: on attempt k (see RecordedRequest::attempt) the positions failedByAttempt[k]
// fail with errorCode; every other attempt succeeds entirely.
FaultServer::Handler failPutRecordsPositions(
    std::map<int, std::set<int>> failedByAttempt,
    std::string errorCode = "ProvisionedThroughputExceededException",
    std::string errorMessage = "Rate exceeded for shard shardId-000000000000.");

// DescribeStream of a stream with shardCount shards, shardsPerPage per answer.
FaultServer::Handler pagedDescribeStream(std::string stream, int shardCount, int shardsPerPage);

// Gives `reply` to the attempts listed, and lets `fallback` answer the others, e.g.
// [&server](const RecordedRequest& r) { return server.builtInReply(r); }.
FaultServer::Handler onAttempts(std::set<int> attempts, Reply reply, FaultServer::Handler fallback);

}  // namespace rxkfault

// The library's tests have always named these rxk::test::FaultServer and so on.
namespace rxk::test {
using namespace ::rxkfault;
}  // namespace rxk::test
