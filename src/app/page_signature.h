// The signature of a page's source: a short text that changes exactly when
// the page would be drawn differently, and only then. A thumbnail drawn from
// one signature is stale as soon as its page's signature is another.
//
// What enters an artwork's page:
// - the artwork's printed fields: title, year, medium, the three
//   dimensions, its text, status, price and the price's currency;
// - its image, known by its web copy's path, type, byte size and pixel
//   size and the original's byte size (a replaced image that matched all
//   five would have to be the same picture for every practical purpose;
//   reading the image itself for every signature would cost too much);
// - the project's kind, catalogue kind, currency and orientation; the
//   artworks' unit and layout mode;
// - its place in the project, in a raisonné only (the one catalogue that
//   prints a number): reordering a portfolio redraws nothing;
// - the export language and paper, and the label overrides of the
//   portfolio scope in that language.
// What enters a document's first page: its text (the CV: its entries and
// the artist's details), the export language and paper, and the label
// overrides of its scope in that language.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "model/records.h"

namespace quorvane {

using LabelMap = std::map<std::string, std::string>;

std::string artworkPageSignature(const Project& project, const ArtworksData& artworks,
                                 const Artwork& artwork, int number, const ExportOptions& options,
                                 const LabelMap& labels);

// `section`: "bio", "statement", "projectStatement" or "cv".
std::string documentPageSignature(std::string_view section, const StudioSnapshot& snapshot,
                                  const ExportOptions& options, const LabelMap& labels);

}  // namespace quorvane
