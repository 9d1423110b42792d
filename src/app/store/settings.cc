// Settings remembered in the preferences, and the overrides of printed
// labels.
#include "app/app_store.h"
#include "app/store/undo_room.h"

#include "app/store/store_helpers.h"
#include "app/store/thumbnail_room.h"
#include "pdf/localization.h"

namespace quorvane {

bool AppStore::setLabelOverride(const LabelOverrideEntry& given) {
  LabelOverrideEntry entry = given;
  entry.value = cleaned(entry.value, TextShape::singleLine);
  try {
    UndoStep step = undoStep("undo.action.label");
    step.kind = UndoKind::label;
    step.labelsBefore = services_.labels.allLabelOverrides();
    services_.labels.upsertLabelOverride(entry);
    step.labelsAfter = services_.labels.allLabelOverrides();
    if (step.labelsBefore != step.labelsAfter) undo_->record(std::move(step));
    services_.logger.log("app documents stale reason=pdf_labels_changed scope=" + entry.scope);
    countChanges(1);
    thumbnails_->forgetLabels();
    thumbnails_->refresh();  // labels are not in the published state
    publish();
    return true;
  } catch (const std::exception& error) {
    return failWith(error);
  }
}

bool AppStore::clearLabelOverride(const std::string& scope, const std::string& locale,
                                  const std::string& key) {
  return setLabelOverride(LabelOverrideEntry{scope, locale, key, ""});
}

std::vector<LabelOverrideEntry> AppStore::labelOverrides() {
  try {
    return services_.labels.allLabelOverrides();
  } catch (const std::exception& error) {
    failWith(error);
    return {};
  }
}

bool AppStore::setExportOptions(const ExportOptions& options) {
  namespace key = preference_key;
  const ExportOptions before = state_.exportOptions;
  Preferences::Changes changes;
  const auto setOptional = [&](std::string_view name, const std::optional<bool>& value) {
    if (value) {
      changes.set(name, *value);
    } else {
      changes.remove(name);
    }
  };
  changes.set(key::kExportIncludeCV, options.includeCV)
      .set(key::kExportIncludeBiography, options.includeBiography)
      .set(key::kExportIncludeStatement, options.includeStatement)
      .set(key::kExportIncludeProjectStatement, options.includeProjectStatement)
      .set(key::kExportIncludeTableOfContents, options.includeTableOfContents)
      .set(key::kExportIncludeCoverImage, options.includeCoverImage);
  setOptional(key::kExportShowBiographyTitle, options.showBiographyTitle);
  setOptional(key::kExportShowStatementTitle, options.showStatementTitle);
  setOptional(key::kExportShowProjectStatementTitle, options.showProjectStatementTitle);
  changes.set(key::kExportFormat, std::string(rawValue(options.format)));
  if (options.exportLocale.empty()) {
    changes.remove(key::kExportLocale);  // the project's own language
  } else {
    changes.set(key::kExportLocale, options.exportLocale);
  }
  changes.set(key::kExportImageQuality, std::string(rawValue(options.imageQuality)));
  const bool written = services_.preferences.apply(changes);
  state_.exportOptions = options;
  if (options != before) {
    UndoStep step = undoStep("undo.action.export_options");
    step.kind = UndoKind::exportOptions;
    step.optionsBefore = before;
    step.optionsAfter = options;
    undo_->record(std::move(step));
  }
  if (options.exportLocale != before.exportLocale) {
    services_.logger.log("app documents stale reason=export_locale_changed");
  }
  if (options.format != before.format) {
    services_.logger.log("app documents stale reason=export_format_changed");
  }
  publish();
  return written || failSettingsWrite();
}

bool AppStore::setTitleShown(SaveSection section, bool shown) {
  ExportOptions options = state_.exportOptions;
  switch (section) {
    case SaveSection::bio:
      options.showBiographyTitle = shown;
      break;
    case SaveSection::statement:
      options.showStatementTitle = shown;
      break;
    case SaveSection::projectStatement:
      options.showProjectStatementTitle = shown;
      break;
    default:
      return false;
  }
  return setExportOptions(options);
}

bool AppStore::setUiLanguage(const std::optional<std::string>& language) {
  const bool written = language && !language->empty()
                           ? services_.preferences.setString(preference_key::kUiLanguage, *language)
                           : services_.preferences.remove(preference_key::kUiLanguage);
  state_.uiLanguage = nonEmpty(language);
  undo_->languageChanged();
  publish();
  return written || failSettingsWrite();
}

bool AppStore::setThemeMode(ThemeMode mode) {
  const bool written =
      services_.preferences.setString(preference_key::kThemeMode, std::string(rawValue(mode)));
  state_.themeMode = mode;
  publish();
  return written || failSettingsWrite();
}

bool AppStore::setEditTitlesEnabled(bool enabled) {
  const bool written =
      services_.preferences.setBoolean(preference_key::kEditTitlesEnabled, enabled);
  state_.isEditTitlesEnabled = enabled;
  publish();
  return written || failSettingsWrite();
}

std::optional<std::string> AppStore::preferencesWriteFailure() const {
  return services_.preferences.lastWriteFailure();
}

bool AppStore::failSettingsWrite() {
  return failWithKey("app.error.settings_not_saved",
                     {services_.preferences.lastWriteFailure().value_or("")});
}

}  // namespace quorvane
