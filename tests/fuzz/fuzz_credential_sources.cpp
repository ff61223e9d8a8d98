// What the credentials sources read, by the first byte's choice: a config or credentials file
// (read over profiles of an earlier file), an STS answer with its status, the JSON of a
// metadata service or credential_process. A source gives credentials or says why not, never both.
#include "fast_support.h"

#include <sstream>

#include "core/credentials_sources.h"

namespace {

using namespace Aws::Internal;

void readProfiles(const Aws::String& text, bool configFile) {
    ProfileMap profiles{{"default", {{"region", "us-east-1"}}}};
    std::istringstream file(text);
    ReadProfiles(file, configFile, !configFile, profiles);
    for (const auto& profile : profiles) {
        rxk::fuzz::expect("a profile has a name", !profile.first.empty());
        rxk::fuzz::touch(StsTargetFor(profiles, profile.first).caFile);
    }
}

void expectCredentialsOrReason(const Aws::Auth::AWSCredentials& credentials, const Aws::String& reason) {
    rxk::fuzz::expect("credentials or a reason", credentials.IsEmpty() != reason.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const Aws::String text(reinterpret_cast<const char*>(data) + 2, size - 2);
    Aws::String reason;
    switch (data[0] % 4) {
        case 0:
        case 1: readProfiles(text, data[0] % 4 == 0); break;
        case 2: {
            CredentialsHttpResponse answer;
            answer.status = data[1] < 128 ? 200 : 300 + data[1];
            answer.body = text;
            expectCredentialsOrReason(ReadStsAnswer(answer, "STS AssumeRole", reason), reason);
            break;
        }
        default: expectCredentialsOrReason(CredentialsFromJson(text, data[1] & 1 ? "Token" : "SessionToken", reason), reason);
    }
    return 0;
}
