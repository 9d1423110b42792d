#include "storage/library_inspection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "storage/schema.h"

namespace quorvane {
namespace {

constexpr std::string_view kSQLiteMagic("SQLite format 3\0", 16);
constexpr std::array<std::uint8_t, 8> kJournalMagic{0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd7};
constexpr std::size_t kHeaderBytes = 100;
// Page records of a hot journal read at most while looking for the saved
// header page; a journal longer than that is taken on its header alone.
constexpr std::uint32_t kMaximumJournalRecords = 1 << 16;

std::uint32_t bigEndian32(const Bytes& bytes, std::size_t offset) {
  return (static_cast<std::uint32_t>(bytes[offset]) << 24) |
         (static_cast<std::uint32_t>(bytes[offset + 1]) << 16) |
         (static_cast<std::uint32_t>(bytes[offset + 2]) << 8) |
         static_cast<std::uint32_t>(bytes[offset + 3]);
}

// The page size a header states; 1 stands for 65536.
std::uint32_t headerPageSize(const Bytes& header) {
  const std::uint32_t size = (static_cast<std::uint32_t>(header[16]) << 8) | header[17];
  return size == 1 ? 65536 : size;
}

bool startsWithSQLiteMagic(const Bytes& bytes) {
  return bytes.size() >= kHeaderBytes &&
         std::equal(kSQLiteMagic.begin(), kSQLiteMagic.end(), bytes.begin(),
                    [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

std::string parentOf(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Reads exactly `count` bytes, or fewer at the end of the file.
Bytes readUpTo(FileReader& reader, std::size_t count) { return reader.read(count); }

// Whether a hot journal belongs to the database whose header is `database`:
// the journal's page size must be the database's, and the copy it keeps of
// the header page must carry our mark (or none, as libraries of older
// versions do). Empty string when it belongs; else why not.
std::string journalMismatch(FileSystem& files, const std::string& journal, const Bytes& database) {
  std::unique_ptr<FileReader> reader;
  try {
    reader = files.openForReading(journal);
  } catch (const std::system_error& error) {
    if (error.code().value() == ENOENT) return {};  // its writer just finished
    throw;
  }
  const Bytes header = readUpTo(*reader, 28);
  if (header.size() < 28 ||
      !std::equal(kJournalMagic.begin(), kJournalMagic.end(), header.begin())) {
    return {};  // not hot: SQLite leaves a journal without its magic alone
  }
  const std::uint32_t pageSize = bigEndian32(header, 24);
  const std::uint32_t sectorSize = bigEndian32(header, 20);
  if (pageSize != headerPageSize(database)) {
    return "its pages are of " + std::to_string(pageSize) + " bytes, the library's of " +
           std::to_string(headerPageSize(database));
  }
  if (sectorSize < 28 || sectorSize > 65536 || pageSize < 512 || pageSize > 65536) {
    return "its header is not one SQLite writes";
  }
  std::uint64_t records = bigEndian32(header, 8);
  if (records == 0 || records == 0xFFFFFFFFu) records = kMaximumJournalRecords;
  records = std::min<std::uint64_t>(records, kMaximumJournalRecords);
  readUpTo(*reader, sectorSize - 28);  // the rest of the header's sector
  for (std::uint64_t i = 0; i < records; ++i) {
    const Bytes number = readUpTo(*reader, 4);
    if (number.size() < 4) break;
    Bytes page = readUpTo(*reader, pageSize);
    if (page.size() < pageSize) break;
    readUpTo(*reader, 4);  // checksum
    if (bigEndian32(number, 0) != 1) continue;
    if (!startsWithSQLiteMagic(page)) return "the page it keeps of the header is no SQLite header";
    const std::int32_t saved = *headerApplicationId(page);
    if (saved != 0 && saved != kQuorvaneApplicationId) {
      return "it was written for another program's database";
    }
    const std::int32_t current = *headerApplicationId(database);
    if (saved == 0 && current != 0 && current != kQuorvaneApplicationId) {
      return "it was written for another database";
    }
    return {};
  }
  return {};
}

}  // namespace

std::optional<std::int32_t> headerApplicationId(const Bytes& header) {
  if (header.size() < 72) return std::nullopt;
  return static_cast<std::int32_t>(bigEndian32(header, 68));
}

LibraryFiles inspectLibraryFiles(FileSystem& files, const std::string& databasePath) {
  LibraryFiles found;
  const std::string wal = databasePath + "-wal";
  const std::string shm = databasePath + "-shm";
  const std::string journal = databasePath + "-journal";
  // A side file may go between two looks at it: a writer of this library
  // (another process) finishing its transaction. Gone is absent.
  const auto sizeIfPresent = [&](const std::string& path) -> std::optional<std::uint64_t> {
    try {
      if (!files.exists(path)) return std::nullopt;
      return files.fileSize(path);
    } catch (const std::system_error& error) {
      if (error.code().value() == ENOENT) return std::nullopt;
      throw;
    }
  };
  const auto setAside = [&](const std::string& path, const std::string& reason) {
    found.strayFiles.push_back(path);
    if (found.strayReason.empty()) found.strayReason = reason;
  };

  const std::optional<std::uint64_t> databaseSize = sizeIfPresent(databasePath);
  const std::optional<std::uint64_t> walSize = sizeIfPresent(wal);
  const std::optional<std::uint64_t> journalSize = sizeIfPresent(journal);
  // A folder not made yet is made by the first run that writes.
  const std::string folder = parentOf(databasePath);
  found.readOnly = files.exists(folder) &&
                   (!files.isWritable(folder) || (databaseSize && !files.isWritable(databasePath)));

  Bytes header;
  if (databaseSize && *databaseSize > 0) {
    header = files.openForReading(databasePath)->read(kHeaderBytes);
    found.condition = startsWithSQLiteMagic(header) ? LibraryFiles::Condition::database
                                                    : LibraryFiles::Condition::notSQLite;
  }
  if (found.condition == LibraryFiles::Condition::notSQLite) return found;
  const bool hasDatabase = found.condition == LibraryFiles::Condition::database;
  found.usesWriteAheadLog = hasDatabase && (header[18] == 2 || header[19] == 2);

  if (walSize) {
    if (*walSize == 0) {
      found.emptySideFiles.push_back(wal);
      if (files.exists(shm)) found.emptySideFiles.push_back(shm);
    } else if (!found.usesWriteAheadLog) {
      setAside(wal, hasDatabase ? "a write-ahead log beside a library that keeps none"
                                : "a write-ahead log without its library");
      if (files.exists(shm)) setAside(shm, "");
    }
  }
  // An empty journal is left alone: SQLite ignores it, and it may be the
  // journal another process has just begun.
  if (journalSize && *journalSize > 0) {
    if (!hasDatabase) {
      setAside(journal, "a journal without its library");
    } else if (const std::string mismatch = journalMismatch(files, journal, header);
               !mismatch.empty()) {
      setAside(journal, "a journal that is not the library's: " + mismatch);
    }
  }
  return found;
}

}  // namespace quorvane
