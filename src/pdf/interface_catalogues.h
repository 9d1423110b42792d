// The interface catalogues as they were built into the program: the JSON
// text of each language's file. The definition is generated at build time
// from pdf/catalogue/<language>.json.
#pragma once

#include <span>
#include <string_view>

namespace quorvane {

struct EmbeddedCatalogue {
  std::string_view language;
  std::string_view text;  // the file's JSON
};

std::span<const EmbeddedCatalogue> embeddedInterfaceCatalogues();

}  // namespace quorvane
