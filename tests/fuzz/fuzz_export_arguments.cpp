// The exports' argument handling without a service: only calls that answer before any request
// (ids of every kind, null, empty and long texts, stated lengths that lie, parameters, record
// lists, reads without a reading state, listings of no type or without a name they need), up to
// 4 a run, every output fenced with guard bytes. One client lives for the whole process.
#include "fuzz_support.h"

namespace {

using namespace rxk::fuzz;
using rxk::test::Library;

int32_t client(Library& library) {
    static const int32_t id = [&] {
        setenv("AWS_ENDPOINT_URL_KINESIS", "http://127.0.0.1:9", 1);  // never reached: nothing here sends
        setSinks(library, true, true);
        library.InititializeInterface();
        std::atexit([] { rxk::test::sharedLibrary().FreeClient(client(rxk::test::sharedLibrary())); rxk::test::sharedLibrary().CloseInterface(); });
        return library.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
    }();
    return id;
}

void call(Library& lib, FuzzedDataProvider& in, std::vector<int32_t>& lists) {
    const int32_t id = pickId(in, {client(lib)}), list = pickId(in, lists);
    std::string first, second;
    GuardedBuffer buffer(pickBufferSize(in), "output");
    int32_t length = pickStatedLength(in, buffer.size()), result = -4;
    uint32_t count = 0;
    switch (in.ConsumeIntegralInRange<int>(0, 8)) {
        case 0: lib.GetErrorStr(id, buffer.data(), length); if (length > 0) buffer.expectTerminated(); return;
        case 1: lib.GetGlobalErrorStr(buffer.data(), length); if (length > 0) buffer.expectTerminated(); return;
        case 2: lib.SetParam(id, pickText(in, first, {"retry", "maxputrow", "maxputlen", "sessiontoken"}), pickText(in, second, {"0", "-1", "99999999999"})); return;
        case 3: lists.push_back(lib.CreateListRecord(id)); return;
        case 4: lib.AddRecordToList(id, list, pickText(in, first, {"k"}), pickText(in, second, {"0"}), buffer.data(), length); return;
        case 5: lib.GetListRecordInfo(id, list, in.ConsumeBool() ? nullptr : &count, &count);
                in.ConsumeBool() ? lib.ClearListRecord(id, list) : lib.FreeListRecord(id, list); return;
        case 6: {  // a listing of no type, or one lacking a name it needs: nothing is asked
            const int choice = in.ConsumeIntegralInRange<int>(0, 2);
            const char* stream = choice == 1 ? nullptr : pickText(in, first);
            lib.GetData(id, choice ? choice : in.PickValueInArray({-1, 3, INT32_MIN, INT32_MAX}), stream, choice ? nullptr : pickText(in, second), buffer.data(), &length, ';');
            return;
        }
        case 7: {
            GuardedBuffer sequence(RXK_POLL_SEQUENCE_BYTES, "sequenceNumber"), data(RXK_POLL_DATA_BYTES, "data");
            result = lib.GetRecordFromIterator(id, pickText(in, first, {"s"}), pickText(in, second), sequence.data(), data.data(), &length);
            break;
        }
        default: result = in.ConsumeBool() ? lib.NextShardIterator(id, pickText(in, first, {"s"}), pickText(in, second))
                                           : lib.PollShardIterator(id, pickText(in, first, {"s"}), pickText(in, second), checkingPollCallback);
    }
    expect("a read without a reading state", result == -4 || result == -1);  // -1: a bad id
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    setenv("RXK_LIBRARY", RXK_FUZZ_DEFAULT_LIBRARY, 0);
    Library& lib = rxk::test::sharedLibrary();
    FuzzedDataProvider in(data, size);
    std::vector<int32_t> lists;
    for (int calls = 0; calls < 4 && in.remaining_bytes() > 0; ++calls) guarded("export", [&] { call(lib, in, lists); return 0; });
    lib.FreeListRecord(client(lib), -1);
    return 0;
}
