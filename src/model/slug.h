// Slugs: the ASCII form of a text used inside exported file names.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvane {

// The word a slug falls back to when nothing of the text survives.
inline constexpr std::string_view kSlugFallback = "quorvane";

// `text` folded case- and diacritic-insensitively (Unicode default case
// folding, which is the same in every locale, then accents removed) and
// lower-cased in the current locale; every run of characters other than a–z and 0–9 becomes one
// "-", with "-" trimmed from both ends. With `maxLength` ≥ 1 a longer result
// is cut to that many characters and trimmed again. An empty result becomes
// "quorvane". So "Zoë Müller" gives "zoe-muller" and "—" gives "quorvane".
// Only the first MiB of a longer text is read.
std::string slug(std::string_view text, std::optional<int> maxLength = std::nullopt);

}  // namespace quorvane
