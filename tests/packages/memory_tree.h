// A package held in memory, for tests of what is read from it: a map of
// path to bytes, directories implied by the files under them (or listed).
#pragma once

#include <map>
#include <set>
#include <string>

#include "packages/package_format.h"
#include "packages/package_tree.h"
#include "packages/transfer_error.h"

namespace quorvane::testing {

class MemoryTree final : public PackageTree {
 public:
  std::map<std::string, Bytes> files;
  std::set<std::string> directories;  // beyond those implied by files

  void put(const std::string& path, const std::string& text) {
    files[path] = Bytes(text.begin(), text.end());
  }
  void putJson(const std::string& path, const nlohmann::json& json) {
    put(path, package::encode(json));
  }

  std::optional<Kind> kindOf(std::string_view path) const override {
    const std::string p(path);
    if (files.contains(p)) return Kind::file;
    if (directories.contains(p)) return Kind::directory;
    for (const auto& [name, bytes] : files) {
      if (name.starts_with(p + "/")) return Kind::directory;
    }
    return std::nullopt;
  }
  std::vector<std::string> filesIn(std::string_view path) const override {
    std::vector<std::string> names;
    const std::string prefix = std::string(path) + "/";
    for (const auto& [name, bytes] : files) {
      if (name.starts_with(prefix) && name.find('/', prefix.size()) == std::string::npos) {
        names.push_back(name.substr(prefix.size()));
      }
    }
    return names;
  }
  std::optional<Bytes> read(std::string_view path, std::uint64_t limit) override {
    const Bytes& bytes = files.at(std::string(path));
    if (bytes.size() > limit) return std::nullopt;
    return bytes;
  }
  std::optional<std::uint64_t> stream(std::string_view path, std::uint64_t limit,
                                      const Sink& sink) override {
    const Bytes& bytes = files.at(std::string(path));
    if (bytes.size() > limit) return std::nullopt;
    sink(bytes);
    return bytes.size();
  }
  std::optional<std::uint64_t> declaredSize(std::string_view path) const override {
    const auto found = files.find(std::string(path));
    if (found == files.end()) return std::nullopt;
    return found->second.size();
  }
};

}  // namespace quorvane::testing
