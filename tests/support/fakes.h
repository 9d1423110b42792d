// Stand-ins for the platform seams: a clock that only moves when told, an
// in-memory file system that counts its reads, file systems that fail on
// purpose or die as a killed process does, and a logger that keeps what it
// was told.
#pragma once

#include <cerrno>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/logger.h"

namespace quorvane::testing {

class ManualClock final : public Clock {
 public:
  explicit ManualClock(std::int64_t startMs = 1'700'000'000'000) : nowMs_(startMs) {}
  Date now() const override { return dateFromMilliseconds(nowMs_); }
  std::int64_t nowMs() const { return nowMs_; }
  void advanceMs(std::int64_t ms) { nowMs_ += ms; }

 private:
  std::int64_t nowMs_;
};

// Reads (and sizes) come from a map of path to bytes, and are counted;
// everything else goes to the real file system. `sizes` can claim a size a
// file does not have, as a file that is huge would.
class FakeFileSystem final : public ForwardingFileSystem {
 public:
  FakeFileSystem() : ForwardingFileSystem(realFileSystem()) {}
  Bytes readFile(const std::string& path) override {
    ++reads;
    return find(path);
  }
  std::uint64_t fileSize(const std::string& path) override {
    if (const auto claimed = sizes.find(path); claimed != sizes.end()) return claimed->second;
    return find(path).size();
  }

  std::map<std::string, Bytes> files;
  std::map<std::string, std::uint64_t> sizes;
  int reads = 0;

 private:
  const Bytes& find(const std::string& path) const {
    const auto it = files.find(path);
    if (it == files.end()) throw std::system_error(ENOENT, std::generic_category(), path);
    return it->second;
  }
};

// The real file system, except that the Nth call of one operation fails
// with EIO. Operations: "read", "write", "createDirectories", "exists",
// "list", "move", "remove", "createDirectory", "copy", "size", "open",
// "readPiece", "writable", "time", "create", "writePiece", "publish",
// "space", "kind", "stamp".
class FaultyFileSystem final : public FileSystem {
 public:
  void failAt(std::string operation, int nthCall) {
    failingOperation_ = std::move(operation);
    failingCall_ = nthCall;
    calls_.clear();
  }
  int calls(const std::string& operation) const {
    const auto it = calls_.find(operation);
    return it == calls_.end() ? 0 : it->second;
  }

  Bytes readFile(const std::string& path) override {
    check("read", path);
    return real_.readFile(path);
  }
  void writeFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override {
    check("write", path);
    real_.writeFileAtomically(path, bytes);
  }
  void createDirectories(const std::string& path) override {
    check("createDirectories", path);
    real_.createDirectories(path);
  }
  bool exists(const std::string& path) override {
    check("exists", path);
    return real_.exists(path);
  }
  EntryKind entryKind(const std::string& path) override {
    check("kind", path);
    return real_.entryKind(path);
  }
  std::vector<std::string> listDirectory(const std::string& path) override {
    check("list", path);
    return real_.listDirectory(path);
  }
  void move(const std::string& from, const std::string& to) override {
    check("move", from);
    real_.move(from, to);
  }
  void removeAll(const std::string& path) override {
    check("remove", path);
    real_.removeAll(path);
  }
  void createDirectory(const std::string& path) override {
    check("createDirectory", path);
    real_.createDirectory(path);
  }
  void copyFile(const std::string& from, const std::string& to) override {
    check("copy", from);
    real_.copyFile(from, to);
  }
  std::uint64_t fileSize(const std::string& path) override {
    check("size", path);
    return real_.fileSize(path);
  }
  std::unique_ptr<FileReader> openForReading(const std::string& path) override {
    check("open", path);
    return checkedReader(path, real_.openForReading(path));
  }
  std::unique_ptr<FileReader> openRegularFile(const std::string& path) override {
    check("open", path);
    return checkedReader(path, real_.openRegularFile(path));
  }
  bool isWritable(const std::string& path) override {
    check("writable", path);
    return real_.isWritable(path);
  }
  Date modificationTime(const std::string& path) override {
    check("time", path);
    return real_.modificationTime(path);
  }
  std::optional<FileStamp> regularFileStamp(const std::string& path) override {
    check("stamp", path);
    return real_.regularFileStamp(path);
  }
  // Each piece written is a call ("writePiece"), the commit another ("publish").
  std::unique_ptr<FileWriter> createAtomically(const std::string& path) override {
    check("create", path);
    class Checked final : public FileWriter {
     public:
      Checked(FaultyFileSystem& owner, std::string path, std::unique_ptr<FileWriter> real)
          : owner_(owner), path_(std::move(path)), real_(std::move(real)) {}
      void write(std::span<const std::uint8_t> bytes) override {
        owner_.check("writePiece", path_);
        real_->write(bytes);
      }
      void seek(std::uint64_t offset) override { real_->seek(offset); }
      std::uint64_t position() override { return real_->position(); }
      std::uint64_t size() override { return real_->size(); }
      std::string readBackPath() const override { return real_->readBackPath(); }
      void commit(AtomicFile::Replace replace) override {
        owner_.check("publish", path_);
        real_->commit(replace);
      }

     private:
      FaultyFileSystem& owner_;
      std::string path_;
      std::unique_ptr<FileWriter> real_;
    };
    return std::make_unique<Checked>(*this, path, real_.createAtomically(path));
  }
  std::uint64_t availableBytes(const std::string& path) override {
    check("space", path);
    return real_.availableBytes(path);
  }

 private:
  // Each piece read is a call of its own ("readPiece").
  std::unique_ptr<FileReader> checkedReader(const std::string& path,
                                            std::unique_ptr<FileReader> real) {
    class Checked final : public FileReader {
     public:
      Checked(FaultyFileSystem& owner, std::string path, std::unique_ptr<FileReader> real)
          : owner_(owner), path_(std::move(path)), real_(std::move(real)) {}
      Bytes read(std::size_t maximum) override {
        owner_.check("readPiece", path_);
        return real_->read(maximum);
      }
      std::uint64_t size() override { return real_->size(); }

     private:
      FaultyFileSystem& owner_;
      std::string path_;
      std::unique_ptr<FileReader> real_;
    };
    return std::make_unique<Checked>(*this, path, std::move(real));
  }

  void check(const std::string& operation, const std::string& path) {
    if (++calls_[operation] == failingCall_ && operation == failingOperation_) {
      throw std::system_error(EIO, std::generic_category(), operation + " " + path);
    }
  }

  RealFileSystem real_;
  std::string failingOperation_;
  int failingCall_ = 0;
  std::map<std::string, int> calls_;
};

// The real file system until the Nth move; from then on nothing at all
// happens, as when the process is killed at that moment.
class KilledAtMove final : public ForwardingFileSystem {
 public:
  explicit KilledAtMove(int nthMove) : ForwardingFileSystem(realFileSystem()), nth_(nthMove) {}
  void move(const std::string& from, const std::string& to) override {
    if (++moves_ >= nth_) dead_ = true;
    alive();
    ForwardingFileSystem::move(from, to);
  }
  void removeAll(const std::string& path) override {
    alive();
    ForwardingFileSystem::removeAll(path);
  }
  bool exists(const std::string& path) override {
    alive();
    return ForwardingFileSystem::exists(path);
  }
  std::vector<std::string> listDirectory(const std::string& path) override {
    alive();
    return ForwardingFileSystem::listDirectory(path);
  }
  void writeFileAtomically(const std::string& path, std::span<const std::uint8_t> bytes) override {
    alive();
    ForwardingFileSystem::writeFileAtomically(path, bytes);
  }
  void createDirectories(const std::string& path) override {
    alive();
    ForwardingFileSystem::createDirectories(path);
  }

 private:
  void alive() const {
    if (dead_) throw std::runtime_error("killed");
  }
  int nth_;
  int moves_ = 0;
  bool dead_ = false;
};

class RecordingLogger final : public Logger {
 public:
  void log(std::string_view line) override { lines.emplace_back(line); }
  std::vector<std::string> lines;
};

}  // namespace quorvane::testing
