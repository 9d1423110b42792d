#include "pdf/document_properties.h"

#include "model/artist_name.h"
#include "model/text.h"
#include "pdf/localization.h"
#include "pdf/statement_pdf_renderer.h"
#include "quorvane_version.h"

namespace quorvane {

PdfDocumentKind projectDocumentKind(const Project& project) {
  if (project.kind == ProjectKind::portfolio) return PdfDocumentKind::portfolio;
  switch (project.catalogueKind.value_or(CatalogueKind::price)) {
    case CatalogueKind::price:
      return PdfDocumentKind::priceCatalogue;
    case CatalogueKind::exhibition:
      return PdfDocumentKind::exhibitionCatalogue;
    case CatalogueKind::raisonne:
      return PdfDocumentKind::raisonne;
  }
  return PdfDocumentKind::priceCatalogue;
}

DocumentProperties documentProperties(PdfDocumentKind kind, const Project& project,
                                      const ArtistDetails& details, const PdfStrings& labels) {
  DocumentProperties properties;
  properties.subject = uiText("document.kind." + std::string(rawValue(kind)), labels.locale());
  const std::string projectTitle = trimmedWhitespaceAndNewlines(project.projectTitle);
  switch (kind) {
    case PdfDocumentKind::portfolio:
    case PdfDocumentKind::priceCatalogue:
    case PdfDocumentKind::exhibitionCatalogue:
    case PdfDocumentKind::raisonne:
      properties.title = projectTitle.empty() ? properties.subject : projectTitle;
      break;
    case PdfDocumentKind::cv:
      properties.title = labels.label("pdf.toc.cv");
      break;
    case PdfDocumentKind::biography:
      properties.title = labels.label(kBiographyTitleKey);
      break;
    case PdfDocumentKind::statement:
      properties.title = labels.label(kStatementTitleKey);
      break;
    case PdfDocumentKind::projectStatement:
      properties.title = labels.label(kProjectStatementTitleKey);
      break;
  }
  properties.author = printedArtistName(details);
  properties.keywords =
      joinedNonEmpty({projectTitle, trimmedWhitespaceAndNewlines(project.projectYear)}, ", ");
  properties.creator = std::string("Quorvane ") + kQuorvaneVersion;
  properties.language = labels.locale();
  return properties;
}

}  // namespace quorvane
