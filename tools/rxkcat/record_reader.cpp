#include "record_reader.h"

#include "record_limits.h"
#include "stop_signal.h"
#include "tool_error.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace rxkcat {
namespace {

constexpr size_t kReadChunkBytes = 64 * 1024;
// Input quiet for this long counts as idle: the producer sends its partial batch meanwhile.
constexpr int kIdleMilliseconds = 500;
constexpr char kStandardInput[] = "-";

}  // namespace

RecordReader::RecordReader(std::vector<std::string> files, std::string delimiter)
    : files_(std::move(files)), delimiter_(std::move(delimiter)) {
    if (files_.empty()) files_.push_back(kStandardInput);
}

RecordReader::~RecordReader() { closeFile(); }

bool RecordReader::openNextFile() {
    if (nextFile_ == files_.size()) return false;
    currentName_ = files_[nextFile_++];
    if (currentName_ == kStandardInput) {
        descriptor_ = STDIN_FILENO;
        currentName_ = "standard input";
        return true;
    }
    descriptor_ = open(currentName_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw RunError("cannot open '" + currentName_ + "': " + std::strerror(errno));
    return true;
}

void RecordReader::closeFile() {
    if (descriptor_ > STDIN_FILENO) close(descriptor_);
    descriptor_ = -1;
}

RecordReader::Fill RecordReader::fill() {
    // Drop what was handed out before growing the buffer.
    buffer_.erase(0, consumed_);
    searchFrom_ -= consumed_;
    consumed_ = 0;
    if (buffer_.size() > kMaxRecordBytes + delimiter_.size())
        throw RunError("a record in " + currentName_ + " is longer than " + std::to_string(kMaxRecordBytes) +
                       " bytes (is the delimiter right? see -D)");
    struct pollfd readable {descriptor_, POLLIN, 0};
    const int ready = poll(&readable, 1, kIdleMilliseconds);
    if (ready == 0) return Fill::Idle;
    if (ready < 0 && errno == EINTR) return stopRequested() ? Fill::Stopped : Fill::Idle;
    const size_t oldSize = buffer_.size();
    buffer_.resize(oldSize + kReadChunkBytes);
    const ssize_t count = read(descriptor_, &buffer_[oldSize], kReadChunkBytes);
    const int readError = errno;
    buffer_.resize(oldSize + static_cast<size_t>(count > 0 ? count : 0));
    if (count > 0) return Fill::Data;
    if (count == 0) return Fill::EndOfFile;
    if (readError == EINTR || readError == EAGAIN) return stopRequested() ? Fill::Stopped : Fill::Idle;
    throw RunError("cannot read " + currentName_ + ": " + std::strerror(readError));
}

bool RecordReader::takeRecordFromBuffer(std::string& record) {
    const size_t found = buffer_.find(delimiter_, searchFrom_);
    if (found == std::string::npos) {
        // The delimiter may straddle the next read: resume just before the unsearched tail.
        const size_t unread = buffer_.size() - consumed_;
        searchFrom_ = unread >= delimiter_.size() ? buffer_.size() - delimiter_.size() + 1 : consumed_;
        return false;
    }
    record.assign(buffer_, consumed_, found - consumed_);
    consumed_ = found + delimiter_.size();
    searchFrom_ = consumed_;
    return true;
}

RecordReader::Status RecordReader::next(std::string& record) {
    for (;;) {
        if (stopRequested()) return Status::Stopped;
        if (descriptor_ < 0 && !openNextFile()) return Status::End;
        if (takeRecordFromBuffer(record)) return Status::Record;
        switch (fill()) {
        case Fill::Data: continue;
        case Fill::Stopped: return Status::Stopped;
        case Fill::Idle: return Status::Idle;
        case Fill::EndOfFile: break;
        }
        // End of this file: what is left is its last record.
        const bool hasTail = consumed_ < buffer_.size();
        if (hasTail) record.assign(buffer_, consumed_, std::string::npos);
        buffer_.clear();
        consumed_ = 0;
        searchFrom_ = 0;
        closeFile();
        if (hasTail) return Status::Record;
    }
}

}  // namespace rxkcat
