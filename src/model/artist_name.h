// The one rule for which of the artist's names is printed. Cover pages,
// contact pages and exported file names all go through it.
#pragma once

#include <string>

#include "model/records.h"

namespace quorvane {

// By `nameDisplayMode`:
//   "legal"  — first and last name joined by one space (either may be empty);
//              when both are empty, the artist name.
//   "artist" — the artist name; when it is empty, the legal name.
// Any other mode reads as "legal". Every part is trimmed of surrounding white
// space. The result is empty only when no name is filled in.
std::string printedArtistName(const ArtistDetails& details);

}  // namespace quorvane
