#include "pdf/localization.h"

#include <unicode/plurrule.h>
#include <unicode/unistr.h>
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "pdf/interface_catalogues.h"
#include "platform/preferences.h"

namespace quorvane {
namespace {

using Catalogue = std::unordered_map<std::string, std::string>;

// The five catalogues, parsed once on first use and shared from then on.
const std::unordered_map<std::string, Catalogue>& catalogues() {
  static const auto parsed = [] {
    std::unordered_map<std::string, Catalogue> all;
    for (const EmbeddedCatalogue& embedded : embeddedInterfaceCatalogues()) {
      const nlohmann::json json =
          nlohmann::json::parse(embedded.text.begin(), embedded.text.end(), nullptr, false);
      Catalogue& catalogue = all[std::string(embedded.language)];
      if (!json.is_object()) continue;
      for (const auto& [key, value] : json.items()) {
        if (value.is_string()) catalogue.emplace(key, value.get<std::string>());
      }
    }
    return all;
  }();
  return parsed;
}

std::string lowerCased(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

const std::string* find(std::string_view language, std::string_view key) {
  const auto& all = catalogues();
  const auto catalogue = all.find(std::string(language));
  if (catalogue == all.end()) return nullptr;
  const auto text = catalogue->second.find(std::string(key));
  return text == catalogue->second.end() ? nullptr : &text->second;
}

// "fr_FR.UTF-8", "de-AT", "pt_BR@euro" → "fr", "de", "pt".
std::string languageOf(std::string_view locale) {
  const std::size_t end = locale.find_first_of("_.@-");
  return lowerCased(locale.substr(0, end));
}

}  // namespace

std::optional<std::string> uiTextIn(std::string_view key, std::string_view languageCode) {
  if (const std::string* text = find(lowerCased(languageCode.substr(0, 2)), key)) return *text;
  return std::nullopt;
}

std::string uiText(std::string_view key, std::string_view languageCode) {
  if (const std::string* text = find(lowerCased(languageCode.substr(0, 2)), key)) return *text;
  if (const std::string* text = find("en", key)) return *text;
  return std::string(key);
}

std::string fillPlaceholders(std::string_view text, const std::vector<std::string>& arguments) {
  std::string filled;
  std::size_t next = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%' || i + 1 >= text.size()) {
      filled.push_back(text[i]);
      continue;
    }
    if (text[i + 1] == '%') {
      filled.push_back('%');
      ++i;
      continue;
    }
    // A placeholder runs from % to its conversion letter or '@': "%@",
    // "%d", "%.1f", "%ld".
    std::size_t end = i + 1;
    while (end < text.size() && (std::isdigit(static_cast<unsigned char>(text[end])) ||
                                 text[end] == '.' || text[end] == 'l')) {
      ++end;
    }
    if (end < text.size() &&
        (text[end] == '@' || std::isalpha(static_cast<unsigned char>(text[end])))) {
      filled +=
          next < arguments.size() ? arguments[next] : std::string(text.substr(i, end - i + 1));
      ++next;
      i = end;
      continue;
    }
    filled.push_back('%');
  }
  return filled;
}

namespace {

// The CLDR plural category of `count` in a language: "one", "other", …
std::string pluralCategory(std::string_view language, std::int64_t count) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::PluralRules> rules(
      icu::PluralRules::forLocale(icu::Locale(std::string(language).c_str()), status));
  if (U_FAILURE(status) || !rules) return count == 1 ? "one" : "other";
  std::string category;
  rules->select(static_cast<double>(count)).toUTF8String(category);
  return category;
}

}  // namespace

std::string uiPlural(std::string_view key, std::string_view languageCode, std::int64_t count,
                     std::initializer_list<std::string> arguments) {
  const std::string language = lowerCased(languageCode.substr(0, 2));
  const std::string base(key);
  for (const std::string& form : {base + "." + pluralCategory(language, count), base + ".other"}) {
    if (find(language, form) || find("en", form)) return uiFormat(form, language, arguments);
  }
  return uiFormat(key, language, arguments);
}

std::string uiCount(std::string_view key, std::string_view languageCode, std::int64_t count) {
  return uiPlural(key, languageCode, count, {std::to_string(count)});
}

std::string uiFormat(std::string_view key, std::string_view languageCode,
                     std::initializer_list<std::string> arguments) {
  return fillPlaceholders(uiText(key, languageCode), std::vector<std::string>(arguments));
}

std::string systemLanguageCode() {
  for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    std::string_view first(value);
    first = first.substr(0, first.find(':'));
    if (first.empty()) continue;
    if (first == "C" || first.starts_with("C.") || first == "POSIX") return "en";
    const std::string language = languageOf(first);
    if (!language.empty()) return language;
  }
  return "en";
}

std::optional<std::string> systemRegionCode() {
  for (const char* variable : {"LC_ALL", "LC_MEASUREMENT", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    std::string_view locale(value);
    locale = locale.substr(0, locale.find_first_of(".@"));
    const auto separator = locale.find_first_of("_-");
    if (separator == std::string_view::npos) return std::nullopt;
    const std::string_view region = locale.substr(separator + 1);
    if (region.size() < 2 || region.size() > 3) return std::nullopt;
    return std::string(region);
  }
  return std::nullopt;
}

std::string interfaceLanguage(const Preferences& preferences) {
  const std::optional<std::string> chosen = preferences.string(preference_key::kUiLanguage);
  return chosen && !chosen->empty() ? *chosen : systemLanguageCode();
}

std::vector<std::string> interfaceKeys(std::string_view language) {
  std::vector<std::string> keys;
  const auto& all = catalogues();
  if (const auto catalogue = all.find(std::string(language)); catalogue != all.end()) {
    for (const auto& [key, text] : catalogue->second) keys.push_back(key);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

}  // namespace quorvane
