#include "help_text.h"

#ifndef RXKCAT_VERSION
#define RXKCAT_VERSION "unknown"
#endif

namespace rxkcat {

const char* helpText() {
    return R"(rxkcat: a command-line host for librxkinesis (Amazon Kinesis Data Streams), kcat style:
one mode flag, records through standard input and output.

Usage: rxkcat MODE [OPTIONS] [FILE...]

Modes
  -L                 List: the streams of the account; with -s the shards of a stream;
                     with -s and -p the details of one shard. One item per line.
                       rxkcat -L
                       rxkcat -L -s orders
                       rxkcat -L -s orders -p shardId-000000000000
  -P                 Produce: records from standard input (or the FILEs, "-" for standard
                     input), one per line, sent in batches with PutRecords.
                       seq 1 1000 | rxkcat -P -s orders
                       rxkcat -P -s orders -k customer-42 events.txt
                       printf 'a\0b\0' | rxkcat -P -s orders -D '\0'
                       echo hello | rxkcat -P -s orders -1
  -C                 Consume: records of every shard of a stream (or one shard with -p),
                     printed by the -f format. Without -e or -c it follows the stream, and
                     its resharding: when a shard ends, its children are read from their
                     start, after their parents; new shards are picked up as they appear.
                       rxkcat -C -s orders -e
                       rxkcat -C -s orders -o end
                       rxkcat -C -s orders -p shardId-000000000000 -c 10 \
                              -o after:49590338271490256608559692538361571095921575989136588898
                       rxkcat -C -s orders -o ts:2026-01-01T00:00:00Z -f '%p %o %k %T %s\n' -e
  -G                 Get one record by its sequence number (an aggregated one as all its user records).
                       rxkcat -G -s orders -p shardId-000000000000 -q 49590338271490256608559692538361571095921575989136588898
  -N                 Create a stream (-n shards, default 1) and wait until it lists its shards.
                       rxkcat -N -s orders -n 4
  -Z WORD            Run the library's exception probe (Dummy) with WORD, catch what arrives
                     (SE_Exception, RX_Exception, std::exception, anything else) and say what.
                       rxkcat -Z exception4
  -h, --help         This text.    -V, --version   The version.

Common options
  -s, --stream NAME        The stream.
  -p, --shard ID           The shard (consume one shard, get a record, shard details).
  -X, --set KEY=VALUE      A library parameter, repeatable: client parameters retry,
                           retryattemptshow, maxputrow, maxputlen, exceptiontranslator,
                           sessiontoken (SetParam); global parameters delimiter, statspath,
                           credentials (SetGlobalParam).
                             rxkcat -P -s orders -X retry=5 < events.txt
  -r, --region REGION      Region (else $AWS_REGION, then $AWS_DEFAULT_REGION, then the
                           profile's region, then us-east-1).
  --profile NAME           The profile of ~/.aws/config and ~/.aws/credentials to take
                           credentials and region from (else $AWS_PROFILE, else "default");
                           given here it wins over keys in the environment.
  --access-key KEY         Access key id and secret key, together. Without them rxkcat finds
  --secret-key KEY         credentials the way the AWS CLI does: $AWS_ACCESS_KEY_ID,
                           $AWS_SECRET_ACCESS_KEY and $AWS_SESSION_TOKEN; the profile's keys,
                           role (role_arn), credential_process or web identity; EKS web
                           identity; ECS/EKS container credentials; EC2 instance metadata.
                             AWS_PROFILE=dev rxkcat -L
                             rxkcat -L --profile prod-readonly
  --endpoint URL           Another endpoint (an emulator): sets AWS_ENDPOINT_URL_KINESIS.
                           The library also honours $AWS_ENDPOINT_URL_KINESIS and $AWS_ENDPOINT_URL;
                           without any of them it talks to the real service.
  -l, --library PATH       The library to load (else $RXKCAT_LIBRARY, else next to this program
                           in the build or install tree, else librxkinesis.so.0 by the loader).
  -v, --verbose            The library's log on standard error; -vv its trace too (the secret
                           key in the init line shows as ****).
  --quiet                  No summary line on standard error.

Produce options (-P)
  -k, --key KEY            Partition key of every record (default: a random key per record).
  -H, --hash-key KEY       Explicit hash key of every record (also its partition key unless -k
                           gives one: the service requires one).
  -D, --delimiter DELIM    Record delimiter, escapes allowed: \n \t \r \0 \\ \xHH (default \n).
                           The delimiter is not sent; empty records are skipped.
  -b, --batch N            Records per PutRecords (default 500, at most 10000; the library's
                           maxputrow and maxputlen limits also end a batch). A partial batch
                           goes out when the input pauses for half a second.
  -1, --single             One PutRecord per record instead of batches.
  -K, --key-delimiter DELIM  Each record is KEY DELIM DATA, as in kcat (a record without DELIM
                           is all data, under -k or a random key); with -C, print records so.
                             printf 'user-1:login\nuser-2:logout\n' | rxkcat -P -s orders -K :
  -c, --count N            Send at most N records, then stop reading.
  --max-record-bytes N     Records over N bytes (default 1048576, the service's limit; up to
                           10485760 for a raised stream) are reported by line and skipped.
  --progress               The live progress line even when standard error is not a terminal
                           (by default it shows on a terminal only); --no-progress: never.
  Failed records are reported one by one with the library's error text; the summary on
  standard error counts records sent and failed and the rate. Turn on resending of failed
  records with -X retry=N (0: up to 1000 attempts).

Consume options (-C, -G)
  -o, --offset POS         Where to start: beginning (default), end, at:SEQ, after:SEQ, or
                           ts:2026-01-01T00:00:00Z (UTC, optional .fraction). at:/after: need -p.
  -f, --format FMT         Output per record (default '%s\n'), kcat's directives:
                             %s data, byte for byte   %S data length   %o sequence number
                             %k partition key         %K key length    %p shard
                             %t stream                %T arrival time (ms since 1970, UTC)
                             %% a percent sign; and the escapes of -D.
  -J, --json               One JSON object per record and line: stream, shard, partitionKey,
                           sequenceNumber, subSequenceNumber (aggregated records only),
                           arrivalTime, data (a string when UTF-8, else base64 with
                           "dataEncoding":"base64").
                             rxkcat -C -s orders -e -J | jq -r .partitionKey
  --raw                    Keep records aggregated by the Kinesis Producer Library whole;
                           by default each user record comes out with its own key.
  -c, --count N            Stop after N records.
  -e, --exit               Exit when every shard has run dry (two empty fetches in a row);
                           without it, keep polling (pausing between empty fetches) until
                           SIGINT or SIGTERM.
  -b, --batch N            Records per fetch (default 10000).
  -q, --sequence SEQ       (-G) The sequence number of the record.
  Records come out whole, NUL bytes and all: with -f '%s\0' or -J binary data survives.

Create options (-N)
  -n, --shards N           Number of shards (default 1).
  --no-wait                Return once the request is accepted.

Exit status
  0  done
  1  failure: the library or the service failed (its error text is shown), or input/output
     failed; records not yet sent were not sent
  2  usage error: a wrong flag or value, or only one of the two keys
  3  partial failure: the requests went through but some records were refused or skipped
     for their size
  130, 143  stopped by SIGINT, SIGTERM: what was in flight was finished and the summary
     printed; a second signal, or a request still hanging 5 s later, ends rxkcat at once

Environment
  AWS_REGION, AWS_DEFAULT_REGION, AWS_PROFILE, AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY,
  AWS_SESSION_TOKEN, AWS_CONFIG_FILE, AWS_SHARED_CREDENTIALS_FILE, AWS_ENDPOINT_URL_KINESIS,
  AWS_ENDPOINT_URL, RXKCAT_LIBRARY; for credentials also AWS_WEB_IDENTITY_TOKEN_FILE,
  AWS_ROLE_ARN, AWS_ROLE_SESSION_NAME, AWS_CONTAINER_CREDENTIALS_RELATIVE_URI/_FULL_URI,
  AWS_CONTAINER_AUTHORIZATION_TOKEN/_TOKEN_FILE, AWS_EC2_METADATA_DISABLED,
  AWS_EC2_METADATA_SERVICE_ENDPOINT, AWS_ENDPOINT_URL_STS, AWS_CA_BUNDLE and the proxy
  variables; the SDK's own, e.g. AWS_RETRY_MODE=standard AWS_MAX_ATTEMPTS=1 for fewer retries
  inside each request.

Example against a local emulator:
  export AWS_ENDPOINT_URL_KINESIS=http://127.0.0.1:4567 AWS_REGION=us-east-1 \
         AWS_ACCESS_KEY_ID=test AWS_SECRET_ACCESS_KEY=test
  rxkcat -N -s demo && seq 1 5000 | rxkcat -P -s demo && rxkcat -C -s demo -e | wc -l
)";
}

const char* versionText() { return "rxkcat " RXKCAT_VERSION "\n"; }

}  // namespace rxkcat
