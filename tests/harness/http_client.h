// A minimal Kinesis JSON client for the harness itself: seeding the emulator and checking the
// fault server, independent of the library under test. It doesn't sign; the emulator only
// wants the signing headers present.
#pragma once

#include "replies.h"

#include <map>
#include <string>

namespace rxk::test {

struct HttpResponse {
    int status = 0;                              // 0: no HTTP answer (see error)
    std::string body;
    std::map<std::string, std::string> headers;  // names lower-cased
    std::string error;                           // transport failure, e.g. "Connection"

    bool ok() const { return status >= 200 && status < 300; }
    std::string header(const std::string& name) const;
};

// POSTs `body` to `endpoint` ("http://127.0.0.1:P") as Kinesis_20131202.<operation>, with dummy
// Authorization and X-Amz-Date headers. One attempt, bounded by `timeout` for connect and read.
HttpResponse kinesisPost(const std::string& endpoint, const std::string& operation, const std::string& body,
                         Millis timeout = Millis(5000));

}  // namespace rxk::test
