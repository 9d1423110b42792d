// Why a web CV import could not go on. The user is told the words of
// "cv.import.error." + the code's raw value; every one of them means the
// project was left exactly as it was.
#pragma once

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/raw_value.h"

namespace quorvane {

enum class WebCVImportErrorCode {
  size,        // the file is over 10 MiB (refused before a byte is parsed)
  invalid,     // not a CV export of the generator, or not readable as one
  stale,       // the project changed between preparing and applying
  context,     // the project can't take an import (gone, or without a CV)
  busy,        // another import is running
  readOrSave,  // the file could not be read, or the database not written
};

template <>
struct RawValueTable<WebCVImportErrorCode> {
  using C = WebCVImportErrorCode;
  static constexpr std::array<RawCase<C>, 6> cases{{
      {C::size, "size"},
      {C::invalid, "invalid"},
      {C::stale, "stale"},
      {C::context, "context"},
      {C::busy, "busy"},
      {C::readOrSave, "readOrSave"},
  }};
};

// Words that say more than the code's own text: a catalogue key and the
// values of its placeholders.
struct WebCVImportExplanation {
  std::string key;
  std::vector<std::string> arguments;
};

// A failure of reading or planning. `detail` says what exactly, for the
// diagnostic line; the code is what the tests go by, and what the user
// reads unless an explanation says more.
class WebCVImportError : public std::runtime_error {
 public:
  explicit WebCVImportError(WebCVImportErrorCode code, const std::string& detail = {},
                            std::optional<WebCVImportExplanation> explanation = std::nullopt)
      : std::runtime_error(std::string(rawValue(code)) +
                           (detail.empty() ? std::string() : ": " + detail)),
        code_(code),
        explanation_(std::move(explanation)) {}
  WebCVImportErrorCode code() const { return code_; }
  const std::optional<WebCVImportExplanation>& explanation() const { return explanation_; }

 private:
  WebCVImportErrorCode code_;
  std::optional<WebCVImportExplanation> explanation_;
};

// A failure of reading the project's state or writing the import into it.
class WebCVPersistenceError : public WebCVImportError {
 public:
  using WebCVImportError::WebCVImportError;
};

}  // namespace quorvane
