#include "platform/private_directory.h"

#include <stdlib.h>
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace quorvane {

std::unique_ptr<PrivateDirectory> PrivateDirectory::create(const std::vector<std::string>& parents,
                                                           const std::string& prefix) {
  int lastError = ENOENT;
  for (const std::string& parent : parents) {
    if (parent.empty()) continue;
    std::error_code ignored;
    std::filesystem::create_directories(parent, ignored);  // a TMPDIR not made yet
    std::string name = parent + "/" + prefix + "-XXXXXX";
    // mkdtemp makes a new folder, 0700, or fails: it never takes one that
    // is there already.
    if (::mkdtemp(name.data()) != nullptr) {
      return std::unique_ptr<PrivateDirectory>(new PrivateDirectory(std::move(name)));
    }
    lastError = errno;
  }
  throw std::system_error(lastError, std::generic_category(),
                          "no private temporary folder could be made");
}

PrivateDirectory::~PrivateDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace quorvane
