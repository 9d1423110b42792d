#include "pdf/pdf_image_colour.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace quorvane {
namespace {

// Writes at least this large are data (an image, a font, a page's
// drawing), never a dictionary: cairo writes those in small pieces.
constexpr std::size_t kDataWrite = 4096;
// Enough of the last small writes to hold an object header and an image's
// dictionary.
constexpr std::size_t kRecentKept = 2048;

std::uint32_t bigEndian32(std::span<const std::uint8_t> bytes, std::size_t at) {
  return (std::uint32_t{bytes[at]} << 24) | (std::uint32_t{bytes[at + 1]} << 16) |
         (std::uint32_t{bytes[at + 2]} << 8) | bytes[at + 3];
}

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

std::vector<std::string_view> tokens(std::string_view text) {
  std::vector<std::string_view> found;
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && isSpace(text[i])) ++i;
    const std::size_t start = i;
    while (i < text.size() && !isSpace(text[i])) ++i;
    if (i > start) found.push_back(text.substr(start, i - start));
  }
  return found;
}

bool isNumber(std::string_view token) {
  return !token.empty() &&
         std::all_of(token.begin(), token.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string deviceSpace(int components) {
  return components == 1 ? "/DeviceGray" : components == 4 ? "/DeviceCMYK" : "/DeviceRGB";
}

}  // namespace

std::optional<int> iccProfileComponents(std::span<const std::uint8_t> profile) {
  if (profile.size() < 132 || bigEndian32(profile, 0) != profile.size() ||
      std::memcmp(profile.data() + 36, "acsp", 4) != 0) {
    return std::nullopt;
  }
  const std::string_view space(reinterpret_cast<const char*>(profile.data() + 16), 4);
  if (space == "GRAY") return 1;
  if (space == "RGB ") return 3;
  if (space == "CMYK") return 4;
  return std::nullopt;
}

std::optional<std::string> rewriteImageDictionary(std::string_view dictionary,
                                                  std::string_view colourSpace,
                                                  std::string_view decode) {
  if (dictionary.size() < 4 || !dictionary.starts_with("<<") || !dictionary.ends_with(">>")) {
    return std::nullopt;
  }
  const std::vector<std::string_view> words =
      tokens(dictionary.substr(2, dictionary.size() - 4));
  std::string entries;
  bool image = false;
  for (std::size_t i = 0; i < words.size();) {
    const std::string_view key = words[i];
    if (key.size() < 2 || key[0] != '/' || i + 1 >= words.size()) return std::nullopt;
    // A value is one word — a name, a number, a boolean — or a reference.
    std::size_t length = 1;
    const std::string_view value = words[i + 1];
    if (value.empty() || value[0] == '[' || value[0] == '<' || value[0] == '(') return std::nullopt;
    if (isNumber(value) && i + 3 < words.size() && isNumber(words[i + 2]) && words[i + 3] == "R") {
      length = 3;
    }
    if (key == "/Subtype" && value == "/Image") image = true;
    if (key != "/Type" && key != "/ColorSpace" && key != "/Decode") {
      entries += ' ';
      entries += key;
      for (std::size_t w = 0; w < length; ++w) {
        entries += ' ';
        entries += words[i + 1 + w];
      }
    }
    i += 1 + length;
  }
  if (!image) return std::nullopt;
  std::string rewritten = "<<" + entries + " /ColorSpace " + std::string(colourSpace);
  if (!decode.empty()) rewritten += " /Decode " + std::string(decode);
  if (rewritten.size() + 3 > dictionary.size()) return std::nullopt;
  rewritten.append(dictionary.size() - 2 - rewritten.size(), ' ');
  return rewritten + ">>";
}

void PdfImageColours::expect(std::span<const std::uint8_t> jpeg, const JpegColour& colour) {
  Colour noted{std::nullopt, colour.components, colour.invertedCmyk && colour.components == 4};
  if (iccProfileComponents(colour.iccProfile) == colour.components) {
    const auto same = std::find(profiles_.begin(), profiles_.end(), colour.iccProfile);
    noted.profile = static_cast<std::size_t>(same - profiles_.begin());
    if (same == profiles_.end()) profiles_.push_back(colour.iccProfile);
  }
  if (!noted.profile && !noted.invertedCmyk) return;
  colours_.push_back(noted);
  expected_.push_back({jpeg.data(), jpeg.size(), colours_.size() - 1});
}

void PdfImageColours::observe(std::span<const std::uint8_t> bytes, std::uint64_t offset) {
  if (expected_.empty()) return;
  const auto match = std::find_if(expected_.begin(), expected_.end(), [&](const Expected& e) {
    return e.size == bytes.size() &&
           (e.data == bytes.data() || std::memcmp(e.data, bytes.data(), e.size) == 0);
  });
  if (match == expected_.end() && bytes.size() < kDataWrite) {
    if (recent_.empty()) recentStart_ = offset;
    recent_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (recent_.size() > 2 * kRecentKept) {
      const std::size_t drop = recent_.size() - kRecentKept;
      recent_.erase(0, drop);
      recentStart_ += drop;
    }
    return;
  }
  std::string recent = std::exchange(recent_, {});
  if (match == expected_.end()) return;
  const std::size_t colour = match->colour;
  expected_.erase(match);
  // The dictionary is the last one before the data: "<< … >>\nstream\n".
  const std::size_t streamWord = recent.rfind("stream");
  const std::size_t close = recent.rfind(">>", streamWord);
  const std::size_t open = recent.rfind("<<", close);
  if (streamWord == std::string::npos || close == std::string::npos ||
      open == std::string::npos) {
    return;
  }
  seen_.push_back({recentStart_ + open, recent.substr(open, close + 2 - open), colour});
}

std::vector<std::string> PdfImageColours::profileObjects() const {
  std::vector<std::string> objects;
  for (const auto& profile : profiles_) {
    const int components = iccProfileComponents(profile).value_or(3);
    std::string object = "<< /N " + std::to_string(components) + " /Alternate " +
                         deviceSpace(components) + " /Length " + std::to_string(profile.size()) +
                         " >>\nstream\n";
    object.append(profile.begin(), profile.end());
    objects.push_back(object + "\nendstream");
  }
  return objects;
}

std::vector<PdfImageColours::Edit> PdfImageColours::edits(std::uint64_t firstProfile,
                                                          std::uint64_t before) const {
  std::vector<Edit> edits;
  for (const Seen& seen : seen_) {
    if (seen.offset + seen.dictionary.size() > before) continue;
    const Colour& colour = colours_[seen.colour];
    const std::string space = colour.profile
                                  ? "[/ICCBased " + std::to_string(firstProfile + *colour.profile) + " 0 R]"
                                  : deviceSpace(colour.components);
    const std::string decode = colour.invertedCmyk ? "[1 0 1 0 1 0 1 0]" : "";
    if (auto rewritten = rewriteImageDictionary(seen.dictionary, space, decode)) {
      edits.push_back({seen.offset, std::move(*rewritten)});
    }
  }
  return edits;
}

}  // namespace quorvane
