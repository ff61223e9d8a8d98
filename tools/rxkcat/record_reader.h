// Splits standard input or a list of files into records at a delimiter (one or more bytes).
// The delimiter is not part of a record; the end of a file ends its last record.
#pragma once

#include <string>
#include <vector>

namespace rxkcat {

class RecordReader {
public:
    // files: names to read in order, "-" for standard input; empty: standard input alone.
    RecordReader(std::vector<std::string> files, std::string delimiter);
    ~RecordReader();
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    enum class Status { Record, End, Stopped, Idle };

    // Reads the next record into `record`. Stopped: a stop signal came while waiting for input.
    // Idle: no input came for the idle time (the caller may send what it gathered, then call
    // again). Throws RunError when a file can't be opened or read, or a record outgrows the limit.
    Status next(std::string& record);

private:
    enum class Fill { Data, EndOfFile, Stopped, Idle };

    bool openNextFile();
    void closeFile();
    // Reads more bytes of the current file.
    Fill fill();
    bool takeRecordFromBuffer(std::string& record);

    std::vector<std::string> files_;
    size_t nextFile_ = 0;
    std::string delimiter_;
    int descriptor_ = -1;
    std::string currentName_;
    std::string buffer_;
    size_t consumed_ = 0;     // bytes of buffer_ already handed out
    size_t searchFrom_ = 0;   // where the delimiter search resumes
};

}  // namespace rxkcat
