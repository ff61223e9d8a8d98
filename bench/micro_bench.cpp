// Micro-benchmarks of the per-record work of the bundled SDK, apart from the network: base64 both
// ways, the body of a 500-record PutRecords, and the parse of a 10,000-record GetRecords answer.
#include <benchmark/benchmark.h>

#include <aws/kinesis/model/GetRecordsResult.h>
#include <aws/kinesis/model/PutRecordsRequest.h>

#include <cstdio>
#include <string>

#include "core/encoding.h"
#include "kinesis/request_serializer.h"
#include "kinesis/response_parser.h"

namespace {

constexpr size_t kRecordBytes = 100;

Aws::String payloadOfRecord() {
    Aws::String data(kRecordBytes, 'a');
    data.replace(0, 6, "record");
    return data;
}

void Base64Encode(benchmark::State& state) {
    const Aws::String data = payloadOfRecord();
    Aws::String out;
    for (auto _ : state) {
        out.clear();
        Aws::Internal::AppendBase64(out, reinterpret_cast<const unsigned char*>(data.data()), data.size());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}
BENCHMARK(Base64Encode);

void Base64Decode(benchmark::State& state) {
    const Aws::String data = payloadOfRecord();
    Aws::String text;
    Aws::Internal::AppendBase64(text, reinterpret_cast<const unsigned char*>(data.data()), data.size());
    Aws::Utils::ByteBuffer out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Aws::Internal::DecodeBase64(text.data(), text.size(), out));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}
BENCHMARK(Base64Decode);

void SerializePutRecords500(benchmark::State& state) {
    const Aws::String data = payloadOfRecord();
    Aws::Kinesis::Model::PutRecordsRequest request;
    request.SetStreamName("bench");
    for (int i = 0; i < 500; ++i) {
        Aws::Kinesis::Model::PutRecordsRequestEntry entry;
        entry.SetPartitionKey(std::to_string(i).c_str());
        entry.SetData(Aws::Utils::ByteBuffer(reinterpret_cast<const unsigned char*>(data.data()), data.size()));
        request.AddRecords(std::move(entry));
    }
    Aws::String body;
    for (auto _ : state) {
        Aws::Internal::SerializeRequest(request, body);
        benchmark::DoNotOptimize(body.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 500));
}
BENCHMARK(SerializePutRecords500);

// A GetRecords answer as the service writes it, with room past its end for in-place parsing.
std::string getRecordsAnswer(int records) {
    const Aws::String data = payloadOfRecord();
    Aws::String encoded;
    Aws::Internal::AppendBase64(encoded, reinterpret_cast<const unsigned char*>(data.data()), data.size());
    std::string body = "{\"Records\":[";
    char record[512];
    for (int i = 0; i < records; ++i) {
        std::snprintf(record, sizeof record,
                      "%s{\"SequenceNumber\":\"49590338271490256608559692538361571095921575989136%06d\","
                      "\"ApproximateArrivalTimestamp\":1.7637851e9,\"Data\":\"%s\",\"PartitionKey\":\"%d\"}",
                      i == 0 ? "" : ",", i, encoded.c_str(), i);
        body += record;
    }
    body += "],\"NextShardIterator\":\"AAAAAAAAAAFnext\",\"MillisBehindLatest\":0}";
    return body;
}

void ParseGetRecords10000(benchmark::State& state) {
    std::string body = getRecordsAnswer(10000);
    const size_t length = body.size();
    body.append(Aws::Internal::kJsonInputPadding, ' ');
    Aws::Internal::ResponseParser parser;
    Aws::String message;
    for (auto _ : state) {
        Aws::Kinesis::Model::GetRecordsResult result;
        if (!parser.Parse(body.data(), length, true, result, message)) state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(result.GetRecords().data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 10000));
}
BENCHMARK(ParseGetRecords10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
