// One host session that takes every kind of path through the library (refusals, service
// failures, an unreachable endpoint, retries with their announcements, reading, listing, calls
// after free), for the tests that watch what the library leaves behind: the secret key, fd 1/2.
#pragma once

#include "library.h"

#include <string>
#include <vector>

namespace rxk::test {

// Runs the session against `endpoint` (a fault endpoint knowing stream "paths", whose PutRecords
// refuse "fail-" keys) and then against a closed port; returns every text the host read back.
inline std::vector<std::string> exerciseEveryPath(Library& lib, const std::string& endpoint, const char* access, const char* secret) {
    std::vector<std::string> seen;
    char text[RXK_ERROR_TEXT_BYTES + 88];
    lib.InititializeInterface();
    lib.SetGlobalParam("no-such", secret);
    for (const std::string& url : {endpoint, std::string("http://127.0.0.1:1")}) {
        ServiceEnvironment environment(url, ServiceEnvironment::SdkRetries::Off);
        lib.CreateClient("", access, secret);  // refused
        const int32_t id = lib.CreateClient("us-east-1", access, secret);
        lib.SetParam(id, "retry", "2");
        lib.SetParam(id, "retryattemptshow", "2");
        lib.SetParam(id, "no-such-parameter", secret);  // a value is never echoed
        lib.PutRecord(id, "paths", nullptr, nullptr, "one", 3);
        const int32_t list = lib.CreateListRecord(id);
        for (const char* key : {"fail-0", "pk", "pk"}) lib.AddRecordToList(id, list, key, nullptr, "batch", 5);
        lib.PutRecords(id, list, "paths", nullptr, nullptr, nullptr, nullptr, "paths");
        lib.PutRecords(id, list + 7, "paths", nullptr, nullptr, nullptr, nullptr, "paths");
        lib.StartShardIterator(id, "paths", "shardId-000000000000", nullptr, 10, RXK_TRIM_HORIZON);
        lib.PollShardIterator(id, "paths", "shardId-000000000000", [](int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; });
        lib.StopShardIterator(id, "paths", "shardId-000000000000");
        lib.StopShardIterator(id, "paths", "shardId-000000000000");
        int32_t length = sizeof text;
        lib.GetListShards(id, "no-such-stream", text, &length);
        lib.CreateStream(id, "paths", 1);
        seen.push_back(lib.GetErrorStr(id, text, sizeof text));
        for (const char* name : {"retry", "retryattemptPutRecords", "retryattemptFailRecords", "secretkey"})
            if (lib.GetParam(id, name, text) == 0) seen.push_back(text);
        lib.FreeClient(id);
        lib.PutRecord(id, "paths", nullptr, nullptr, "one", 3);  // freed: refused
    }
    seen.push_back(lib.GetGlobalErrorStr(text, sizeof text));
    return seen;
}

}  // namespace rxk::test
