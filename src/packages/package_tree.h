// The entries of a package as its reader sees them, whatever holds them (a
// ZIP file, or memory in tests). Paths are relative, "/"-separated, without
// a trailing "/": "manifest.json", "data", "media/original/a1.jpg".
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"

namespace quorvane {

class PackageTree {
 public:
  enum class Kind { file, directory };
  virtual ~PackageTree() = default;

  // What is at `path`: a file, a directory (an entry of its own, or implied
  // by the files under it), or nothing.
  virtual std::optional<Kind> kindOf(std::string_view path) const = 0;
  // The names of the files directly inside the directory `path`.
  virtual std::vector<std::string> filesIn(std::string_view path) const = 0;
  // The bytes of a file, counted as they are read: nothing when it holds
  // more than `limit` (reading stops at limit + 1, whatever its header
  // says). Throws QuorvaneTransferError(invalidPackage) when the file is
  // damaged (a checksum that does not match, data that does not inflate).
  virtual std::optional<Bytes> read(std::string_view path, std::uint64_t limit) = 0;
  // The same, handing the bytes to `sink` piece by piece instead of
  // keeping them; the number of bytes, or nothing past `limit` (the sink
  // has then had limit + 1 at most).
  using Sink = std::function<void(std::span<const std::uint8_t>)>;
  virtual std::optional<std::uint64_t> stream(std::string_view path, std::uint64_t limit,
                                              const Sink& sink) = 0;
  // The size the container says a file has, for showing progress only:
  // never trusted for anything else. Nothing when it says none.
  virtual std::optional<std::uint64_t> declaredSize(std::string_view) const { return std::nullopt; }
};

}  // namespace quorvane
