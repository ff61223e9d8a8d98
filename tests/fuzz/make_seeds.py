#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into tests/fuzz/corpus/<target>/.

Run it again after changing an input layout; the files it writes are committed.
  fuzz_service_answers: byte 0 operation, byte 1 status selector, byte 2 drive flags, then the body
  fuzz_http_layer:      byte 0 operation, then the raw HTTP answer
  fuzz_exports:         FuzzedDataProvider bytes (any bytes are valid; these are varied shapes)
"""
import base64
import json
import os
import random

HERE = os.path.dirname(os.path.abspath(__file__))
OPERATIONS = ["PutRecord", "PutRecords", "GetShardIterator", "GetRecords", "ListStreams",
              "DescribeStream", "CreateStream"]
STATUS_200, STATUS_400, STATUS_500, STATUS_503, STATUS_429 = 0, 4, 5, 6, 7


def write(target, name, data):
    directory = os.path.join(HERE, "corpus", target)
    os.makedirs(directory, exist_ok=True)
    with open(os.path.join(directory, name), "wb") as out:
        out.write(data)


def answer(name, operation, body, status=STATUS_200, drive=0):
    if isinstance(body, (dict, list)):
        body = json.dumps(body)
    if isinstance(body, str):
        body = body.encode("utf-8", "surrogateescape")
    write("fuzz_service_answers", name, bytes([OPERATIONS.index(operation), status, drive]) + body)


def sequence(n):
    return str(49590338271490256608559692538361571095921575989136588898 + n)


def record(n, data=b"record"):
    return {"SequenceNumber": sequence(n), "ApproximateArrivalTimestamp": 1767225600.123,
            "Data": base64.b64encode(data).decode(), "PartitionKey": "pk"}


def shard(n):
    return {"ShardId": "shardId-%012d" % n,
            "HashKeyRange": {"StartingHashKey": "0", "EndingHashKey": "340282366920938463463374607431768211455"},
            "SequenceNumberRange": {"StartingSequenceNumber": sequence(0)}}


def service_answers():
    error = {"__type": "ResourceNotFoundException", "message": "Stream answers under account 1 not found."}
    for operation in OPERATIONS:
        answer(operation + "-error-400", operation, error, STATUS_400)
        answer(operation + "-internal-500", operation, {"__type": "InternalFailure", "message": "boom"}, STATUS_500)
        answer(operation + "-empty-503", operation, "", STATUS_503)
        answer(operation + "-not-json", operation, "<html><body>Bad Gateway</body></html>", STATUS_200)
        answer(operation + "-null", operation, "null")
        answer(operation + "-array", operation, "[1,2,3]")
    # PutRecord
    answer("PutRecord-ok", "PutRecord", {"ShardId": "shardId-000000000000", "SequenceNumber": sequence(1)})
    answer("PutRecord-wrong-types", "PutRecord", {"ShardId": 7, "SequenceNumber": ["x"]})
    answer("PutRecord-long-texts", "PutRecord", {"ShardId": "s" * 3000, "SequenceNumber": "9" * 3000})
    answer("PutRecord-throttled", "PutRecord",
           {"__type": "ProvisionedThroughputExceededException", "message": "Rate exceeded"}, STATUS_400)
    answer("PutRecord-long-message", "PutRecord", {"__type": "InternalFailure", "message": "m" * 5000}, STATUS_500)
    # PutRecords: drive byte low bits = records - 1, bits 3-4 = retries
    ok = {"FailedRecordCount": 0, "Records": [{"ShardId": "shardId-000000000000", "SequenceNumber": sequence(i)}
                                               for i in range(3)]}
    answer("PutRecords-ok-3", "PutRecords", ok, drive=2)
    partial = {"FailedRecordCount": 1, "Records": [
        {"ShardId": "shardId-000000000000", "SequenceNumber": sequence(1)},
        {"ErrorCode": "ProvisionedThroughputExceededException", "ErrorMessage": "Rate exceeded"},
        {"ShardId": "shardId-000000000000", "SequenceNumber": sequence(3)}]}
    answer("PutRecords-partial", "PutRecords", partial, drive=2)
    answer("PutRecords-partial-retry", "PutRecords", partial, drive=2 | (2 << 3))
    answer("PutRecords-fewer-records", "PutRecords", {"FailedRecordCount": 0, "Records": [ok["Records"][0]]}, drive=4)
    answer("PutRecords-more-records", "PutRecords",
           {"FailedRecordCount": 0, "Records": ok["Records"] * 4}, drive=1)
    answer("PutRecords-count-lies", "PutRecords", {"FailedRecordCount": 5, "Records": ok["Records"]}, drive=2)
    answer("PutRecords-negative-count", "PutRecords", {"FailedRecordCount": -1, "Records": ok["Records"]}, drive=2)
    answer("PutRecords-huge-count", "PutRecords",
           '{"FailedRecordCount": 99999999999999999999999999, "Records": []}', drive=2)
    answer("PutRecords-records-null", "PutRecords", {"FailedRecordCount": 0, "Records": None}, drive=2)
    answer("PutRecords-all-failed-retry", "PutRecords", {"FailedRecordCount": 2, "Records": [
        {"ErrorCode": "InternalFailure", "ErrorMessage": "e" * 2000}, {"ErrorCode": "X", "ErrorMessage": None}]},
        drive=1 | (3 << 3))
    answer("PutRecords-missing-members", "PutRecords", {"Records": [{}, {}, {}]}, drive=2)
    # GetShardIterator
    answer("GetShardIterator-ok", "GetShardIterator", {"ShardIterator": "AAAA" * 20})
    answer("GetShardIterator-long", "GetShardIterator", {"ShardIterator": "I" * 20000})
    answer("GetShardIterator-missing", "GetShardIterator", {})
    answer("GetShardIterator-number", "GetShardIterator", {"ShardIterator": 12})
    # GetRecords: drive bits 5-6 = reading style
    batch = {"Records": [record(i) for i in range(5)], "NextShardIterator": "next", "MillisBehindLatest": 0}
    for style in range(4):
        answer("GetRecords-batch-style%d" % style, "GetRecords", batch, drive=style << 5)
    answer("GetRecords-invalid-base64", "GetRecords",
           {"Records": [dict(record(1), Data="!!!not base64***")], "NextShardIterator": "n"})
    answer("GetRecords-nul-bytes", "GetRecords", {"Records": [record(1, b"a\0b\0c")], "NextShardIterator": "n"},
           drive=1 << 5)
    answer("GetRecords-invalid-utf8", "GetRecords",
           b'{"Records":[{"SequenceNumber":"1","Data":"QUJD","PartitionKey":"\xff\xfe\xc3"}],"NextShardIterator":"\xc0\xaf"}')
    answer("GetRecords-escaped-unicode", "GetRecords",
           '{"Records":[{"SequenceNumber":"\\u0000\\ud800","Data":"QUJD","PartitionKey":"\\u00e9"}]}')
    answer("GetRecords-huge-numbers", "GetRecords",
           '{"Records":[{"SequenceNumber":"1","Data":"QUJD","ApproximateArrivalTimestamp":1e400}],'
           '"MillisBehindLatest":-99999999999999999999999}')
    answer("GetRecords-long-sequence", "GetRecords", {"Records": [dict(record(1), SequenceNumber="7" * 5000)]},
           drive=1 << 5)
    answer("GetRecords-big-record", "GetRecords", {"Records": [record(1, b"z" * 20000)]}, drive=1 << 5)
    answer("GetRecords-wrong-types", "GetRecords", {"Records": {"a": 1}, "NextShardIterator": ["x"]})
    answer("GetRecords-records-of-null", "GetRecords", {"Records": [None, 1, "x", []]})
    answer("GetRecords-deep-nesting", "GetRecords", "[" * 5000 + "]" * 5000)
    answer("GetRecords-deep-object", "GetRecords", '{"Records":' + '{"a":' * 3000 + "1" + "}" * 3000 + "}")
    answer("GetRecords-10000", "GetRecords",
           {"Records": [record(i, b"r%d" % i) for i in range(10000)], "NextShardIterator": "n"}, drive=1 << 5)
    answer("GetRecords-truncated-json", "GetRecords", json.dumps(batch)[:60])
    answer("GetRecord-one-shot", "GetRecords", {"Records": [record(1, b"one")]}, drive=2 << 5)
    # ListStreams
    answer("ListStreams-ok", "ListStreams", {"StreamNames": ["a", "b", "c"], "HasMoreStreams": False})
    answer("ListStreams-empty", "ListStreams", {"StreamNames": [], "HasMoreStreams": False})
    answer("ListStreams-more", "ListStreams", {"StreamNames": ["a"], "HasMoreStreams": True})
    answer("ListStreams-long-names", "ListStreams", {"StreamNames": ["n" * 3000, "m" * 3000]}, drive=0x80)
    answer("ListStreams-delimiters", "ListStreams", {"StreamNames": ["a;b", "c\u0000d", ""]})
    answer("ListStreams-wrong-types", "ListStreams", {"StreamNames": [1, None, {"x": 1}], "HasMoreStreams": "yes"})
    answer("ListStreams-many", "ListStreams", {"StreamNames": ["stream-%d" % i for i in range(2000)]})
    # DescribeStream
    description = {"StreamDescription": {"StreamName": "answers", "StreamStatus": "ACTIVE",
                                         "Shards": [shard(i) for i in range(3)], "HasMoreShards": False}}
    answer("DescribeStream-ok", "DescribeStream", description)
    answer("DescribeStream-ok-small-buffer", "DescribeStream", description, drive=0x80)
    more = json.loads(json.dumps(description))
    more["StreamDescription"]["HasMoreShards"] = True
    answer("DescribeStream-more-same-page", "DescribeStream", more)
    answer("DescribeStream-no-shards", "DescribeStream",
           {"StreamDescription": {"Shards": [], "HasMoreShards": True}})
    answer("DescribeStream-missing", "DescribeStream", {"StreamDescription": None})
    answer("DescribeStream-shard-without-fields", "DescribeStream",
           {"StreamDescription": {"Shards": [{}, {"ShardId": ""}], "HasMoreShards": False}})
    answer("DescribeStream-long-hash-keys", "DescribeStream",
           {"StreamDescription": {"Shards": [dict(shard(0), HashKeyRange={"StartingHashKey": "9" * 4000,
                                                                          "EndingHashKey": "8" * 4000})]}})
    # CreateStream
    answer("CreateStream-ok-empty", "CreateStream", "")
    answer("CreateStream-ok-object", "CreateStream", {})
    answer("CreateStream-in-use", "CreateStream",
           {"__type": "ResourceInUseException", "message": "Stream answers already exists."}, STATUS_400)
    answer("CreateStream-typed-header-form", "CreateStream",
           {"__type": "com.amazonaws.kinesis.v20131202#LimitExceededException", "Message": "limit"}, STATUS_400)


def http(name, operation_index, raw):
    if isinstance(raw, str):
        raw = raw.encode()
    write("fuzz_http_layer", name, bytes([operation_index]) + raw)


def http_layer():
    put = json.dumps({"ShardId": "shardId-000000000000", "SequenceNumber": sequence(1)})
    puts = json.dumps({"FailedRecordCount": 0, "Records": [
        {"ShardId": "shardId-000000000000", "SequenceNumber": sequence(1)},
        {"ShardId": "shardId-000000000000", "SequenceNumber": sequence(2)}]})
    records = json.dumps({"Records": [record(1)], "NextShardIterator": "n"})
    streams = json.dumps({"StreamNames": ["a", "b"], "HasMoreStreams": False})
    for index, body in enumerate([put, puts, records, streams]):
        head = "HTTP/1.1 200 OK\r\nContent-Type: application/x-amz-json-1.1\r\n"
        http("ok-%d" % index, index, head + "Content-Length: %d\r\n\r\n%s" % (len(body), body))
        chunked = "".join("%x\r\n%s\r\n" % (len(body[i:i + 7]), body[i:i + 7]) for i in range(0, len(body), 7))
        http("chunked-%d" % index, index, head + "Transfer-Encoding: chunked\r\n\r\n" + chunked + "0\r\n\r\n")
        http("chunked-truncated-%d" % index, index, head + "Transfer-Encoding: chunked\r\n\r\n" + chunked[:40])
        http("truncated-%d" % index, index, head + "Content-Length: %d\r\n\r\n%s" % (len(body) + 50, body))
        http("no-length-%d" % index, index, head + "\r\n" + body)
        http("length-and-chunked-%d" % index, index,
             head + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n" + chunked + "0\r\n\r\n")
    http("empty", 0, b"")
    http("garbage", 1, b"\x00\xff\x10garbage\r\n\r\n")
    http("http10", 2, "HTTP/1.0 200 OK\r\n\r\n{}")
    http("status-999", 3, "HTTP/1.1 999 Whatever\r\nContent-Length: 2\r\n\r\n{}")
    http("status-100-then-close", 0, "HTTP/1.1 100 Continue\r\n\r\n")
    http("status-204", 1, "HTTP/1.1 204 No Content\r\nContent-Length: 10\r\n\r\n0123456789")
    http("negative-length", 2, "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\n{}")
    http("huge-length", 3, "HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n\r\n{}")
    http("bad-chunk-size", 1, "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n")
    http("huge-chunk-size", 2,
         "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\n{}\r\n0\r\n\r\n")
    http("long-header", 0, "HTTP/1.1 200 OK\r\nX-Long: " + "h" * 60000 + "\r\nContent-Length: 2\r\n\r\n{}")
    http("many-headers", 1, "HTTP/1.1 200 OK\r\n" + "".join("X-%d: v\r\n" % i for i in range(2000)) +
         "Content-Length: 2\r\n\r\n{}")
    http("header-without-colon", 3, "HTTP/1.1 200 OK\r\nNoColonHere\r\nContent-Length: 2\r\n\r\n{}")
    http("lf-only", 3, "HTTP/1.1 200 OK\nContent-Length: 2\n\n{}")
    http("error-header-type", 0, "HTTP/1.1 400 Bad\r\nx-amzn-ErrorType: Throttling:http://internal\r\n"
                                 "Content-Length: 2\r\n\r\n{}")
    http("redirect", 1, "HTTP/1.1 301 Moved\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n")
    http("gzip-claim", 2, "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\n\x1f\x8b\x00\x00")
    http("two-responses", 3, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}HTTP/1.1 200 OK\r\n\r\n")


def exports():
    generator = random.Random(20261123)
    for size in (16, 48, 96, 200, 400, 800, 1600, 3200, 6400):
        write("fuzz_exports", "random-%d" % size, bytes(generator.randrange(256) for _ in range(size)))
    # Long runs of one value steer FuzzedDataProvider to the ends of its ranges.
    for value in (0x00, 0x7f, 0xff):
        write("fuzz_exports", "run-%02x" % value, bytes([value]) * 512)


if __name__ == "__main__":
    service_answers()
    http_layer()
    exports()
