// The interface texts in five languages — English, French, Italian, German
// and Spanish — and the choice of the interface language.
//
// Each language is one JSON file under pdf/catalogue/, built into the
// program; nothing is read at run time. English is the reference: a key
// missing from another language reads in English, and a key no catalogue
// has reads as itself.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane {

class Preferences;

inline constexpr std::array<std::string_view, 5> kInterfaceLanguages{"en", "fr", "it", "de", "es"};

// The text of `key` in the language of `languageCode` (its first two
// characters, lower-cased: "fr-CA" and "FR" both read French).
std::string uiText(std::string_view key, std::string_view languageCode);

// The text of `key` in exactly that language's catalogue (no fallback):
// nothing when that catalogue lacks it.
std::optional<std::string> uiTextIn(std::string_view key, std::string_view languageCode);

// `uiText` with its placeholders ("%@", "%d", "%.1f", …) filled in order from
// `arguments`, which the caller has already written out; "%%" is a percent
// sign.
std::string uiFormat(std::string_view key, std::string_view languageCode,
                     std::initializer_list<std::string> arguments);

// `uiFormat` of the form of `key` that the language's plural rules give
// `count` (ICU's CLDR categories: "key.one", "key.few", "key.many",
// "key.other"…), falling back to "key.other", then to `key` itself.
// `arguments` fill every placeholder, the count among them where the text
// wants it.
std::string uiPlural(std::string_view key, std::string_view languageCode, std::int64_t count,
                     std::initializer_list<std::string> arguments);

// "1 word", "3 words", "1 mot", "0 mot": `key` ("count.words") for `count`,
// the count written out in its placeholder.
std::string uiCount(std::string_view key, std::string_view languageCode, std::int64_t count);

// Fills the placeholders of a text (as `uiFormat` does).
std::string fillPlaceholders(std::string_view text, const std::vector<std::string>& arguments);

// The language the system asks for: the first of LANGUAGE (a colon-separated
// list), LC_ALL, LC_MESSAGES and LANG that is set, reduced to its language
// code ("fr_FR.UTF-8" → "fr"); "en" when none is set or it says "C"/"POSIX".
std::string systemLanguageCode();

// The region of the user's locale: the first of LC_ALL, LC_MEASUREMENT and
// LANG that is set, its part after the language ("en_US.UTF-8" → "US");
// nothing for "C", "POSIX" or a locale without a region.
std::optional<std::string> systemRegionCode();

// The interface language in force: the user's choice in the preferences
// ("quorvane.uiLanguage") when there is one, else the system's.
std::string interfaceLanguage(const Preferences& preferences);

// Every key of a catalogue language, sorted; empty for an unknown language.
std::vector<std::string> interfaceKeys(std::string_view language);

}  // namespace quorvane
