#include "packages/zip_package.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <set>
#include <system_error>

#include "packages/transfer_error.h"
#include "platform/atomic_file.h"

namespace quorvane {
namespace {

[[noreturn]] void invalid(const std::string& detail) {
  throw QuorvaneTransferError(QuorvaneTransferCase::invalidPackage, detail);
}

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const auto c = static_cast<unsigned char>(text[i]);
    const int length = c < 0x80           ? 1
                       : (c >> 5) == 0x6  ? 2
                       : (c >> 4) == 0xE  ? 3
                       : (c >> 3) == 0x1E ? 4
                                          : 0;
    if (length == 0 || i + static_cast<std::size_t>(length) > text.size()) return false;
    for (int k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]) & 0xC0) != 0x80) {
        return false;
      }
    }
    i += static_cast<std::size_t>(length);
  }
  return true;
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

std::optional<Bytes> ZipPackageReader::read(std::string_view path, std::uint64_t limit) {
  Bytes bytes;
  const std::optional<std::uint64_t> size =
      stream(path, limit, [&](std::span<const std::uint8_t> piece) {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
      });
  if (!size) return std::nullopt;
  return bytes;
}

void writeZipPackage(const std::string& target, const std::vector<ZipEntry>& entries,
                     bool replaceExisting) {
  const std::string temporary = temporaryPathBeside(target);
  int error = 0;
  ::zip* archive = zip_open(temporary.c_str(), ZIP_CREATE | ZIP_EXCL, &error);
  if (archive == nullptr) {
    zip_error_t reason;
    zip_error_init_with_code(&reason, error);
    const int systemError = zip_error_code_system(&reason);
    const std::string text = zip_error_strerror(&reason);
    zip_error_fini(&reason);
    throw std::system_error(systemError != 0 ? systemError : EIO, std::generic_category(),
                            "write " + target + ": " + text);
  }
  const auto fail = [&](const std::string& what) {
    const std::string text = what + ": " + zip_strerror(archive);
    const int systemError = zip_error_code_system(zip_get_error(archive));
    zip_discard(archive);
    ::unlink(temporary.c_str());
    throw std::system_error(systemError != 0 ? systemError : EIO, std::generic_category(), text);
  };
  for (const ZipEntry& entry : entries) {
    if (entry.kind == ZipEntry::Kind::directory) {
      if (zip_dir_add(archive, entry.name.c_str(), ZIP_FL_ENC_UTF_8) < 0) fail(entry.name);
      continue;
    }
    zip_source_t* source = entry.kind == ZipEntry::Kind::text
                               ? zip_source_buffer(archive, entry.text.data(), entry.text.size(), 0)
                               : zip_source_file(archive, entry.filePath.c_str(), 0, -1);
    if (source == nullptr) fail(entry.name);
    const zip_int64_t index = zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
      zip_source_free(source);
      fail(entry.name);
    }
    const zip_int32_t method = entry.kind == ZipEntry::Kind::text ? ZIP_CM_DEFLATE : ZIP_CM_STORE;
    if (zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), method, 0) != 0) {
      fail(entry.name);
    }
  }
  // The files are read, and the archive written, here.
  if (zip_close(archive) != 0) fail("write " + target);
  publishTemporaryFile(
      temporary, target,
      replaceExisting ? AtomicFile::Replace::existing : AtomicFile::Replace::nothing);
}

}  // namespace quorvane
