// A page's signature changes with everything the page shows, and with
// nothing else.
#include "app/page_signature.h"

#include <gtest/gtest.h>

#include <functional>

namespace quorvane {
namespace {

struct Inputs {
  Project project;
  StudioSnapshot snapshot;
  ExportOptions options;
  LabelMap labels;
  int number = 2;
};

Inputs sample() {
  Inputs in;
  in.project.kind = ProjectKind::catalogue;
  in.project.catalogueKind = CatalogueKind::price;
  in.project.currency = "EUR";
  Artwork first, second;
  first.id = "A1";
  second.id = "A2";
  second.title = "Tide";
  second.imagePath = "sqlite-media://A2";
  second.imageByteSize = 120000;
  second.width = 2000;
  second.height = 1500;
  in.snapshot.artworks.images = {first, second};
  in.snapshot.biography = "Born in Lyon.";
  return in;
}

std::string artworkSignature(const Inputs& in) {
  return artworkPageSignature(in.project, in.snapshot.artworks, in.snapshot.artworks.images[1],
                              in.number, in.options, in.labels);
}

using Change = std::function<void(Inputs&)>;

TEST(PageSignatureTest, EverythingAnArtworksPageShowsChangesItsSignature) {
  const std::vector<std::pair<const char*, Change>> changes{
      {"title", [](Inputs& in) { in.snapshot.artworks.images[1].title = "Ebb"; }},
      {"year", [](Inputs& in) { in.snapshot.artworks.images[1].year = "2026"; }},
      {"medium", [](Inputs& in) { in.snapshot.artworks.images[1].medium = "Oil"; }},
      {"width", [](Inputs& in) { in.snapshot.artworks.images[1].artworkWidth = "40"; }},
      {"height", [](Inputs& in) { in.snapshot.artworks.images[1].artworkHeight = "30"; }},
      {"depth", [](Inputs& in) { in.snapshot.artworks.images[1].artworkDepth = "2"; }},
      {"text", [](Inputs& in) { in.snapshot.artworks.images[1].artworkText = "Salt."; }},
      {"status", [](Inputs& in) { in.snapshot.artworks.images[1].status = ArtworkStatus::sold; }},
      {"price", [](Inputs& in) { in.snapshot.artworks.images[1].priceCents = 120000; }},
      {"price currency", [](Inputs& in) { in.snapshot.artworks.images[1].priceCurrency = "USD"; }},
      {"a replaced image", [](Inputs& in) { in.snapshot.artworks.images[1].imageByteSize = 99; }},
      {"its pixel size", [](Inputs& in) { in.snapshot.artworks.images[1].width = 1999; }},
      {"project kind", [](Inputs& in) { in.project.kind = ProjectKind::portfolio; }},
      {"catalogue kind", [](Inputs& in) { in.project.catalogueKind = CatalogueKind::exhibition; }},
      {"currency", [](Inputs& in) { in.project.currency = "CHF"; }},
      {"orientation", [](Inputs& in) { in.project.orientation = DocumentOrientation::landscape; }},
      {"unit", [](Inputs& in) { in.snapshot.artworks.unit = UnitSystem::in; }},
      {"layout",
       [](Inputs& in) { in.snapshot.artworks.layoutMode = ArtworkLayoutMode::artworkText; }},
      {"export language", [](Inputs& in) { in.options.exportLocale = "fr"; }},
      {"paper", [](Inputs& in) { in.options.format = PdfFormat::letter; }},
      {"a label override", [](Inputs& in) { in.labels["pdf.artwork.untitled"] = "Sans titre"; }},
  };
  const std::string before = artworkSignature(sample());
  for (const auto& [what, change] : changes) {
    Inputs in = sample();
    change(in);
    EXPECT_NE(artworkSignature(in), before) << what;
  }
}

TEST(PageSignatureTest, WhatAPageDoesNotShowLeavesItsSignatureAlone) {
  const std::vector<std::pair<const char*, Change>> changes{
      {"another artwork's title", [](Inputs& in) { in.snapshot.artworks.images[0].title = "X"; }},
      {"its place, outside a raisonné", [](Inputs& in) { in.number = 7; }},
      {"the biography", [](Inputs& in) { in.snapshot.biography = "Born in Turku."; }},
      {"a dismissed size warning",
       [](Inputs& in) { in.snapshot.artworks.images[1].sizeWarningDismissed = true; }},
      {"image quality",
       [](Inputs& in) { in.options.imageQuality = ExportImageQuality::webOptimized; }},
      {"the contents page", [](Inputs& in) { in.options.includeTableOfContents = false; }},
  };
  const std::string before = artworkSignature(sample());
  for (const auto& [what, change] : changes) {
    Inputs in = sample();
    change(in);
    EXPECT_EQ(artworkSignature(in), before) << what;
  }
  Inputs raisonne = sample();
  raisonne.project.catalogueKind = CatalogueKind::raisonne;
  const std::string numbered = artworkSignature(raisonne);
  raisonne.number = 7;
  EXPECT_NE(artworkSignature(raisonne), numbered) << "a raisonné prints the work's number";
}

TEST(PageSignatureTest, ADocumentsPageFollowsItsOwnTextAndNoOther) {
  const Inputs in = sample();
  const auto signature = [](const Inputs& inputs, std::string_view section) {
    return documentPageSignature(section, inputs.snapshot, inputs.options, inputs.labels);
  };
  Inputs edited = sample();
  edited.snapshot.biography = "Born in Turku.";
  EXPECT_NE(signature(edited, "bio"), signature(in, "bio"));
  EXPECT_EQ(signature(edited, "statement"), signature(in, "statement"));
  EXPECT_NE(signature(in, "bio"), signature(in, "statement")) << "two documents, two pages";
  edited = sample();
  edited.snapshot.details.firstName = "Zoë";
  EXPECT_NE(signature(edited, "cv"), signature(in, "cv")) << "the CV's header names the artist";
  EXPECT_EQ(signature(edited, "bio"), signature(in, "bio"));
  edited = sample();
  edited.options.exportLocale = "de";
  EXPECT_NE(signature(edited, "bio"), signature(in, "bio"));
}

}  // namespace
}  // namespace quorvane
