// The peer of the benchmarks: the same workloads through the AWS SDK for JavaScript v3 Kinesis
// client (HTTP/1.1 handler with keep-alive), measured the same way: records moved and the CPU
// time of this process during the timed window. Prints one JSON line.
//
//   node bench/peer.mjs --workload batch-put|single-put|poll-read --stream S
//                       [--seconds N] [--records N] [--record-bytes N] [--shard ID]
import { Agent } from "node:http";
import { KinesisClient, PutRecordsCommand, PutRecordCommand, GetShardIteratorCommand,
         GetRecordsCommand } from "@aws-sdk/client-kinesis";
import { NodeHttpHandler } from "@smithy/node-http-handler";

function parseArgs(argv) {
  const args = { seconds: 5, records: 100000, recordBytes: 100, shard: "shardId-000000000000" };
  for (let i = 2; i < argv.length; i += 2) {
    const key = argv[i].replace(/^--/, "").replace(/-([a-z])/g, (_, c) => c.toUpperCase());
    args[key] = argv[i + 1];
  }
  args.seconds = Number(args.seconds);
  args.records = Number(args.records);
  args.recordBytes = Number(args.recordBytes);
  return args;
}

function makeClient() {
  return new KinesisClient({
    region: process.env.AWS_REGION || "us-east-1",
    endpoint: process.env.AWS_ENDPOINT_URL_KINESIS,
    credentials: { accessKeyId: process.env.AWS_ACCESS_KEY_ID || "bench",
                   secretAccessKey: process.env.AWS_SECRET_ACCESS_KEY || "bench" },
    requestHandler: new NodeHttpHandler({ httpAgent: new Agent({ keepAlive: true, maxSockets: 25 }) }),
  });
}

function payload(bytes, n) {
  const data = Buffer.alloc(bytes, 0x61);
  data.write(String(n).padStart(12, "0"), 0);
  return data;
}

async function batchPut(client, args) {
  let records = 0;
  const deadline = Date.now() + args.seconds * 1000;
  while (Date.now() < deadline) {
    const entries = [];
    for (let i = 0; i < 500; i++) {
      entries.push({ Data: payload(args.recordBytes, records + i), PartitionKey: String(records + i) });
    }
    const answer = await client.send(new PutRecordsCommand({ StreamName: args.stream, Records: entries }));
    records += entries.length - (answer.FailedRecordCount || 0);
  }
  return records;
}

async function singlePut(client, args) {
  let records = 0;
  const deadline = Date.now() + args.seconds * 1000;
  while (Date.now() < deadline) {
    await client.send(new PutRecordCommand({ StreamName: args.stream, Data: payload(args.recordBytes, records),
                                             PartitionKey: String(records) }));
    records++;
  }
  return records;
}

// Reads from TRIM_HORIZON until `records` were seen or two fetches in a row came back empty,
// checksumming every record as the C++ driver's callback does.
async function pollRead(client, args) {
  const start = await client.send(new GetShardIteratorCommand({
    StreamName: args.stream, ShardId: args.shard, ShardIteratorType: "TRIM_HORIZON" }));
  let iterator = start.ShardIterator;
  let records = 0, empty = 0, checksum = 0;
  while (iterator && records < args.records && empty < 2) {
    const batch = await client.send(new GetRecordsCommand({ ShardIterator: iterator, Limit: 10000 }));
    empty = batch.Records.length === 0 ? empty + 1 : 0;
    for (const record of batch.Records) {
      for (const byte of record.Data) checksum = (checksum + byte) | 0;
      records++;
    }
    iterator = batch.NextShardIterator;
  }
  globalThis.benchChecksum = checksum;
  return records;
}

const workloads = { "batch-put": batchPut, "single-put": singlePut, "poll-read": pollRead };

const args = parseArgs(process.argv);
const run = workloads[args.workload];
if (!run) {
  console.error(`peer.mjs: unknown workload ${args.workload}`);
  process.exit(2);
}
const client = makeClient();
const cpuBefore = process.cpuUsage();
const wallBefore = process.hrtime.bigint();
const records = await run(client, args);
const seconds = Number(process.hrtime.bigint() - wallBefore) / 1e9;
const cpu = process.cpuUsage(cpuBefore);
console.log(JSON.stringify({ client: "js-sdk-v3", workload: args.workload, records, seconds,
                             cpu_seconds: (cpu.user + cpu.system) / 1e6 }));
client.destroy();
