// The two exception classes a C++ host may catch by name. Their type information is emitted
// here and exported (see rxkinesis.map), so a host's catch clause matches what the library throws.
#include "rxkinesis_exceptions.h"

#include <cstdio>
#include <typeinfo>

#include "env/fault_codes.h"

namespace {

struct CodeName {
    unsigned int code;
    const char* text;
};

// "SE Exception: Int overflow" has no underscore: hosts match these texts as they stand.
constexpr CodeName kCodeNames[] = {
    {rxk::kAccessViolationCode, "SE_Exception: Access Violation"},
    {rxk::kInvalidHandleCode, "SE_Exception: Invalid handle"},
    {rxk::kArrayBoundsExceededCode, "SE_Exception: Array bounds exceeded"},
    {rxk::kIntDivideByZeroCode, "SE_Exception: Division by zero"},
    {rxk::kIntOverflowCode, "SE Exception: Int overflow"},
    {rxk::kStackOverflowCode, "SE_Exception: Stack overflow"},
};

constexpr const char* kUnnamedCodeFormat = "SE_Exception: 0x%08X";
constexpr const char* kRxExceptionFormat = "RX_Exception: %s";

// Neither class has a key function, so their type information is vague-linkage data that a
// translation unit emits only where it throws or catches them. Naming it here pins one copy
// into the library whatever the other sources do.
__attribute__((used)) const std::type_info* const exportedTypes[] = {&typeid(SE_Exception), &typeid(RX_Exception)};

}  // namespace

const char* SE_Exception::what() {
    for (const CodeName& entry : kCodeNames) {
        if (entry.code == code) {
            std::snprintf(message, sizeof message, "%s", entry.text);
            return message;
        }
    }
    std::snprintf(message, sizeof message, kUnnamedCodeFormat, code);
    return message;
}

RX_Exception::RX_Exception(const char* text) {
    std::snprintf(message, sizeof message, kRxExceptionFormat, text != nullptr ? text : "");
}
