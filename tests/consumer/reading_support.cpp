#include "reading_support.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <stdexcept>

namespace rxk::test {

namespace {

constexpr char kGuard = static_cast<char>(0xA5);
constexpr std::size_t kDataBufferBytes = (1 << 20) + 4096;  // the largest record + room
constexpr std::size_t kSequenceBufferBytes = 512;
constexpr std::size_t kRecordsPerPut = 500;

bool allGuard(const std::vector<char>& buffer, std::size_t from) {
    return std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(from), buffer.end(),
                       [](char c) { return c == kGuard; });
}

std::string putRecordsBody(const std::string& stream, const std::vector<std::string>& data,
                           std::size_t first, std::size_t count) {
    std::string body = "{\"StreamName\":\"" + stream + "\",\"Records\":[";
    for (std::size_t i = first; i < first + count; ++i) {
        if (i != first) body += ",";
        body += "{\"Data\":\"" + base64Encode(data[i]) + "\",\"PartitionKey\":\"pk\"}";
    }
    return body + "]}";
}

}  // namespace

std::vector<std::string> putRecords(const Kinesalite& kinesalite, const std::string& stream,
                                    const std::vector<std::string>& data) {
    std::vector<std::string> sequenceNumbers;
    for (std::size_t first = 0; first < data.size(); first += kRecordsPerPut) {
        const std::size_t count = std::min(kRecordsPerPut, data.size() - first);
        const auto response = kinesalite.call("PutRecords", putRecordsBody(stream, data, first, count));
        rapidjson::Document doc;
        doc.Parse(response.body.c_str());
        if (!response.ok() || doc.HasParseError() || !doc.IsObject() || !doc.HasMember("Records") ||
            doc["FailedRecordCount"].GetInt() != 0) {
            throw std::runtime_error("PutRecords to the emulator failed: " + response.body);
        }
        for (const auto& entry : doc["Records"].GetArray())
            sequenceNumbers.emplace_back(entry["SequenceNumber"].GetString());
    }
    return sequenceNumbers;
}

ReadResult readRecord(std::int32_t client, const std::string& stream, const std::string& shard) {
    std::vector<char> data(kDataBufferBytes, kGuard);
    std::vector<char> sequence(kSequenceBufferBytes, kGuard);
    ReadResult read;
    read.length = -12345;
    read.result = connector().GetRecordFromIterator(client, stream.c_str(), shard.c_str(),
                                                    sequence.data(), data.data(), &read.length);
    read.buffersUntouched = allGuard(data, 0) && allGuard(sequence, 0);
    if (read.result != RXK_OK) return read;
    const auto dataEnd = std::find(data.begin(), data.end(), '\0');
    const auto sequenceEnd = std::find(sequence.begin(), sequence.end(), '\0');
    if (dataEnd == data.end() || sequenceEnd == sequence.end()) {
        read.guardsIntact = false;
        return read;
    }
    read.text.assign(data.begin(), dataEnd);
    read.sequenceNumber.assign(sequence.begin(), sequenceEnd);
    read.guardsIntact = allGuard(data, read.text.size() + 1) &&
                        allGuard(sequence, read.sequenceNumber.size() + 1);
    return read;
}

}  // namespace rxk::test
