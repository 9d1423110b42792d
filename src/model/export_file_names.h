// Names of exported PDFs: the artist, the kind of document in the export
// language, and the day of export, e.g. "zoe-muller-portfolio-2026-03-05.pdf".
//
// The artist part is the slug of the printed artist name (see artist_name.h),
// cut to 60 characters; "quorvane" stands in when there is no name.
//
// Catalogues lead with the artist part too, so every export of one artist
// sorts together in a folder: artist + "-catalogue-" + slug of the label +
// "-" + date + ".pdf". The label is the project's printed title
// (`Project::projectTitle`): it is what tells one catalogue from another,
// where the catalogue kind would repeat across a whole year of price lists.
// An empty label slugs the word "catalogue". The label's slug is cut so that
// the whole name fits the 255 bytes a file system gives a file name.
#pragma once

#include <string>
#include <string_view>

#include "model/date.h"
#include "model/records.h"

namespace quorvane {

enum class ExportDocumentKind {
  portfolio,
  cv,
  biography,
  artistStatement,
  projectStatement,
  catalogue,
};

inline constexpr int kArtistSlugMaxLength = 60;
inline constexpr std::size_t kMaximumFileNameBytes = 255;

// The kind's word in the export language ("fr", "it", "es", "de"; any other
// code, after trimming and lower-casing, counts as English).
std::string_view exportKindWord(ExportDocumentKind kind, std::string_view exportLocale);

// `now` as "yyyy-MM-dd" in the local time zone, in the Gregorian calendar
// whatever the locale: file names must sort by date and read the same to
// every recipient.
std::string exportDatePart(Date now);

// The file name of a document of `kind`. `catalogueLabel` is used only for
// catalogues (pass the project's title).
std::string exportFileName(ExportDocumentKind kind, const ArtistDetails& details,
                           std::string_view exportLocale, Date now,
                           std::string_view catalogueLabel = {});

}  // namespace quorvane
