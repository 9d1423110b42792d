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
// the process that made them (".<name>.tmp-<pid>-XXXXXX"), and the first
// write of a process into a folder removes those whose process is gone.
//
// The committed file keeps the permissions of the file it replaces (a new
// one gets rw-r--r--).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

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

  void write(std::span<const std::uint8_t> bytes);
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

// For files another library writes whole (an archive): a fresh name beside
// `target` under which to write it, of the same form as ours (so that a
// kill leaves nothing the next write does not remove), and the step that
// puts it at `target` as `AtomicFile::commit` does (flushed, the replaced
// file's permissions kept, EEXIST with Replace::nothing). On a failure the
// temporary file is removed and std::system_error thrown.
std::string temporaryPathBeside(const std::string& target);
void publishTemporaryFile(const std::string& temporary, const std::string& target,
                          AtomicFile::Replace replace = AtomicFile::Replace::existing);

// The pid in the name of one of our temporary files; nothing for any other
// name. Names without a pid (made by older versions) give 0.
std::optional<long> temporaryFileOwner(const std::string& name);

// Removes our temporary files in `directory` whose process is gone (and
// pid-less ones older than an hour) — only those of `targetName` when it is
// given (a folder of the user's holds what is not ours to tidy); how many.
// Errors are ignored.
int removeStaleTemporaryFiles(const std::string& directory,
                              const std::optional<std::string>& targetName = std::nullopt);

}  // namespace quorvane
