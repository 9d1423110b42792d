// What a reader's viewer says about each document we write: its title in
// the title bar, and the author, subject and keywords of its properties.
#pragma once

#include <array>

#include "model/raw_value.h"
#include "model/records.h"
#include "pdf/pdf_canvas.h"
#include "pdf/pdf_labels.h"

namespace quorvane {

enum class PdfDocumentKind {
  portfolio,
  priceCatalogue,
  exhibitionCatalogue,
  raisonne,
  cv,
  biography,
  statement,
  projectStatement
};
template <>
struct RawValueTable<PdfDocumentKind> {
  static constexpr std::array<RawCase<PdfDocumentKind>, 8> cases{{
      {PdfDocumentKind::portfolio, "portfolio"},
      {PdfDocumentKind::priceCatalogue, "price_catalogue"},
      {PdfDocumentKind::exhibitionCatalogue, "exhibition_catalogue"},
      {PdfDocumentKind::raisonne, "raisonne"},
      {PdfDocumentKind::cv, "cv"},
      {PdfDocumentKind::biography, "biography"},
      {PdfDocumentKind::statement, "statement"},
      {PdfDocumentKind::projectStatement, "project_statement"},
  }};
};

// The kind of a project's own document: its portfolio, or its catalogue
// (a catalogue of no kind is a price catalogue, as it prints).
PdfDocumentKind projectDocumentKind(const Project& project);

// The properties of a document of `kind` about `project`, in the language of
// `labels`:
// - title: as the document prints it — the project's title for a portfolio
//   or catalogue (its kind when it has none), the CV's heading, the text's
//   title label (the user's own when overridden);
// - author: the artist's name as printed;
// - subject: the kind of document ("Catalogue raisonné");
// - keywords: the project's title and year;
// - creator: "Quorvane" and its version.
DocumentProperties documentProperties(PdfDocumentKind kind, const Project& project,
                                      const ArtistDetails& details, const PdfStrings& labels);

}  // namespace quorvane
