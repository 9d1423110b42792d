// The container of a project package: a standard ZIP file (see
// docs/package-format.md), read and written with libzip.
//
// Reading trusts nothing of the archive: before any entry is read, names
// that are absolute, climb with "..", hold backslashes or control
// characters, appear twice or are no UTF-8, symbolic links, encrypted
// entries and compression other than stored and deflate make the whole file
// `invalidPackage`; so does a file that is no ZIP or whose directory is
// damaged. Sizes are those of the bytes inflated, never the headers'; CRCs
// are checked as each entry is read to its end.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "packages/package_tree.h"
#include "platform/file_system.h"

struct zip;

namespace quorvane {

class ZipPackageReader final : public PackageTree {
 public:
  // Opens the archive at `path`: QuorvaneTransferError(invalidPackage)
  // when it is no ZIP or holds a hostile entry; std::system_error when the
  // file can't be read.
  explicit ZipPackageReader(const std::string& path);
  ~ZipPackageReader() override;
  ZipPackageReader(const ZipPackageReader&) = delete;
  ZipPackageReader& operator=(const ZipPackageReader&) = delete;

  std::optional<Kind> kindOf(std::string_view path) const override;
  std::vector<std::string> filesIn(std::string_view path) const override;
  std::optional<Bytes> read(std::string_view path, std::uint64_t limit) override;
  std::optional<std::uint64_t> stream(std::string_view path, std::uint64_t limit,
                                      const Sink& sink) override;
  std::optional<std::uint64_t> declaredSize(std::string_view path) const override;

 private:
  struct Entry {
    std::uint64_t index;
    Kind kind;
  };
  // Owned from the moment it opens: a constructor that refuses the archive
  // half-way still closes it.
  std::unique_ptr<::zip, void (*)(::zip*)> archive_;
  std::map<std::string, Entry, std::less<>> entries_;  // without trailing "/"
};

// One entry of an archive being written, in the order given.
struct ZipEntry {
  enum class Kind { directory, text, file };
  Kind kind;
  std::string name;             // "data/", "manifest.json", "media/original/a1.jpg"
  std::string text;             // kind text: deflated
  std::string filePath;         // kind file: stored, read from here while writing
  std::uint64_t fileBytes = 0;  // kind file: the size it was found to have
};

// Told a path that reads the archive just written, before it is published:
// throws to refuse it (nothing is published then).
using WrittenCheck = std::function<void(const std::string& writtenPath)>;

// Writes the archive into a new file that becomes `target` once complete
// and checked (Replace::nothing: EEXIST when a file is there); until then
// it has no name, so a kill leaves nothing behind. Files are opened through
// `files` as regular files (a symbolic link is never followed), must still
// have the size they were found with, and are read as they are written,
// never whole. Throws std::system_error, std::runtime_error or what
// `check` throws; nothing is left behind then, and an older file at
// `target` is untouched. `read` is told the bytes of files read so far,
// and how many files are read whole.
using ZipReadProgress = std::function<void(std::uint64_t bytes, std::size_t filesDone)>;
void writeZipPackage(FileSystem& files, const std::string& target,
                     const std::vector<ZipEntry>& entries, bool replaceExisting,
                     const ZipReadProgress& read = {}, const WrittenCheck& check = {});

}  // namespace quorvane
