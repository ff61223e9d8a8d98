#include "rxkcat_fixture.h"

namespace rxk::test {

std::string describe(const RunResult& result) {
    std::string text = "exit " + std::to_string(result.exitStatus);
    if (result.signal) text += ", signal " + std::to_string(result.signal);
    if (result.timedOut) text += ", killed at the deadline";
    const size_t shown = 2000;
    text += "\n--- stdout ---\n" + result.out.substr(0, shown) + (result.out.size() > shown ? "[...]" : "");
    text += "\n--- stderr ---\n" + result.err.substr(0, shown) + (result.err.size() > shown ? "[...]" : "");
    return text;
}

std::vector<std::string> splitFields(const std::string& text, char separator) {
    std::vector<std::string> fields;
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = text.find(separator, begin);
        if (end == std::string::npos) end = text.size();
        fields.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return fields;
}

void RxkcatTest::SetUp() {
    try {
        emulator();
    } catch (const std::exception& failure) {
        FAIL() << "the emulator did not start: " << failure.what();
    }
    service_ = std::make_unique<ServiceEnvironment>(emulator().endpoint(), ServiceEnvironment::SdkRetries::Off);
}

std::vector<std::string> RxkcatTest::userEnvironment() const {
    return {"AWS_REGION=us-east-1", "AWS_ACCESS_KEY_ID=rxkcat-test", "AWS_SECRET_ACCESS_KEY=rxkcat-secret",
            "RXKCAT_LIBRARY=" + libraryPathFromEnvironment()};
}

RunResult RxkcatTest::rxkcat(const std::vector<std::string>& arguments, const std::string& input) const {
    return runRxkcat(arguments, input, userEnvironment());
}

std::unique_ptr<RxkcatProcess> RxkcatTest::start(const std::vector<std::string>& arguments) const {
    return std::make_unique<RxkcatProcess>(arguments, userEnvironment());
}

void RxkcatTest::produce(const std::string& stream, const std::string& input,
                         const std::vector<std::string>& extra) const {
    std::vector<std::string> arguments{"-P", "-s", stream};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    const RunResult result = rxkcat(arguments, input);
    ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
}

std::string RxkcatTest::consumeAll(const std::string& stream, const std::string& format,
                                   const std::vector<std::string>& extra) const {
    std::vector<std::string> arguments{"-C", "-s", stream, "-e", "-f", format};
    arguments.insert(arguments.end(), extra.begin(), extra.end());
    const RunResult result = rxkcat(arguments);
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    return result.out;
}

}  // namespace rxk::test
