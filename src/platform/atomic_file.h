// A file written piece by piece that appears at its path only when
// committed, and then whole — and that leaves nothing behind when the
// process is killed before.
//
// Where the file system allows it (ext4, xfs, btrfs, tmpfs), the pieces go to
// a file without a name (O_TMPFILE) in the target's directory; only at the
// commit, once flushed to disk, is it linked under a temporary name and
// renamed over the target. A kill before the commit leaves nothing; a kill in
// the instant between link and rename leaves one temporary file. Elsewhere
// the pieces go to a named temporary file. Temporary files carry the pid of
// the process that made them (".<name>.tmp-<pid>-XXXXXX", a long name
// shortened before its extension, which it keeps), and the first write of a
// process into a folder removes those whose process is gone.
//
// The committed file keeps the permissions of the file it replaces (a new
// one gets rw-r--r--).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace quorvane {

class AtomicFile {
 public:
  // Starts the file that will become `path`. Throws std::system_error.
  explicit AtomicFile(std::string path);
  // Without a commit, nothing of it stays.
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  enum class Replace { existing, nothing };

  // Writes at the position, which moves on; `seek` sets it (for writers
  // that go back to fill in a header).
  void write(std::span<const std::uint8_t> bytes);
  void seek(std::uint64_t offset);
  std::uint64_t position() const;
  std::uint64_t size() const;
  // A path that opens what is written so far, for reading it back before
  // the commit ("/proc/self/fd/N" for a file without a name).
  std::string readBackPath() const;
  // Flushes the file, puts it at its path (replacing what is there, or,
  // with Replace::nothing, failing with EEXIST when a file is there) and
  // flushes the directory. Throws std::system_error; nothing stays then.
  void commit(Replace replace = Replace::existing);

  // True when the pieces go to a file without a name.
  bool isUnnamed() const { return unnamed_; }

 private:
  void nameTheUnnamedFile();

  std::string path_;
  std::string directory_;
  std::string temporary_;  // the named temporary file, when there is one
  int fd_ = -1;
  bool unnamed_ = false;
};

// The pid in the name of one of our temporary files; nothing for any other
// name. Names without a pid (made by older versions) give 0.
std::optional<long> temporaryFileOwner(const std::string& name);

// Removes our temporary files in `directory` whose process is gone (and
// pid-less ones older than an hour) — only those of `targetName` when it is
// given (a folder of the user's holds what is not ours to tidy), or only
// those of targets named with `extension` (".quorvane": every backup ever
// written there, whatever its name); how many. Errors are ignored.
int removeStaleTemporaryFiles(const std::string& directory,
                              const std::optional<std::string>& targetName = std::nullopt);
int removeStaleTemporaryFilesOfKind(const std::string& directory, std::string_view extension);

}  // namespace quorvane
