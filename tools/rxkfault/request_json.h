// The JSON texts of the control requests' answers.
#pragma once

#include "replies.h"

#include <map>
#include <string>
#include <vector>

namespace rxkfault {

// [{"sequence":1,"operation":"PutRecords","attempt":1,"connection":1,"method":"POST","path":"/",
//   "headers":{...},"body":"...","records":[{"partition_key":..,"explicit_hash_key":..,"data":..}]}]
// `records` (Data as sent, base64) only for PutRecords and PutRecord.
std::string requestsJson(const std::vector<RecordedRequest>& requests);

// {"requests":N,"connections":N,"operations":{"PutRecords":N,...}}
std::string statsJson(int requests, int connections, const std::map<std::string, int>& operations);

std::string okJson();                               // {"ok":true}
std::string errorJson(const std::string& problem);  // {"error":problem}

}  // namespace rxkfault
