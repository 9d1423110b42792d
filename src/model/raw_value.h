// Persisted enumerations are stored and exchanged by their raw text. Each one
// declares a single table of (case, raw value) pairs in its all-cases order,
// and these helpers answer every question from that table, so a raw value is
// written down exactly once.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace quorvane {

template <class E>
struct RawCase {
  E value;
  std::string_view raw;
};

// Specialise with `static constexpr std::array<RawCase<E>, N> cases`.
template <class E>
struct RawValueTable;

template <class E>
constexpr std::string_view rawValue(E value) {
  for (const auto& c : RawValueTable<E>::cases) {
    if (c.value == value) return c.raw;
  }
  return {};  // unreachable for a complete table
}

// The case whose raw value is exactly `raw`, or none.
template <class E>
constexpr std::optional<E> fromRawValue(std::string_view raw) {
  for (const auto& c : RawValueTable<E>::cases) {
    if (c.raw == raw) return c.value;
  }
  return std::nullopt;
}

// Every case, in declaration order.
template <class E>
constexpr auto allCases() {
  constexpr auto& table = RawValueTable<E>::cases;
  std::array<E, table.size()> result{};
  for (std::size_t i = 0; i < table.size(); ++i) result[i] = table[i].value;
  return result;
}

}  // namespace quorvane
