// What a web CV import would do to the open project, shown before anything
// changes: the two groups side by side with the file's values and what
// replacing would save, and the notes under "Things to check".
//
// Each group starts on keep, except a group the project has nothing in yet,
// which starts on replace (nothing can be lost). A group with a blocking
// issue can only be kept.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "model/records.h"
#include "webcv/web_cv_issues.h"
#include "webcv/web_cv_source.h"

namespace quorvane {

struct WebCVImportFieldPreview {
  WebCVImportGroup group;
  std::string key;       // "firstName"; "soloExhibitions" (a section); "soloExhibitions[2]"
  std::string label;     // "First name", "Selected solo exhibitions", "Entry 2"
  std::string current;   // the project's value now
  std::string source;    // the file's value ("cv.import.source")
  std::string proposed;  // what replacing saves ("cv.import.proposed")

  bool operator==(const WebCVImportFieldPreview&) const = default;
};

struct WebCVImportSelection {
  WebCVImportChoice identity = WebCVImportChoice::keep;
  WebCVImportChoice cv = WebCVImportChoice::keep;

  bool operator==(const WebCVImportSelection&) const = default;
};

struct WebCVImportPlan {
  std::vector<WebCVImportFieldPreview> identity;  // every details field
  std::vector<WebCVImportFieldPreview> cv;        // each section with entries, then its entries
  std::vector<WebCVImportIssue> issues;
  ArtistDetails proposedDetails;
  CVData proposedCV;
  bool identityChanges = false;
  bool cvChanges = false;
  bool identityBlocked = false;
  bool cvBlocked = false;
  bool cvShared = false;         // replacing makes this project a CV of its own
  std::size_t entryCount = 0;    // entries replacing saves
  std::size_t sectionCount = 0;  // sections they fill
  WebCVImportSelection defaults;

  // Nothing in the file differs from the project ("Already up to date").
  bool isIdentical() const { return !identityChanges && !cvChanges; }
  bool canReplace(WebCVImportGroup group) const;
  bool operator==(const WebCVImportPlan&) const = default;
};

// The plan of bringing `source` into a project holding `details` and `cv`;
// `cvShared` when the project's CV is linked by other projects or owned by
// another. Labels and counts are in `language`.
WebCVImportPlan planWebCVImport(const WebCVSource& source, const ArtistDetails& details,
                                const CVData& cv, bool cvShared, std::string_view language);

// "12 entries in 3 sections".
std::string webCVPlanSummary(const WebCVImportPlan& plan, std::string_view language);

// A preview value as shown: "(empty)" for an empty one.
std::string webCVPreviewText(const std::string& value, std::string_view language);

}  // namespace quorvane
