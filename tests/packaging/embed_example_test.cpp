// The embedding example of the README (kept as examples/embed.c): the README shows the file
// as it is, the file compiles cleanly against the public header, and run against kinesalite it
// sends a batch and reads every outcome back, as the README says.
#include "packaging_support.h"

#include <kinesalite.h>
#include <library.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <memory>

namespace rxk::test::packaging {
namespace {

const char* const kReadmeSection = "## Embed it in a host";
const char* const kRecords[] = {"alpha", "beta", "gamma"};
const char* const kShard = "shardId-000000000000";

// The first ```c block after `heading` in a Markdown text ("" if there is none).
std::string codeBlockAfter(const std::string& markdown, const std::string& heading) {
    const size_t section = markdown.find("\n" + heading + "\n");
    if (section == std::string::npos) return "";
    const std::string fence = "\n```c\n";
    const size_t open = markdown.find(fence, section);
    if (open == std::string::npos) return "";
    const size_t begin = open + fence.size();
    const size_t close = markdown.find("\n```", begin);
    if (close == std::string::npos) return "";
    return markdown.substr(begin, close + 1 - begin);
}

std::string base64(const std::string& bytes) {
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const unsigned value = (static_cast<unsigned char>(bytes[i]) << 16) | (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                               static_cast<unsigned char>(bytes[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6) out += alphabet[(value >> shift) & 63];
    }
    if (i < bytes.size()) {
        unsigned value = static_cast<unsigned char>(bytes[i]) << 16;
        if (i + 1 < bytes.size()) value |= static_cast<unsigned char>(bytes[i + 1]) << 8;
        out += alphabet[(value >> 18) & 63];
        out += alphabet[(value >> 12) & 63];
        out += i + 1 < bytes.size() ? alphabet[(value >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

struct StoredRecord {
    std::string data;  // base64, as the service returns it
    std::string sequenceNumber;
};

// The records of a one-shard stream from its start, read from the emulator directly.
std::vector<StoredRecord> storedRecords(const Kinesalite& kinesalite, const std::string& stream) {
    const HttpResponse iterator = kinesalite.call(
        "GetShardIterator", R"({"StreamName":")" + stream + R"(","ShardId":")" + kShard + R"(","ShardIteratorType":"TRIM_HORIZON"})");
    EXPECT_TRUE(iterator.ok()) << iterator.status << " " << iterator.body << iterator.error;
    rapidjson::Document iteratorReply;
    iteratorReply.Parse(iterator.body.c_str());
    if (iteratorReply.HasParseError() || !iteratorReply.IsObject() || !iteratorReply.HasMember("ShardIterator")) return {};

    const HttpResponse records = kinesalite.call(
        "GetRecords", std::string(R"({"ShardIterator":")") + iteratorReply["ShardIterator"].GetString() + R"("})");
    EXPECT_TRUE(records.ok()) << records.status << " " << records.body << records.error;
    rapidjson::Document reply;
    reply.Parse(records.body.c_str());
    std::vector<StoredRecord> stored;
    if (reply.HasParseError() || !reply.IsObject() || !reply.HasMember("Records")) return stored;
    for (const auto& record : reply["Records"].GetArray())
        stored.push_back({record["Data"].GetString(), record["SequenceNumber"].GetString()});
    return stored;
}

class EmbedExample : public ::testing::Test {
protected:
    // Compiles the example once per test process, as the README says: the C compiler, the
    // public header and the dynamic loader, nothing of the library at link time.
    static void SetUpTestSuite() {
        build_ = std::make_unique<ScratchDirectory>("embed");
        const BuildFacts& facts = buildFacts();
        std::vector<std::string> compile = {facts.cCompiler, "-std=c11", "-Wall", "-Wextra", "-Werror",
                                            "-I" + sourceDirectory() + "/include", exampleSource(),
                                            "-o", program(), "-ldl"};
        for (const std::string& flag : facts.sanitizerFlags()) compile.push_back(flag);
        compiled_ = runProcess(compile);
    }
    static void TearDownTestSuite() { build_.reset(); }

    static std::string exampleSource() { return sourceDirectory() + "/examples/embed.c"; }
    static std::string program() { return *build_ / "embed"; }

    // Runs the example on the built library with a region and keys in the environment
    // (std::nullopt leaves the variable out).
    static ProcessResult runExample(const std::string& stream, const std::optional<std::string>& region = "us-east-1") {
        ProcessOptions options;
        options.environment = {{"AWS_REGION", region},
                               {"AWS_ACCESS_KEY_ID", std::string("AKIDEMBEDEXAMPLE")},
                               {"AWS_SECRET_ACCESS_KEY", std::string("embed-example-secret")}};
        options.timeout = std::chrono::seconds(60);
        return runProcess({program(), libraryPathFromEnvironment(), stream}, options);
    }

    static std::unique_ptr<ScratchDirectory> build_;
    static ProcessResult compiled_;
};

std::unique_ptr<ScratchDirectory> EmbedExample::build_;
ProcessResult EmbedExample::compiled_;

// Catches the README's example and examples/embed.c drifting apart.
TEST_F(EmbedExample, ReadmeShowsTheExampleFileAsItIs) {
    const std::string shown = codeBlockAfter(readFile(sourceDirectory() + "/README.md"), kReadmeSection);
    ASSERT_FALSE(shown.empty()) << "README.md has no ```c block under \"" << kReadmeSection << "\"";
    EXPECT_EQ(shown, readFile(exampleSource()));
}

// Catches an example that no longer compiles cleanly against include/rxkinesis.h.
TEST_F(EmbedExample, CompilesWithoutWarnings) {
    EXPECT_TRUE(compiled_.succeeded()) << compiled_.describe();
    EXPECT_EQ(compiled_.err, "") << compiled_.describe();
}

// Catches a documented host sequence that doesn't work end to end: records not written, an
// outcome read back for the wrong position, or sequence numbers that aren't the stored ones.
TEST_F(EmbedExample, SendsABatchAndReadsEveryOutcomeBack) {
    ASSERT_TRUE(compiled_.succeeded()) << compiled_.describe();
    if (findInPath("node").empty()) GTEST_SKIP() << "node is not installed: the example needs kinesalite";
    Kinesalite& kinesalite = sharedKinesalite();
    const std::string stream = kinesalite.createUniqueStream("embed");
    ServiceEnvironment service(kinesalite.endpoint(), ServiceEnvironment::SdkRetries::Off);

    const ProcessResult ran = runExample(stream);
    ASSERT_TRUE(ran.succeeded()) << ran.describe();
    const std::vector<std::string> lines = splitLines(ran.out);
    ASSERT_EQ(lines.size(), 4u) << ran.describe();
    EXPECT_EQ(lines[0], "PutRecords: 0 (3 put, 0 failed)");

    const std::vector<StoredRecord> stored = storedRecords(kinesalite, stream);
    ASSERT_EQ(stored.size(), 3u);
    for (size_t i = 0; i < stored.size(); ++i) {
        EXPECT_EQ(stored[i].data, base64(kRecords[i])) << "record " << i;
        EXPECT_EQ(lines[i + 1], std::to_string(i) + " ok " + kShard + " " + stored[i].sequenceNumber);
    }
}

// Catches an example that crashes, or claims success, when the library refuses the client
// (no region): it must say why through the log callback and exit with 1.
TEST_F(EmbedExample, ReportsARefusedClient) {
    ASSERT_TRUE(compiled_.succeeded()) << compiled_.describe();
    const ProcessResult ran = runExample("any-stream", std::nullopt);
    EXPECT_EQ(ran.exitStatus, 1) << ran.describe();
    EXPECT_TRUE(contains(ran.err, "log: ")) << ran.describe();
    EXPECT_EQ(ran.out, "") << ran.describe();
}

// Catches an example that reports success for a batch the service refused as a whole.
TEST_F(EmbedExample, ReportsAFailedBatch) {
    ASSERT_TRUE(compiled_.succeeded()) << compiled_.describe();
    if (findInPath("node").empty()) GTEST_SKIP() << "node is not installed: the example needs kinesalite";
    Kinesalite& kinesalite = sharedKinesalite();
    ServiceEnvironment service(kinesalite.endpoint(), ServiceEnvironment::SdkRetries::Off);

    const ProcessResult ran = runExample(uniqueStreamName("embed-missing"));
    EXPECT_EQ(ran.exitStatus, 1) << ran.describe();
    EXPECT_TRUE(contains(ran.out, "PutRecords: -1 ")) << ran.describe();
    EXPECT_TRUE(contains(ran.err, "log: ")) << ran.describe();
}

}  // namespace
}  // namespace rxk::test::packaging
