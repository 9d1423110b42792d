#include "app/failure_text.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "app/package_export.h"
#include "model/text.h"
#include "packages/transfer_error.h"
#include "pdf/localization.h"
#include "platform/domain_error.h"
#include "platform/file_system.h"

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

// "549.3 MB", "549,3 MB": one decimal, the language's mark.
std::string megabytes(std::uint64_t bytes, const std::string& language) {
  char number[32];
  std::snprintf(number, sizeof number, "%.1f", static_cast<double>(bytes) / 1048576.0);
  std::string text = number;
  if (language != "en") std::replace(text.begin(), text.end(), '.', ',');
  return uiFormat("cli.size.megabytes", language, {text});
}

std::string_view originalFaultKey(OriginalFault fault) {
  switch (fault) {
    case OriginalFault::missing:
      return "backup.original.missing";
    case OriginalFault::notAFile:
      return "backup.original.not_a_file";
    case OriginalFault::unreadable:
      return "backup.original.unreadable";
    case OriginalFault::sizeDiffers:
      return "backup.original.size_differs";
    case OriginalFault::kindDiffers:
      return "backup.original.kind_differs";
  }
  return "backup.original.unreadable";
}

// A package's own fault: about a work, named, when it is about one.
std::string transferFailureText(const QuorvaneTransferError& error, const std::string& language) {
  using Case = QuorvaneTransferCase;
  if (const std::optional<ArtworkReference>& artwork = error.artwork()) {
    const std::string quoted = workName(artwork->title, artwork->position, language);
    if (error.errorCase() == Case::missingMedia) {
      return uiFormat("package.error.work_image_missing", language, {quoted});
    }
    return uiFormat("package.error.work_image_invalid", language, {quoted});
  }
  switch (error.errorCase()) {
    case Case::invalidManifestCounts:
      return uiText("package.error.too_many_works", language);
    case Case::dataTooLarge:
      return uiText("package.error.too_much_text", language);
    default:
      return uiFormat("package.error.other", language, {std::string(rawValue(error.errorCase()))});
  }
}

}  // namespace

std::string workName(const std::string& title, std::size_t position, const std::string& language) {
  if (isBlank(title))
    return uiFormat("package.untitled_work", language, {std::to_string(position)});
  return uiFormat("package.quoted_title", language, {title});
}

std::string originalFaultText(OriginalFault fault, const std::string& language) {
  return uiText(originalFaultKey(fault), language);
}

std::string missingOriginalsText(const std::vector<MissingOriginal>& missing,
                                 const std::string& language) {
  std::string list;
  for (const MissingOriginal& work : missing) {
    if (!list.empty()) list += ", ";
    list += uiFormat(
        "backup.original.item", language,
        {workName(work.title, work.position, language), originalFaultText(work.fault, language)});
  }
  return list;
}

std::string packageFailureText(const std::exception& error, const std::string& language) {
  if (const auto* missing = dynamic_cast<const MissingOriginalsError*>(&error)) {
    return uiFormat("backup.error.missing_originals", language,
                    {missingOriginalsText(missing->missing(), language)});
  }
  if (const auto* transfer = dynamic_cast<const QuorvaneTransferError*>(&error)) {
    return transferFailureText(*transfer, language);
  }
  return failureText(error, language);
}

std::string failureText(const std::exception& error, const std::string& language) {
  if (const auto* space = dynamic_cast<const InsufficientSpaceError*>(&error)) {
    return uiFormat(
        "error.storage.not_enough_space", language,
        {megabytes(space->needed(), language), megabytes(space->available(), language)});
  }
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
