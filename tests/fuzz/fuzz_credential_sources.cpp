// What the credentials sources read, by the first byte's choice: a config or credentials file
// (read over a profile read before), an STS answer with its status, the JSON of a metadata
// service or credential_process. A source gives credentials or says why not, never both.
#include "fast_support.h"

#include <sstream>

#include "core/credentials_sources.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace Aws::Internal;
    if (size < 2) return 0;
    const Aws::String text(reinterpret_cast<const char*>(data) + 2, size - 2);
    Aws::String reason;
    Aws::Auth::AWSCredentials credentials;
    if (data[0] % 3 == 0) {
        ProfileMap profiles{{"default", {{"region", "us-east-1"}}}};
        std::istringstream file(text);
        ReadProfiles(file, data[1] & 1, data[1] & 2, profiles);
        for (const auto& profile : profiles) rxk::fuzz::touch(StsTargetFor(profiles, profile.first).caFile);
        return 0;
    }
    if (data[0] % 3 == 1) {
        CredentialsHttpResponse answer;
        answer.status = data[1] < 128 ? 200 : 300 + data[1];
        answer.body = text;
        credentials = ReadStsAnswer(answer, "STS AssumeRole", reason);
    } else {
        credentials = CredentialsFromJson(text, data[1] & 1 ? "Token" : "SessionToken", reason);
    }
    rxk::fuzz::expect("credentials or a reason", credentials.IsEmpty() != reason.empty());
    return 0;
}
