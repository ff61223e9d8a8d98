// A reading of one shard driven as the host drives it, written as a row of steps:
//   "S4=0"     StartShardIterator with type code 4 (no start value) returns 0
//   "S1@r2=0"  the same with type code 1 and the sequence number of "r2" (or the text after @)
//   "gr0"      GetRecordFromIterator hands out the record "r0" (with its sequence number, if known)
//   "g-"       GetRecordFromIterator returns 2, length 0, both buffers untouched ("g!": -4)
//   "Gr0"      as g, with a null sequence buffer
//   "n=2"      NextShardIterator returns 2;  "x=0"  StopShardIterator returns 0
//   "Pa,b=2"   PollShardIterator calls back with "a" then "b" and returns 2 ("P=0": no callback)
//   "Qa=-4"    the same with a callback that stops the pair from inside
//   "or2"      GetRecord at the sequence number of "r2" reads "r2" ("ox@99": reads "x" at 99;
//              "o-@99": returns -1 and writes nothing)
//   "+r5"      a new record "r5" is written to the stream
//   "~"        the log sink is taken away (the caller puts it back)
// A step may name another pair first: "orders|1|x=0" ("1": shardId-000000000001, "#N": N letters).
#pragma once

#include "connector_client.h"
#include "kinesalite.h"

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace rxk::test {

constexpr const char* kShard0 = "shardId-000000000000";

// A host buffer filled with a guard byte, to see what a call wrote and where it stopped.
struct GuardedBuffer {
    explicit GuardedBuffer(std::size_t size) : bytes(size, '\xA5') {}
    char* data() { return bytes.data(); }
    std::string text() const { return std::string(bytes.data(), strnlen(bytes.data(), bytes.size())); }
    bool untouched() const { return guardedFrom(0); }  // nothing written at all
    bool intactAfterText() const { return text().size() < bytes.size() && guardedFrom(text().size() + 1); }
    bool guardedFrom(std::size_t offset) const { return bytes.find_first_not_of('\xA5', offset) == std::string::npos; }
    std::string bytes;
};

struct Reading {
    std::int32_t client = -1;
    std::string stream;
    std::int32_t limit = 10;
    std::map<std::string, std::string> sequenceOf;  // record text -> sequence number
    const Kinesalite* kinesalite = nullptr;         // where "+" steps write
};

void runSteps(Reading& reading, const std::string& steps);

std::vector<std::string> split(const std::string& text, char separator);

}  // namespace rxk::test
