// Sets (or, with nullptr, unsets) an environment variable for one scope,
// putting the old value back afterwards.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace quorvane::testing {

class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
  }
  ~ScopedVariable() { old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace quorvane::testing
