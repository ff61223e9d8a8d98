// Every exported function. Those that reach a client go through one call frame: test the id
// and the arguments, find the client, call its method, write the trace line, return the
// method's result. Nothing here catches: an exception out of a method reaches the host.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "api/kinesis_env.h"
#include "env/fault_translator.h"
#include "frame/bounded_copy.h"
#include "frame/message_buffer.h"
#include "frame/module.h"
#include "frame/module_state.h"
#include "rxkinesis.h"

namespace rxk {
namespace {

// Where the frame's own failures go.
enum class FrameReport {
    GlobalErrorAndLog,  // the global error text, then the log sink
    LogOnly,            // the log sink alone; the global error text stays
};

// The words of one export's frame: its bad-parameter and free-slot texts (each with the id as
// its one argument) and the format of its trace line (null: the export writes none).
struct ExportWords {
    const char* badParam;
    const char* freeSlot;
    const char* trace;
    FrameReport report;
};

// Composes a failure of the frame with the id and reports it: global error text (unless
// `report` says otherwise), then the log sink.
ExportMessage reportFailure(const char* format, int32_t id, FrameReport report) {
    ExportMessage message;
    message.format(format, id);
    if (report == FrameReport::GlobalErrorAndLog) setGlobalErrorText(message.text());
    sendToLog(message.text(), message.length());
    return message;
}

int32_t refuse(const ExportWords& words, const char* format, int32_t id) {
    reportFailure(format, id, words.report);
    return RXK_ERROR;
}

// method: (KinesisEnv&) -> int32_t. traceLine: (ExportMessage&, const char* format, int32_t
// result) -> length; called only when a trace sink is set, after the method, whatever it
// returned. Both are taken by reference: the frame allocates nothing.
template <typename Method, typename TraceLine>
int32_t callFrame(const ExportWords& words, int32_t id, bool argumentsPass, Method&& method,
                  TraceLine&& traceLine) {
    const ClientTable& table = clientTable();
    if (!table.inRange(id) || !argumentsPass) return refuse(words, words.badParam, id);
    KinesisEnv* client = table.at(id);
    if (client == nullptr) return refuse(words, words.freeSlot, id);

    const int32_t result = method(*client);

    if (words.trace != nullptr) {
        if (LogEventCallBack sink = traceSink()) {
            ExportMessage line;
            const int length = traceLine(line, words.trace, result);
            sink(line.text(), length);
        }
    }
    return result;
}

constexpr auto kNoTraceLine = [](ExportMessage&, const char*, int32_t) { return 0; };

// An out-value printed by a trace line; -1 when the caller gave no pointer.
int32_t valueOr(const int32_t* pointer) { return pointer == nullptr ? -1 : *pointer; }

bool anyOf(const void* first, const void* second, const void* third, const void* fourth) {
    return first != nullptr || second != nullptr || third != nullptr || fourth != nullptr;
}

namespace words {
constexpr FrameReport kGlobal = FrameReport::GlobalErrorAndLog;
constexpr FrameReport kLogOnly = FrameReport::LogOnly;

constexpr ExportWords SetParam{"rxKinesis::SetParam bad param id %d",
                               "rxKinesis::SetParam id %d  is NULL", nullptr, kLogOnly};
constexpr ExportWords GetParam{"rxKinesis::GetParam bad param id %d",
                               "rxKinesis::GetParam id %d  is NULL", nullptr, kLogOnly};
constexpr ExportWords PutRecord{"rxKinesis::PutRecord bad param id %d",
                                "rxKinesis::PutRecord id %d  is NULL",
                                "rxKinesis::PutRecord id:%d  lenBuffer:%d", kGlobal};
constexpr ExportWords GetLastResultPutRecord{"rxKinesis::GetLastResultPutRecord bad param id %d",
                                             "rxKinesis::GetLastResultPutRecord id %d  is NULL",
                                             "rxKinesis::GetLastResultPutRecord id:%d", kGlobal};
constexpr ExportWords CreateListRecord{"rxKinesis::CreateListRecord bad param id %d",
                                       "rxKinesis::CreateListRecord id %d is NULL",
                                       "rxKinesis::CreateListRecord id:%d listId:%d", kGlobal};
constexpr ExportWords ClearListRecord{"rxKinesis::ClearRecordList bad param id %d",
                                      "rxKinesis::ClearListRecord id %d is NULL",
                                      "rxKinesis::ClearListRecord id:%d listId:%d", kGlobal};
constexpr ExportWords FreeListRecord{"rxKinesis::FreeListRecord bad param id %d",
                                     "rxKinesis::FreeListRecord id %d is NULL",
                                     "rxKinesis::FreeListRecord id:%d listId:%d", kGlobal};
constexpr ExportWords GetListRecordInfo{"rxKinesis::GetListRecordInfo bad param id %d",
                                        "rxKinesis::GetListRecordInfo id %d is NULL",
                                        "rxKinesis::GetListRecordInfo id:%d listId:%d", kGlobal};
constexpr ExportWords AddRecordToList{"rxKinesis::AddRecordToList bad param id %d",
                                      "rxKinesis::AddRecordToList id %d  is NULL",
                                      "rxKinesis::AddRecordToList id:%d listId:%d lenBuffer:%d result:%d",
                                      kGlobal};
constexpr ExportWords PutRecords{
    "rxKinesis::PutRecords bad param id %d", "rxKinesis::PutRecords id %d is NULL",
    "rxKinesis::PutRecords id:%d listId:%d put:%d failed:%d bytes:%d output:%d", kGlobal};
constexpr ExportWords GetLastResultPutRecords{"rxKinesis::GetLastResultPutRecords bad param id %d",
                                              "rxKinesis::GetLastResultPutRecords id %d  is NULL",
                                              "rxKinesis::GetLastResultPutRecords id:%d listId:%d",
                                              kGlobal};
constexpr ExportWords StartShardIterator{"rxKinesis::StartShardIterator bad param id %d",
                                         "rxKinesis::StartShardIterator id %d  is NULL",
                                         "rxKinesis::StartShardIterator id:%d", kGlobal};
constexpr ExportWords NextShardIterator{"rxKinesis::NextShardIterator bad param id %d",
                                        "rxKinesis::NextShardIterator id %d  is NULL",
                                        "rxKinesis::NextShardIterator id:%d", kGlobal};
constexpr ExportWords GetRecordFromIterator{"rxKinesis::GetRecordFromIterator bad param id %d",
                                            "rxKinesis::GetRecordFromIterator id %d  is NULL",
                                            "rxKinesis::GetRecordFromIterator id:%d  lenBuffer:%d",
                                            kGlobal};
constexpr ExportWords PollShardIterator{"rxKinesis::PollShardIterator bad param id %d",
                                        "rxKinesis::PollShardIterator id %d  is NULL",
                                        "rxKinesis::PollShardIterator id:%d", kGlobal};
constexpr ExportWords StopShardIterator{"rxKinesis::StopShardIterator bad param id %d",
                                        "rxKinesis::StopShardIterator id %d  is NULL",
                                        "rxKinesis::StopShardIterator id:%d", kGlobal};
constexpr ExportWords GetRecord{"rxKinesis::GetRecord bad param id %d",
                                "rxKinesis::GetRecord id %d  is NULL", "rxKinesis::GetRecord id:%d",
                                kGlobal};
constexpr ExportWords GetData{"rxKinesis::GetData bad param id %d",
                              "rxKinesis::GetData id %d  is NULL",
                              "rxKinesis::GetData id:%d  lenBuffer:%d", kGlobal};
constexpr ExportWords ReadShardRecord{"rxKinesis::ReadShardRecord bad param id %d",
                                      "rxKinesis::ReadShardRecord id %d  is NULL",
                                      "rxKinesis::ReadShardRecord id:%d  length:%d result:%d", kGlobal};
constexpr ExportWords GetListAllStreams{"rxKinesis::GetListAllStreams bad param id %d",
                                        "rxKinesis::GetListAllStreams id %d  is NULL",
                                        "rxKinesis::GetListAllStreams id:%d  lenBuffer:%d", kGlobal};
constexpr ExportWords GetShardLineage{"rxKinesis::GetShardLineage bad param id %d",
                                      "rxKinesis::GetShardLineage id %d  is NULL",
                                      "rxKinesis::GetShardLineage id:%d  lenBuffer:%d", kGlobal};
constexpr ExportWords CreateStream{"rxKinesis::CreateStream bad param id %d",
                                   "rxKinesis::CreateStream id %d  is NULL",
                                   "rxKinesis::CreateStream id:%d", kGlobal};
constexpr ExportWords Dummy{"rxKinesis::Dummy bad param id %d", "rxKinesis::Dummy id %d  is NULL",
                            nullptr, kLogOnly};

constexpr char SetGlobalParamBadName[] = "rxKinesis::SetGlobalParam bad param name [%s]";
constexpr char SetGlobalParamBadValue[] = "rxKinesis::SetGlobalParam bad param value [%s] for [%s]";
constexpr char FreeClientBadParam[] = "rxKinesis::FreeClient bad param id %d";
constexpr char GetErrorStrBadParam[] = "rxKinesis::GetErrorStr bad param id %d";
constexpr char GetErrorStrFreeSlot[] = "rxKinesis::GetErrorStr id %d  is NULL";
constexpr char GetErrorStrTrace[] = "rxKinesis::GetErrorStr id:%d  lenBuffer:%d errSize:%d";
}  // namespace words

// GetErrorStr's failure: the words go to the global error text and the log sink, and into the
// caller's buffer (when there is one), bounded by its length.
char* reportIntoBuffer(const char* format, int32_t id, char* buffer, int32_t bufferLength) {
    const ExportMessage message = reportFailure(format, id, FrameReport::GlobalErrorAndLog);
    copyBounded(message.text(), std::strlen(message.text()), buffer, capacityOf(bufferLength), CopyStyle::CutMarked);
    return buffer;
}

}  // namespace
}  // namespace rxk

using rxk::callFrame;
using rxk::ExportMessage;
using rxk::KinesisEnv;
using rxk::kNoTraceLine;
namespace words = rxk::words;

// ---- Lifecycle and module state ---------------------------------------------------------

int32_t InititializeInterface(void) {
    rxk::installFaultTranslator();
    rxk::startModule();
    return RXK_OK;
}

int32_t CloseInterface(void) {
    rxk::stopModule();
    return RXK_OK;
}

void InitLogEventCallBack(LogEventCallBack logEvent, LogEventCallBack traceEvent) {
    rxk::setSinks(logEvent, traceEvent);
}

int32_t SetGlobalParam(const char* name, const char* value) {
    const rxk::GlobalParamResult result = rxk::setGlobalParameter(name, value);
    if (result == rxk::GlobalParamResult::Set) return RXK_OK;
    ExportMessage message;
    if (result == rxk::GlobalParamResult::BadValue) {
        message.format(words::SetGlobalParamBadValue, rxk::textOrNullWord(value), name);
    } else {
        message.format(words::SetGlobalParamBadName, rxk::textOrNullWord(name));
    }
    rxk::sendToLog(message.text(), message.length());
    return RXK_ERROR;
}

void SetGlobalErrorStr(const char* text) { rxk::setGlobalErrorText(text); }

char* GetGlobalErrorStr(char* buffer, int32_t bufferLength) {
    rxk::copyGlobalErrorText(buffer, bufferLength);
    return buffer;
}

// ---- Clients --------------------------------------------------------------------------------

int32_t CreateClient(const char* region, const char* accessKeyId, const char* secretKey) {
    auto client = std::make_unique<KinesisEnv>();
    rxk::SyncLockGuard guard(rxk::clientTableLock());
    rxk::ClientTable& table = rxk::clientTable();
    if (client->init(table.size(), region, accessKeyId, secretKey)) {
        const int32_t id = table.append(client.get());
        client.release();
        return id;
    }
    rxk::setGlobalErrorText(client->getError().c_str());
    if (LogEventCallBack sink = rxk::logSink()) sink(client->getError().c_str(), -1);
    return RXK_ERROR;
}

int32_t FreeClient(int32_t id) {
    rxk::ClientTable& table = rxk::clientTable();
    if (!table.inRange(id)) {
        rxk::reportFailure(words::FreeClientBadParam, id, rxk::FrameReport::GlobalErrorAndLog);
        return RXK_ERROR;
    }
    delete table.release(id);
    return RXK_OK;
}

char* GetErrorStr(int32_t id, char* buffer, int32_t bufferLength) {
    const rxk::ClientTable& table = rxk::clientTable();
    if (!table.inRange(id) || buffer == nullptr)
        return rxk::reportIntoBuffer(words::GetErrorStrBadParam, id, buffer, bufferLength);
    KinesisEnv* client = table.at(id);
    if (client == nullptr)
        return rxk::reportIntoBuffer(words::GetErrorStrFreeSlot, id, buffer, bufferLength);

    const std::string text = client->getError();
    if (LogEventCallBack sink = rxk::traceSink()) {
        ExportMessage line;
        const int length = line.format(words::GetErrorStrTrace, id, bufferLength, static_cast<int>(text.size()));
        sink(line.text(), length);
    }
    rxk::copyBounded(text.data(), text.size(), buffer, rxk::capacityOf(bufferLength), rxk::CopyStyle::CutMarked);
    return buffer;
}

// ---- Parameters -------------------------------------------------------------------------

int32_t SetParam(int32_t id, const char* name, const char* value) {
    return callFrame(
        words::SetParam, id, name != nullptr,
        [&](KinesisEnv& client) { return client.setParam(name, value); }, kNoTraceLine);
}

int32_t GetParam(int32_t id, const char* name, char* buffer) {
    return callFrame(
        words::GetParam, id, name != nullptr && buffer != nullptr,
        [&](KinesisEnv& client) { return client.getParam(name, buffer); }, kNoTraceLine);
}

// ---- Single put -------------------------------------------------------------------------

int32_t PutRecord(int32_t id, const char* streamName, const char* partitionKey,
                  const char* explicitHashKey, const void* data, int32_t length) {
    return callFrame(
        words::PutRecord, id, streamName != nullptr && data != nullptr && length > 0,
        [&](KinesisEnv& client) {
            return client.putRecord(streamName, partitionKey, explicitHashKey, data, length);
        },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, length); });
}

int32_t GetLastResultPutRecord(int32_t id, char* streamName, char* shardId, char* sequenceNumber,
                               unsigned char* success, char* partitionKey, char* explicitHashKey,
                               char* error, uint32_t* dataLength) {
    return callFrame(
        words::GetLastResultPutRecord, id, rxk::anyOf(streamName, shardId, sequenceNumber, success),
        [&](KinesisEnv& client) {
            return client.getLastResult(streamName, shardId, sequenceNumber, success, partitionKey,
                                        explicitHashKey, error, dataLength);
        },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

// ---- Record lists -----------------------------------------------------------------------

int32_t CreateListRecord(int32_t id) {
    return callFrame(
        words::CreateListRecord, id, true, [](KinesisEnv& client) { return client.createListRecord(); },
        [&](ExportMessage& line, const char* format, int32_t listId) {
            return line.format(format, id, listId);
        });
}

int32_t ClearListRecord(int32_t id, int32_t listId) {
    return callFrame(
        words::ClearListRecord, id, true, [&](KinesisEnv& client) { return client.clearListRecord(listId); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, listId); });
}

int32_t FreeListRecord(int32_t id, int32_t listId) {
    return callFrame(
        words::FreeListRecord, id, true, [&](KinesisEnv& client) { return client.freeListRecord(listId); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, listId); });
}

int32_t GetListRecordInfo(int32_t id, int32_t listId, uint32_t* count, uint32_t* bytes) {
    return callFrame(
        words::GetListRecordInfo, id, true,
        [&](KinesisEnv& client) { return client.getListRecordInfo(listId, count, bytes); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, listId); });
}

int32_t AddRecordToList(int32_t id, int32_t listId, const char* partitionKey,
                        const char* explicitHashKey, const void* data, int32_t length) {
    return callFrame(
        words::AddRecordToList, id, data != nullptr && length > 0,
        [&](KinesisEnv& client) {
            return client.addRecordToList(listId, partitionKey, explicitHashKey, data, length);
        },
        [&](ExportMessage& line, const char* format, int32_t result) {
            return line.format(format, id, listId, length, result);
        });
}

// ---- Batch put --------------------------------------------------------------------------

int32_t PutRecords(int32_t id, int32_t listId, const char* streamName, int32_t* put,
                   int32_t* failed, int32_t* bytes, int32_t* output, const char* tag) {
    return callFrame(
        words::PutRecords, id, streamName != nullptr,
        [&](KinesisEnv& client) {
            return client.putRecords(listId, streamName, put, failed, bytes, output, tag);
        },
        [&](ExportMessage& line, const char* format, int32_t) {
            return line.format(format, id, listId, rxk::valueOr(put), rxk::valueOr(failed),
                               rxk::valueOr(bytes), rxk::valueOr(output));
        });
}

int32_t GetLastResultPutRecords(int32_t id, int32_t listId, int32_t index, char* streamName,
                                char* shardId, char* sequenceNumber, unsigned char* success,
                                char* partitionKey, char* explicitHashKey, char* error,
                                uint32_t* dataLength) {
    return callFrame(
        words::GetLastResultPutRecords, id, rxk::anyOf(streamName, shardId, sequenceNumber, success),
        [&](KinesisEnv& client) {
            return client.getLastResult(listId, index, streamName, shardId, sequenceNumber, success,
                                        partitionKey, explicitHashKey, error, dataLength);
        },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, listId); });
}

// ---- Shard reading ----------------------------------------------------------------------

int32_t StartShardIterator(int32_t id, const char* stream, const char* shard, const char* startValue,
                           int32_t limit, int32_t type) {
    return callFrame(
        words::StartShardIterator, id, stream != nullptr && shard != nullptr,
        [&](KinesisEnv& client) { return client.startGetIterator(stream, shard, startValue, limit, type); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

int32_t NextShardIterator(int32_t id, const char* stream, const char* shard) {
    return callFrame(
        words::NextShardIterator, id, stream != nullptr && shard != nullptr,
        [&](KinesisEnv& client) { return client.nextGetIterator(stream, shard); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

int32_t GetRecordFromIterator(int32_t id, const char* stream, const char* shard, char* sequenceNumber,
                              char* data, int32_t* length) {
    return callFrame(
        words::GetRecordFromIterator, id,
        stream != nullptr && shard != nullptr && data != nullptr && length != nullptr,
        [&](KinesisEnv& client) {
            return client.getRecordFromIterator(stream, shard, sequenceNumber, data, length);
        },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, *length); });
}

int32_t PollShardIterator(int32_t id, const char* stream, const char* shard, PollCallback callback) {
    return callFrame(
        words::PollShardIterator, id, stream != nullptr && shard != nullptr && callback != nullptr,
        [&](KinesisEnv& client) { return client.poll(stream, shard, callback); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

int32_t StopShardIterator(int32_t id, const char* stream, const char* shard) {
    return callFrame(
        words::StopShardIterator, id, stream != nullptr && shard != nullptr,
        [&](KinesisEnv& client) { return client.stopGetIterator(stream, shard); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

// ---- One-shot read ----------------------------------------------------------------------

int32_t GetRecord(int32_t id, const char* stream, const char* shard, const char* sequenceNumber,
                  char* data, int32_t* length) {
    return callFrame(
        words::GetRecord, id,
        stream != nullptr && shard != nullptr && sequenceNumber != nullptr && data != nullptr &&
            length != nullptr,
        [&](KinesisEnv& client) { return client.getRecord(stream, shard, sequenceNumber, data, length); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

// ---- Catalogue --------------------------------------------------------------------------

int32_t GetData(int32_t id, int32_t type, const char* streamName, const char* shardId, char* buffer,
                int32_t* lenBuffer, char delimiter) {
    return callFrame(
        words::GetData, id, buffer != nullptr && lenBuffer != nullptr,
        [&](KinesisEnv& client) {
            return client.getData(type, streamName, shardId, buffer, lenBuffer, delimiter);
        },
        [&](ExportMessage& line, const char* format, int32_t) {
            return line.format(format, id, *lenBuffer);
        });
}

int32_t GetListStreams(int32_t id, char* buffer, int32_t* lenBuffer) {
    return GetData(id, RXK_LIST_STREAMS, nullptr, nullptr, buffer, lenBuffer, rxk::globalDelimiter());
}

int32_t GetListShards(int32_t id, const char* streamName, char* buffer, int32_t* lenBuffer) {
    return GetData(id, RXK_LIST_SHARDS, streamName, nullptr, buffer, lenBuffer, rxk::globalDelimiter());
}

int32_t GetShardDetails(int32_t id, const char* streamName, const char* shardId, char* buffer,
                        int32_t* lenBuffer) {
    return GetData(id, RXK_SHARD_DETAILS, streamName, shardId, buffer, lenBuffer, rxk::globalDelimiter());
}

// ---- Stream creation --------------------------------------------------------------------

int32_t CreateStream(int32_t id, const char* stream, int32_t shardCount) {
    return callFrame(
        words::CreateStream, id, stream != nullptr,
        [&](KinesisEnv& client) { return client.createStream(stream, shardCount); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id); });
}

// ---- Reading extension -----------------------------------------------------------------

int32_t ReadShardRecord(int32_t id, const char* stream, const char* shard, void* data, int32_t capacity,
                        int32_t* length, ShardRecordInfo* info, int32_t flags) {
    return callFrame(
        words::ReadShardRecord, id,
        stream != nullptr && shard != nullptr && length != nullptr && capacity >= 0 &&
            (data != nullptr || capacity == 0),
        [&](KinesisEnv& client) {
            return client.readShardRecord(stream, shard, data, capacity, length, info, flags);
        },
        [&](ExportMessage& line, const char* format, int32_t result) {
            return line.format(format, id, *length, result);
        });
}

int32_t GetListAllStreams(int32_t id, char* buffer, int32_t* lenBuffer) {
    return callFrame(
        words::GetListAllStreams, id, buffer != nullptr && lenBuffer != nullptr,
        [&](KinesisEnv& client) { return client.getListAllStreams(buffer, lenBuffer, rxk::globalDelimiter()); },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, *lenBuffer); });
}

int32_t GetShardLineage(int32_t id, const char* streamName, char* buffer, int32_t* lenBuffer) {
    return callFrame(
        words::GetShardLineage, id, streamName != nullptr && buffer != nullptr && lenBuffer != nullptr,
        [&](KinesisEnv& client) {
            return client.getShardLineage(streamName, buffer, lenBuffer, rxk::globalDelimiter());
        },
        [&](ExportMessage& line, const char* format, int32_t) { return line.format(format, id, *lenBuffer); });
}

// ---- Exception probe --------------------------------------------------------------------

int32_t Dummy(int32_t id, const char* kind) {
    return callFrame(
        words::Dummy, id, kind != nullptr, [&](KinesisEnv& client) { return client.dummy(kind); },
        kNoTraceLine);
}
