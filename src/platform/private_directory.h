// A folder only this user can enter, made fresh for one run (never one
// found in place, which another user could have made first, to read what is
// put there or to make it fail), and removed with everything in it when
// the object goes.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace quorvane {

class PrivateDirectory {
 public:
  // Made (mode 0700, a name of its own from `prefix`) in the first of
  // `parents` where that works; std::system_error when none does.
  static std::unique_ptr<PrivateDirectory> create(const std::vector<std::string>& parents,
                                                  const std::string& prefix);
  ~PrivateDirectory();
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  explicit PrivateDirectory(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

}  // namespace quorvane
