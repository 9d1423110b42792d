// What the user is told when something fails: the library's and the file
// system's failures in words of the interface language ("the disk is full"),
// never a bare SQLite code; the domain and codes go to a diagnostic line,
// for --verbose.
#pragma once

#include <exception>
#include <string>

namespace quorvane {

std::string failureText(const std::exception& error, const std::string& language);
std::string failureText(const std::exception_ptr& error, const std::string& language);

// "app error domain=SQLiteSnapshotRepository code=13 sqlite=13 description=…".
std::string failureDiagnostic(const std::exception& error);

}  // namespace quorvane
