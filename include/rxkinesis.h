/*
 * rxkinesis: a connector library for Amazon Kinesis Data Streams.
 *
 * A host engine loads librxkinesis.so (usually with dlopen) and calls the plain C functions
 * declared here. Everything runs synchronously on the calling thread; the library starts no
 * thread, opens no file and reads no configuration of its own.
 *
 * Conventions that hold for every function below:
 *  - Texts are NUL-terminated byte strings owned by the caller. The library copies what it
 *    keeps; nothing it hands out stays valid beyond the call, except the caller's own buffers.
 *  - A client id, a list id and every count are 32-bit signed integers.
 *  - Results: 0 is success; positive values are outcomes, not errors (RXK_CUT, RXK_NO_RECORD,
 *    RXK_SOME_FAILED); negative values are failures (see enum rxk_result). The words of a
 *    failure wait in the client's last-error text (GetErrorStr) or, when there is no client to
 *    hold them, in the global error text (GetGlobalErrorStr), and go to the log sink.
 *  - Failures of the library itself go to the two log callbacks; it never prints, except the
 *    exception probe Dummy, which writes its scenario lines to standard output.
 *  - No function catches a C++ exception for the host: a C++ host should be ready to catch
 *    SE_Exception, RX_Exception (see rxkinesis_exceptions.h), std::exception and "...".
 *
 * Threads: several threads may call at once, on one client too. The caller keeps from
 * overlapping: calls on one record list; CreateListRecord/FreeListRecord with any other list
 * call of the same client; the reading calls (Start/Next/GetRecordFromIterator/Poll/Stop) of
 * one client; the single put of one client; PollShardIterator calls at all (they share one
 * data buffer); FreeClient with any other call on that client. A log callback must call no
 * function of the library: it may run while the library holds a lock.
 */
#ifndef RXKINESIS_H
#define RXKINESIS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define RXK_API __attribute__((visibility("default")))
#else
#define RXK_API
#endif

/* Results of the functions below. */
enum rxk_result {
    RXK_OK = 0,             /* success; CreateClient and CreateListRecord return ids >= 0 */
    RXK_CUT = 1,            /* GetData family: the text was cut to the buffer or filled it exactly */
    RXK_NO_RECORD = 2,      /* reading: the batch is empty (not an error) */
    RXK_SOME_FAILED = 3,    /* PutRecords: the requests succeeded, some records failed at the end */
    RXK_ERROR = -1,         /* the call was refused or failed */
    RXK_ROW_LIMIT = -2,     /* AddRecordToList: the list holds maxputrow records */
    RXK_SIZE_LIMIT = -3,    /* AddRecordToList: the list would reach maxputlen bytes */
    RXK_NO_ITERATOR = -4,   /* reading: the stream/shard pair has no reading state */
    RXK_EXCEPTION = -5      /* GetListRecordInfo: an exception was caught */
};

/* Starting positions of StartShardIterator. */
enum rxk_iterator_type {
    RXK_ITERATOR_NOT_SET = 0,
    RXK_AT_SEQUENCE_NUMBER = 1,    /* startValue: a sequence number */
    RXK_AFTER_SEQUENCE_NUMBER = 2, /* startValue: a sequence number */
    RXK_AT_TIMESTAMP = 3,          /* startValue: "2016-04-04T19:58:46.480Z" or RFC 822 text */
    RXK_TRIM_HORIZON = 4,
    RXK_LATEST = 5
};

/* Request types of GetData. */
enum rxk_catalogue_type {
    RXK_LIST_STREAMS = 0,   /* names of the streams */
    RXK_LIST_SHARDS = 1,    /* shard ids of one stream */
    RXK_SHARD_DETAILS = 2   /* id;startHash;endHash;startSeq;endSeq of one shard */
};

/* Sizes a caller needs to know. */
#define RXK_POLL_DATA_BYTES 10000      /* PollShardIterator hands out at most 9999 data bytes + NUL */
#define RXK_POLL_SEQUENCE_BYTES 264    /* and sequence numbers of at most 263 characters + NUL */
#define RXK_NAME_BYTES 256             /* stream names and shard ids are kept in 256-byte fields */
#define RXK_ERROR_TEXT_BYTES 1024      /* a buffer this size holds any message the library composes */
#define RXK_DEFAULT_MAX_PUT_ROWS 500   /* default of "maxputrow": records in a list, and in one PutRecords */

/* Log and trace callback: the message and its length in bytes (-1 where none is known).
 * The text is valid only during the call. */
typedef void (*LogEventCallBack)(const char* text, int32_t length);

/* Receives each record pushed by PollShardIterator. sequenceNumber and data point into buffers
 * of the library that are valid only during the call; data is the record as text (cut at its
 * first NUL byte), length is the record's full length in bytes. The result is not read. */
typedef int32_t (*PollCallback)(int32_t id, const char* stream, const char* shard,
                                const char* sequenceNumber, const char* data, int32_t length);

/* ---- Lifecycle and module state ------------------------------------------------------- */

/* Starts the AWS SDK on the first call and installs the fault translator for the calling
 * thread on every call (a thread with the translator gets processor faults inside the library
 * as SE_Exception). Always returns 0. (The name is spelled exactly so.) */
RXK_API int32_t InititializeInterface(void);

/* Shuts the SDK down. Frees no client; create no client and make no service call afterwards.
 * Always returns 0; does nothing before InititializeInterface. */
RXK_API int32_t CloseInterface(void);

/* Sets the log sink (failures and a few notices) and the trace sink (a line per call and
 * progress lines). Either may be NULL to silence it. May be called at any time. */
RXK_API void InitLogEventCallBack(LogEventCallBack logEvent, LogEventCallBack traceEvent);

/* Sets a global parameter: "delimiter" (its first byte separates listings, default ";"),
 * "statspath" (stored only) or "credentials" (below). Names compare without regard to case.
 * Values longer than the field (11 and 511 bytes) are cut. Returns 0, or -1 for another name
 * or a value "credentials" does not take (log sink only).
 *
 * "credentials", for clients created afterwards:
 *   "keys"   (the default) CreateClient needs a region and both keys, as documented there.
 *   "chain"  a client created with both keys empty (or NULL) takes its credentials from the
 *            AWS SDK's default provider chain, as the AWS CLI does: AWS_ACCESS_KEY_ID /
 *            AWS_SECRET_ACCESS_KEY / AWS_SESSION_TOKEN; the profile (AWS_PROFILE) of
 *            AWS_SHARED_CREDENTIALS_FILE and AWS_CONFIG_FILE with static keys, role_arn through
 *            STS AssumeRole (source_profile or credential_source), credential_process or
 *            web_identity_token_file; AWS_WEB_IDENTITY_TOKEN_FILE with AWS_ROLE_ARN; container
 *            credentials (AWS_CONTAINER_CREDENTIALS_RELATIVE_URI or _FULL_URI with
 *            AWS_CONTAINER_AUTHORIZATION_TOKEN or _TOKEN_FILE); the EC2 instance metadata
 *            service (IMDSv2; AWS_EC2_METADATA_DISABLED, AWS_EC2_METADATA_SERVICE_ENDPOINT).
 *            STS is reached at AWS_ENDPOINT_URL_STS or its regional endpoint. Temporary
 *            credentials are fetched on first use and again ahead of their expiration. An empty
 *            region is resolved from AWS_DEFAULT_REGION, AWS_REGION, then the profile's region
 *            (else us-east-1). Keys given to CreateClient still win. Every client created under
 *            "chain" honours AWS_CA_BUNDLE (else the profile's ca_bundle) and the proxy
 *            variables https_proxy/HTTPS_PROXY, http_proxy and no_proxy/NO_PROXY.
 *            When no source yields credentials, or one fails (STS refusal, an unreachable
 *            metadata service), the service call fails like any other, its words naming the
 *            source and the reason after "Credentials: ". No secret or token is ever written
 *            to a sink or an error text, save the secret in the documented init trace line. */
RXK_API int32_t SetGlobalParam(const char* name, const char* value);

/* Replaces the global error text with a copy of text; an empty text clears it. */
RXK_API void SetGlobalErrorStr(const char* text);

/* Copies the global error text into buffer (bufferLength bytes). A text that doesn't fit comes
 * back as its first bufferLength-10 bytes followed by " [...]". Returns buffer. */
RXK_API char* GetGlobalErrorStr(char* buffer, int32_t bufferLength);

/* ---- Clients --------------------------------------------------------------------------- */

/* Creates a client for a region and a key pair (NULL counts as empty; empty is refused, but
 * see the global parameter "credentials" for empty keys and region). No request is made yet. Returns the new client id (0, 1, 2, ... never reused), or -1 with
 * the words in the global error text. */
RXK_API int32_t CreateClient(const char* region, const char* accessKeyId, const char* secretKey);

/* Frees a client. Returns 0 (also for an already freed id), -1 for an id out of range.
 * Free its record lists (FreeListRecord) and readings (StopShardIterator) first. */
RXK_API int32_t FreeClient(int32_t id);

/* Copies the client's last-error text into buffer by the rule of GetGlobalErrorStr. With a
 * bad id, the failure's own words are written into buffer (bounded by bufferLength).
 * Returns buffer. */
RXK_API char* GetErrorStr(int32_t id, char* buffer, int32_t bufferLength);

/* ---- Parameters ------------------------------------------------------------------------ */

/* Sets a client parameter by name (case does not matter):
 *   "retry"            below 0: no retry (default -1); 0: up to 1000 retry attempts; N: up to N
 *   "retryattemptshow" 2 or more: each retry attempt is announced on the log sink
 *   "maxputrow"        most records in a list (default RXK_DEFAULT_MAX_PUT_ROWS, 500)
 *   "maxputlen"        size limit of a list in bytes (default 5000000)
 *   "exceptiontranslator"  installs the fault translator on the calling thread (value ignored)
 *   "sessiontoken"     the session token that goes with the client's keys (temporary
 *                      credentials a host fetched itself); signs every later request as
 *                      X-Amz-Security-Token. Empty or NULL removes it. Set only: GetParam
 *                      refuses it. -1 for a client that takes its credentials from the chain.
 * Numbers are read like atoi. Returns 0, or -1 for another name. */
RXK_API int32_t SetParam(int32_t id, const char* name, const char* value);

/* Writes a parameter as text into buffer: the four numbers above, or the read-only counters
 * "retryattemptPutRecords" and "retryattemptFailRecords" as "last;min;max;sum;firstFailedError".
 * Give buffer RXK_ERROR_TEXT_BYTES + 88 bytes for the counters. Returns 0 or -1. */
RXK_API int32_t GetParam(int32_t id, const char* name, char* buffer);

/* ---- Single put ------------------------------------------------------------------------ */

/* Writes one record (length > 0 bytes) into a stream. partitionKey and explicitHashKey may each
 * be NULL; a key not given keeps the value of the client's previous PutRecord, and with both
 * NULL a random key is used for both. Returns 0 or -1. */
RXK_API int32_t PutRecord(int32_t id, const char* streamName, const char* partitionKey,
                          const char* explicitHashKey, const void* data, int32_t length);

/* Reads the outcome of the client's latest PutRecord. At least one of streamName, shardId,
 * sequenceNumber and success must be non-NULL; every non-NULL output is written (success: 1 or
 * 0; error: the service's message after a failure, else empty). Size text buffers for the
 * longest value (RXK_ERROR_TEXT_BYTES is ample). Returns 0, or -1 before any PutRecord. */
RXK_API int32_t GetLastResultPutRecord(int32_t id, char* streamName, char* shardId,
                                       char* sequenceNumber, unsigned char* success,
                                       char* partitionKey, char* explicitHashKey, char* error,
                                       uint32_t* dataLength);

/* ---- Record lists ---------------------------------------------------------------------- */

/* Creates an empty record list of the client and returns its id (the lowest free one). */
RXK_API int32_t CreateListRecord(int32_t id);

/* Empties a list (listId -1: every list) for the next batch. Returns 0. */
RXK_API int32_t ClearListRecord(int32_t id, int32_t listId);

/* Frees a list (listId -1: every list, ids restart at 0). Returns 0, or -1 if not found. */
RXK_API int32_t FreeListRecord(int32_t id, int32_t listId);

/* Reports a list's record count and gathered bytes (either pointer may be NULL).
 * Returns 0, -1 if not found, -5 if an exception was caught. */
RXK_API int32_t GetListRecordInfo(int32_t id, int32_t listId, uint32_t* count, uint32_t* bytes);

/* Appends a copy of a record (length > 0 bytes) to a list; with both keys NULL a random key is
 * used. Returns 0, -1 if the list is not found, -2 at the row limit, -3 at the size limit. */
RXK_API int32_t AddRecordToList(int32_t id, int32_t listId, const char* partitionKey,
                                const char* explicitHashKey, const void* data, int32_t length);

/* ---- Batch put ------------------------------------------------------------------------- */

/* Sends a list to a stream in one request; with "retry" set, failed records are sent again
 * alone until none fails or the attempt limit is reached. Outputs (each may be NULL): put =
 * records of the first request, failed = records still failed, bytes = gathered bytes,
 * output = result entries. tag is a caller's label for the log lines (may be NULL).
 * Returns 0 (all accepted, or empty list), 3 (some records failed), or -1. */
RXK_API int32_t PutRecords(int32_t id, int32_t listId, const char* streamName, int32_t* put,
                           int32_t* failed, int32_t* bytes, int32_t* output, const char* tag);

/* Reads the outcome of record `index` (the index-th record appended) of the list's latest send.
 * Outputs as for GetLastResultPutRecord. Returns 0 or -1. */
RXK_API int32_t GetLastResultPutRecords(int32_t id, int32_t listId, int32_t index,
                                        char* streamName, char* shardId, char* sequenceNumber,
                                        unsigned char* success, char* partitionKey,
                                        char* explicitHashKey, char* error, uint32_t* dataLength);

/* ---- Shard reading --------------------------------------------------------------------- */

/* Starts (or restarts) reading a shard at a position (enum rxk_iterator_type; startValue as the
 * type says, may be NULL) and fetches the first batch of at most `limit` records.
 * Returns 0 (records waiting), 2 (empty batch) or -1. */
RXK_API int32_t StartShardIterator(int32_t id, const char* stream, const char* shard,
                                   const char* startValue, int32_t limit, int32_t type);

/* Fetches the next batch, dropping unread records of the current one. Returns 0, 2 or -4. */
RXK_API int32_t NextShardIterator(int32_t id, const char* stream, const char* shard);

/* Hands out the next record, fetching a batch when the current one is used up. data receives
 * the record as text (cut at its first NUL byte, always terminated: give it the longest record
 * + 1 bytes); length receives the full record length; sequenceNumber (may be NULL) receives the
 * sequence number (give it RXK_POLL_SEQUENCE_BYTES; a longer one is cut there). Returns 0,
 * 2 (no record) or -4. */
RXK_API int32_t GetRecordFromIterator(int32_t id, const char* stream, const char* shard,
                                      char* sequenceNumber, char* data, int32_t* length);

/* Pushes records through callback until two fetches in a row come back empty.
 * Returns 2 at the end, -4 without a reading state, 0 in one case: when the current batch was
 * empty, it only fetches and calls nothing. */
RXK_API int32_t PollShardIterator(int32_t id, const char* stream, const char* shard,
                                  PollCallback callback);

/* Ends a reading. Returns 0 or -4. */
RXK_API int32_t StopShardIterator(int32_t id, const char* stream, const char* shard);

/* ---- One-shot read --------------------------------------------------------------------- */

/* Reads the record at a sequence number, without a reading state. data and length as for
 * GetRecordFromIterator. Returns 0, or -1 when no record came (or a request failed). */
RXK_API int32_t GetRecord(int32_t id, const char* stream, const char* shard,
                          const char* sequenceNumber, char* data, int32_t* length);

/* ---- Catalogue ------------------------------------------------------------------------- */

/* Writes a listing (enum rxk_catalogue_type) as text separated by `delimiter` into buffer.
 * *lenBuffer: on entry the buffer's size, after a copy the bytes written including the NUL.
 * Returns 0 (whole text), 1 (cut to the buffer or an exact fit: call again with more room),
 * or -1. */
RXK_API int32_t GetData(int32_t id, int32_t type, const char* streamName, const char* shardId,
                        char* buffer, int32_t* lenBuffer, char delimiter);

/* GetData with the global delimiter: stream names; shard ids of a stream; details of a shard.
 * Shard ids and details follow the service's DescribeStream pages, at most 10,000 of them (more
 * than any real stream has): a service still saying "more" after that ends the call in -1 with
 * "stopped after 10000 pages: the service kept saying there were more shards". */
RXK_API int32_t GetListStreams(int32_t id, char* buffer, int32_t* lenBuffer);
RXK_API int32_t GetListShards(int32_t id, const char* streamName, char* buffer, int32_t* lenBuffer);
RXK_API int32_t GetShardDetails(int32_t id, const char* streamName, const char* shardId,
                                char* buffer, int32_t* lenBuffer);

/* ---- Stream creation ------------------------------------------------------------------- */

/* Asks the service to create a stream; does not wait for it to become active. Returns 0 or -1. */
RXK_API int32_t CreateStream(int32_t id, const char* stream, int32_t shardCount);

/* ---- Reading extension ----------------------------------------------------------------
 * Exports added beside the ones above, which keep their behaviour exactly. They share the
 * reading states of Shard reading: a pair started with StartShardIterator may be read with
 * GetRecordFromIterator or ReadShardRecord, record after record. */

/* Outcomes of ReadShardRecord beside RXK_OK, RXK_NO_RECORD and RXK_NO_ITERATOR. */
#define RXK_SHARD_ENDED 4      /* the shard is closed and each of its records was handed out */
#define RXK_NEEDS_ROOM 5       /* the record is larger than the buffer: *length says how large */

#define RXK_PARTITION_KEY_BYTES 257   /* partition keys have at most 256 characters + NUL */

/* Flags of ReadShardRecord. */
#define RXK_READ_EXPAND_AGGREGATED 1  /* hand out the user records of a KPL-aggregated record */

/* What ReadShardRecord tells about a record beside its bytes. */
typedef struct ShardRecordInfo {
    char sequenceNumber[RXK_POLL_SEQUENCE_BYTES];
    char partitionKey[RXK_PARTITION_KEY_BYTES];
    int64_t arrivalMillis;      /* approximate arrival time, milliseconds since 1970 (UTC) */
    int64_t subSequenceNumber;  /* a user record's index in its aggregated record, else -1 */
} ShardRecordInfo;

/* Hands out the next record of a reading as counted bytes, fetching a batch when the current
 * one is used up, like GetRecordFromIterator. data (capacity bytes; may be NULL when capacity
 * is 0) receives the record's bytes, NUL bytes included, without a terminator; *length their
 * count. info (may be NULL) receives the record's sequence number, partition key, arrival
 * time and sub-sequence number. With RXK_READ_EXPAND_AGGREGATED in flags, a record in the
 * KPL aggregation format (magic, protobuf, MD5 check) is handed out as its user records, one
 * per call, each with its own partition key and the record's sequence number; a record that
 * fails the check is handed out whole. Without the flag every record comes out whole.
 * Returns 0 (a record), 2 (empty batch), RXK_SHARD_ENDED (the shard is closed and read to
 * its end: no further fetch is made), RXK_NEEDS_ROOM (nothing handed out; *length is the size
 * the record needs; the next call hands out the same record), -4 (no reading state) or -1
 * (bad id, freed client, NULL stream, shard or length, negative capacity, NULL data with
 * capacity above 0). */
RXK_API int32_t ReadShardRecord(int32_t id, const char* stream, const char* shard, void* data,
                                int32_t capacity, int32_t* length, ShardRecordInfo* info,
                                int32_t flags);

/* GetListStreams over every page: follows HasMoreStreams until the service has named each
 * stream. Buffer, lenBuffer, the global delimiter and the results as for GetData. */
RXK_API int32_t GetListAllStreams(int32_t id, char* buffer, int32_t* lenBuffer);

/* The parents of each shard of a stream, for readers that follow resharding: for every shard
 * "id,parent,adjacentParent" (an empty field where the shard has none), in the order of the
 * service, separated by the global delimiter. Buffer, lenBuffer and the results as for
 * GetData. */
RXK_API int32_t GetShardLineage(int32_t id, const char* streamName, char* buffer, int32_t* lenBuffer);

/* ---- Exception probe ------------------------------------------------------------------- */

/* Tries out how exceptions leave the library: kind is one of "exception", "exception2" ...
 * "exception7". Prints scenario lines on standard output and throws; another word returns 0.
 * For C++ hosts only. */
RXK_API int32_t Dummy(int32_t id, const char* kind);

#ifdef __cplusplus
}
#endif

#endif /* RXKINESIS_H */
