// The notes a web CV import plan shows under "Things to check": each says
// where the file departs from what the project will hold.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "model/raw_value.h"

namespace quorvane {

enum class WebCVImportGroup { identity, cv };

template <>
struct RawValueTable<WebCVImportGroup> {
  static constexpr std::array<RawCase<WebCVImportGroup>, 2> cases{{
      {WebCVImportGroup::identity, "identity"},
      {WebCVImportGroup::cv, "cv"},
  }};
};

enum class WebCVImportChoice { keep, replace };

template <>
struct RawValueTable<WebCVImportChoice> {
  static constexpr std::array<RawCase<WebCVImportChoice>, 2> cases{{
      {WebCVImportChoice::keep, "keep"},
      {WebCVImportChoice::replace, "replace"},
  }};
};

enum class WebCVImportIssueCode {
  transportNotImported,
  unknownEnvelopeBusinessField,
  unknownBusinessField,
  existingZipcodePreserved,
  expectedString,
  textTooLong,
  lossyNormalization,
  websiteWouldLoseContent,
  invalidBirthYear,
  invalidNameDisplayMode,
  normalizedTextTooLong,
  unstableNormalization,
  normalizationPreview,
  nativeIDsGenerated,
};

template <>
struct RawValueTable<WebCVImportIssueCode> {
  using C = WebCVImportIssueCode;
  static constexpr std::array<RawCase<C>, 14> cases{{
      {C::transportNotImported, "transportNotImported"},
      {C::unknownEnvelopeBusinessField, "unknownEnvelopeBusinessField"},
      {C::unknownBusinessField, "unknownBusinessField"},
      {C::existingZipcodePreserved, "existingZipcodePreserved"},
      {C::expectedString, "expectedString"},
      {C::textTooLong, "textTooLong"},
      {C::lossyNormalization, "lossyNormalization"},
      {C::websiteWouldLoseContent, "websiteWouldLoseContent"},
      {C::invalidBirthYear, "invalidBirthYear"},
      {C::invalidNameDisplayMode, "invalidNameDisplayMode"},
      {C::normalizedTextTooLong, "normalizedTextTooLong"},
      {C::unstableNormalization, "unstableNormalization"},
      {C::normalizationPreview, "normalizationPreview"},
      {C::nativeIDsGenerated, "nativeIDsGenerated"},
  }};
};

// info: told for the record, nothing is lost; warning: something of the
// file will not reach the project; blocking: the group can't be replaced
// (Quorvane would have to cut or alter the text to save it).
enum class WebCVIssueSeverity { info, warning, blocking };

template <>
struct RawValueTable<WebCVIssueSeverity> {
  static constexpr std::array<RawCase<WebCVIssueSeverity>, 3> cases{{
      {WebCVIssueSeverity::info, "info"},
      {WebCVIssueSeverity::warning, "warning"},
      {WebCVIssueSeverity::blocking, "blocking"},
  }};
};

// The severity each code always has.
WebCVIssueSeverity severityOf(WebCVImportIssueCode code);

struct WebCVImportIssue {
  WebCVImportIssueCode code;
  WebCVIssueSeverity severity;
  std::optional<WebCVImportGroup> group;  // none for the envelope's own keys
  std::string where;                      // "details.website", "cv.press[2].url", "exportedAt"

  bool operator==(const WebCVImportIssue&) const = default;
};

// The localisation key of an issue's text ("cv.import.issue." + code).
std::string webCVIssueKey(WebCVImportIssueCode code);

}  // namespace quorvane
