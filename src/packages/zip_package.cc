#include "packages/zip_package.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <set>
#include <system_error>

#include "model/text.h"
#include "packages/transfer_error.h"
#include "platform/file_system.h"

namespace quorvane {
namespace {

[[noreturn]] void invalid(const std::string& detail) {
  throw QuorvaneTransferError(QuorvaneTransferCase::invalidPackage, detail);
}

// A name that could leave the folder it is extracted into, or mean two
// things on two systems.
bool isHostileName(std::string_view name) {
  if (name.empty() || name.front() == '/' || !isValidUtf8(name)) return true;
  for (const char c : name) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '\\' || u < 0x20 || u == 0x7F) return true;
  }
  std::size_t start = 0;
  while (start <= name.size()) {
    const std::size_t end = std::min(name.find('/', start), name.size());
    const std::string_view segment = name.substr(start, end - start);
    if (segment == ".." || segment == ".") return true;
    if (segment.empty() && end != name.size()) return true;  // "a//b"
    start = end + 1;
  }
  return false;
}

bool isSymbolicLink(::zip* archive, zip_uint64_t index) {
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0) return false;
  return system == ZIP_OPSYS_UNIX && ((attributes >> 16) & S_IFMT) == S_IFLNK;
}

// Closes a file of the archive however reading it ends.
struct OpenEntry {
  zip_file_t* file;
  ~OpenEntry() {
    if (file != nullptr) zip_fclose(file);
  }
};

// An original read into the archive through the file-system seam, a
// buffer at a time, when libzip asks for it (while the archive is closed).
struct ReadTally {
  const ZipReadProgress& told;
  std::uint64_t bytes = 0;
  std::size_t filesDone = 0;
};

struct SeamSource {
  FileSystem& files;
  std::string path;
  std::uint64_t size;
  ReadTally& tally;
  std::unique_ptr<FileReader> reader;
  zip_error_t error;
  std::uint64_t read = 0;
  bool counted = false;  // in the tally's files done
};

void failSource(SeamSource& source, const std::system_error& failure) {
  zip_error_set(&source.error, ZIP_ER_READ, failure.code().value());
}

zip_int64_t seamSourceCallback(void* state, void* data, zip_uint64_t length,
                               zip_source_cmd_t command) {
  SeamSource& source = *static_cast<SeamSource*>(state);
  try {
    switch (command) {
      case ZIP_SOURCE_OPEN:
        source.reader = source.files.openRegularFile(source.path);
        if (source.reader->size() != source.size) {
          // Changed since it was looked at: what was checked is what goes in.
          throw std::system_error(ESTALE, std::generic_category(), source.path);
        }
        return 0;
      case ZIP_SOURCE_READ: {
        const Bytes piece = source.reader->read(static_cast<std::size_t>(length));
        std::copy(piece.begin(), piece.end(), static_cast<std::uint8_t*>(data));
        ReadTally& tally = source.tally;
        tally.bytes += piece.size();
        source.read += piece.size();
        if (!source.counted && source.read >= source.size) {
          source.counted = true;
          ++tally.filesDone;
        }
        if (tally.told) tally.told(tally.bytes, tally.filesDone);
        return static_cast<zip_int64_t>(piece.size());
      }
      case ZIP_SOURCE_CLOSE:
        source.reader.reset();
        return 0;
      case ZIP_SOURCE_STAT: {
        auto* stat = static_cast<zip_stat_t*>(data);
        zip_stat_init(stat);
        stat->size = source.size;
        stat->valid |= ZIP_STAT_SIZE;
        return sizeof(zip_stat_t);
      }
      case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&source.error, data, length);
      case ZIP_SOURCE_FREE:
        zip_error_fini(&source.error);
        std::unique_ptr<SeamSource>(&source).reset();  // libzip's to free, from its making on
        return 0;
      case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_STAT, ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE,
                                              ZIP_SOURCE_SUPPORTS, -1);
      default:
        zip_error_set(&source.error, ZIP_ER_INTERNAL, 0);
        return -1;
    }
  } catch (const std::system_error& failure) {
    failSource(source, failure);
  } catch (const std::exception&) {
    zip_error_set(&source.error, ZIP_ER_READ, EIO);
  }
  return -1;
}

zip_source_t* seamSource(::zip* archive, FileSystem& files, const std::string& path,
                         std::uint64_t size, ReadTally& tally) {
  auto source =
      std::make_unique<SeamSource>(SeamSource{files, path, size, tally, nullptr, {}, 0, false});
  zip_error_init(&source->error);
  zip_source_t* made = zip_source_function(archive, seamSourceCallback, source.get());
  if (made != nullptr) source.release();  // freed by its ZIP_SOURCE_FREE
  return made;
}

// The archive's destination for libzip: a file being written through the
// seam, which libzip writes front to back and seeks back into to fill in
// each entry's header.
struct TargetState {
  FileWriter& file;
  zip_error_t error;
};

zip_int64_t targetCallback(void* state, void* data, zip_uint64_t length, zip_source_cmd_t command) {
  TargetState& target = *static_cast<TargetState*>(state);
  try {
    switch (command) {
      case ZIP_SOURCE_STAT:
        // Nothing is there yet: libzip makes a new archive.
        zip_error_set(&target.error, ZIP_ER_READ, ENOENT);
        return -1;
      case ZIP_SOURCE_BEGIN_WRITE:
      case ZIP_SOURCE_COMMIT_WRITE:
      case ZIP_SOURCE_ROLLBACK_WRITE:  // an uncommitted file leaves nothing anyway
      case ZIP_SOURCE_REMOVE:
      case ZIP_SOURCE_OPEN:
      case ZIP_SOURCE_CLOSE:
        return 0;
      case ZIP_SOURCE_WRITE:
        target.file.write(
            std::span(static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(length)));
        return static_cast<zip_int64_t>(length);
      case ZIP_SOURCE_SEEK_WRITE: {
        const zip_int64_t offset = zip_source_seek_compute_offset(
            target.file.position(), target.file.size(), data, length, &target.error);
        if (offset < 0) return -1;
        target.file.seek(static_cast<std::uint64_t>(offset));
        return 0;
      }
      case ZIP_SOURCE_TELL_WRITE:
      case ZIP_SOURCE_TELL:
        return static_cast<zip_int64_t>(target.file.position());
      case ZIP_SOURCE_READ:
      case ZIP_SOURCE_SEEK:
        // Never asked of a new archive: its entries all come from elsewhere.
        zip_error_set(&target.error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
      case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&target.error, data, length);
      case ZIP_SOURCE_FREE:
        zip_error_fini(&target.error);
        std::unique_ptr<TargetState>(&target).reset();  // libzip's to free, from its making on
        return 0;
      case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_WRITABLE;
      default:
        zip_error_set(&target.error, ZIP_ER_OPNOTSUPP, 0);
        return -1;
    }
  } catch (const std::system_error& failure) {
    zip_error_set(&target.error, ZIP_ER_WRITE, failure.code().value());
  } catch (const std::exception&) {
    zip_error_set(&target.error, ZIP_ER_WRITE, EIO);
  }
  return -1;
}

}  // namespace

ZipPackageReader::ZipPackageReader(const std::string& path)
    : archive_(nullptr, [](::zip* archive) { zip_discard(archive); }) {
  if (::access(path.c_str(), R_OK) != 0) {
    throw std::system_error(errno, std::generic_category(), "read " + path);
  }
  int error = 0;
  archive_.reset(zip_open(path.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &error));
  if (archive_ == nullptr) {
    zip_error_t reason;
    zip_error_init_with_code(&reason, error);
    const std::string text = zip_error_strerror(&reason);
    zip_error_fini(&reason);
    invalid(text);
  }
  const zip_int64_t count = zip_get_num_entries(archive_.get(), 0);
  std::set<std::string> seen;
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive_.get(), index, ZIP_FL_ENC_RAW, &stat) != 0 || stat.name == nullptr) {
      invalid("an entry without a name");
    }
    const std::string name = stat.name;
    if (isHostileName(name)) invalid("the entry name " + name);
    if (!seen.insert(name).second) invalid("two entries named " + name);
    if (isSymbolicLink(archive_.get(), index)) invalid("a symbolic link " + name);
    if ((stat.valid & ZIP_STAT_ENCRYPTION_METHOD) && stat.encryption_method != ZIP_EM_NONE) {
      invalid("an encrypted entry " + name);
    }
    if ((stat.valid & ZIP_STAT_COMP_METHOD) && stat.comp_method != ZIP_CM_STORE &&
        stat.comp_method != ZIP_CM_DEFLATE) {
      invalid("an entry compressed with method " + std::to_string(stat.comp_method));
    }
    const bool directory = name.back() == '/';
    const std::string key = directory ? name.substr(0, name.size() - 1) : name;
    if (!entries_.emplace(key, Entry{index, directory ? Kind::directory : Kind::file}).second) {
      invalid("two entries named " + key);
    }
  }
}

ZipPackageReader::~ZipPackageReader() = default;

std::optional<PackageTree::Kind> ZipPackageReader::kindOf(std::string_view path) const {
  if (const auto it = entries_.find(path); it != entries_.end()) return it->second.kind;
  // A folder may have no entry of its own ("zip -D", or hand-made).
  const std::string prefix = std::string(path) + "/";
  const auto next = entries_.lower_bound(prefix);
  if (next != entries_.end() && next->first.starts_with(prefix)) return Kind::directory;
  return std::nullopt;
}

std::vector<std::string> ZipPackageReader::filesIn(std::string_view path) const {
  std::vector<std::string> names;
  const std::string prefix = std::string(path) + "/";
  for (auto it = entries_.lower_bound(prefix);
       it != entries_.end() && it->first.starts_with(prefix); ++it) {
    const std::string rest = it->first.substr(prefix.size());
    if (it->second.kind == Kind::file && rest.find('/') == std::string::npos) names.push_back(rest);
  }
  return names;
}

std::optional<std::uint64_t> ZipPackageReader::stream(std::string_view path, std::uint64_t limit,
                                                      const Sink& sink) {
  const auto it = entries_.find(path);
  if (it == entries_.end() || it->second.kind != Kind::file) return std::nullopt;
  OpenEntry entry{zip_fopen_index(archive_.get(), it->second.index, 0)};
  if (entry.file == nullptr) invalid(std::string(path) + ": " + zip_strerror(archive_.get()));
  std::uint8_t buffer[64 * 1024];
  std::uint64_t total = 0;
  while (true) {
    const zip_int64_t got = zip_fread(entry.file, buffer, sizeof buffer);
    if (got < 0) invalid(std::string(path) + ": " + zip_file_strerror(entry.file));
    if (got == 0) break;  // the end, its CRC checked by libzip
    total += static_cast<std::uint64_t>(got);
    if (total > limit) return std::nullopt;  // past the limit: stop reading
    sink(std::span<const std::uint8_t>(buffer, static_cast<std::size_t>(got)));
  }
  return total;
}

std::optional<std::uint64_t> ZipPackageReader::declaredSize(std::string_view path) const {
  const auto found = entries_.find(path);
  if (found == entries_.end() || found->second.kind != Kind::file) return std::nullopt;
  zip_stat_t stat;
  zip_stat_init(&stat);
  if (zip_stat_index(archive_.get(), found->second.index, 0, &stat) != 0 ||
      (stat.valid & ZIP_STAT_SIZE) == 0) {
    return std::nullopt;
  }
  return stat.size;
}

std::optional<Bytes> ZipPackageReader::read(std::string_view path, std::uint64_t limit) {
  Bytes bytes;
  const std::optional<std::uint64_t> size =
      stream(path, limit, [&](std::span<const std::uint8_t> piece) {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
      });
  if (!size) return std::nullopt;
  return bytes;
}

void writeZipPackage(FileSystem& files, const std::string& target,
                     const std::vector<ZipEntry>& entries, bool replaceExisting,
                     const ZipReadProgress& read, const WrittenCheck& check) {
  ReadTally tally{read};
  // The archive goes into a file without a name until it is published: a
  // kill, a failure or a refused check leaves nothing behind.
  const std::unique_ptr<FileWriter> file = files.createAtomically(target);
  auto state = std::make_unique<TargetState>(TargetState{*file, {}});
  zip_error_init(&state->error);
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* destination = zip_source_function_create(targetCallback, state.get(), &error);
  if (destination == nullptr) {
    zip_error_fini(&state->error);
    zip_error_fini(&error);
    throw std::system_error(ENOMEM, std::generic_category(), "write " + target);
  }
  state.release();  // freed by its ZIP_SOURCE_FREE
  ::zip* opened = zip_open_from_source(destination, ZIP_CREATE | ZIP_TRUNCATE, &error);
  if (opened == nullptr) {
    zip_source_free(destination);  // frees the state too
    const int systemError = zip_error_code_system(&error);
    const std::string text = zip_error_strerror(&error);
    zip_error_fini(&error);
    throw std::system_error(systemError != 0 ? systemError : EIO, std::generic_category(),
                            "write " + target + ": " + text);
  }
  zip_error_fini(&error);
  // Whatever goes wrong from here, the unfinished archive goes with it.
  std::unique_ptr<::zip, void (*)(::zip*)> archive(opened, [](::zip* a) { zip_discard(a); });
  const auto fail = [&](const std::string& what) {
    const int systemError = zip_error_code_system(zip_get_error(archive.get()));
    throw std::system_error(systemError != 0 ? systemError : EIO, std::generic_category(),
                            what + ": " + zip_strerror(archive.get()));
  };
  for (const ZipEntry& entry : entries) {
    if (entry.kind == ZipEntry::Kind::directory) {
      if (zip_dir_add(archive.get(), entry.name.c_str(), ZIP_FL_ENC_UTF_8) < 0) fail(entry.name);
      continue;
    }
    zip_source_t* source =
        entry.kind == ZipEntry::Kind::text
            ? zip_source_buffer(archive.get(), entry.text.data(), entry.text.size(), 0)
            : seamSource(archive.get(), files, entry.filePath, entry.fileBytes, tally);
    if (source == nullptr) fail(entry.name);
    const zip_int64_t index =
        zip_file_add(archive.get(), entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
      zip_source_free(source);
      fail(entry.name);
    }
    const zip_int32_t method = entry.kind == ZipEntry::Kind::text ? ZIP_CM_DEFLATE : ZIP_CM_STORE;
    if (zip_set_file_compression(archive.get(), static_cast<zip_uint64_t>(index), method, 0) != 0) {
      fail(entry.name);
    }
  }
  // The files are read, and the archive written, here.
  if (zip_close(archive.get()) != 0) fail("write " + target);
  archive.release();  // closed: freed by zip_close, the destination source with it
  if (check) check(file->readBackPath());
  file->commit(replaceExisting ? AtomicFile::Replace::existing : AtomicFile::Replace::nothing);
}

}  // namespace quorvane
