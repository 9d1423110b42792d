// Feeds arbitrary bytes, as a library's header and the journal beside it, to
// the look at the library's files that runs before SQLite may open it.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "storage/library_inspection.h"

namespace {

const std::string& folder() {
  static const std::string path = [] {
    std::string pattern = "/tmp/quorvane-fuzz-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }();
  return path;
}

void write(const std::string& path, const std::uint8_t* data, std::size_t size) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvane;
  // The first byte says where the database ends and the journal begins;
  // the database starts with the SQLite header, so that the journal is read.
  const std::size_t split = size == 0 ? 0 : std::min<std::size_t>(data[0], size - 1) + 1;
  const std::string database = folder() + "/quorvane.sqlite";
  std::string header("SQLite format 3\0", 16);
  header.append(reinterpret_cast<const char*>(data) + (size > 0 ? 1 : 0),
                split > 0 ? split - 1 : 0);
  header.resize(std::max<std::size_t>(header.size(), 100), '\0');
  write(database, reinterpret_cast<const std::uint8_t*>(header.data()), header.size());
  write(database + "-journal", data + split, size - split);
  const LibraryFiles found = inspectLibraryFiles(realFileSystem(), database);
  if (found.condition != LibraryFiles::Condition::database) __builtin_trap();
  return 0;
}
