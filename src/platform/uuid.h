// Random identifiers in the familiar textual form of a version 4 UUID.
#pragma once

#include <string>

namespace quorvane {

// 36 characters, upper-case hexadecimal in groups 8-4-4-4-12, e.g.
// "3F2504E0-4F89-41D3-9A0C-0305E82C3301". Drawn from the system's entropy.
std::string makeUuid();

}  // namespace quorvane
