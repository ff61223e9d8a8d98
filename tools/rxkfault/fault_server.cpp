#include "fault_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace rxkfault {

namespace {

constexpr std::string_view kTargetPrefix = "Kinesis_20131202.";
constexpr std::size_t kMaxHeadBytes = 64 * 1024;
constexpr std::size_t kReceiveChunk = 64 * 1024;

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t\r");
    return std::string(text.substr(first, last - first + 1));
}

// Sends both parts completely; false when the peer is gone. MSG_NOSIGNAL keeps a closed peer
// from killing the test process with SIGPIPE.
bool sendAll(int fd, std::string_view head, std::string_view body = {}) {
    iovec parts[2] = {{const_cast<char*>(head.data()), head.size()},
                      {const_cast<char*>(body.data()), body.size()}};
    int first = 0;
    while (first < 2) {
        if (parts[first].iov_len == 0) {
            ++first;
            continue;
        }
        msghdr message{};
        message.msg_iov = parts + first;
        message.msg_iovlen = static_cast<std::size_t>(2 - first);
        const ssize_t sent = ::sendmsg(fd, &message, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        auto left = static_cast<std::size_t>(sent);
        while (left > 0 && first < 2) {
            const std::size_t step = std::min(left, parts[first].iov_len);
            parts[first].iov_base = static_cast<char*>(parts[first].iov_base) + step;
            parts[first].iov_len -= step;
            left -= step;
            if (parts[first].iov_len == 0) ++first;
        }
    }
    return true;
}

std::string httpDate() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

const char* reasonPhrase(int status) {
    switch (status) {
    case 200: return "OK";
    case 400: return "Bad Request";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 413: return "Request Entity Too Large";
    case 429: return "Too Many Requests";
    case 500: return "Internal Server Error";
    case 502: return "Bad Gateway";
    case 503: return "Service Unavailable";
    case 504: return "Gateway Timeout";
    default: return "Status";
    }
}

std::string requestId(int sequence) {
    char id[40];
    std::snprintf(id, sizeof id, "00000000-0000-4000-8000-%012d", sequence);
    return id;
}

struct HttpRequest {
    std::string method;
    std::string path;
    std::string version;
    std::map<std::string, std::string> headers;
    std::string body;

    std::string header(const std::string& lowerName) const {
        const auto it = headers.find(lowerName);
        return it == headers.end() ? std::string() : it->second;
    }
};

// Reads HTTP/1.1 requests one after another from a connection (keep-alive, pipelining,
// Content-Length or chunked bodies, Expect: 100-continue).
class RequestReader {
public:
    explicit RequestReader(int fd) : fd_(fd) {}

    // False when the peer closed, the connection broke or the request can't be parsed.
    bool read(HttpRequest& request) {
        request = HttpRequest();
        std::size_t headEnd;
        while ((headEnd = buffer_.find("\r\n\r\n")) == std::string::npos) {
            if (buffer_.size() > kMaxHeadBytes || !receiveMore()) return false;
        }
        if (!parseHead(std::string_view(buffer_).substr(0, headEnd), request)) return false;
        buffer_.erase(0, headEnd + 4);
        if (lowerCase(request.header("expect")) == "100-continue" &&
            !sendAll(fd_, "HTTP/1.1 100 Continue\r\n\r\n")) {
            return false;
        }
        if (lowerCase(request.header("transfer-encoding")).find("chunked") != std::string::npos) {
            return readChunkedBody(request.body);
        }
        const std::string length = request.header("content-length");
        char* end = nullptr;
        const std::size_t bodyBytes = std::strtoull(length.c_str(), &end, 10);
        if (end == nullptr || *end != '\0') return false;  // unreadable length: drop the connection
        return readBody(bodyBytes, request.body);
    }

private:
    bool receiveMore() {
        const std::size_t old = buffer_.size();
        buffer_.resize(old + kReceiveChunk);
        ssize_t got;
        do {
            got = ::recv(fd_, buffer_.data() + old, kReceiveChunk, 0);
        } while (got < 0 && errno == EINTR);
        buffer_.resize(old + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        return got > 0;
    }

    bool waitForBytes(std::size_t count) {
        while (buffer_.size() < count) {
            if (!receiveMore()) return false;
        }
        return true;
    }

    bool readBody(std::size_t length, std::string& body) {
        if (!waitForBytes(length)) return false;
        body.assign(buffer_, 0, length);
        buffer_.erase(0, length);
        return true;
    }

    bool takeLine(std::string& line) {
        std::size_t end;
        while ((end = buffer_.find("\r\n")) == std::string::npos) {
            if (buffer_.size() > kMaxHeadBytes || !receiveMore()) return false;
        }
        line.assign(buffer_, 0, end);
        buffer_.erase(0, end + 2);
        return true;
    }

    bool readChunkedBody(std::string& body) {
        std::string line;
        for (;;) {
            if (!takeLine(line)) return false;
            const std::size_t size = std::strtoull(line.c_str(), nullptr, 16);
            if (size == 0) break;
            if (!waitForBytes(size + 2)) return false;
            body.append(buffer_, 0, size);
            buffer_.erase(0, size + 2);
        }
        do {  // trailer fields up to the empty line
            if (!takeLine(line)) return false;
        } while (!line.empty());
        return true;
    }

    static bool parseHead(std::string_view head, HttpRequest& request) {
        const auto lineEnd = head.find("\r\n");
        const std::string_view requestLine = head.substr(0, lineEnd);
        const auto firstSpace = requestLine.find(' ');
        const auto secondSpace = requestLine.find(' ', firstSpace + 1);
        if (firstSpace == std::string_view::npos || secondSpace == std::string_view::npos) return false;
        request.method = std::string(requestLine.substr(0, firstSpace));
        request.path = std::string(requestLine.substr(firstSpace + 1, secondSpace - firstSpace - 1));
        request.version = std::string(requestLine.substr(secondSpace + 1));
        std::size_t position = lineEnd == std::string_view::npos ? head.size() : lineEnd + 2;
        while (position < head.size()) {
            auto end = head.find("\r\n", position);
            if (end == std::string_view::npos) end = head.size();
            const std::string_view line = head.substr(position, end - position);
            const auto colon = line.find(':');
            if (colon != std::string_view::npos) {
                auto& value = request.headers[lowerCase(std::string(line.substr(0, colon)))];
                value += (value.empty() ? "" : ", ") + trimmed(line.substr(colon + 1));
            }
            position = end + 2;
        }
        return true;
    }

    int fd_;
    std::string buffer_;
};

std::string operationOf(const std::string& target) {
    if (target.compare(0, kTargetPrefix.size(), kTargetPrefix) == 0) return target.substr(kTargetPrefix.size());
    return target;
}

bool hasHeader(const Reply& reply, const char* lowerName) {
    return std::any_of(reply.headers.begin(), reply.headers.end(),
                       [&](const auto& header) { return lowerCase(header.first) == lowerName; });
}

std::string responseHead(const Reply& reply, int sequence, bool closing) {
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + reasonPhrase(reply.status) + "\r\n";
    for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
    if (!reply.contentType.empty() && !hasHeader(reply, "content-type"))
        head += "Content-Type: " + reply.contentType + "\r\n";
    if (reply.chunkBytes > 0)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!hasHeader(reply, "content-length"))
        head += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    if (reply.dateHeader && !hasHeader(reply, "date")) head += "Date: " + httpDate() + "\r\n";
    if (!hasHeader(reply, "x-amzn-requestid")) head += "x-amzn-RequestId: " + requestId(sequence) + "\r\n";
    if (closing) head += "Connection: close\r\n";
    return head + "\r\n";
}

// `body` in chunks of chunkBytes, with the last (empty) chunk.
std::string chunkEncoded(std::string_view body, std::size_t chunkBytes) {
    std::string encoded;
    for (std::size_t at = 0; at < body.size(); at += chunkBytes) {
        const std::string_view chunk = body.substr(at, chunkBytes);
        char size[32];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        encoded.append(size).append(chunk).append("\r\n");
    }
    return encoded + "0\r\n\r\n";
}

// Stands in a canned GetRecords body where the next iterator goes.
constexpr const char* kCannedIteratorMark = "canned-@next@";

// The body the canned GetRecords hands out: every record the same, data of recordBytes bytes.
std::string cannedRecordsBody(const FaultServer::CannedAnswers& answers) {
    std::vector<TestRecord> records(static_cast<std::size_t>(std::max(0, answers.recordsPerGet)));
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].data.assign(static_cast<std::size_t>(std::max(0, answers.recordBytes)), 'r');
        records[i].partitionKey = std::to_string(i);
    }
    return getRecordsReply(records, kCannedIteratorMark).body;
}

// The batch number k of a canned iterator "canned-<k>" (0 for anything else).
long cannedBatchNumber(const std::string& iterator) {
    const std::string prefix = "canned-";
    if (iterator.compare(0, prefix.size(), prefix) != 0) return 0;
    return std::strtol(iterator.c_str() + prefix.size(), nullptr, 10);
}

// A canned GetRecords body whose NextShardIterator names the next batch.
std::string cannedBatchBody(const std::string& templateBody, long nextBatch) {
    std::string body = templateBody;
    // The mark follows the records: searched from the end, a 10,000-record body costs the
    // server nothing to patch, so the benchmark measures the client.
    const std::size_t mark = body.rfind(kCannedIteratorMark);
    if (mark != std::string::npos)
        body.replace(mark, std::strlen(kCannedIteratorMark), "canned-" + std::to_string(nextBatch));
    return body;
}

// Counts the records of a PutRecords body without parsing it: each entry has one "Data" member
// and base64 can't contain a quote.
int countDataMembers(std::string_view body) {
    int count = 0;
    for (auto at = body.find("\"Data\""); at != std::string_view::npos; at = body.find("\"Data\"", at + 6)) ++count;
    return count;
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

    bool canned = false;
    std::string cannedGetRecordsBody;
    long cannedBatchesPerIterator = 0;
    std::map<int, std::string> cannedPutRecordsBodies;

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
    bool cannedReply(const RecordedRequest& request, Reply& reply);
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
    // not end the test process from a server thread; its test sees a 500 and the reason.
    try {
        return handler ? handler(request) : builtIn(request);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "fault server: the %s handler threw: %s\n", request.operation.c_str(), e.what());
        return Reply::error(500, "ScriptHandlerFailure", e.what());
    }
}

Reply FaultServer::Impl::builtIn(const RecordedRequest& request) {
    bool cannedOn;
    {
        std::lock_guard<std::mutex> lock(mutex);
        cannedOn = canned;
    }
    Reply reply;
    if (cannedOn && cannedReply(request, reply)) return reply;
    return kinesisReply(request);
}

bool FaultServer::Impl::cannedReply(const RecordedRequest& request, Reply& reply) {
    const std::string& operation = request.operation;
    if (operation == "PutRecords") {
        const int count = countDataMembers(request.body);
        std::lock_guard<std::mutex> lock(mutex);
        auto& body = cannedPutRecordsBodies[count];
        if (body.empty()) body = putRecordsReply(count).body;
        reply = Reply::json(body);
    } else if (operation == "PutRecord") {
        reply = putRecordReply();
    } else if (operation == "GetShardIterator") {
        reply = shardIteratorReply("canned-0");
    } else if (operation == "GetRecords") {
        const long batch = cannedBatchNumber(jsonString(request.body, "ShardIterator"));
        std::lock_guard<std::mutex> lock(mutex);
        if (cannedBatchesPerIterator > 0 && batch >= cannedBatchesPerIterator)
            reply = getRecordsReply({}, "canned-" + std::to_string(batch + 1));
        else
            reply = Reply::json(cannedBatchBody(cannedGetRecordsBody, batch + 1));
    } else {
        return false;
    }
    return true;
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
    std::string body = cannedRecordsBody(answers);
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->cannedGetRecordsBody = std::move(body);
    impl_->cannedBatchesPerIterator = answers.batchesPerIterator;
    impl_->cannedPutRecordsBodies.clear();
    impl_->recordContents = false;
    impl_->canned = true;
}

void FaultServer::stopCannedAnswers() {
    std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->canned = false;
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
