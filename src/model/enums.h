// The enumerations of the library and their persisted raw values. Every case
// list is in the order the cases are offered to the user.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "model/raw_value.h"

namespace quorvane {

enum class ProjectKind { portfolio, catalogue };
enum class CatalogueKind { price, exhibition, raisonne };
enum class UnitSystem { cm, in };
enum class ArtworkLayoutMode { artwork, artworkText };
enum class PdfFormat { a4, letter };
enum class DocumentOrientation { portrait, landscape };
enum class ExportImageQuality { webOptimized, printQuality };
enum class ArtworkStatus { available, sold, inProgress };
enum class DocumentType { portfolio, catalogue, raisonne };
// `originalMissing`: a print-quality document printed a work's screen copy,
// its original being unusable (the store adds it; renderers never do).
enum class PdfWarning {
  cvTruncated,
  cvLongerThanTwoPages,
  biographyTruncated,
  statementTruncated,
  originalMissing
};
enum class PortfolioExportSelectablePage {
  tableOfContents,
  projectStatement,
  statement,
  biography,
  cv
};
// The kind of a text asset, of a project's link to it and of its section.
enum class TextAssetType { bio, statement, projectStatement, cv };
// Which of the artist's names documents and file names print.
enum class NameDisplayMode { legal, artist };

template <>
struct RawValueTable<ProjectKind> {
  static constexpr std::array<RawCase<ProjectKind>, 2> cases{{
      {ProjectKind::portfolio, "portfolio"},
      {ProjectKind::catalogue, "catalogue"},
  }};
};

template <>
struct RawValueTable<CatalogueKind> {
  static constexpr std::array<RawCase<CatalogueKind>, 3> cases{{
      {CatalogueKind::price, "price"},
      {CatalogueKind::exhibition, "exhibition"},
      {CatalogueKind::raisonne, "raisonne"},
  }};
};

template <>
struct RawValueTable<UnitSystem> {
  static constexpr std::array<RawCase<UnitSystem>, 2> cases{{
      {UnitSystem::cm, "cm"},
      {UnitSystem::in, "in"},
  }};
};

template <>
struct RawValueTable<ArtworkLayoutMode> {
  static constexpr std::array<RawCase<ArtworkLayoutMode>, 2> cases{{
      {ArtworkLayoutMode::artwork, "artwork"},
      {ArtworkLayoutMode::artworkText, "artwork_text"},
  }};
};

template <>
struct RawValueTable<PdfFormat> {
  static constexpr std::array<RawCase<PdfFormat>, 2> cases{{
      {PdfFormat::a4, "a4"},
      {PdfFormat::letter, "letter"},
  }};
};

template <>
struct RawValueTable<DocumentOrientation> {
  static constexpr std::array<RawCase<DocumentOrientation>, 2> cases{{
      {DocumentOrientation::portrait, "portrait"},
      {DocumentOrientation::landscape, "landscape"},
  }};
};

template <>
struct RawValueTable<ExportImageQuality> {
  static constexpr std::array<RawCase<ExportImageQuality>, 2> cases{{
      {ExportImageQuality::webOptimized, "web"},
      {ExportImageQuality::printQuality, "print"},
  }};
};

template <>
struct RawValueTable<ArtworkStatus> {
  static constexpr std::array<RawCase<ArtworkStatus>, 3> cases{{
      {ArtworkStatus::available, "available"},
      {ArtworkStatus::sold, "sold"},
      {ArtworkStatus::inProgress, "in_progress"},
  }};
};

template <>
struct RawValueTable<DocumentType> {
  static constexpr std::array<RawCase<DocumentType>, 3> cases{{
      {DocumentType::portfolio, "portfolio"},
      {DocumentType::catalogue, "catalogue"},
      {DocumentType::raisonne, "raisonne"},
  }};
};

template <>
struct RawValueTable<PdfWarning> {
  static constexpr std::array<RawCase<PdfWarning>, 5> cases{{
      {PdfWarning::cvTruncated, "cv_truncated"},
      {PdfWarning::cvLongerThanTwoPages, "cv_longer_than_two_pages"},
      {PdfWarning::biographyTruncated, "biography_truncated"},
      {PdfWarning::statementTruncated, "statement_truncated"},
      {PdfWarning::originalMissing, "original_missing"},
  }};
};

template <>
struct RawValueTable<PortfolioExportSelectablePage> {
  static constexpr std::array<RawCase<PortfolioExportSelectablePage>, 5> cases{{
      {PortfolioExportSelectablePage::tableOfContents, "tableOfContents"},
      {PortfolioExportSelectablePage::projectStatement, "projectStatement"},
      {PortfolioExportSelectablePage::statement, "statement"},
      {PortfolioExportSelectablePage::biography, "biography"},
      {PortfolioExportSelectablePage::cv, "cv"},
  }};
};

template <>
struct RawValueTable<TextAssetType> {
  static constexpr std::array<RawCase<TextAssetType>, 4> cases{{
      {TextAssetType::bio, "bio"},
      {TextAssetType::statement, "statement"},
      {TextAssetType::projectStatement, "project_statement"},
      {TextAssetType::cv, "cv"},
  }};
};

template <>
struct RawValueTable<NameDisplayMode> {
  static constexpr std::array<RawCase<NameDisplayMode>, 2> cases{{
      {NameDisplayMode::legal, "legal"},
      {NameDisplayMode::artist, "artist"},
  }};
};

// Lenient readers of stored text (database columns, JSON). They never fail:
// a missing or unknown value takes the documented default.

// "catalogue" is a catalogue; anything else is a portfolio.
ProjectKind decodeProjectKind(std::optional<std::string_view> stored);
// None for a portfolio; for a catalogue the stored kind, or price when it is
// missing or unknown.
std::optional<CatalogueKind> decodeCatalogueKind(ProjectKind kind,
                                                 std::optional<std::string_view> stored);
// "in" is inches; anything else centimetres.
UnitSystem decodeUnitSystem(std::optional<std::string_view> stored);
// "landscape" is landscape; anything else portrait.
DocumentOrientation decodeOrientation(std::optional<std::string_view> stored);
// "artwork_text" is artworkText; anything else artwork.
ArtworkLayoutMode decodeLayoutMode(std::optional<std::string_view> stored);
// The three raw values map to their cases; anything else is no status.
std::optional<ArtworkStatus> decodeArtworkStatus(std::optional<std::string_view> stored);
// "artist" prints the artist name; anything else the legal name.
NameDisplayMode decodeNameDisplayMode(std::string_view stored);

}  // namespace quorvane
