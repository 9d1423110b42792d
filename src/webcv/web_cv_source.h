// What a generator's export offers for each group, normalised into the
// project's records the way the editors would save them, with every
// departure from the file noted as an issue.
//
// The file's text is taken as given; formatting is adapted in this order:
// Unicode NFC, then the editors' rule for characters that are no text
// (removed; in a one-line field line breaks and tabs become spaces), then
// white space at both ends. Lengths are counted in Unicode scalar values,
// as the text is stored.
#pragma once

#include <array>
#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "model/control_characters.h"
#include "model/records.h"
#include "webcv/web_cv_issues.h"

namespace quorvane {

// The longest text a one-line field (a name, a year, a detail) and a field
// of several lines (an address, a CV value) may hold.
inline constexpr std::size_t kWebCVLineLimit = 1'000;
inline constexpr std::size_t kWebCVTextLimit = 10'000;

struct WebCVDetailsValue {
  std::string key;                    // the `ArtistDetails` key
  std::optional<std::string> source;  // the file's text; absent when missing or not text
  // What replacing saves; absent: the project's current value is kept (the
  // file has none for it, or one that can't be taken).
  std::optional<std::string> value;

  bool operator==(const WebCVDetailsValue&) const = default;
};

struct WebCVSourceEntry {
  CVEntry source;    // the file's texts of the section's fields
  CVEntry proposed;  // as they will be saved
  bool kept = true;  // false when nothing is left once formatted (not saved)

  bool operator==(const WebCVSourceEntry&) const = default;
};

struct WebCVSource {
  std::vector<WebCVDetailsValue> details;  // every details field, in the editors' order
  std::array<std::vector<WebCVSourceEntry>, 12> sections;  // in `CVSectionKey` order
  bool hasZipcode = false;
  std::vector<WebCVImportIssue> issues;

  bool operator==(const WebCVSource&) const = default;
};

// Reads an envelope `parseWebCVEnvelope` accepted. Throws `WebCVImportError`
// `invalid` when a section is not a list of objects.
WebCVSource readWebCVSource(const nlohmann::json& envelope);

// One formatting pass over `text` (the order above): exposed for the tests
// of its stability.
std::string formattedForLibrary(std::string_view text, TextShape shape);

}  // namespace quorvane
