// Probe: lets a host try out how exceptions travel from the library to it (Dummy).
#pragma once

#include <cstdint>

#include "env/client_env.h"

namespace rxk {

class Probe : private ClientPart {
public:
    explicit Probe(ClientEnv& env) : ClientPart(env) {}

    int32_t dummy(const char* kind);
};

}  // namespace rxk
