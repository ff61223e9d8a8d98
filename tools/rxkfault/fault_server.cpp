#include "fault_server.h"

#include "canned_replies.h"
#include "http_wire.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace rxkfault {

namespace {

constexpr std::string_view kTargetPrefix = "Kinesis_20131202.";

// "PutRecords" from the X-Amz-Target "Kinesis_20131202.PutRecords".
std::string operationOf(const std::string& target) {
    if (target.compare(0, kTargetPrefix.size(), kTargetPrefix) == 0) return target.substr(kTargetPrefix.size());
    return target;
}

}  // namespace

struct FaultServer::Impl {
    struct Connection {
        int fd = -1;
        int id = 0;  // given with its first request that isn't a control request
        bool open = true;
        bool finished = false;
        std::thread thread;
    };

    int listenFd = -1;
    int port = 0;
    std::thread acceptor;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;  // a request came, or the server is stopping
    bool stopping = false;
    std::list<std::unique_ptr<Connection>> connections;
    int connectionsAccepted = 0;
    int kinesisConnections = 0;

    std::map<std::string, std::deque<Reply>> queues;
    std::map<std::string, Handler> handlers;
    Handler catchAll;

    std::string controlPrefix;
    Handler control;

    std::vector<RecordedRequest> records;
    std::map<std::string, int> attempts;  // restarted by clearRequests() and restartAttempts()
    std::map<std::string, int> counts;    // restarted by clearRequests()
    int sequence = 0;
    long total = 0;
    bool recordContents = true;

    struct Stream {
        int shards = 1;
        int shardsPerPage = 100;
        std::string status = "ACTIVE";
    };
    std::map<std::string, Stream> streams;
    std::atomic<std::uint64_t> nextSequence{1};

    std::shared_ptr<CannedReplies> canned;  // null: no canned answers

    void listen(int requestedPort);
    void acceptLoop();
    void reapFinishedConnections();
    void serve(Connection* connection);
    bool isControl(const HttpRequest& http);
    Reply answerControl(HttpRequest&& http);
    RecordedRequest record(HttpRequest&& http, Connection* connection);
    Reply answer(const RecordedRequest& request);
    Reply builtIn(const RecordedRequest& request);
    Reply kinesisReply(const RecordedRequest& request);
    bool respond(Connection* connection, const Reply& reply, int sequence, bool clientCloses);
    bool pause(Millis duration);
    void stop();
};

void FaultServer::Impl::listen(int requestedPort) {
    listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd < 0) throw std::runtime_error(std::string("fault server: socket: ") + std::strerror(errno));
    const int on = 1;
    ::setsockopt(listenFd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(requestedPort));
    socklen_t length = sizeof address;
    if (::bind(listenFd, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(listenFd, 128) != 0 ||
        ::getsockname(listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        const std::string reason = std::strerror(errno);
        ::close(listenFd);
        listenFd = -1;
        throw std::runtime_error("fault server: cannot listen on 127.0.0.1:" + std::to_string(requestedPort) +
                                 ": " + reason);
    }
    port = ntohs(address.sin_port);
    acceptor = std::thread(&Impl::acceptLoop, this);
}

void FaultServer::Impl::acceptLoop() {
    for (;;) {
        const int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        const int acceptError = errno;
        std::unique_lock<std::mutex> lock(mutex);
        if (stopping) {
            if (fd >= 0) ::close(fd);
            return;
        }
        if (fd < 0) {
            // Out of descriptors or an aborted handshake: the listener is still fine, try again.
            lock.unlock();
            if (acceptError != EINTR && acceptError != ECONNABORTED)
                std::this_thread::sleep_for(Millis(1));
            continue;
        }
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        reapFinishedConnections();
        auto connection = std::make_unique<Connection>();
        connection->fd = fd;
        ++connectionsAccepted;
        connection->thread = std::thread(&Impl::serve, this, connection.get());
        connections.push_back(std::move(connection));
    }
}

// Called with the mutex held; a finished thread has left serve() except for its return.
void FaultServer::Impl::reapFinishedConnections() {
    for (auto it = connections.begin(); it != connections.end();) {
        if ((*it)->finished) {
            (*it)->thread.join();
            it = connections.erase(it);
        } else {
            ++it;
        }
    }
}

void FaultServer::Impl::serve(Connection* connection) {
    RequestReader reader(connection->fd);
    HttpRequest http;
    while (reader.read(http)) {
        const bool clientCloses =
            lowerCase(http.header("connection")) == "close" || http.version == "HTTP/1.0";
        if (isControl(http)) {
            if (!respond(connection, answerControl(std::move(http)), 0, clientCloses)) break;
            continue;
        }
        const RecordedRequest request = record(std::move(http), connection);
        const Reply reply = answer(request);
        if (!respond(connection, reply, request.sequence, clientCloses)) break;
    }
    // Only this thread closes the descriptor, so stop() never shuts down a reused number.
    std::lock_guard<std::mutex> lock(mutex);
    ::close(connection->fd);
    connection->open = false;
    connection->finished = true;
}

bool FaultServer::Impl::isControl(const HttpRequest& http) {
    std::lock_guard<std::mutex> lock(mutex);
    return control && http.path.compare(0, controlPrefix.size(), controlPrefix) == 0;
}

Reply FaultServer::Impl::answerControl(HttpRequest&& http) {
    RecordedRequest request;
    request.method = std::move(http.method);
    request.path = std::move(http.path);
    request.headers = std::move(http.headers);
    request.body = std::move(http.body);
    request.arrival = std::chrono::steady_clock::now();
    Handler handler;
    {
        std::lock_guard<std::mutex> lock(mutex);
        handler = control;
    }
    try {
        return handler(request);
    } catch (const std::exception& e) {
        return Reply::error(500, "ControlRequestFailure", e.what());
    }
}

RecordedRequest FaultServer::Impl::record(HttpRequest&& http, Connection* connection) {
    RecordedRequest request;
    request.operation = operationOf(http.header("x-amz-target"));
    request.method = std::move(http.method);
    request.path = std::move(http.path);
    request.headers = std::move(http.headers);
    request.body = std::move(http.body);
    request.arrival = std::chrono::steady_clock::now();
    {
        std::lock_guard<std::mutex> lock(mutex);
        // Numbered in the order they carried a request, so control connections leave no gaps.
        if (connection->id == 0) connection->id = ++kinesisConnections;
        request.connection = connection->id;
        request.sequence = ++sequence;
        request.attempt = ++attempts[request.operation];
        ++counts[request.operation];
        ++total;
        if (recordContents) records.push_back(request);
    }
    changed.notify_all();
    return request;
}

Reply FaultServer::Impl::answer(const RecordedRequest& request) {
    Handler handler;
    {
        std::lock_guard<std::mutex> lock(mutex);
        const auto queue = queues.find(request.operation);
        if (queue != queues.end() && !queue->second.empty()) {
            Reply reply = std::move(queue->second.front());
            queue->second.pop_front();
            return reply;
        }
        const auto it = handlers.find(request.operation);
        handler = it != handlers.end() ? it->second : catchAll;
    }
    // Handlers run unlocked: they may ask the server what came so far. A throwing handler must
    // not end the process from a server thread; the client sees a 500 and the reason.
    try {
        return handler ? handler(request) : builtIn(request);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "fault server: the %s handler threw: %s\n", request.operation.c_str(), e.what());
        return Reply::error(500, "ScriptHandlerFailure", e.what());
    }
}

Reply FaultServer::Impl::builtIn(const RecordedRequest& request) {
    std::shared_ptr<CannedReplies> cannedReplies;
    {
        std::lock_guard<std::mutex> lock(mutex);
        cannedReplies = canned;
    }
    Reply reply;
    if (cannedReplies && cannedReplies->reply(request, reply)) return reply;
    return kinesisReply(request);
}

// A tiny valid Kinesis: enough for a client to run its happy path against.
Reply FaultServer::Impl::kinesisReply(const RecordedRequest& request) {
    const std::string& operation = request.operation;
    const std::string& body = request.body;
    if (operation == "PutRecord") return putRecordReply(shardId(0), nextSequence++);
    if (operation == "PutRecords") {
        const int count = countPutRecordsEntries(body);
        return putRecordsReply(count, {}, "", "", nextSequence.fetch_add(static_cast<std::uint64_t>(count)));
    }
    if (operation == "GetShardIterator")
        return shardIteratorReply("iterator/" + jsonString(body, "StreamName") + "/" + jsonString(body, "ShardId"));
    if (operation == "GetRecords") return getRecordsReply({}, jsonString(body, "ShardIterator"));

    std::lock_guard<std::mutex> lock(mutex);
    const std::string stream = jsonString(body, "StreamName");
    if (operation == "ListStreams") {
        std::vector<std::string> names;  // the map keeps them sorted
        for (const auto& entry : streams) names.push_back(entry.first);
        return listStreamsPage(request, names);
    }
    if (operation == "DescribeStream") {
        const auto it = streams.find(stream);
        if (it == streams.end()) return Reply::resourceNotFound(stream);
        return describeStreamPage(request, stream, it->second.shards, it->second.shardsPerPage, it->second.status);
    }
    if (operation == "CreateStream") {
        if (streams.count(stream) != 0)
            return Reply::error(400, "ResourceInUseException",
                                "Stream " + stream + " under account 000000000000 already exists.");
        streams[stream].shards = static_cast<int>(jsonInt(body, "ShardCount", 1));
        return Reply::emptyBody(200);
    }
    return Reply::error(400, "UnknownOperationException", "Unknown operation '" + operation + "'.");
}

// Sleeps unless the server stops meanwhile; true if the whole time passed.
bool FaultServer::Impl::pause(Millis duration) {
    std::unique_lock<std::mutex> lock(mutex);
    return !changed.wait_for(lock, duration, [this] { return stopping; });
}

// Sends the answer or plays the fault; true if the connection stays open for the next request.
bool FaultServer::Impl::respond(Connection* connection, const Reply& reply, int requestSequence,
                                bool clientCloses) {
    const int fd = connection->fd;
    if (reply.delay.count() > 0 && !pause(reply.delay)) return false;
    const bool closing = reply.closeAfter || clientCloses;
    // The body as framed on the wire; a copy only when it is chunked.
    std::string encoded;
    std::string_view body(reply.body);
    if (reply.chunkBytes > 0) body = encoded = chunkEncoded(reply.body, reply.chunkBytes);
    switch (reply.fault) {
    case Fault::CloseWithoutReply:
        return false;
    case Fault::ResetConnection: {
        const linger abort{1, 0};  // close() then sends RST instead of FIN
        ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
        return false;
    }
    case Fault::RawBytes:
        return sendAll(fd, reply.raw) && !closing;
    case Fault::TruncateBody: {
        sendAll(fd, responseHead(reply, requestSequence, false), body.substr(0, reply.faultAfterBodyBytes));
        return false;
    }
    case Fault::StallBody: {
        const std::size_t before = std::min(reply.faultAfterBodyBytes, body.size());
        if (!sendAll(fd, responseHead(reply, requestSequence, closing), body.substr(0, before))) return false;
        if (!pause(reply.stall)) return false;
        return sendAll(fd, body.substr(before)) && !closing;
    }
    case Fault::None:
        break;
    }
    return sendAll(fd, responseHead(reply, requestSequence, closing), body) && !closing;
}

void FaultServer::Impl::stop() {
    std::list<std::unique_ptr<Connection>> ending;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (stopping) return;
        stopping = true;
        // shutdown() wakes the threads blocked in accept() and recv(); they close their own.
        if (listenFd >= 0) ::shutdown(listenFd, SHUT_RDWR);
        for (auto& connection : connections)
            if (connection->open) ::shutdown(connection->fd, SHUT_RDWR);
    }
    changed.notify_all();
    if (acceptor.joinable()) acceptor.join();
    {
        std::lock_guard<std::mutex> lock(mutex);
        ending.swap(connections);
    }
    for (auto& connection : ending) connection->thread.join();
    if (listenFd >= 0) ::close(listenFd);
    listenFd = -1;
}

// ---- FaultServer ----

FaultServer::FaultServer(int port) : impl_(std::make_unique<Impl>()) { impl_->listen(port); }

FaultServer::~FaultServer() { stop(); }

int FaultServer::port() const { return impl_->port; }

std::string FaultServer::endpoint() const { return "http://127.0.0.1:" + std::to_string(impl_->port); }

void FaultServer::enqueue(const std::string& operation, Reply reply) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->queues[operation].push_back(std::move(reply));
}

void FaultServer::setHandler(const std::string& operation, Handler handler) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->handlers[operation] = std::move(handler);
}

void FaultServer::setCatchAllHandler(Handler handler) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->catchAll = std::move(handler);
}

void FaultServer::resetScript() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->queues.clear();
    impl_->handlers.clear();
    impl_->catchAll = nullptr;
}

void FaultServer::useCannedAnswers(CannedAnswers answers) {
    auto replies = std::make_shared<CannedReplies>(answers);  // built before the lock: it takes a while
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->canned = std::move(replies);
    impl_->recordContents = false;
}

void FaultServer::stopCannedAnswers() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->canned.reset();
}

void FaultServer::addStream(const std::string& name, int shardCount, int shardsPerPage, const std::string& status) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->streams[name] = Impl::Stream{shardCount, shardsPerPage, status};
}

void FaultServer::forgetStreams() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->streams.clear();
}

void FaultServer::setControlHandler(std::string pathPrefix, Handler handler) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->controlPrefix = std::move(pathPrefix);
    impl_->control = std::move(handler);
}

std::vector<RecordedRequest> FaultServer::requests() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->records;
}

std::vector<RecordedRequest> FaultServer::requests(const std::string& operation) const {
    std::vector<RecordedRequest> matching;
    std::lock_guard<std::mutex> lock(impl_->mutex);
    for (const auto& request : impl_->records)
        if (request.operation == operation) matching.push_back(request);
    return matching;
}

RecordedRequest FaultServer::lastRequest(const std::string& operation) const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    for (auto it = impl_->records.rbegin(); it != impl_->records.rend(); ++it)
        if (it->operation == operation) return *it;
    throw std::runtime_error("fault server: no " + operation + " request was recorded");
}

int FaultServer::requestCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->sequence;
}

int FaultServer::requestCount(const std::string& operation) const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    const auto it = impl_->counts.find(operation);
    return it == impl_->counts.end() ? 0 : it->second;
}

std::map<std::string, int> FaultServer::requestCounts() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->counts;
}

long FaultServer::totalRequestCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->total;
}

bool FaultServer::waitForRequests(const std::string& operation, int count, Millis timeout) const {
    std::unique_lock<std::mutex> lock(impl_->mutex);
    return impl_->changed.wait_for(lock, timeout, [&] {
        const auto it = impl_->counts.find(operation);
        return it != impl_->counts.end() && it->second >= count;
    });
}

int FaultServer::connectionCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->connectionsAccepted;
}

int FaultServer::kinesisConnectionCount() const {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    return impl_->kinesisConnections;
}

void FaultServer::clearRequests() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->records.clear();
    impl_->attempts.clear();
    impl_->counts.clear();
    impl_->sequence = 0;
}

void FaultServer::restartAttempts() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->attempts.clear();
}

void FaultServer::setRecording(bool recordContents) {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->recordContents = recordContents;
}

Reply FaultServer::builtInReply(const RecordedRequest& request) { return impl_->builtIn(request); }

void FaultServer::stop() { impl_->stop(); }

// ---- handlers for common scripts ----

FaultServer::Handler failPutRecordsPositions(std::map<int, std::set<int>> failedByAttempt, std::string errorCode,
                                             std::string errorMessage) {
    return [failedByAttempt = std::move(failedByAttempt), errorCode = std::move(errorCode),
            errorMessage = std::move(errorMessage)](const RecordedRequest& request) {
        const auto it = failedByAttempt.find(request.attempt);
        static const std::set<int> none;
        return putRecordsReply(request, it == failedByAttempt.end() ? none : it->second, errorCode, errorMessage);
    };
}

FaultServer::Handler pagedDescribeStream(std::string stream, int shardCount, int shardsPerPage) {
    return [stream = std::move(stream), shardCount, shardsPerPage](const RecordedRequest& request) {
        return describeStreamPage(request, stream, shardCount, shardsPerPage);
    };
}

FaultServer::Handler onAttempts(std::set<int> attempts, Reply reply, FaultServer::Handler fallback) {
    return [attempts = std::move(attempts), reply = std::move(reply),
            fallback = std::move(fallback)](const RecordedRequest& request) {
        return attempts.count(request.attempt) != 0 ? reply : fallback(request);
    };
}

}  // namespace rxkfault
