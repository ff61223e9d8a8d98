// The --help text: what rxkfault is, then examples a reader can paste, then every option.
#include "options.h"

namespace rxkfault {

const char* helpText() {
    return R"(rxkfault: a local Kinesis endpoint that answers from a script, misbehaves on purpose
and records what it was sent.

usage: rxkfault [--port P] [--script FILE] [--port-file FILE]
                [--canned [--records-per-get N] [--record-bytes M] [--batches-per-iterator K]]

It listens on 127.0.0.1 (a free port unless --port), prints "port=<P>" once it does, and
answers Kinesis JSON 1.1 requests: from the script's rules first, else as a tiny valid Kinesis
(puts succeed, reads give empty batches, streams are created, described and listed).
SIGTERM or SIGINT stop it; it prints "requests=<n> cpu_user_seconds=<u> cpu_system_seconds=<s>".

Examples
  Start it with a script (any of those below saved as faults.json), point a client at it:
    rxkfault --port 4567 --script faults.json &
    AWS_ENDPOINT_URL_KINESIS=http://127.0.0.1:4567 my-host ...

  Throttle the first two PutRecords, then let everything through:
    {"rules":[{"operation":"PutRecords","attempts":[1,2],
               "answer":{"error":"ProvisionedThroughputExceededException","message":"Rate exceeded"}}]}

  Fail the records keyed "p1" (and those keyed "fail-...") on the first attempt only:
    {"rules":[{"operation":"PutRecords","attempts":[1],
               "answer":{"fail_records":{"keys":["p1"],"key_prefix":"fail-"}}}]}

  A stream of 250 shards described 100 at a time, then a dropped connection and a cut answer:
    {"streams":[{"name":"orders","shards":250,"shards_per_page":100}],
     "rules":[{"operation":"GetRecords","times":1,"answer":{"fault":"reset"}},
              {"operation":"GetRecords","times":1,"answer":{"records":[{"data":"hi"}],
                "next_iterator":"it-1","fault":"truncate","after_bytes":10}}]}

  A slow 503, an HTML page from a proxy, and bytes exactly as given:
    {"rules":[{"operation":"*","times":1,"answer":{"error":"ServiceUnavailable","status":503,"delay_ms":500}},
              {"operation":"*","times":1,"answer":{"body":"<html>Bad Gateway</html>","status":502,
                "content_type":"text/html"}},
              {"operation":"*","answer":{"raw":"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n{\"a\""}}]}

  Drive it while it runs (same port):
    curl -X PUT --data @script.json http://127.0.0.1:4567/_rxkfault/script   # load a script
    curl http://127.0.0.1:4567/_rxkfault/requests?operation=PutRecords         # what came
    curl -X DELETE http://127.0.0.1:4567/_rxkfault/requests                    # forget it
    curl http://127.0.0.1:4567/_rxkfault/stats                                 # counts

  An instant endpoint for benchmarks:
    rxkfault --canned --records-per-get 10000 --record-bytes 100 --batches-per-iterator 100

Options
  --port P                  listen on 127.0.0.1:P (0 or absent: a free port)
  --script FILE             load FILE first (the format of PUT /_rxkfault/script)
  --port-file FILE          also write the port to FILE
  --canned                  answer PutRecords and GetRecords at once from prebuilt bodies
  --records-per-get N       records in each canned GetRecords answer (10)
  --record-bytes M          bytes of each canned record (100)
  --batches-per-iterator K  canned batches before a shard runs dry (0: never)
  --help                    this text

A bad script is refused with its JSON path and what is wrong, e.g.
  rules[0].answer: "fault":"truncate" needs "after_bytes"
The script format in full: man rxkfault.

Exit status: 0 stopped by a signal, 1 could not listen or read a file, 2 bad command line or script.
)";
}

}  // namespace rxkfault
