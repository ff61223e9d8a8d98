// Every export with the arguments a host could pass: ids in and out of range and freed, null,
// empty and long texts, zero, negative and truthful lengths and buffer sizes, every parameter
// name and value, type codes out of range. Every output buffer is fenced with guard bytes.
// The endpoint is the fault server's tiny Kinesis, so the calls that go to the service return
// at once and succeed.
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fuzz_support.h"

namespace {

using rxk::fuzz::GuardedBuffer;
using rxk::fuzz::guarded;
using rxk::fuzz::pickId;
using rxk::fuzz::pickText;

const std::vector<std::string> kClientParameters = {
    "retry", "RETRY", "retryattemptshow", "maxputrow", "MaxPutLen", "maxputlen", "exceptiontranslator",
    "retryattemptPutRecords", "retryattemptFailRecords", "statspath", "delimiter", "retr", "retryx"};
const std::vector<std::string> kGlobalParameters = {"delimiter", "DELIMITER", "statspath", "StatsPath", "retry"};
const std::vector<std::string> kNumbers = {"0", "1", "-1", "2", "500", "5000000", "2147483647", "-2147483648",
                                          "99999999999999999999", "abc", " 12", "1e9", ""};
const std::vector<std::string> kStreams = {"fuzz-stream", "other-stream", "a"};
const std::vector<std::string> kShards = {"shardId-000000000000", "shardId-000000000001"};
const std::vector<std::string> kRegions = {"us-east-1", "eu-west-1", "cn-north-1", "not a region"};
const std::vector<std::string> kStartValues = {"2016-04-04T19:58:46.480Z", "Mon, 04 Apr 2016 19:58:46 GMT",
                                              "49590338271490256608559692538361571095921575989136588898",
                                              "not a time", "0"};
const std::vector<std::string> kProbeWords = {"nothing", "", "exceptio", "exception8", "EXCEPTION0"};

enum class Operation {
    CreateClient, FreeClient, GetErrorStr, SetParam, GetParam, PutRecord, GetLastResultPutRecord,
    CreateListRecord, ClearListRecord, FreeListRecord, GetListRecordInfo, AddRecordToList, PutRecords,
    GetLastResultPutRecords, StartShardIterator, NextShardIterator, GetRecordFromIterator,
    PollShardIterator, StopShardIterator, GetRecord, GetData, GetDataShortcut, CreateStream,
    SetGlobalParam, GlobalErrorText, InitLogEventCallBack, InititializeInterface, Dummy,
    kCount
};

constexpr int kMostCallsPerInput = 48;

// One execution: the calls the input asks for, then every client it created is freed again.
class ExportsRun {
public:
    explicit ExportsRun(FuzzedDataProvider& input) : input_(input), lib_(rxk::fuzz::session().library) {
        clientIds_.push_back(newClient());
    }
    ~ExportsRun() {
        for (int32_t id : clientIds_) lib_.FreeClient(id);
        rxk::fuzz::setSinks(lib_, true, true);
    }

    void run() {
        for (int call = 0; call < kMostCallsPerInput && input_.remaining_bytes() > 0; ++call) {
            const auto operation = static_cast<Operation>(
                input_.ConsumeIntegralInRange<int>(0, static_cast<int>(Operation::kCount) - 1));
            perform(operation);
        }
    }

private:
    int32_t newClient() {
        const int32_t id = lib_.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
        if (id < 0) rxk::fuzz::fail("CreateClient", "refused a valid client");
        return id;
    }

    int32_t client() { return pickId(input_, clientIds_); }
    int32_t list() { return pickId(input_, listIds_); }
    const char* text(std::string& holder, const std::vector<std::string>& vocabulary = {}) {
        return pickText(input_, holder, vocabulary);
    }

    void perform(Operation operation) {
        std::string a, b, c, d;
        switch (operation) {
        case Operation::CreateClient: {
            const char* region = text(a, kRegions);
            const char* key = text(b, {"AKID"});
            const char* secret = text(c, {"secret"});
            const int32_t id = guarded("CreateClient", [&] { return lib_.CreateClient(region, key, secret); });
            if (id >= 0) clientIds_.push_back(id);
            break;
        }
        case Operation::FreeClient: {
            const int32_t id = client();
            const int32_t result = guarded("FreeClient", [&] { return lib_.FreeClient(id); });
            if (result != RXK_OK && result != RXK_ERROR) rxk::fuzz::fail("FreeClient", "undocumented result");
            break;
        }
        case Operation::GetErrorStr: {
            const int32_t id = client();
            GuardedBuffer buffer(rxk::fuzz::pickBufferSize(input_), "GetErrorStr buffer");
            const int32_t stated = rxk::fuzz::pickStatedLength(input_, buffer.size());
            char* target = input_.ConsumeBool() ? buffer.data() : nullptr;
            char* back = guarded("GetErrorStr", [&] { return lib_.GetErrorStr(id, target, stated); });
            if (back != target) rxk::fuzz::fail("GetErrorStr", "did not return the caller's buffer");
            if (target != nullptr && stated > 0) buffer.expectTerminated();
            break;
        }
        case Operation::SetParam: {
            const int32_t id = client();
            const char* name = text(a, kClientParameters);
            const char* value = text(b, kNumbers);
            expectCode("SetParam", guarded("SetParam", [&] { return lib_.SetParam(id, name, value); }), {0, -1});
            break;
        }
        case Operation::GetParam: {
            const int32_t id = client();
            const char* name = text(a, kClientParameters);
            GuardedBuffer buffer(RXK_ERROR_TEXT_BYTES + 88, "GetParam buffer");
            char* target = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : buffer.data();
            const int32_t result = guarded("GetParam", [&] { return lib_.GetParam(id, name, target); });
            expectCode("GetParam", result, {0, -1});
            if (result == RXK_OK) buffer.expectTerminated();
            break;
        }
        case Operation::PutRecord: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* key = text(b, {"pk"});
            const char* hashKey = text(c, {"0", "340282366920938463463374607431768211455"});
            d = rxk::fuzz::pickRecord(input_);
            const int32_t length = statedRecordLength(d);
            const void* data = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : d.data();
            expectCode("PutRecord", guarded("PutRecord", [&] {
                           return lib_.PutRecord(id, stream, key, hashKey, data, length);
                       }), {0, -1});
            break;
        }
        case Operation::GetLastResultPutRecord: {
            const int32_t id = client();
            ResultBuffers out(input_);
            expectCode("GetLastResultPutRecord", guarded("GetLastResultPutRecord", [&] {
                           return lib_.GetLastResultPutRecord(id, out.stream(), out.shard(), out.sequence(),
                                                              out.success(), out.key(), out.hashKey(),
                                                              out.error(), out.length());
                       }), {0, -1});
            break;
        }
        case Operation::CreateListRecord: {
            const int32_t id = client();
            const int32_t listId = guarded("CreateListRecord", [&] { return lib_.CreateListRecord(id); });
            if (listId >= 0) listIds_.push_back(listId);
            else expectCode("CreateListRecord", listId, {-1});
            break;
        }
        case Operation::ClearListRecord: {
            const int32_t id = client(), listId = list();
            expectCode("ClearListRecord", guarded("ClearListRecord", [&] { return lib_.ClearListRecord(id, listId); }),
                       {0, -1});
            break;
        }
        case Operation::FreeListRecord: {
            const int32_t id = client(), listId = list();
            expectCode("FreeListRecord", guarded("FreeListRecord", [&] { return lib_.FreeListRecord(id, listId); }),
                       {0, -1});
            break;
        }
        case Operation::GetListRecordInfo: {
            const int32_t id = client(), listId = list();
            uint32_t count = 0, bytes = 0;
            uint32_t* countOut = input_.ConsumeBool() ? &count : nullptr;
            uint32_t* bytesOut = input_.ConsumeBool() ? &bytes : nullptr;
            expectCode("GetListRecordInfo", guarded("GetListRecordInfo", [&] {
                           return lib_.GetListRecordInfo(id, listId, countOut, bytesOut);
                       }), {0, -1, -5});
            break;
        }
        case Operation::AddRecordToList: {
            const int32_t id = client(), listId = list();
            const char* key = text(a, {"pk"});
            const char* hashKey = text(b, {"0", "1", "340282366920938463463374607431768211455"});
            d = rxk::fuzz::pickRecord(input_);
            const int32_t length = statedRecordLength(d);
            const void* data = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : d.data();
            expectCode("AddRecordToList", guarded("AddRecordToList", [&] {
                           return lib_.AddRecordToList(id, listId, key, hashKey, data, length);
                       }), {0, -1, -2, -3});
            break;
        }
        case Operation::PutRecords: {
            const int32_t id = client(), listId = list();
            const char* stream = text(a, kStreams);
            const char* tag = text(b, {"tag"});
            int32_t put = -7, failed = -7, bytes = -7, output = -7;
            const bool outputs = input_.ConsumeBool();
            expectCode("PutRecords", guarded("PutRecords", [&] {
                           return outputs ? lib_.PutRecords(id, listId, stream, &put, &failed, &bytes, &output, tag)
                                          : lib_.PutRecords(id, listId, stream, nullptr, nullptr, nullptr, nullptr, tag);
                       }), {0, 3, -1});
            break;
        }
        case Operation::GetLastResultPutRecords: {
            const int32_t id = client(), listId = list();
            const int32_t index = pickId(input_, {0, 1, 2});
            ResultBuffers out(input_);
            expectCode("GetLastResultPutRecords", guarded("GetLastResultPutRecords", [&] {
                           return lib_.GetLastResultPutRecords(id, listId, index, out.stream(), out.shard(),
                                                               out.sequence(), out.success(), out.key(),
                                                               out.hashKey(), out.error(), out.length());
                       }), {0, -1});
            break;
        }
        case Operation::StartShardIterator: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            const char* start = text(c, kStartValues);
            const int32_t limit = input_.ConsumeIntegral<int32_t>();
            const int32_t type = input_.ConsumeBool() ? input_.ConsumeIntegralInRange<int32_t>(-1, 6)
                                                      : input_.ConsumeIntegral<int32_t>();
            expectCode("StartShardIterator", guarded("StartShardIterator", [&] {
                           return lib_.StartShardIterator(id, stream, shard, start, limit, type);
                       }), {0, 2, -1});
            break;
        }
        case Operation::NextShardIterator: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            expectCode("NextShardIterator",
                       guarded("NextShardIterator", [&] { return lib_.NextShardIterator(id, stream, shard); }),
                       {0, 2, -1, -4});
            break;
        }
        case Operation::GetRecordFromIterator: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            // The tiny Kinesis hands out no records, so any buffer is as long as the longest one + 1.
            GuardedBuffer data(1 + input_.ConsumeIntegralInRange<std::size_t>(0, 64), "GetRecordFromIterator data");
            GuardedBuffer sequence(RXK_POLL_SEQUENCE_BYTES, "GetRecordFromIterator sequenceNumber");
            int32_t length = -7;
            char* sequenceOut = input_.ConsumeBool() ? sequence.data() : nullptr;
            char* dataOut = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : data.data();
            int32_t* lengthOut = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : &length;
            expectCode("GetRecordFromIterator", guarded("GetRecordFromIterator", [&] {
                           return lib_.GetRecordFromIterator(id, stream, shard, sequenceOut, dataOut, lengthOut);
                       }), {0, 2, -1, -4});
            break;
        }
        case Operation::PollShardIterator: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            PollCallback callback = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr
                                                                                  : rxk::fuzz::checkingPollCallback;
            expectCode("PollShardIterator", guarded("PollShardIterator", [&] {
                           return lib_.PollShardIterator(id, stream, shard, callback);
                       }), {0, 2, -1, -4});
            break;
        }
        case Operation::StopShardIterator: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            expectCode("StopShardIterator",
                       guarded("StopShardIterator", [&] { return lib_.StopShardIterator(id, stream, shard); }),
                       {0, -1, -4});
            break;
        }
        case Operation::GetRecord: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            const char* sequence = text(c, kStartValues);
            GuardedBuffer data(1 + input_.ConsumeIntegralInRange<std::size_t>(0, 64), "GetRecord data");
            int32_t length = -7;
            char* dataOut = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : data.data();
            expectCode("GetRecord", guarded("GetRecord", [&] {
                           return lib_.GetRecord(id, stream, shard, sequence, dataOut, &length);
                       }), {0, -1});
            break;
        }
        case Operation::GetData: {
            const int32_t id = client();
            const int32_t type = input_.ConsumeBool() ? input_.ConsumeIntegralInRange<int32_t>(-1, 3)
                                                      : input_.ConsumeIntegral<int32_t>();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            GuardedBuffer buffer(rxk::fuzz::pickBufferSize(input_), "GetData buffer");
            int32_t stated = rxk::fuzz::pickStatedLength(input_, buffer.size());
            const char delimiter = static_cast<char>(input_.ConsumeIntegral<uint8_t>());
            char* target = input_.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : buffer.data();
            const int32_t result = guarded("GetData", [&] {
                return lib_.GetData(id, type, stream, shard, target, &stated, delimiter);
            });
            expectCode("GetData", result, {0, 1, -1});
            if (result >= 0 && (stated < 0 || static_cast<std::size_t>(stated) > buffer.size()))
                rxk::fuzz::fail("GetData", "reported more bytes than the buffer holds");
            break;
        }
        case Operation::GetDataShortcut: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const char* shard = text(b, kShards);
            GuardedBuffer buffer(rxk::fuzz::pickBufferSize(input_), "GetList buffer");
            int32_t stated = rxk::fuzz::pickStatedLength(input_, buffer.size());
            const int which = input_.ConsumeIntegralInRange<int>(0, 2);
            const int32_t result = guarded("GetListStreams/Shards/ShardDetails", [&] {
                if (which == 0) return lib_.GetListStreams(id, buffer.data(), &stated);
                if (which == 1) return lib_.GetListShards(id, stream, buffer.data(), &stated);
                return lib_.GetShardDetails(id, stream, shard, buffer.data(), &stated);
            });
            expectCode("GetList...", result, {0, 1, -1});
            break;
        }
        case Operation::CreateStream: {
            const int32_t id = client();
            const char* stream = text(a, kStreams);
            const int32_t shards = input_.ConsumeIntegral<int32_t>();
            expectCode("CreateStream", guarded("CreateStream", [&] { return lib_.CreateStream(id, stream, shards); }),
                       {0, -1});
            break;
        }
        case Operation::SetGlobalParam: {
            const char* name = text(a, kGlobalParameters);
            const char* value = text(b, {";", ",", "", "|||||||||||||||||||"});
            expectCode("SetGlobalParam", guarded("SetGlobalParam", [&] { return lib_.SetGlobalParam(name, value); }),
                       {0, -1});
            // Keep the listings readable for the following calls of other inputs.
            if (input_.ConsumeBool()) lib_.SetGlobalParam("delimiter", ";");
            break;
        }
        case Operation::GlobalErrorText: {
            if (input_.ConsumeBool()) {
                const char* newText = text(a);
                guarded("SetGlobalErrorStr", [&] { lib_.SetGlobalErrorStr(newText); return 0; });
            }
            GuardedBuffer buffer(rxk::fuzz::pickBufferSize(input_), "GetGlobalErrorStr buffer");
            const int32_t stated = rxk::fuzz::pickStatedLength(input_, buffer.size());
            char* target = input_.ConsumeBool() ? buffer.data() : nullptr;
            char* back = guarded("GetGlobalErrorStr", [&] { return lib_.GetGlobalErrorStr(target, stated); });
            if (back != target) rxk::fuzz::fail("GetGlobalErrorStr", "did not return the caller's buffer");
            if (target != nullptr && stated > 0) buffer.expectTerminated();
            break;
        }
        case Operation::InitLogEventCallBack: {
            // Silenced sinks must be as safe as set ones; the run ends with them set again.
            const int which = input_.ConsumeIntegralInRange<int>(0, 3);
            rxk::fuzz::setSinks(lib_, which & 1, which & 2);
            break;
        }
        case Operation::InititializeInterface:
            expectCode("InititializeInterface", guarded("InititializeInterface", [&] {
                           return lib_.InititializeInterface();
                       }), {0});
            break;
        case Operation::Dummy: {
            // Only words that name no scenario: the scenarios throw and print by design.
            const int32_t id = client();
            const char* word = text(a, kProbeWords);
            if (word != nullptr && std::strncmp(word, "exception", 9) == 0 && std::strlen(word) == 10 &&
                word[9] >= '1' && word[9] <= '7')
                break;
            if (word != nullptr && std::strcmp(word, "exception") == 0) break;
            expectCode("Dummy", guarded("Dummy", [&] { return lib_.Dummy(id, word); }), {0, -1});
            break;
        }
        case Operation::kCount:
            break;
        }
    }

    // The length a caller passes with record bytes: the truth, or zero/negative (refused).
    int32_t statedRecordLength(const std::string& record) {
        switch (input_.ConsumeIntegralInRange<int>(0, 7)) {
        case 0: return 0;
        case 1: return -1 - input_.ConsumeIntegralInRange<int32_t>(0, 1000000);
        default: return static_cast<int32_t>(record.size());
        }
    }

    static void expectCode(const char* exportName, int32_t result, std::initializer_list<int32_t> documented) {
        for (int32_t code : documented)
            if (result == code) return;
        rxk::fuzz::fail(exportName, "returned the undocumented result " + std::to_string(result));
    }

    // The outputs of the read-back exports, each null or a fenced buffer of the documented size.
    class ResultBuffers {
    public:
        explicit ResultBuffers(FuzzedDataProvider& input) : mask_(input.ConsumeIntegral<uint16_t>()) {}
        char* stream() { return pick(0, stream_); }
        char* shard() { return pick(1, shard_); }
        char* sequence() { return pick(2, sequence_); }
        unsigned char* success() { return mask_ & (1u << 3) ? nullptr : success_.bytes(); }
        char* key() { return pick(4, key_); }
        char* hashKey() { return pick(5, hashKey_); }
        char* error() { return pick(6, error_); }
        uint32_t* length() { return mask_ & (1u << 7) ? nullptr : &length_; }

    private:
        char* pick(int bit, GuardedBuffer& buffer) { return mask_ & (1u << bit) ? nullptr : buffer.data(); }
        unsigned mask_;
        GuardedBuffer stream_{RXK_ERROR_TEXT_BYTES, "read-back streamName"};
        GuardedBuffer shard_{RXK_ERROR_TEXT_BYTES, "read-back shardId"};
        GuardedBuffer sequence_{RXK_ERROR_TEXT_BYTES, "read-back sequenceNumber"};
        GuardedBuffer success_{1, "read-back success"};
        GuardedBuffer key_{RXK_ERROR_TEXT_BYTES, "read-back partitionKey"};
        GuardedBuffer hashKey_{RXK_ERROR_TEXT_BYTES, "read-back explicitHashKey"};
        GuardedBuffer error_{RXK_ERROR_TEXT_BYTES, "read-back error"};
        uint32_t length_ = 0;
    };

    FuzzedDataProvider& input_;
    rxk::test::Library& lib_;
    std::vector<int32_t> clientIds_;
    std::vector<int32_t> listIds_{0, 1};
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rxk::fuzz::session();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    ExportsRun run(input);
    run.run();
    return 0;
}
