// Print-quality images go into a PDF as their own JPEG bytes, and cairo
// 1.16 declares them device grey, RGB or CMYK whatever they say of their
// colour: a Display P3 red prints dull, a Photoshop CMYK as its negative.
//
// `PdfImageColours` is told which JPEGs carry a colour of their own, sees
// the bytes cairo writes, and recognises each such image as its data
// passes — the very bytes it was given, in one write — just after its
// dictionary. Once the document's last objects are numbered it gives the
// edits that declare each image in its own ICC profile (one object per
// distinct profile, however many images share it) and read inverted CMYK
// the right way round. Each edit writes a dictionary again in exactly as
// many bytes, so nothing moves: the file, already written out, is mended
// in place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorvane {

// How an embedded JPEG's values are to be read.
struct JpegColour {
  int components = 3;                    // 1 grey, 3 RGB, 4 CMYK
  std::vector<std::uint8_t> iccProfile;  // empty: none of its own
  bool invertedCmyk = false;             // each ink stored inverted (Photoshop)

  bool operator==(const JpegColour&) const = default;
};

// The number of components an ICC profile's colour space has (1 grey,
// 3 RGB, 4 CMYK); nothing when the bytes are no whole profile of those.
std::optional<int> iccProfileComponents(std::span<const std::uint8_t> profile);

// An image dictionary as cairo writes it ("<< /Length 7 0 R … >>") with
// `colourSpace` as its colour space and, when `decode` is not empty, that
// decode array, written in exactly as many bytes (single spaces, the
// optional /Type left out, spaces before the closing ">>"). Nothing when
// the dictionary is not an image's or the result would not fit.
std::optional<std::string> rewriteImageDictionary(std::string_view dictionary,
                                                  std::string_view colourSpace,
                                                  std::string_view decode);

class PdfImageColours {
 public:
  // `jpeg`, about to be handed to cairo as an image's data, is to be read
  // as `colour`. A profile that does not fit the JPEG's components is left
  // out; nothing is noted when the device space cairo declares says it all.
  void expect(std::span<const std::uint8_t> jpeg, const JpegColour& colour);

  // Each write cairo makes, starting `offset` bytes into the file.
  void observe(std::span<const std::uint8_t> bytes, std::uint64_t offset);

  // cairo has written a page and its images. A JPEG expected and not seen
  // was drawn under an identity written before, and cairo lets its bytes
  // go now: it is never looked for again.
  void pageWritten() { expected_.clear(); }

  // The distinct profiles, each a whole object body, to be numbered in
  // this order.
  std::vector<std::string> profileObjects() const;

  struct Edit {
    std::uint64_t offset = 0;
    std::string bytes;
    bool operator==(const Edit&) const = default;
  };
  // The edits once the first profile object is numbered `firstProfile`,
  // for every image seen before `before` (the bytes still to be written
  // are not looked at).
  std::vector<Edit> edits(std::uint64_t firstProfile, std::uint64_t before) const;

 private:
  struct Expected {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::size_t colour = 0;
  };
  struct Seen {
    std::uint64_t offset = 0;  // of the dictionary's "<<"
    std::string dictionary;
    std::size_t colour = 0;
  };
  struct Colour {
    std::optional<std::size_t> profile;
    int components = 3;
    bool invertedCmyk = false;
  };

  std::vector<std::vector<std::uint8_t>> profiles_;
  std::vector<Colour> colours_;
  std::vector<Expected> expected_;
  std::vector<Seen> seen_;
  // The last small writes, which hold the dictionary of the image whose
  // data comes next, and where they begin in the file.
  std::string recent_;
  std::uint64_t recentStart_ = 0;
};

}  // namespace quorvane
