#!/usr/bin/env bash
# rxkcat end to end, run as a user runs it: every mode against kinesalite, the failures the
# emulator never gives against rxkfault, and last against the stopped emulator. One row per
# case; prints each failed row and exits 1 if any failed.
set -u
: "${RXKCAT:?}" "${RXK_LIBRARY:?}" "${RXK_SOURCE_DIR:?}"
fault_binary=${RXK_FAULT_ENDPOINT:-${RXK_BINARY_DIR:-}/tools/rxkfault/rxkfault}
work=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; rm -rf "$work"' EXIT
export RXKCAT_LIBRARY=$RXK_LIBRARY AWS_REGION=us-east-1 AWS_ACCESS_KEY_ID=rxkcat-test AWS_SECRET_ACCESS_KEY=rxkcat-secret
export AWS_EC2_METADATA_DISABLED=true AWS_CONFIG_FILE=/dev/null AWS_SHARED_CREDENTIALS_FILE=/dev/null AWS_RETRY_MODE=standard AWS_MAX_ATTEMPTS=1
failed=0 rows=0

# Starts a server that prints its port, waits for it, and sets $port: listen <command...>
listen() {
  "$@" >"$work/port" 2>"$work/port.err" & pids+=($!)
  for _ in $(seq 150); do grep -qE '[0-9]' "$work/port" && break; sleep 0.1; done
  port=$(grep -oE '[0-9]+' "$work/port" | head -1)
}
listen node -e "const s = require(process.argv[1])({createStreamMs: 0, deleteStreamMs: 0,
  updateStreamMs: 0, shardLimit: 1000}); process.on('SIGTERM', () => process.exit(0));
  s.listen(0, '127.0.0.1', () => console.log(s.address().port));" "$RXK_SOURCE_DIR/node_modules/kinesalite"
export AWS_ENDPOINT_URL_KINESIS=http://127.0.0.1:$port

fail() {
  failed=$((failed + 1))
  echo "FAILED $1"
  echo "  stdout: $(head -c 400 "$work/out" | cat -v)"
  echo "  stderr: $(head -c 600 "$work/err" | cat -v)"
}
check() { rows=$((rows + 1)); [ "$2" = "$3" ] || fail "$1: got [${2:0:300}], want [${3:0:300}]"; }

# row NAME STATUS STDOUT STDERR STDIN ARGS...
#   STDOUT: exactly this ('%b' escapes), ~FRAGMENT (contains it), @FILE (equals the file) or * (any)
#   STDERR: fragments that must appear, separated by |;  STDIN: '%b' escapes, or @FILE
row() {
  local name=$1 want_status=$2 want_out=$3 want_err=$4 input=$5 problems="" fragment
  shift 5
  rows=$((rows + 1))
  if [[ $input == @* ]]; then timeout 60 "$RXKCAT" "$@" <"${input#@}" >"$work/out" 2>"$work/err"
  else printf '%b' "$input" | timeout 60 "$RXKCAT" "$@" >"$work/out" 2>"$work/err"; fi
  local status=$?
  [ "$status" = "$want_status" ] || problems+=" exit $status, want $want_status;"
  case $want_out in
    '*') ;;
    '~'*) grep -qF -- "${want_out#\~}" "$work/out" || problems+=" stdout lacks [${want_out#\~}];" ;;
    @*) cmp -s "$work/out" "${want_out#@}" || problems+=" stdout differs from ${want_out#@};" ;;
    *) cmp -s "$work/out" <(printf '%b' "$want_out") || problems+=" stdout differs;" ;;
  esac
  IFS='|' read -ra fragments <<<"$want_err"
  for fragment in "${fragments[@]}"; do grep -qF -- "$fragment" "$work/err" || problems+=" stderr lacks [$fragment];"; done
  [ -z "$problems" ] || fail "$name:$problems"
}
# A bad command line: status 2, the named mistake and the way to help on stderr, nothing on stdout.
usage() { local named=$1; shift; row "bad command line: $named" 2 "" "$named|rxkcat --help" "" "$@"; }
new_stream() { local name="rxkcat-$BASHPID-$RANDOM"; "$RXKCAT" -N -s "$name" -n "$1" >/dev/null 2>&1; echo "$name"; }
# The data of every record of a shard, one per line, as the AWS CLI reads it: cli_data STREAM SHARD
awscli() { aws --region us-east-1 --endpoint-url "$AWS_ENDPOINT_URL_KINESIS" kinesis "$@"; }
cli_data() {
  awscli get-records --limit 10000 --query 'Records[].Data' --output text --shard-iterator "$(awscli get-shard-iterator \
    --stream-name "$1" --shard-id "$2" --shard-iterator-type TRIM_HORIZON --query ShardIterator --output text)" |
    tr '\t' '\n' | grep . | while read -r data; do base64 -d <<<"$data"; echo; done
}
lines() { seq -f "$1-%g" "$2" | sed 's/$/\\n/' | tr -d '\n'; }  # "p-1\np-2\n..." as '%b' text

listed=$(new_stream 3)
row "-L lists the stream" 0 "$listed\n" "" "" -L
for i in $(seq 39); do new_stream 1 >/dev/null; done
row "-L lists 40 streams, past the service's first page" 0 "*" "" "" -L
check "40 streams listed" "$(sort -u "$work/out" | grep -c '^rxkcat-')" 40

# ---- round trips: records lost, reordered or altered on the way in or out
for batching in "line 1200" "single 25 -1" "limited 40 -b 7 -X maxputrow=3"; do
  set -- $batching; s=$(new_stream 1); input=$(lines "$1" "$2")
  row "$1: produced" 0 "" "$2 records sent" "$input" -P -s "$s" "${@:3}"
  row "$1: consumed in order" 0 "$input" "" "" -C -s "$s" -e
done
s=$(new_stream 4)
row "random keys: produced over 4 shards" 0 "" "" "$(lines spread 2000)" -P -s "$s"
row "random keys: every shard read" 0 "*" "" "" -C -s "$s" -e -f '%p %s\n'
check "random keys: records of 4 shards" "$(cut -d' ' -f1 "$work/out" | sort -u | wc -l) $(cut -d' ' -f2 "$work/out" | sort | md5sum)" \
  "4 $(seq -f spread-%g 2000 | sort | md5sum)"
s=$(new_stream 1); printf 'first-1\nfirst-2\n' >"$work/first"; printf 'last-1\nlast-2' >"$work/last"
row "files and - in their order, no delimiter at the end" 0 "" "" "middle\n" -P -s "$s" "$work/first" - "$work/last"
row "files and - read back" 0 "first-1\nfirst-2\nmiddle\nlast-1\nlast-2\n" "" "" -C -s "$s" -e
s=$(new_stream 1)
row "empty records are skipped and counted" 0 "" "2 records sent|2 empty records skipped" "a\n\nb\n\n" -P -s "$s"
row "empty records: the others arrive" 0 "a\nb\n" "" "" -C -s "$s" -e
# Records of every byte value but the delimiter, each rotated apart; with the delimiter, and as consumed.
perl -e 'my $b = join "", map { chr } 1 .. 255; for my $i (0 .. 11) { my $k = ($i * 37) % 255; print substr($b, $k), substr($b, 0, $k), "\0" }' >"$work/nul"
perl -e 'my $b = join "", map { chr } grep { $_ != 30 } 1 .. 255;
  for my $i (0 .. 11) { my $k = ($i * 37) % 254; print substr($b, $k), substr($b, 0, $k), $ARGV[0] }' $'\x1e' >"$work/rs"
tr '\036' '\0' <"$work/rs" >"$work/rs-out"
# Long records, so that the two-byte delimiter straddles the reader's chunks; lone halves stay inside.
perl -e 'for my $i (0 .. 29) { print chr(97 + $i % 26) x (5000 + $i), "<x>$i<>" }' >"$work/long"
perl -e 'for my $i (0 .. 29) { print chr(97 + $i % 26) x (5000 + $i), "<x>$i\n" }' >"$work/long-out"
for delimiter in 'NUL \0 nul nul 12 %s\0' 'hex \x1e rs rs-out 12 %s\0' 'two-byte <> long long-out 30 %s\n'; do
  set -- $delimiter; s=$(new_stream 1)
  row "delimiter $1: produced" 0 "" "$5 records sent" "@$work/$3" -P -s "$s" -D "$2"
  row "delimiter $1: every other byte comes back" 0 "@$work/$4" "" "" -C -s "$s" -e -f "$6"
done
s=$(new_stream 1)
row "data with a NUL: produced" 0 "" "" 'ab\0cd;xyz;' -P -s "$s" -D ';'
row "data comes back whole, NUL bytes included" 0 "5:ab\0cd\n3:xyz\n" "" "" -C -s "$s" -e -f '%S:%s\n'
# Every byte value, one byte, 10,000 bytes and 1 MiB, byte for byte through -f and through -J.
perl -e 'print join("", map { chr } 0 .. 255), "<>\0<>", "\xff" x 10000, "<>", "m" x 1048576, "<>"' >"$work/exact"
s=$(new_stream 1)
row "exact bytes: produced" 0 "" "4 records sent" "@$work/exact" -P -s "$s" -D '<>'
row "exact bytes: consumed" 0 "@$work/exact" "" "" -C -s "$s" -e -f '%s<>'
printf 'plain<>quote" back\\ new\nline\ttab\001<>\377\376 binary<>cut \342\202<>' >"$work/json"
s=$(new_stream 1)
row "-J: produced" 0 "" "4 records sent" "@$work/json" -P -s "$s" -D '<>' -k 'key "1"'
row "-J: one object per record" 0 '~"partitionKey":"key \"1\"","sequenceNumber":"' "" "" -C -s "$s" -e -J
node -e 'for (const l of require("fs").readFileSync(process.argv[1], "utf8").split("\n").filter(Boolean)) { const r = JSON.parse(l);
  process.stdout.write(Buffer.from(r.data, r.dataEncoding === "base64" ? "base64" : "utf8")); process.stdout.write("<>"); }' "$work/out" >"$work/json-out"
check "-J: data as text where UTF-8, else base64, exactly" "$(cmp "$work/json" "$work/json-out" && grep -c '"dataEncoding":"base64"' "$work/out")" 2

# ---- producing keeps going: an oversized record sinking its batch, -c or -K ignored with -P
perl -e 'for my $i (1 .. 1500) { print $i == 700 ? "x" x 1153433 : "line-$i", "\n" }' >"$work/oversized"
s=$(new_stream 1)
row "an oversized record is skipped by its line number" 3 "" "line 700 skipped: 1153433 bytes exceed the record limit of 1048576 bytes|1499 records sent|1 records over 1048576 bytes skipped" "@$work/oversized" -P -s "$s"
check "every other line arrived (AWS CLI)" "$(cli_data "$s" shardId-000000000000 | wc -l)" 1499
s=$(new_stream 1)
row "-c limits producing" 0 "" "3 records sent" "$(lines c 10)" -P -s "$s" -c 3
row "-c: the first three arrived" 0 "c-1\nc-2\nc-3\n" "" "" -C -s "$s" -e
s=$(new_stream 1)
row "-K takes each line's key" 0 "" "3 records sent" "k1:v1\nk2:v:2\nno key\n" -P -s "$s" -K : -k fallback
row "-K prints key, delimiter, data" 0 "k1:v1\nk2:v:2\nfallback:no key\n" "" "" -C -s "$s" -e -K :
usage "--max-record-bytes" -P -s x --max-record-bytes 10485761

# ---- records aggregated by the KPL, made by aws-kinesis-agg: each user record exactly, --raw whole, a broken one whole
export NODE_PATH=$RXK_SOURCE_DIR/node_modules${NODE_PATH:+:$NODE_PATH}
if node -e 'require("aws-kinesis-agg")' 2>/dev/null; then
  s=$(new_stream 1)
  node -e 'const fs = require("fs"), all = Buffer.from([...Array(256).keys()]);
    require("aws-kinesis-agg").aggregate([{partitionKey: "pk-a", data: Buffer.from("alpha")}, {partitionKey: "pk-b", data: all},
      {partitionKey: "pk-a", data: Buffer.from("gamma")}], (r, done) => { fs.writeFileSync(process.argv[1], r.data); done(); }, () => {},
      (e) => { console.error(e); process.exit(1); });' "$work/agg"
  head -c 300 "$work/agg" >"$work/agg-broken"
  for file in agg agg-broken; do awscli put-record --stream-name "$s" --partition-key pk-a --data "fileb://$work/$file" \
    --query SequenceNumber --output text >>"$work/agg-sequences"; done
  row "KPL: user records as JSON" 0 "*" "" "" -C -s "$s" -e -J
  check "KPL: keys, sub-sequence numbers and bytes exact; a broken record whole" "$(node -e 'const fs = require("fs");
    const got = fs.readFileSync(process.argv[1], "utf8").trim().split("\n").map(JSON.parse).map((r) => [r.partitionKey, r.subSequenceNumber,
      Buffer.from(r.data, r.dataEncoding === "base64" ? "base64" : "utf8").toString("hex")].join(" "));
    const want = [["pk-a", 0, "alpha"], ["pk-b", 1, Buffer.from([...Array(256).keys()])], ["pk-a", 2, "gamma"], ["pk-a", undefined, fs.readFileSync(process.argv[2])]]
      .map(([k, n, d]) => [k, n, Buffer.from(d).toString("hex")].join(" "));
    console.log(JSON.stringify(got) === JSON.stringify(want) ? "same" : JSON.stringify(got));' "$work/out" "$work/agg-broken")" same
  row "KPL: --raw keeps them whole" 0 "$(wc -c <"$work/agg") pk-a\n300 pk-a\n" "" "" -C -s "$s" -e --raw -f '%S %k\n'
  row "KPL: -G gives every user record of its sequence number, and no more" 0 "pk-a 5\npk-b 256\npk-a 5\n" "" "" \
    -G -s "$s" -p shardId-000000000000 -q "$(head -1 "$work/agg-sequences")" -f '%k %S\n'
else
  echo "NOT RUN: the KPL rows (no aws-kinesis-agg in node_modules: npm ci)"
fi

# ---- keys: the partition key or hash key of the command line not reaching the records
s=$(new_stream 4)
row "one partition key: produced" 0 "" "" "$(lines keyed 60)" -P -s "$s" -k customer-42
row "one partition key: read" 0 "*" "" "" -C -s "$s" -e -f '%p\n'
check "one partition key keeps one shard" "$(sort -u "$work/out" | wc -l)" 1
s=$(new_stream 4)
row "hash key 2^128-1: produced" 0 "" "" "$(lines hashed 20)" -P -s "$s" -H 340282366920938463463374607431768211455
row "hash key 0, single puts: produced" 0 "" "" "$(lines single 5)" -P -1 -s "$s" -H 0
row "hash keys: read" 0 "*" "" "" -C -s "$s" -e -f '%p\n'
check "hash keys pick the last and the first shard" "$(sort "$work/out" | uniq -c | xargs)" "5 shardId-000000000000 20 shardId-000000000003"

# ---- positions, formats and -G: a start position, a count or a format ignored or misapplied
s=$(new_stream 1); shard=shardId-000000000000
row "positions: produced" 0 "" "" "r1\nr2\nr3\nr4\nr5\n" -P -s "$s" -k pk-1
row "positions: sequence numbers" 0 "*" "" "" -C -s "$s" -e -f '%o\n'
mapfile -t sequence <"$work/out"
row "-o end gives nothing of the past" 0 "" "" "" -C -s "$s" -e -o end
row "-c stops early" 0 "r1\nr2\n" "" "" -C -s "$s" -c 2
row "-o at:" 0 "r3\nr4\nr5\n" "" "" -C -s "$s" -e -p "$shard" -o "at:${sequence[2]}"
row "-o after:" 0 "r4\nr5\n" "" "" -C -s "$s" -e -p "$shard" -o "after:${sequence[2]}"
row "-o ts: in the past" 0 "r1\nr2\nr3\nr4\nr5\n" "" "" -C -s "$s" -e -o ts:2000-01-01T00:00:00Z
row "-o ts: in the future, with a fraction" 0 "" "" "" -C -s "$s" -e -o ts:2100-01-01T00:00:00.5Z
row "-f shows every field" 0 "$s|$shard|${sequence[0]}|2|pk-1|4|r1|100%\n" "" "" -C -s "$s" -c 1 -f '%t|%p|%o|%S|%k|%K|%s|100%%\n'
row "-f %T: arrival time in ms" 0 "*" "" "" -C -s "$s" -c 1 -f '%T'
check "-f %T: within a minute of now" "$(( $(cat "$work/out") / 60000 - $(date +%s) / 60 <= 1 ))" 1
row "-G reads one record by sequence number" 0 "r4 ${sequence[3]}\n" "" "" -G -s "$s" -p "$shard" -q "${sequence[3]}" -f '%s %o\n'
row "-G of an unknown sequence number" 1 "" "no record at sequence number 1" "" -G -s "$s" -p "$shard" -q 1

# ---- listings and creation: items missing, details mislabelled, a creation unchecked
s=$listed
row "-L -s lists its shards" 0 "shardId-000000000000\nshardId-000000000001\nshardId-000000000002\n" "" "" -L -s "$s"
row "-L -s under another global delimiter" 0 "shardId-000000000000\nshardId-000000000001\nshardId-000000000002\n" "" "" -L -s "$s" -X 'delimiter=|'
row "-L -s -p gives a shard's details" 0 "*" "" "" -L -s "$s" -p shardId-000000000001
check "details, one per line, of an open shard" "$(cut -d: -f1 "$work/out" | tr '\n' ' ')$(grep -c '^EndingSequenceNumber:$' "$work/out")" \
  "ShardId StartingHashKey EndingHashKey StartingSequenceNumber EndingSequenceNumber 1"
row "unknown stream" 1 "" "cannot list the shards of stream 'rxkcat-no-such-stream'|KinesisEnv::getListShardOrShardDetails" "" -L -s rxkcat-no-such-stream
row "unknown shard" 1 "" "shardId-000000000009" "" -C -s "$s" -p shardId-000000000009 -e
row "-N creates a stream" 0 "" "" "" -N -s "rxkcat-$$-created" -n 3
row "-N: the stream has its shards" 0 "shardId-000000000000\nshardId-000000000001\nshardId-000000000002\n" "" "" -L -s "rxkcat-$$-created"
row "-N twice" 1 "" "cannot create stream 'rxkcat-$$-created'" "" -N -s "rxkcat-$$-created"
row "a record too large for the list is reported, the rest sent" 3 "" "record 2 failed: 300 bytes|2 records sent" \
  "small\n$(printf '%300s' | tr ' ' x)\nsmall-again\n" -P -s "$s" -X maxputlen=200

# ---- command lines, environment, help, library search, probe, verbosity
usage "'-Q'" -L -Q; usage "'--bogus'" -L --bogus; usage "-s/--stream needs a value" -L -s; usage "no mode given"
usage "-P/--produce: only one mode" -L -P; usage "-C needs a stream: add -s STREAM" -C; usage "-b/--batch" -P -s x -b 0
usage "-c/--count" -C -s x -c ten; usage "-n/--shards" -N -s x -n -1; usage "-o/--offset: unknown position 'sideways'" -C -s x -o sideways
usage "needs -p SHARD" -C -s x -o at:12; usage "-o ts:" -C -s x -o 'ts:2026-01-01 00:00:00'; usage "-f: unknown directive '%q'" -C -s x -f %q
usage "-D/--delimiter: unknown escape '\\q'" -P -s x -D '\q'; usage "-D/--delimiter needs at least one byte" -P -s x -D ''
usage "-G needs a sequence number: add -q SEQ" -G -s x -p shardId-000000000000; usage "-X/--set needs key=value" -L -X retry
usage "unexpected argument 'extra'" -L extra; usage "-X nonsense: unknown parameter" -L -X nonsense=1; usage "-X retry needs a whole number, got 'abc'" -L -X retry=abc; usage "-X delimiter needs at least one byte" -L -X delimiter=
AWS_REGION= AWS_DEFAULT_REGION= row "no region with keys given" 2 "" "-r REGION" "" -L --access-key a --secret-key b
row "an access key without its secret" 2 "" "--access-key and --secret-key go together" "" -L --access-key a
row "--help shows every mode with an example, the exit statuses and the NUL cut" 0 "*" "" "" --help
check "--help" "$(for w in '  -L' '  -P' '  -C' '  -G' '  -N' '  -Z' 'rxkcat -L' 'rxkcat -P' 'rxkcat -C' 'rxkcat -G' 'rxkcat -N' 'rxkcat -Z' \
  '  0  ' '  1  ' '  2  ' '  3  ' NUL; do grep -qF -- "$w" "$work/out" || echo "missing [$w]"; done)" ""
row "-h after a mode" 0 "*" "" "" -P -h
row "a missing library is named with where to look" 1 "" "/nonexistent/librxkinesis.so (-l): no such file|RXKCAT_LIBRARY" "" -L -l /nonexistent/librxkinesis.so
RXKCAT_LIBRARY= row "the library of the build tree is found" 0 "shardId-000000000000\nshardId-000000000001\nshardId-000000000002\n" "" "" -L -s "$s"
row "probe: RX_Exception" 0 "~delivered RX_Exception [RX_Exception: exception7]" "" "" -Z exception7
row "probe: its line" 0 "~id:0 KinesisEnv::dummy[7] [exception7] beg => throw RX_Exception" "" "" -Z exception7
row "probe: std::exception" 0 "~delivered std::exception [exception6]" "" "" -Z exception6
row "probe: the fault as std::exception" 0 "~delivered std::exception [SE_Exception: Access Violation]" "" "" -Z exception4
row "probe: the fault as SE_Exception" 0 "~delivered SE_Exception [SE_Exception: Access Violation] code 0xC0000005" "" "" -Z exception
row "probe: no scenario" 0 "~last error text: id:0 KinesisEnv::dummy [nothing]" "" "" -Z nothing
row "quiet without -v" 0 "*" "" "" -L -s "$s"; check "nothing on stderr without -v" "$(cat "$work/err")" ""
row "-vv adds the trace, the secret masked" 0 "*" "rxkinesis trace: rxKinesis::GetData" "" -L -s "$s" -vv
check "-vv shows no secret" "$(grep -c rxkcat-secret "$work/err")" 0
row "-v shows the log" 1 "" "rxkinesis: id:0 KinesisEnv::getListShardOrShardDetails" "" -L -s rxkcat-missing -v
check "-v alone shows no trace" "$(grep -c 'rxkinesis trace:' "$work/err")" 0

# ---- signals: a follower that can't be stopped cleanly, a producer that loses what it read
wait_for() { for _ in $(seq 300); do grep -qF -- "$2" "$1" 2>/dev/null && return; sleep 0.1; done; }
s=$(new_stream 1); printf 'old-1\nold-2\n' | "$RXKCAT" -P -s "$s" 2>/dev/null
"$RXKCAT" -C -s "$s" >"$work/out" 2>"$work/err" & follower=$!
wait_for "$work/out" old-2; printf 'new-1\n' | "$RXKCAT" -P -s "$s" 2>/dev/null; wait_for "$work/out" new-1
kill -TERM $follower; wait $follower; status=$?
check "SIGTERM ends a follower with 143, having printed the new record" "$status $(tr '\n' ' ' <"$work/out")" "143 old-1 old-2 new-1 "
check "the follower's summary" "$(grep -c '3 records consumed.*stopped by a signal\|stopped by a signal.*3 records consumed' "$work/err")" 1
# Following across a split and a merge: the children read after their parents, nothing lost or
# repeated; the AWS CLI reads the same records from the five shards.
active() { for _ in $(seq 100); do [ "$(awscli describe-stream --stream-name "$1" --query StreamDescription.StreamStatus --output text)" = ACTIVE ] && return; sleep 0.1; done; }
s=$(new_stream 2)
"$RXKCAT" -C -s "$s" -f '%p %s\n' >"$work/follow" 2>"$work/err" & follower=$!
printf "$(lines a 20)" | "$RXKCAT" -P -s "$s" 2>/dev/null; wait_for "$work/follow" a-20
awscli split-shard --stream-name "$s" --shard-to-split shardId-000000000000 --new-starting-hash-key 85070591730234615865843651857942052864; active "$s"
printf "$(lines b 30)" | "$RXKCAT" -P -s "$s" 2>/dev/null; wait_for "$work/follow" b-30
awscli merge-shards --stream-name "$s" --shard-to-merge shardId-000000000002 --adjacent-shard-to-merge shardId-000000000003; active "$s"
printf "$(lines c 30)" | "$RXKCAT" -P -s "$s" 2>/dev/null; wait_for "$work/follow" c-30
for _ in $(seq 50); do [ "$(wc -l <"$work/follow")" -ge 80 ] && break; sleep 0.1; done; sleep 0.5
kill -INT $follower; wait $follower
want=$( (seq -f a-%g 20; seq -f b-%g 30; seq -f c-%g 30) | sort)
check "following a split and a merge: each record once" "$(cut -d' ' -f2 "$work/follow" | sort)" "$want"
check "the AWS CLI reads the same records" "$(for i in 0 1 2 3 4; do cli_data "$s" shardId-00000000000$i; done | sort)" "$want"
check "children after their parents" "$(awk '$1 ~ /-00000000000[234]$/ { child = 1 } $1 ~ /-000000000000$/ && child { print "parent after child: " $0 }' "$work/follow")" ""
s=$(new_stream 1); mkfifo "$work/fifo"
"$RXKCAT" -P -s "$s" -b 1 --progress <"$work/fifo" >/dev/null 2>"$work/err" & producer=$!
exec 4>"$work/fifo"; echo first >&4
for _ in $(seq 100); do [ "$("$RXKCAT" -C -s "$s" -e 2>/dev/null)" = first ] && break; sleep 0.1; done
sleep 0.3; echo second >&4; sleep 0.5; kill -INT $producer; wait $producer; status=$?; exec 4>&-
check "SIGINT ends a producer with 130 after sending what it read" "$status $(grep -c '2 records sent' "$work/err") $(grep -c 'stopped by a signal' "$work/err")" "130 1 1"
check "--progress shows the progress line" "$(grep -c $'\rrxkcat: ' "$work/err")" 1
check "what the interrupted producer sent" "$("$RXKCAT" -C -s "$s" -e 2>/dev/null | tr '\n' ' ')" "first second "
row "no progress line when stderr is no terminal" 0 "" "" "one\ntwo\n" -P -s "$s" -b 1
check "no carriage return" "$(grep -c $'\r' "$work/err")" 0

# ---- against rxkfault: refused records, requests refused whole, long listings
if [ -x "$fault_binary" ]; then
  fault() {  # fault SCRIPT: a fresh rxkfault answering from SCRIPT
    printf '%s' "$1" >"$work/script"
    listen "$fault_binary" --script "$work/script"
    fault_endpoint=http://127.0.0.1:$port
  }
  fault '{"rules":[{"operation":"PutRecords","attempts":[1],"answer":{"fail_records":{"positions":[1]}}}]}'
  row "a refused record gives 3 and the service's reason" 3 "" "record 2 failed: |Rate exceeded for shard shardId-000000000000.|2 records sent to stream 'faulty' (2 bytes), 1 failed" \
    "a\nb\nc\n" -P -s faulty -X retry=-1 --endpoint "$fault_endpoint"
  check "only the refused record is reported" "$(grep -c 'record 1 failed' "$work/err")" 0
  fault '{"rules":[{"operation":"PutRecords","attempts":[1],"answer":{"fail_records":{"positions":[0,2]}}}]}'
  row "retry resends the refused records" 0 "" "3 records sent to stream 'faulty' (3 bytes), 0 failed" "a\nb\nc\n" -P -s faulty -X retry=3 --endpoint "$fault_endpoint"
  check "two PutRecords requests" "$(exec 3<>"/dev/tcp/127.0.0.1/${fault_endpoint##*:}"; printf 'GET /_rxkfault/requests?operation=PutRecords HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n' >&3; grep -o '"sequence"' <&3 | wc -l)" 2
  fault '{"rules":[{"operation":"PutRecords","answer":{"error":"ValidationException","message":"rxkcat-test: the request was refused"}}]}'
  row "a request refused whole gives 1 and the service's message" 1 "" "PutRecords failed for records 1 to 2: |rxkcat-test: the request was refused" "a\nb\n" -P -s faulty --endpoint "$fault_endpoint"
  for count in 195 300; do  # 195 names take 4095 bytes: the first 4096-byte buffer exactly; 300 need two more
    names=$(for i in $(seq 0 $((count - 1))); do n="stream-$((100000 + i))nnnnnnnnnnnnn"; [ "$i" = 0 ] && n="${n}n"; printf '%s ' "${n:0:$((20 + (i == 0)))}"; done)
    fault "{\"rules\":[{\"operation\":\"ListStreams\",\"answer\":{\"streams_page\":{\"names\":[\"$(echo $names | sed 's/ /","/g')\"],\"has_more\":false}}}]}"
    row "a listing of $count streams comes whole" 0 "$(printf '%s\\n' $names)" "" "" -L --endpoint "$fault_endpoint"
  done
  fault '{"rules":[{"operation":"ListStreams","answer":{"builtin":true,"delay_ms":60000}}]}'
  "$RXKCAT" -L --endpoint "$fault_endpoint" >/dev/null 2>"$work/err" & hung=$!; sleep 1; kill -INT $hung; wait $hung; status=$?
  check "SIGINT during a hung request: 130" "$status" 130
  fault '{"rules":[{"operation":"ListStreams","answer":{"streams_page":{"names":[],"has_more":false}}}]}'
  row "an account without streams lists nothing" 0 "" "" "" -L --endpoint "$fault_endpoint"
else
  echo "NOT RUN: the rxkfault rows (no $fault_binary)"
fi

# ---- the stopped emulator: a hang, a wrong status, or a failure without the library's words
kill "${pids[0]}"; wait "${pids[0]}" 2>/dev/null
row "stopped emulator: listing" 1 "" "cannot list the streams: |KinesisEnv::getListAllStreams" "" -L
row "stopped emulator: batches" 1 "" "PutRecords failed for records 1 to 2: |2 failed" "a\nb\n" -P -s any
row "stopped emulator: single puts" 1 "" "PutRecord failed for record 1: " "a\n" -P -1 -s any

echo "rxkcat: $rows rows, $failed failed"
[ "$failed" -eq 0 ]
