// The ids a package may carry: they become file names and rows, so only
// what is harmless as both passes.
#pragma once

#include <string_view>

namespace quorvane {

// Not empty; at most 128 characters; neither "." nor ".."; its first
// character a Unicode letter or digit; every character a letter, a digit or
// one of ".", "_", ":", "-". Bytes that are no UTF-8 fail.
bool isSafeIdentifier(std::string_view id);

}  // namespace quorvane
