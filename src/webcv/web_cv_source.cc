#include "webcv/web_cv_source.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "cv/cv_sections.h"
#include "cv/details_fields.h"
#include "model/text.h"
#include "webcv/web_cv_errors.h"

namespace quorvane {
namespace {

using Code = WebCVImportIssueCode;
using Group = WebCVImportGroup;

// Keys of the envelope, and of `details` and `cv`, that describe the export
// itself rather than the artist.
const std::set<std::string> kEnvelopeTransportKeys{"exportedAt", "generator", "sessionId"};
const std::set<std::string> kEnvelopeKeys{"kind", "schemaVersion", "details", "cv"};
constexpr std::string_view kPartTransportKey = "updatedAt";
constexpr std::string_view kEntryIdKey = "id";

std::string nfc(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) return std::string(text);
  const icu::UnicodeString source =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int>(text.size())));
  const icu::UnicodeString normalized = normalizer->normalize(source, status);
  if (U_FAILURE(status)) return std::string(text);
  std::string result;
  normalized.toUTF8String(result);
  return result;
}

std::size_t scalarValues(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

bool holdsInnerWhiteSpace(std::string_view text) {
  std::int32_t i = 0;
  const auto length = static_cast<std::int32_t>(text.size());
  while (i < length) {
    UChar32 c = 0;
    U8_NEXT(text.data(), i, length, c);
    if (c >= 0 && u_isUWhiteSpace(c)) return true;
  }
  return false;
}

// Collects the issues of one reading; some are told once per group only.
class Notes {
 public:
  void add(Code code, std::optional<Group> group, std::string where) {
    if (isOncePerGroup(code) && !told_.insert({code, group}).second) return;
    issues_.push_back({code, severityOf(code), group, std::move(where)});
  }
  std::vector<WebCVImportIssue> take() { return std::move(issues_); }

 private:
  static bool isOncePerGroup(Code code) {
    return code == Code::transportNotImported || code == Code::normalizationPreview ||
           code == Code::nativeIDsGenerated;
  }
  std::set<std::pair<Code, std::optional<Group>>> told_;
  std::vector<WebCVImportIssue> issues_;
};

// A text of the file made ready for the library, or nothing when it can't be
// taken as it is (the issue says why).
std::optional<std::string> formatted(const std::string& raw, TextShape shape, Group group,
                                     const std::string& where, Notes& notes) {
  const std::size_t limit = shape == TextShape::singleLine ? kWebCVLineLimit : kWebCVTextLimit;
  if (scalarValues(raw) > limit) {
    notes.add(Code::textTooLong, group, where);
    return std::nullopt;
  }
  const CleanedText cleaned = withoutControlCharacters(nfc(raw), shape);
  std::string text = trimmedWhitespaceAndNewlines(cleaned.text);
  if (cleaned.removed > 0) {
    notes.add(Code::lossyNormalization, group, where);
  } else if (text != raw) {
    notes.add(Code::normalizationPreview, group, where);
  }
  if (scalarValues(text) > limit) {
    notes.add(Code::normalizedTextTooLong, group, where);
    return std::nullopt;
  }
  if (formattedForLibrary(text, shape) != text) {
    notes.add(Code::unstableNormalization, group, where);
    return std::nullopt;
  }
  return text;
}

// The text a value of the file holds: null is an empty text; anything but a
// string is refused with `expectedString`.
std::optional<std::string> textOf(const nlohmann::json& value, Group group,
                                  const std::string& where, Notes& notes) {
  if (value.is_null()) return std::string();
  if (!value.is_string()) {
    notes.add(Code::expectedString, group, where);
    return std::nullopt;
  }
  return value.get<std::string>();
}

bool isFourDigitYear(std::string_view text) {
  return text.size() == 4 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The display mode the file names, in the library's spelling.
std::optional<std::string> nameDisplayMode(const std::string& text) {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
  });
  if (lower == "legal" || lower == "artist") return lower;
  return std::nullopt;
}

WebCVDetailsValue readDetailsValue(const DetailsFieldConfig& field, const nlohmann::json& details,
                                   Notes& notes) {
  WebCVDetailsValue result{std::string(field.id), std::nullopt, std::nullopt};
  const std::string where = "details." + result.key;
  const auto found = details.find(result.key);
  if (found == details.end()) {
    // The generator leaves out what the artist left blank; it has no field
    // for the postal code, which the project therefore keeps.
    if (field.id != "zipcode" && field.id != "nameDisplayMode") result.value = std::string();
    return result;
  }
  result.source = textOf(*found, Group::identity, where, notes);
  if (!result.source) return result;
  std::optional<std::string> text =
      formatted(*result.source, field.shape, Group::identity, where, notes);
  if (!text) return result;
  if (field.id == "nameDisplayMode") {
    if (text->empty()) return result;
    const auto mode = nameDisplayMode(*text);
    if (!mode) {
      notes.add(Code::invalidNameDisplayMode, Group::identity, where);
      return result;
    }
    if (*mode != *text) notes.add(Code::normalizationPreview, Group::identity, where);
    text = mode;
  } else if (field.id == "birthYear" && !text->empty() && !isFourDigitYear(*text)) {
    notes.add(Code::invalidBirthYear, Group::identity, where);
    return result;
  } else if (field.id == "website" && holdsInnerWhiteSpace(*text)) {
    notes.add(Code::websiteWouldLoseContent, Group::identity, where);
  }
  result.value = std::move(text);
  return result;
}

std::vector<WebCVDetailsValue> readDetails(const nlohmann::json& details, Notes& notes) {
  std::set<std::string> known;
  std::vector<WebCVDetailsValue> values;
  for (const DetailsFieldConfig& field : detailsFieldConfigs()) {
    known.emplace(field.id);
    values.push_back(readDetailsValue(field, details, notes));
  }
  for (const auto& [key, value] : details.items()) {
    if (key == kPartTransportKey) {
      notes.add(Code::transportNotImported, Group::identity, "details." + key);
    } else if (!known.contains(key)) {
      notes.add(Code::unknownBusinessField, Group::identity, "details." + key);
    }
  }
  return values;
}

WebCVSourceEntry readEntry(const CVSectionConfig& config, const nlohmann::json& entry,
                           const std::string& where, Notes& notes) {
  if (!entry.is_object()) {
    throw WebCVImportError(WebCVImportErrorCode::invalid, where + " is not an object");
  }
  WebCVSourceEntry result;
  for (const auto& item : entry.items()) {
    const std::string& key = item.key();
    const nlohmann::json& value = item.value();
    const std::string fieldWhere = where + "." + key;
    const bool known = std::any_of(config.fields.begin(), config.fields.end(),
                                   [&](const CVFieldConfig& field) { return field.id == key; });
    if (key == kEntryIdKey) {
      notes.add(Code::nativeIDsGenerated, Group::cv, "cv");  // said once, of the whole CV
      continue;
    }
    if (!known) {
      notes.add(Code::unknownBusinessField, Group::cv, fieldWhere);
      continue;
    }
    const std::optional<std::string> source = textOf(value, Group::cv, fieldWhere, notes);
    if (!source) continue;
    result.source[key] = *source;
    std::optional<std::string> text =
        formatted(*source, TextShape::multiLine, Group::cv, fieldWhere, notes);
    if (!text) continue;
    if (key == "website" && holdsInnerWhiteSpace(*text)) {
      notes.add(Code::websiteWouldLoseContent, Group::cv, fieldWhere);
    }
    if (!text->empty()) result.proposed[key] = std::move(*text);
  }
  result.kept = !result.proposed.empty();
  if (!result.kept && !result.source.empty()) {
    notes.add(Code::normalizationPreview, Group::cv, where);
  }
  return result;
}

std::array<std::vector<WebCVSourceEntry>, 12> readSections(const nlohmann::json& cv, Notes& notes) {
  std::array<std::vector<WebCVSourceEntry>, 12> sections;
  for (const auto& [key, value] : cv.items()) {
    const std::string where = "cv." + key;
    const auto section = fromRawValue<CVSectionKey>(key);
    if (!section) {
      notes.add(key == kPartTransportKey ? Code::transportNotImported : Code::unknownBusinessField,
                Group::cv, where);
      continue;
    }
    if (value.is_null()) continue;
    if (!value.is_array()) {
      throw WebCVImportError(WebCVImportErrorCode::invalid, where + " is not a list");
    }
    const CVSectionConfig& config = cvSectionConfig(*section);
    auto& entries = sections[static_cast<std::size_t>(*section)];
    for (std::size_t i = 0; i < value.size(); ++i) {
      entries.push_back(
          readEntry(config, value[i], where + "[" + std::to_string(i + 1) + "]", notes));
    }
  }
  return sections;
}

}  // namespace

std::string formattedForLibrary(std::string_view text, TextShape shape) {
  return trimmedWhitespaceAndNewlines(withoutControlCharacters(nfc(text), shape).text);
}

WebCVSource readWebCVSource(const nlohmann::json& envelope) {
  Notes notes;
  for (const auto& [key, value] : envelope.items()) {
    if (kEnvelopeTransportKeys.contains(key)) {
      notes.add(Code::transportNotImported, std::nullopt, key);
    } else if (!kEnvelopeKeys.contains(key)) {
      notes.add(Code::unknownEnvelopeBusinessField, std::nullopt, key);
    }
  }
  WebCVSource source;
  const nlohmann::json& details = envelope.at("details");
  source.hasZipcode = details.contains("zipcode");
  source.details = readDetails(details, notes);
  source.sections = readSections(envelope.at("cv"), notes);
  source.issues = notes.take();
  return source;
}

}  // namespace quorvane
