// The one error type for failures that the user or a caller must be able to
// tell apart: a domain text ("SQLiteDatabase", "SQLiteSnapshotRepository", …),
// an integer code within that domain and a description fit to be shown.
#pragma once

#include <stdexcept>
#include <string>

namespace quorvane {

class DomainError : public std::runtime_error {
 public:
  DomainError(std::string domain, int code, const std::string& description)
      : std::runtime_error(description), domain_(std::move(domain)), code_(code) {}

  const std::string& domain() const { return domain_; }
  int code() const { return code_; }
  std::string description() const { return what(); }

 private:
  std::string domain_;
  int code_;
};

}  // namespace quorvane
