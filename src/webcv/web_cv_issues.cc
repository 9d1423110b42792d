#include "webcv/web_cv_issues.h"

namespace quorvane {

WebCVIssueSeverity severityOf(WebCVImportIssueCode code) {
  using C = WebCVImportIssueCode;
  switch (code) {
    case C::transportNotImported:
    case C::existingZipcodePreserved:
    case C::normalizationPreview:
    case C::nativeIDsGenerated:
      return WebCVIssueSeverity::info;
    case C::textTooLong:
    case C::normalizedTextTooLong:
    case C::unstableNormalization:
      return WebCVIssueSeverity::blocking;
    case C::unknownEnvelopeBusinessField:
    case C::unknownBusinessField:
    case C::expectedString:
    case C::lossyNormalization:
    case C::websiteWouldLoseContent:
    case C::invalidBirthYear:
    case C::invalidNameDisplayMode:
      return WebCVIssueSeverity::warning;
  }
  return WebCVIssueSeverity::warning;
}

std::string webCVIssueKey(WebCVImportIssueCode code) {
  return "cv.import.issue." + std::string(rawValue(code));
}

}  // namespace quorvane
