// Images made by the tests themselves with libvips, so every case starts
// from bytes of a known shape.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvane::testing {

using ImageBytes = std::vector<std::uint8_t>;

// An RGB image of the given size with a gradient in it, encoded in the
// format of the file suffix given (".jpg", ".png", ".tif", ".gif", ".heic",
// ".webp"). An `orientation` other than 1 is written into the EXIF data.
// Nothing when this machine's libvips can't encode the format.
std::optional<ImageBytes> encodedImage(const std::string& suffix, int width, int height,
                                       int orientation = 1);

// A JPEG whose left half is black and right half white, with an EXIF
// orientation.
ImageBytes halfBlackHalfWhiteJpeg(int width, int height, int orientation);

// A CMYK JPEG of one flat colour.
ImageBytes cmykJpeg(int width, int height);

// A JPEG of one flat colour whose values `rgb` are in the colour space
// `profile` names — libvips' own "p3" (Display P3), "cmyk" (the colour
// converted to CMYK, stored inverted as Photoshop does) — with that
// profile embedded.
ImageBytes flatJpegIn(const std::string& profile, std::array<int, 3> rgb, int width, int height);

// The sRGB values of an encoded image's centre, through its own profile.
std::array<int, 3> srgbCentre(const ImageBytes& bytes);

// A fully transparent RGBA PNG.
ImageBytes transparentPng(int width, int height);

// A PNG whose header declares the given size, with ten bytes of pixel data.
ImageBytes pngHeader(std::uint32_t width, std::uint32_t height);

// What libvips reads back from an encoded image.
struct DecodedFacts {
  int width = 0;
  int height = 0;
  int bands = 0;
  std::optional<int> orientation;  // the EXIF orientation field, if any
  bool hasExif = false;
  bool hasIccProfile = false;
  double average = 0;  // mean of all pixel values
};
DecodedFacts decode(const ImageBytes& bytes);

// The mean pixel value of a rectangle of an encoded image.
double regionAverage(const ImageBytes& bytes, int left, int top, int width, int height);

}  // namespace quorvane::testing
