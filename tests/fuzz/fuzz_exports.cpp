// Every export with the arguments a host could pass: ids in and out of range and freed, null,
// empty and long texts, zero, negative and truthful lengths and buffer sizes, every parameter
// name and value, type codes out of range. Every output buffer is fenced with guard bytes. The
// endpoint is the fault server's tiny Kinesis, so service calls return at once and succeed.
#include "fuzz_support.h"

namespace {

using namespace rxk::fuzz;
using Words = std::vector<std::string>;

const Words kClientParameters = {"retry", "RETRY", "retryattemptshow", "maxputrow", "MaxPutLen", "maxputlen",
                                 "exceptiontranslator", "retryattemptPutRecords", "retryattemptFailRecords", "statspath",
                                 "delimiter", "retr", "retryx"};
const Words kNumbers = {"0", "1", "-1", "2", "500", "5000000", "2147483647", "-2147483648", "99999999999999999999", "abc", " 12", "1e9", ""};
const Words kStreams = {"fuzz-stream", "other-stream", "a"}, kShards = {"shardId-000000000000", "shardId-000000000001"};
const Words kStartValues = {"2016-04-04T19:58:46.480Z", "Mon, 04 Apr 2016 19:58:46 GMT",
                            "49590338271490256608559692538361571095921575989136588898", "not a time", "0"};
const Words kHashKeys = {"0", "340282366920938463463374607431768211455"};

enum class Operation {
    CreateClient, FreeClient, GetErrorStr, SetParam, GetParam, PutRecord, GetLastResultPutRecord, CreateListRecord,
    ClearListRecord, FreeListRecord, GetListRecordInfo, AddRecordToList, PutRecords, GetLastResultPutRecords,
    StartShardIterator, NextShardIterator, GetRecordFromIterator, PollShardIterator, StopShardIterator, GetRecord,
    GetData, GetDataShortcut, CreateStream, SetGlobalParam, GlobalErrorText, InitLogEventCallBack, InititializeInterface,
    Dummy, kCount
};

int32_t expectCode(const char* exportName, int32_t result, std::initializer_list<int32_t> documented) {
    if (std::find(documented.begin(), documented.end(), result) == documented.end())
        fail(exportName, "returned the undocumented result " + std::to_string(result));
    return result;
}
// The call, its name for the finding, and the codes the header documents for it.
#define CALL(name, expression, ...) expectCode(name, guarded(name, [&] { return expression; }), {__VA_ARGS__})

// The outputs of the read-back exports, each null or a fenced buffer of the documented size.
struct ResultBuffers {
    explicit ResultBuffers(FuzzedDataProvider& input) : mask(input.ConsumeIntegral<uint16_t>()) {}
    char* pick(int bit, GuardedBuffer& buffer) { return mask & (1u << bit) ? nullptr : buffer.data(); }
    unsigned mask;
    GuardedBuffer stream{RXK_ERROR_TEXT_BYTES, "streamName"}, shard{RXK_ERROR_TEXT_BYTES, "shardId"},
        sequence{RXK_ERROR_TEXT_BYTES, "sequenceNumber"}, success{1, "success"}, key{RXK_ERROR_TEXT_BYTES, "partitionKey"},
        hashKey{RXK_ERROR_TEXT_BYTES, "explicitHashKey"}, error{RXK_ERROR_TEXT_BYTES, "error"};
    uint32_t length = 0;
    unsigned char* successFlag() { return mask & (1u << 3) ? nullptr : reinterpret_cast<unsigned char*>(success.data()); }
    uint32_t* lengthOut() { return mask & (1u << 7) ? nullptr : &length; }
};

// One execution: at most 48 calls the input asks for, then every client it created is freed.
class ExportsRun {
public:
    explicit ExportsRun(FuzzedDataProvider& input) : in_(input), lib_(session().library) {
        clients_.push_back(lib_.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret"));
        expect("CreateClient refused a valid client", clients_[0] >= 0);
    }
    ~ExportsRun() {
        for (int32_t id : clients_) lib_.FreeClient(id);
        setSinks(lib_, true, true);
    }
    void run() {
        for (int call = 0; call < 48 && in_.remaining_bytes() > 0; ++call)
            perform(static_cast<Operation>(in_.ConsumeIntegralInRange<int>(0, int(Operation::kCount) - 1)));
    }

private:
    int32_t client() { return pickId(in_, clients_); }
    int32_t list() { return pickId(in_, lists_); }
    const char* text(std::string& holder, const Words& vocabulary = {}) { return pickText(in_, holder, vocabulary); }
    bool oneInEight() { return in_.ConsumeIntegralInRange<int>(0, 7) == 0; }
    // The length stated with record bytes: the truth, or zero or negative (refused).
    int32_t recordLength(const std::string& record) {
        switch (in_.ConsumeIntegralInRange<int>(0, 7)) {
        case 0: return 0;
        case 1: return -1 - in_.ConsumeIntegralInRange<int32_t>(0, 1000000);
        default: return int32_t(record.size());
        }
    }
    // A text export that hands back the caller's buffer (GetErrorStr, GetGlobalErrorStr).
    template <typename Export>
    void textInto(const char* name, Export call) {
        GuardedBuffer buffer(pickBufferSize(in_), name);
        const int32_t stated = pickStatedLength(in_, buffer.size());
        char* target = in_.ConsumeBool() ? buffer.data() : nullptr;
        expect(name, guarded(name, [&] { return call(target, stated); }) == target);
        if (target != nullptr && stated > 0) buffer.expectTerminated();
    }
    struct Shard { int32_t id; const char *stream, *shard; };
    Shard shard(std::string& a, std::string& b) {
        const int32_t id = client();
        const char* stream = text(a, kStreams);
        return {id, stream, text(b, kShards)};
    }
    // Record bytes with their stated length and, now and then, a null pointer.
    struct Record { std::string bytes; int32_t length; const void* data; };
    void record(Record& r) {
        r.bytes = pickRecord(in_);
        r.length = recordLength(r.bytes);
        r.data = oneInEight() ? nullptr : r.bytes.data();
    }

    // Each case takes its arguments from the input in the order written (the layout of the corpus
    // and the regression inputs), then makes the call.
    void perform(Operation operation) {
        std::string a, b, c;
        Record r;
        int32_t id = -1, l = -1, stated = 0, length = -7;
        switch (operation) {
        case Operation::CreateClient: {
            const char *region = text(a, {"us-east-1", "eu-west-1", "cn-north-1", "not a region"}), *key = text(b, {"AKID"}), *secret = text(c, {"secret"});
            if ((id = guarded("CreateClient", [&] { return lib_.CreateClient(region, key, secret); })) >= 0) clients_.push_back(id);
            break;
        }
        case Operation::FreeClient: id = client(); CALL("FreeClient", lib_.FreeClient(id), 0, -1); break;
        case Operation::GetErrorStr:
            id = client();
            textInto("GetErrorStr", [&](char* target, int32_t size) { return lib_.GetErrorStr(id, target, size); });
            break;
        case Operation::SetParam: {
            id = client();
            const char *name = text(a, kClientParameters), *value = text(b, kNumbers);
            CALL("SetParam", lib_.SetParam(id, name, value), 0, -1);
            break;
        }
        case Operation::GetParam: {
            id = client();
            const char* name = text(a, kClientParameters);
            GuardedBuffer buffer(RXK_ERROR_TEXT_BYTES + 88, "GetParam buffer");
            char* target = oneInEight() ? nullptr : buffer.data();
            if (CALL("GetParam", lib_.GetParam(id, name, target), 0, -1) == 0) buffer.expectTerminated();
            break;
        }
        case Operation::PutRecord: {
            id = client();
            const char *stream = text(a, kStreams), *key = text(b, {"pk"}), *hashKey = text(c, kHashKeys);
            record(r);
            CALL("PutRecord", lib_.PutRecord(id, stream, key, hashKey, r.data, r.length), 0, -1);
            break;
        }
        case Operation::GetLastResultPutRecord: {
            id = client();
            ResultBuffers o(in_);
            CALL("GetLastResultPutRecord", lib_.GetLastResultPutRecord(id, o.pick(0, o.stream), o.pick(1, o.shard), o.pick(2, o.sequence),
                 o.successFlag(), o.pick(4, o.key), o.pick(5, o.hashKey), o.pick(6, o.error), o.lengthOut()), 0, -1);
            break;
        }
        case Operation::CreateListRecord:
            id = client();
            if ((l = guarded("CreateListRecord", [&] { return lib_.CreateListRecord(id); })) >= 0) lists_.push_back(l);
            else expectCode("CreateListRecord", l, {-1});
            break;
        case Operation::ClearListRecord: id = client(), l = list(); CALL("ClearListRecord", lib_.ClearListRecord(id, l), 0, -1); break;
        case Operation::FreeListRecord: id = client(), l = list(); CALL("FreeListRecord", lib_.FreeListRecord(id, l), 0, -1); break;
        case Operation::GetListRecordInfo: {
            id = client(), l = list();
            uint32_t count = 0, bytes = 0, *countOut = in_.ConsumeBool() ? &count : nullptr, *bytesOut = in_.ConsumeBool() ? &bytes : nullptr;
            CALL("GetListRecordInfo", lib_.GetListRecordInfo(id, l, countOut, bytesOut), 0, -1, -5);
            break;
        }
        case Operation::AddRecordToList: {
            id = client(), l = list();
            const char *key = text(a, {"pk"}), *hashKey = text(b, {"0", "1", kHashKeys[1]});
            record(r);
            CALL("AddRecordToList", lib_.AddRecordToList(id, l, key, hashKey, r.data, r.length), 0, -1, -2, -3);
            break;
        }
        case Operation::PutRecords: {
            id = client(), l = list();
            const char *stream = text(a, kStreams), *tag = text(b, {"tag"});
            int32_t counts[4] = {-7, -7, -7, -7};
            int32_t* out = in_.ConsumeBool() ? counts : nullptr;
            CALL("PutRecords", lib_.PutRecords(id, l, stream, out ? out : nullptr, out ? out + 1 : nullptr, out ? out + 2 : nullptr, out ? out + 3 : nullptr, tag), 0, 3, -1);
            break;
        }
        case Operation::GetLastResultPutRecords: {
            id = client(), l = list();
            const int32_t index = pickId(in_, {0, 1, 2});
            ResultBuffers o(in_);
            CALL("GetLastResultPutRecords", lib_.GetLastResultPutRecords(id, l, index, o.pick(0, o.stream), o.pick(1, o.shard),
                 o.pick(2, o.sequence), o.successFlag(), o.pick(4, o.key), o.pick(5, o.hashKey), o.pick(6, o.error), o.lengthOut()), 0, -1);
            break;
        }
        case Operation::StartShardIterator: {
            const Shard s = shard(a, b);
            const char* start = text(c, kStartValues);
            const int32_t limit = in_.ConsumeIntegral<int32_t>();
            const int32_t type = in_.ConsumeBool() ? in_.ConsumeIntegralInRange<int32_t>(-1, 6) : in_.ConsumeIntegral<int32_t>();
            CALL("StartShardIterator", lib_.StartShardIterator(s.id, s.stream, s.shard, start, limit, type), 0, 2, -1);
            break;
        }
        case Operation::NextShardIterator: {
            const Shard s = shard(a, b);
            CALL("NextShardIterator", lib_.NextShardIterator(s.id, s.stream, s.shard), 0, 2, -1, -4);
            break;
        }
        case Operation::GetRecordFromIterator: {
            const Shard s = shard(a, b);
            // The tiny Kinesis hands out no records, so any buffer is as long as the longest one + 1.
            GuardedBuffer data(1 + in_.ConsumeIntegralInRange<size_t>(0, 64), "record data"), sequence(RXK_POLL_SEQUENCE_BYTES, "sequence");
            char *sequenceOut = in_.ConsumeBool() ? sequence.data() : nullptr, *dataOut = oneInEight() ? nullptr : data.data();
            int32_t* lengthOut = oneInEight() ? nullptr : &length;
            CALL("GetRecordFromIterator", lib_.GetRecordFromIterator(s.id, s.stream, s.shard, sequenceOut, dataOut, lengthOut), 0, 2, -1, -4);
            break;
        }
        case Operation::PollShardIterator: {
            const Shard s = shard(a, b);
            const PollCallback callback = oneInEight() ? nullptr : checkingPollCallback;
            CALL("PollShardIterator", lib_.PollShardIterator(s.id, s.stream, s.shard, callback), 0, 2, -1, -4);
            break;
        }
        case Operation::StopShardIterator: {
            const Shard s = shard(a, b);
            CALL("StopShardIterator", lib_.StopShardIterator(s.id, s.stream, s.shard), 0, -1, -4);
            break;
        }
        case Operation::GetRecord: {
            const Shard s = shard(a, b);
            const char* sequence = text(c, kStartValues);
            GuardedBuffer data(1 + in_.ConsumeIntegralInRange<size_t>(0, 64), "GetRecord data");
            char* dataOut = oneInEight() ? nullptr : data.data();
            CALL("GetRecord", lib_.GetRecord(s.id, s.stream, s.shard, sequence, dataOut, &length), 0, -1);
            break;
        }
        case Operation::GetData: {
            id = client();
            const int32_t type = in_.ConsumeBool() ? in_.ConsumeIntegralInRange<int32_t>(-1, 3) : in_.ConsumeIntegral<int32_t>();
            const char *stream = text(a, kStreams), *shardId = text(b, kShards);
            GuardedBuffer buffer(pickBufferSize(in_), "GetData buffer");
            stated = pickStatedLength(in_, buffer.size());
            const char delimiter = char(in_.ConsumeIntegral<uint8_t>());
            char* target = oneInEight() ? nullptr : buffer.data();
            const int32_t result = CALL("GetData", lib_.GetData(id, type, stream, shardId, target, &stated, delimiter), 0, 1, -1);
            expect("GetData reported more bytes than the buffer holds", result < 0 || (stated >= 0 && size_t(stated) <= buffer.size()));
            break;
        }
        case Operation::GetDataShortcut: {
            const Shard s = shard(a, b);
            GuardedBuffer buffer(pickBufferSize(in_), "GetList buffer");
            stated = pickStatedLength(in_, buffer.size());
            const int which = in_.ConsumeIntegralInRange<int>(0, 2);
            CALL("GetListStreams/Shards/ShardDetails", which == 0   ? lib_.GetListStreams(s.id, buffer.data(), &stated)
                                                       : which == 1 ? lib_.GetListShards(s.id, s.stream, buffer.data(), &stated)
                                                                    : lib_.GetShardDetails(s.id, s.stream, s.shard, buffer.data(), &stated), 0, 1, -1);
            break;
        }
        case Operation::CreateStream: {
            id = client();
            const char* stream = text(a, kStreams);
            const int32_t shards = in_.ConsumeIntegral<int32_t>();
            CALL("CreateStream", lib_.CreateStream(id, stream, shards), 0, -1);
            break;
        }
        case Operation::SetGlobalParam: {
            const char *name = text(a, {"delimiter", "DELIMITER", "statspath", "StatsPath", "retry"}), *value = text(b, {";", ",", "", "|||||||||||||||||||"});
            CALL("SetGlobalParam", lib_.SetGlobalParam(name, value), 0, -1);
            if (in_.ConsumeBool()) lib_.SetGlobalParam("delimiter", ";");  // keep listings readable for later inputs
            break;
        }
        case Operation::GlobalErrorText:
            if (in_.ConsumeBool()) {
                const char* newText = text(a);
                guarded("SetGlobalErrorStr", [&] { lib_.SetGlobalErrorStr(newText); return 0; });
            }
            textInto("GetGlobalErrorStr", [&](char* target, int32_t size) { return lib_.GetGlobalErrorStr(target, size); });
            break;
        case Operation::InitLogEventCallBack:  // silenced sinks must be as safe as set ones
            l = in_.ConsumeIntegralInRange<int>(0, 3);
            setSinks(lib_, l & 1, l & 2);
            break;
        case Operation::InititializeInterface: CALL("InititializeInterface", lib_.InititializeInterface(), 0); break;
        case Operation::Dummy: {  // only words that name no scenario: the scenarios throw and print by design
            id = client();
            const char* word = text(a, {"nothing", "", "exceptio", "exception8", "EXCEPTION0"});
            const bool scenario = word && std::strncmp(word, "exception", 9) == 0 && (word[9] == '\0' || (word[9] >= '1' && word[9] <= '7' && word[10] == '\0'));
            if (!scenario) CALL("Dummy", lib_.Dummy(id, word), 0, -1);
            break;
        }
        case Operation::kCount: break;
        }
    }

    FuzzedDataProvider& in_;
    rxk::test::Library& lib_;
    std::vector<int32_t> clients_, lists_{0, 1};
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    session();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    ExportsRun(input).run();
    return 0;
}
