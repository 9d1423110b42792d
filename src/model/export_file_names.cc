#include "model/export_file_names.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <ctime>

#include "model/artist_name.h"
#include "model/slug.h"
#include "model/text.h"

namespace quorvane {
namespace {

enum class ExportLanguage { en, fr, it, es, de };

ExportLanguage exportLanguage(std::string_view exportLocale) {
  std::string code = trimmedWhitespaceAndNewlines(exportLocale);
  for (char& c : code) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (code == "fr") return ExportLanguage::fr;
  if (code == "it") return ExportLanguage::it;
  if (code == "es") return ExportLanguage::es;
  if (code == "de") return ExportLanguage::de;
  return ExportLanguage::en;
}

// Indexed by ExportLanguage: en, fr, it, es, de.
using Words = std::array<std::string_view, 5>;

constexpr Words kBiographyWords{"biography", "biographie", "biografia", "biografia", "biografie"};
constexpr Words kArtistStatementWords{"artist-statement", "demarche-artistique",
                                      "statement-artista", "declaracion-artistica",
                                      "kuenstlerisches-statement"};
constexpr Words kProjectStatementWords{"project-statement", "statement-de-projet",
                                       "project-statement", "project-statement",
                                       "project-statement"};

}  // namespace

std::string_view exportKindWord(ExportDocumentKind kind, std::string_view exportLocale) {
  const auto language = static_cast<std::size_t>(exportLanguage(exportLocale));
  switch (kind) {
    case ExportDocumentKind::portfolio:
      return "portfolio";
    case ExportDocumentKind::cv:
      return "cv";
    case ExportDocumentKind::biography:
      return kBiographyWords[language];
    case ExportDocumentKind::artistStatement:
      return kArtistStatementWords[language];
    case ExportDocumentKind::projectStatement:
      return kProjectStatementWords[language];
    case ExportDocumentKind::catalogue:
      return "catalogue";
  }
  return "";
}

std::string exportDatePart(Date now) {
  const std::int64_t milliseconds = millisecondsSince1970(now);
  const auto seconds =
      static_cast<std::time_t>(milliseconds / 1000 - (milliseconds % 1000 < 0 ? 1 : 0));  // floor
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return "0000-00-00";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", local.tm_year + 1900, local.tm_mon + 1,
                local.tm_mday);
  return buffer;
}

std::string exportFileName(ExportDocumentKind kind, const ArtistDetails& details,
                           std::string_view exportLocale, Date now,
                           std::string_view catalogueLabel) {
  std::string name = slug(printedArtistName(details), kArtistSlugMaxLength);
  name += '-';
  name += exportKindWord(kind, exportLocale);
  const std::string date = exportDatePart(now);
  if (kind == ExportDocumentKind::catalogue) {
    const bool unlabelled = isBlank(catalogueLabel);
    name += '-';
    // The label's slug takes what is left of the 255 bytes a file name can
    // have (the slug is ASCII: bytes are characters).
    const auto room = static_cast<int>(kMaximumFileNameBytes - name.size() - 1 - date.size() - 4);
    name += slug(unlabelled ? std::string_view("catalogue") : catalogueLabel, room);
  }
  name += '-';
  name += date;
  name += ".pdf";
  return name;
}

}  // namespace quorvane
