// Backslash escapes in delimiters and output formats: \n \t \r \0 \\ \xHH.
#pragma once

#include <string>

namespace rxkcat {

// Decodes the escapes of `text`; `flag` names the option in the error of an unknown or cut
// escape (UsageError).
std::string decodeEscapes(const std::string& text, const std::string& flag);

}  // namespace rxkcat
