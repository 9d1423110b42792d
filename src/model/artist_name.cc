#include "model/artist_name.h"

#include "model/text.h"

namespace quorvane {
namespace {

std::string legalName(const ArtistDetails& details) {
  const std::string first = trimmedWhitespaceAndNewlines(details.firstName);
  const std::string last = trimmedWhitespaceAndNewlines(details.lastName);
  if (first.empty()) return last;
  if (last.empty()) return first;
  return first + " " + last;
}

}  // namespace

std::string printedArtistName(const ArtistDetails& details) {
  const std::string legal = legalName(details);
  const std::string artist = trimmedWhitespaceAndNewlines(details.artistName);
  switch (decodeNameDisplayMode(details.nameDisplayMode)) {
    case NameDisplayMode::artist:
      return artist.empty() ? legal : artist;
    case NameDisplayMode::legal:
      break;
  }
  return legal.empty() ? artist : legal;
}

}  // namespace quorvane
