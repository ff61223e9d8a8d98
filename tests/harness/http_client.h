// A minimal HTTP client for the harness itself: seeding the emulator and driving the fault
// endpoint's control requests, independent of the library under test.
#pragma once

#include "replies.h"

#include <map>
#include <string>

namespace rxk::test {

struct HttpResponse {
    int status = 0;                              // 0: no HTTP answer (see error)
    std::string body;
    std::string error;  // transport failure, e.g. "Connection"

    bool ok() const { return status >= 200 && status < 300; }
};

// One request to `endpoint` ("http://127.0.0.1:P"), bounded by `timeout` for connect and read.
HttpResponse httpRequest(const std::string& endpoint, const std::string& method, const std::string& path,
                         const std::string& body = "", const std::map<std::string, std::string>& headers = {},
                         Millis timeout = Millis(5000));

}  // namespace rxk::test
