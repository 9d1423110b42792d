// The one error type for failures that the user or a caller must be able to
// tell apart: a domain text ("SQLiteDatabase", "SQLiteSnapshotRepository", …),
// an integer code within that domain and a description. Errors of the
// library database also keep SQLite's own (extended) result code, from
// which the user is told what happened in words (busy, disk full, …).
#pragma once

#include <stdexcept>
#include <string>

namespace quorvane {

class DomainError : public std::runtime_error {
 public:
  DomainError(std::string domain, int code, const std::string& description,
              int sqliteResultCode = 0)
      : std::runtime_error(description),
        domain_(std::move(domain)),
        code_(code),
        sqliteResultCode_(sqliteResultCode) {}

  const std::string& domain() const { return domain_; }
  int code() const { return code_; }
  std::string description() const { return what(); }
  // SQLite's extended result code behind the error; 0 when there is none.
  int sqliteResultCode() const { return sqliteResultCode_; }

 private:
  std::string domain_;
  int code_;
  int sqliteResultCode_;
};

}  // namespace quorvane
