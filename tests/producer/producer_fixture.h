// Shared set-up of the record-list and batch tests: the library loaded once per binary as the
// host loads it, log and trace captured, and a client per test pointed at a given endpoint.
#pragma once

#include "fault_server.h"
#include "library.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace rxk::test {

inline Library& producerLibrary() {
    static Library& library = [] () -> Library& {
        Library& loaded = sharedLibrary();
        loaded.InititializeInterface();
        loaded.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        return loaded;
    }();
    return library;
}

// Room for any composed line, with a guard area behind it.
constexpr std::size_t kTextBytes = RXK_ERROR_TEXT_BYTES + 88;

class ProducerTest : public ::testing::Test {
protected:
    void SetUp() override {
        lib_ = &producerLibrary();
        LogCapture::reset();
    }

    void TearDown() override {
        for (const int32_t client : clients_) {
            lib_->FreeListRecord(client, -1);
            lib_->FreeClient(client);
        }
    }

    // A client whose requests go to `endpoint` (the environment is read when it is created).
    int32_t createClient(const std::string& endpoint = "http://127.0.0.1:9") {
        ServiceEnvironment environment(endpoint, ServiceEnvironment::SdkRetries::Off);
        const int32_t client = lib_->CreateClient("us-east-1", "AKIDEXAMPLE", "wJalrXUtnFEMI/K7MDENG");
        EXPECT_GE(client, 0);
        clients_.push_back(client);
        return client;
    }

    int32_t createList(int32_t client) {
        const int32_t list = lib_->CreateListRecord(client);
        EXPECT_GE(list, 0);
        return list;
    }

    int32_t add(int32_t client, int32_t list, const std::string& data, const char* partitionKey = "pk",
                const char* explicitHashKey = nullptr) {
        return lib_->AddRecordToList(client, list, partitionKey, explicitHashKey, data.data(),
                                     static_cast<int32_t>(data.size()));
    }

    std::string lastError(int32_t client) {
        std::vector<char> buffer(kTextBytes, '\0');
        lib_->GetErrorStr(client, buffer.data(), static_cast<int32_t>(buffer.size()));
        return buffer.data();
    }

    std::string param(int32_t client, const char* name) {
        std::vector<char> buffer(kTextBytes, '\0');
        EXPECT_EQ(lib_->GetParam(client, name, buffer.data()), 0) << name;
        return buffer.data();
    }

    void setParam(int32_t client, const char* name, const std::string& value) {
        ASSERT_EQ(lib_->SetParam(client, name, value.c_str()), 0) << name;
    }

    struct ListInfo {
        int32_t result;
        uint32_t count;
        uint32_t bytes;
    };
    ListInfo info(int32_t client, int32_t list) {
        ListInfo answer{0, 0xDEADBEEF, 0xDEADBEEF};
        answer.result = lib_->GetListRecordInfo(client, list, &answer.count, &answer.bytes);
        return answer;
    }

    static std::size_t countLines(const std::vector<std::string>& lines, const std::string& fragment) {
        std::size_t count = 0;
        for (const auto& line : lines) count += line.find(fragment) != std::string::npos;
        return count;
    }

    Library* lib_ = nullptr;
    std::vector<int32_t> clients_;
};

// A text buffer with guard bytes on both sides, to catch a write outside the text.
class GuardedText {
public:
    explicit GuardedText(std::size_t size) : size_(size), bytes_(size + 2 * kGuard, kGuardByte) {}
    char* data() { return bytes_.data() + kGuard; }
    // The text up to its NUL, never beyond the area.
    std::string text() const {
        const char* start = bytes_.data() + kGuard;
        return std::string(start, strnlen(start, size_));
    }
    bool guardsIntact() const {
        for (std::size_t i = 0; i < kGuard; ++i) {
            if (bytes_[i] != kGuardByte || bytes_[bytes_.size() - 1 - i] != kGuardByte) return false;
        }
        return true;
    }
    // True when nothing was written into the text area either.
    bool untouched() const {
        for (char byte : bytes_) {
            if (byte != kGuardByte) return false;
        }
        return true;
    }

private:
    static constexpr std::size_t kGuard = 16;
    static constexpr char kGuardByte = '\x5A';
    std::size_t size_;
    std::vector<char> bytes_;
};

}  // namespace rxk::test
