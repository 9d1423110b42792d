#include "pdf/cv_pdf_renderer.h"

#include <algorithm>

#include "model/artist_name.h"
#include "model/text.h"

namespace quorvane {
namespace {

constexpr Color kMuted{0.42, 0.42, 0.42};
constexpr double kDateColumn = 72;       // width of the date column
constexpr double kSectionGap = 1.2;      // × lineHeight before a section title
constexpr double kTitleToEntries = 0.5;  // × lineHeight after a section title
constexpr double kEntryGap = 0.25;       // × lineHeight between entries

std::string_view sectionLabelKey(CVSectionKey key) {
  switch (key) {
    case CVSectionKey::soloExhibitions:
      return "pdf.cv.section.solo_exhibitions";
    case CVSectionKey::groupExhibitions:
      return "pdf.cv.section.group_exhibitions";
    case CVSectionKey::artFairs:
      return "pdf.cv.section.art_fairs";
    case CVSectionKey::commissions:
      return "pdf.cv.section.commissions";
    case CVSectionKey::residencies:
      return "pdf.cv.section.residencies";
    case CVSectionKey::education:
      return "pdf.cv.section.education";
    case CVSectionKey::workExperiences:
      return "pdf.cv.section.work_experience";
    case CVSectionKey::collections:
      return "pdf.cv.section.collections";
    case CVSectionKey::grantsAwards:
      return "pdf.cv.section.grants_awards";
    case CVSectionKey::press:
      return "pdf.cv.section.press";
    case CVSectionKey::bibliography:
      return "pdf.cv.section.bibliography";
    case CVSectionKey::representation:
      return "pdf.cv.section.representation";
  }
  return "pdf.cv.section.education";
}

std::string field(const CVEntry& entry, const char* id) {
  const auto it = entry.find(id);
  return it == entry.end() ? std::string() : trimmedWhitespaceAndNewlines(it->second);
}

bool hasContent(const CVEntry& entry) {
  return std::any_of(entry.begin(), entry.end(),
                     [](const auto& pair) { return !isBlank(pair.second); });
}

}  // namespace

std::string CvPdfRenderer::entryDate(const CVEntry& entry) {
  for (const char* id : {"year", "period", "yearsEmployed"}) {
    if (std::string date = field(entry, id); !date.empty()) return date;
  }
  return {};
}

std::string CvPdfRenderer::entryText(CVSectionKey section, const CVEntry& entry) const {
  const auto f = [&](const char* id) { return field(entry, id); };
  switch (section) {
    case CVSectionKey::soloExhibitions:
    case CVSectionKey::groupExhibitions:
      return joinedNonEmpty({f("title"), f("venue"), f("place"), f("country")}, ", ");
    case CVSectionKey::artFairs:
      return joinedNonEmpty({f("fair"), f("gallery"), f("place"), f("country")}, ", ");
    case CVSectionKey::commissions:
      return joinedNonEmpty({f("title"), f("type"), f("materials"), f("location")}, ", ");
    case CVSectionKey::residencies:
      return joinedNonEmpty({f("name"), f("institution"), f("place"), f("country")}, ", ");
    case CVSectionKey::education:
      return joinedNonEmpty({f("majorDegree"), f("institution"), f("place"), f("country")}, ", ");
    case CVSectionKey::workExperiences: {
      const std::string role =
          joinedNonEmpty({f("positionTitle"), f("placeOfWork"), f("city"), f("state")}, ", ");
      return joinedNonEmpty({role, f("roleResponsibilities")}, "\n");
    }
    case CVSectionKey::collections:
      return joinedNonEmpty({f("collectionName"), f("place"), f("country")}, ", ");
    case CVSectionKey::grantsAwards:
      return joinedNonEmpty({f("name"), f("institution"), f("place"), f("country")}, ", ");
    case CVSectionKey::press: {
      const std::string title = f("title").empty() ? "" : "“" + f("title") + "”";
      const std::string outlet =
          f("outlet").empty() ? ""
                              : labels_.format("pdf.press.in_outlet", {{"outlet", f("outlet")}});
      return joinedNonEmpty({f("author"), title, outlet, f("url")}, ", ");
    }
    case CVSectionKey::bibliography:
      return joinedNonEmpty({f("author"), f("bookTitle"), f("publisher")}, ", ");
    case CVSectionKey::representation:
      return joinedNonEmpty({f("galleryName"), f("address"), f("website"), f("email"), f("phone")},
                            " · ");
  }
  return {};
}

std::vector<std::string> CvPdfRenderer::introLines(const ArtistDetails& details) const {
  std::vector<std::string> lines;
  const std::string year = trimmedWhitespaceAndNewlines(details.birthYear);
  const std::string birthplace =
      joinedNonEmpty({trimmedWhitespaceAndNewlines(details.birthPlace),
                      trimmedWhitespaceAndNewlines(details.birthCountry)},
                     ", ");
  if (!year.empty() && !birthplace.empty()) {
    lines.push_back(labels_.format("pdf.cv.intro.born_year_dash_location",
                                   {{"year", year}, {"location", birthplace}}));
  } else if (!year.empty()) {
    lines.push_back(labels_.format("pdf.cv.intro.born", {{"year", year}}));
  } else if (!birthplace.empty()) {
    lines.push_back(labels_.format("pdf.cv.intro.born_in", {{"place", birthplace}}));
  }
  const std::string home = joinedNonEmpty({trimmedWhitespaceAndNewlines(details.currentCity),
                                           trimmedWhitespaceAndNewlines(details.country)},
                                          ", ");
  if (!home.empty()) {
    lines.push_back(labels_.format("pdf.cv.intro.lives_and_works_in", {{"location", home}}));
  }
  return lines;
}

void drawPageNumber(PdfCanvas& canvas, const PDFStyle& style, int number) {
  const TextStyle text{std::max(style.bodySize - 3, 9.0), FontWeight::regular, kMuted};
  const std::string label = std::to_string(number);
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  const double x = page.width - style.margin - canvas.textWidth(label, text);
  const double y = height - 0.45 * style.margin - canvas.lineHeight(text);
  canvas.drawText(label, x, y, text);
}

CvDrawResult CvPdfRenderer::draw(PdfCanvas& canvas, const ArtistDetails& details, const CVData& cv,
                                 std::optional<int> pageLimit, int firstPageNumber) const {
  const PageSize page = canvas.size();
  const double height = page.height > 0 ? page.height : 842;
  const double left = style_.margin;
  const double width = page.width - 2 * style_.margin;
  const double bottom = height - style_.margin;
  const TextStyle name{style_.sectionTitleSize + 4, FontWeight::semibold, {}};
  const TextStyle intro{style_.bodySize, FontWeight::regular, kMuted};
  const TextStyle sectionTitle{style_.bodySize + 1, FontWeight::semibold, {}};
  const TextStyle body{style_.bodySize, FontWeight::regular, {}};
  const double textLeft = left + kDateColumn;
  const double textWidth = width - kDateColumn;

  CvDrawResult result;
  double y = 0;
  const auto newPage = [&]() -> bool {
    if (pageLimit && result.pages >= *pageLimit) return false;
    canvas.beginPage();
    ++result.pages;
    const int number = firstPageNumber + result.pages - 1;
    if (number > 1) drawPageNumber(canvas, style_, number);
    y = style_.margin;
    return true;
  };
  // Measured no further than a page and a line: an entry taller than a page
  // is cut wherever it starts, and measuring all of a huge one would take
  // as long as the text is.
  const auto entryHeight = [&](const std::string& text) {
    return canvas
        .flowText(text, textLeft, 0, textWidth, bottom - style_.margin + style_.lineHeight, body,
                  style_.lineHeight, false)
        .bottom;
  };

  newPage();
  canvas.markDestination(kCvDestination);
  std::string printed = printedArtistName(details);
  if (printed.empty()) printed = labels_.label("pdf.cover.artist_name_fallback");
  {
    const StructureScope heading(canvas, "H1");
    canvas.drawText(printed, left, y, name);
  }
  y += canvas.lineHeight(name) + 0.4 * style_.lineHeight;
  for (const std::string& line : introLines(details)) {
    const StructureScope paragraph(canvas, "P");
    canvas.drawText(line, left, y, intro);
    y += style_.lineHeight;
  }

  for (const CVSectionConfig& config : cvSectionConfigs()) {
    std::vector<const CVEntry*> entries;
    for (const CVEntry& entry : cvEntries(cv, config.id)) {
      if (hasContent(entry)) entries.push_back(&entry);
    }
    if (entries.empty()) continue;
    const double titleHeight =
        canvas.lineHeight(sectionTitle) + kTitleToEntries * style_.lineHeight;
    const double firstEntry = entryHeight(entryText(config.id, *entries.front()));
    y += kSectionGap * style_.lineHeight;
    // The title goes with its first entry.
    if (y + titleHeight + firstEntry > bottom && !newPage()) {
      result.truncated = true;
      return result;
    }
    const std::string title = labels_.label(sectionLabelKey(config.id));
    const std::string destination =
        std::string(kCvDestination) + "." + std::string(rawValue(config.id));
    canvas.markDestination(destination, y);
    result.sections.push_back(OutlineEntry{title, destination});
    {
      const StructureScope heading(canvas, "H2");
      canvas.drawText(title, left, y, sectionTitle);
    }
    y += titleHeight;
    // A section's entries are a list, each item its date and its text.
    const StructureScope list(canvas, "L");
    for (const CVEntry* entry : entries) {
      const std::string text = entryText(config.id, *entry);
      const double needed = entryHeight(text);
      if (y + needed > bottom && needed <= bottom - style_.margin && !newPage()) {
        result.truncated = true;
        return result;
      }
      const StructureScope item(canvas, "LI");
      canvas.beginStructure("Lbl");
      canvas.drawText(entryDate(*entry), left,
                      y + (style_.lineHeight - canvas.lineHeight(body)) / 2, body);
      canvas.endStructure();
      const StructureScope entryBody(canvas, "LBody");
      TextFlowResult flow =
          canvas.flowText(text, textLeft, y, textWidth, bottom, body, style_.lineHeight);
      y = flow.bottom + kEntryGap * style_.lineHeight;
      if (!flow.complete) {  // taller than a page: the rest is lost
        result.truncated = true;
        return result;
      }
    }
  }
  return result;
}

PdfRenderResult CvPdfRenderer::render(const ArtistDetails& details, const CVData& cv,
                                      const ExportOptions& options,
                                      const DocumentProperties& properties) const {
  PdfCanvas canvas(pageSize(options.format));
  canvas.setProperties(properties);
  canvas.beginStructure("Document");
  const CvDrawResult drawn = draw(canvas, details, cv);
  canvas.endStructure();
  for (const OutlineEntry& section : drawn.sections) {
    canvas.addOutlineEntry(0, section.title, section.destination);
  }
  PdfRenderResult result;
  result.data = canvas.finish();
  return result;
}

}  // namespace quorvane
