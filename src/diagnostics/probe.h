// Probe: lets a host try out how exceptions travel from the library to it (Dummy).
#pragma once

#include <cstdint>

#include "env/client_env.h"

namespace rxk {

class Probe {
public:
    explicit Probe(ClientEnv& env) : env_(env) {}
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    int32_t dummy(const char* kind);

private:
    ClientEnv& env_;
};

}  // namespace rxk
