#include "app/failure_text.h"

#include <sqlite3.h>

#include <cerrno>
#include <system_error>

#include "pdf/localization.h"
#include "platform/domain_error.h"

namespace quorvane {
namespace {

// The words for a failure of SQLite, by its primary result code.
std::string_view sqliteFailureKey(int resultCode) {
  switch (resultCode & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "error.storage.busy";
    case SQLITE_FULL:
      return "error.storage.full";
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return "error.storage.read_only";
    case SQLITE_CONSTRAINT:
      return "error.storage.constraint";
    case SQLITE_IOERR:
      return "error.storage.io";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "error.storage.damaged";
    case SQLITE_CANTOPEN:
      return "error.storage.cannot_open";
    case SQLITE_NOMEM:
      return "error.storage.memory";
    default:
      return "error.storage.other";
  }
}

// The words for a failure of the file system, when they say more than the
// system's own.
std::string_view fileFailureKey(int error) {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return "error.storage.full";
    case EACCES:
    case EPERM:
      return "error.file.permission";
    case EROFS:
      return "error.file.read_only";
    case EIO:
      return "error.storage.io";
    default:
      return {};
  }
}

}  // namespace

std::string failureText(const std::exception& error, const std::string& language) {
  if (const auto* domain = dynamic_cast<const DomainError*>(&error)) {
    int code = domain->sqliteResultCode();
    if (code == 0 && domain->domain() == "SQLiteSnapshotRepository") code = domain->code();
    if (code != 0) return uiText(sqliteFailureKey(code), language);
    return domain->description();
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    if (system->code().category() == std::generic_category() ||
        system->code().category() == std::system_category()) {
      const std::string_view key = fileFailureKey(system->code().value());
      if (!key.empty()) return uiText(key, language);
    }
    return system->code().message();
  }
  return error.what();
}

std::string failureText(const std::exception_ptr& error, const std::string& language) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const std::exception& e) {
    return failureText(e, language);
  } catch (...) {
  }
  return uiText("error.storage.other", language);
}

std::string failureDiagnostic(const std::exception& error) {
  if (const auto* domain = dynamic_cast<const DomainError*>(&error)) {
    return "app error domain=" + domain->domain() + " code=" + std::to_string(domain->code()) +
           " sqlite=" + std::to_string(domain->sqliteResultCode()) +
           " description=" + domain->description();
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    return "app error domain=" + std::string(system->code().category().name()) +
           " code=" + std::to_string(system->code().value()) + " description=" + system->what();
  }
  return std::string("app error description=") + error.what();
}

}  // namespace quorvane
