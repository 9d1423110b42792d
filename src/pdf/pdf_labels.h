// The fixed headings and phrases printed into generated PDFs, in five
// languages, and `PdfStrings`, which resolves them for one rendering with
// the user's overrides applied.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane {

// The built-in text of a PDF label key in a catalogue language, if that
// catalogue has it. `language` is matched exactly as given.
std::optional<std::string_view> builtInPdfLabel(std::string_view language, std::string_view key);

// Every PDF label key, in the order of the built-in table.
std::vector<std::string_view> pdfLabelKeys();

// The kinds of document whose labels a user may override.
struct LabelScope {
  std::string_view scope;    // as stored with an override
  std::string_view nameKey;  // its name in the interface catalogue
};
inline constexpr std::array<LabelScope, 5> kLabelScopes{{
    {"portfolio", "pdflabels.scope.portfolio"},
    {"cv", "pdflabels.scope.cv"},
    {"bio", "pdflabels.scope.bio"},
    {"statement", "pdflabels.scope.statement"},
    {"project_statement", "pdflabels.scope.project_statement"},
}};

// Resolves the PDF labels of one rendering: its export language, its scope
// and the user's overrides for exactly that language and scope.
class PdfStrings {
 public:
  PdfStrings(std::string locale, std::string scope, std::map<std::string, std::string> overrides)
      : locale_(std::move(locale)), scope_(std::move(scope)), overrides_(std::move(overrides)) {}

  // First match: a non-empty override; the catalogue of the locale as
  // given ("de-AT" has none); that of its first two characters ("de", not
  // lower-cased: "DE" finds nothing); English; the key itself.
  std::string label(std::string_view key) const;

  // `label(key)` with every "{name}" replaced by its value; placeholders
  // without a value stay as they are.
  std::string format(std::string_view key, const std::map<std::string, std::string>& values) const;

  const std::string& locale() const { return locale_; }
  const std::string& scope() const { return scope_; }

 private:
  std::string locale_;
  std::string scope_;
  std::map<std::string, std::string> overrides_;
};

}  // namespace quorvane
