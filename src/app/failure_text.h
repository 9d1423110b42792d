// What the user is told when something fails: the library's and the file
// system's failures in words of the interface language ("the disk is full"),
// never a bare SQLite code; the domain and codes go to a diagnostic line,
// for --verbose.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "app/original_check.h"

namespace quorvane {

std::string failureText(const std::exception& error, const std::string& language);
std::string failureText(const std::exception_ptr& error, const std::string& language);

// A failure of a package (a backup being written or read) in words: the
// works it is about, named, for what concerns them; the disk's failures as
// `failureText` tells them.
std::string packageFailureText(const std::exception& error, const std::string& language);

// A work as the user knows it: "“Tide”", quoted as the language quotes a
// title, or, untitled, by its place: "the untitled work no. 3".
std::string workName(const std::string& title, std::size_t position, const std::string& language);

// Why an original can't be used ("the file is missing"), and a list of
// works with theirs: "“Tide” (the file is missing), “Dune” (…)".
std::string originalFaultText(OriginalFault fault, const std::string& language);
std::string missingOriginalsText(const std::vector<MissingOriginal>& missing,
                                 const std::string& language);

// "app error domain=SQLiteSnapshotRepository code=13 sqlite=13 description=…".
std::string failureDiagnostic(const std::exception& error);

}  // namespace quorvane
