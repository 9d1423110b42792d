#include "app/web_cv_import.h"

#include "webcv/web_cv_file.h"
#include "webcv/web_cv_source.h"

namespace quorvane {

WebCVImportPlan planWebCVText(std::string_view text, const ArtistDetails& details, const CVData& cv,
                              bool cvShared, std::string_view language) {
  const WebCVSource source = readWebCVSource(parseWebCVEnvelope(text));
  return planWebCVImport(source, details, cv, cvShared, language);
}

PreparedWebCVImport prepareWebCVImport(FileSystem& files, WebCVRepository* repository,
                                       const std::string& path, const std::string& projectId,
                                       const ArtistDetails& details, const CVData& cv,
                                       std::string_view language) {
  const std::string text = readWebCVFile(files, path);
  const WebCVSource source = readWebCVSource(parseWebCVEnvelope(text));
  PreparedWebCVImport prepared;
  prepared.projectId = projectId;
  prepared.basisDetails = details;
  prepared.basisCV = cv;
  if (repository) prepared.context = repository->readContext(projectId);
  const bool shared = prepared.context && prepared.context->isCVShared();
  prepared.plan = planWebCVImport(source, details, cv, shared, language);
  return prepared;
}

WebCVWrite webCVWriteFor(const PreparedWebCVImport& prepared, const WebCVImportSelection& selection,
                         const std::string& newCVAssetId) {
  WebCVWrite write;
  // A group that would not change is not written: replacing a shared CV
  // with what it holds must not cut it off from the other projects.
  if (selection.identity == WebCVImportChoice::replace && prepared.plan.identityChanges) {
    write.details = prepared.plan.proposedDetails;
  }
  if (selection.cv == WebCVImportChoice::replace && prepared.plan.cvChanges) {
    write.cv = prepared.plan.proposedCV;
    write.newCVAssetId = newCVAssetId;
  }
  return write;
}

WebCVWritten writeWebCVImport(WebCVRepository& repository, const PreparedWebCVImport& prepared,
                              const WebCVWrite& write, std::int64_t nowMs) {
  if (!write.details && !write.cv) return {};
  const WebCVPersistenceContext expected =
      prepared.context ? *prepared.context : repository.readContext(prepared.projectId);
  return repository.apply(expected, write, nowMs);
}

}  // namespace quorvane
