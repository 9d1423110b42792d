// Parsing JSON that comes from outside (a preferences file, stored records,
// later packages) in bounded time and memory.
//
// A parser builds, and a JSON value destroys, nested arrays and objects by
// recursion: text nested tens of thousands of levels deep takes seconds and
// gigabytes, and past some depth ends the program. No JSON of ours nests
// more than a handful of levels, so text nested deeper than the limit is
// refused, after one linear pass and before any value is built.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace quorvane {

inline constexpr std::size_t kMaximumJsonDepth = 64;

// The deepest nesting of arrays and objects in `text` (strings are skipped
// with their escapes), counting no further than `limit` + 1.
std::size_t jsonNestingDepth(std::string_view text, std::size_t limit = kMaximumJsonDepth);

// The value `text` holds; nothing when it is not JSON or nests deeper than
// `maximumDepth`.
std::optional<nlohmann::json> parseBoundedJson(std::string_view text,
                                               std::size_t maximumDepth = kMaximumJsonDepth);

}  // namespace quorvane
