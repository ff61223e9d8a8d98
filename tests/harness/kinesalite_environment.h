// Starts the shared emulator before the first test of a binary, so that its start-up time and
// any failure to start show up once, up front:
//   ::testing::AddGlobalTestEnvironment(new rxk::test::KinesaliteEnvironment);
// (from a main() of your own, or a static initialiser of the test file).
// ctest runs each test of a binary as a process of its own, so this starts the emulator for
// every test, needed or not; calling sharedKinesalite() in the tests that need it is cheaper.
#pragma once

#include "kinesalite.h"

#include <gtest/gtest.h>

namespace rxk::test {

class KinesaliteEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        try {
            sharedKinesalite();
        } catch (const std::exception& e) {
            FAIL() << e.what();
        }
    }
};

}  // namespace rxk::test
