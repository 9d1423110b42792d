// Feeds arbitrary bytes, as a web CV generator's export, to everything that
// reads one: the envelope's checks, the normalisation of each value and the
// plan against a project with content of its own. Any outcome but a
// WebCVImportError or a plan is a finding; so is a crash, a leak or a hang.
// The seed corpus (fuzz/corpus/web_cv_reader) holds the format's example.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "app/web_cv_import.h"
#include "cv/details_fields.h"
#include "webcv/web_cv_errors.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvane;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  ArtistDetails details;
  details.firstName = "Ada";
  details.zipcode = "75011";
  CVData cv;
  cv.press = {{{"title", "A review"}}};
  try {
    const WebCVImportPlan plan = planWebCVText(text, details, cv, size % 2 == 0, "fr");
    // What a replace would save is already in the library's form: saving it
    // and reading it again changes nothing.
    if (!plan.identityBlocked) {
      for (const DetailsFieldConfig& field : detailsFieldConfigs()) {
        const std::string& value = plan.proposedDetails.*field.member;
        if (formattedForLibrary(value, field.shape) != value) std::abort();
      }
    }
    if (!plan.cvBlocked) {
      for (const CVDataSection& section : kCVDataSections) {
        for (const CVEntry& entry : plan.proposedCV.*section.entries) {
          for (const auto& [field, value] : entry) {
            if (value.empty() || formattedForLibrary(value, TextShape::multiLine) != value) {
              std::abort();
            }
          }
        }
      }
    }
  } catch (const WebCVImportError&) {
  }
  return 0;
}
