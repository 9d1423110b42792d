#include "gui/settings_page.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "gui/scrolling.h"
#include "gui/words.h"
#include "pdf/localization.h"

namespace quorvane::gui {
namespace {

QFormLayout* settingsForm() {
  auto* form = new QFormLayout;
  form->setHorizontalSpacing(16);
  form->setVerticalSpacing(12);
  form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
  form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  return form;
}

QComboBox* settingsBox(QWidget* parent, const char* name) {
  auto* box = new QComboBox(parent);
  box->setObjectName(QString::fromLatin1(name));
  box->setMinimumWidth(260);
  return box;
}

}  // namespace

SettingsPage::SettingsPage(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      title_(new QLabel(this)),
      generalHeading_(new QLabel(this)),
      languageLabel_(new QLabel(this)),
      language_(settingsBox(this, "interfaceLanguage")),
      themeLabel_(new QLabel(this)),
      theme_(settingsBox(this, "theme")),
      exportHeading_(new QLabel(this)),
      exportLanguageLabel_(new QLabel(this)),
      exportLanguage_(settingsBox(this, "defaultExportLanguage")),
      paperLabel_(new QLabel(this)),
      paper_(settingsBox(this, "defaultPaper")),
      contents_(new QCheckBox(this)),
      cover_(new QCheckBox(this)),
      labels_(new QPushButton(this)),
      backupHeading_(new QLabel(this)),
      reminders_(new QCheckBox(this)),
      frequencyLabel_(new QLabel(this)),
      frequency_(settingsBox(this, "reminderFrequency")),
      largeEdits_(new QCheckBox(this)),
      dataHeading_(new QLabel(this)),
      dataHelp_(new QLabel(this)),
      delete_(new QPushButton(this)),
      subscription_(store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::settings) || changes.has(StoreArea::reminders) ||
            changes.has(StoreArea::project)) {
          fill();
        }
      }) {
  title_->setObjectName(QStringLiteral("pageTitle"));
  for (QLabel* heading : {generalHeading_, exportHeading_, backupHeading_, dataHeading_}) {
    heading->setObjectName(QStringLiteral("sectionHeading"));
  }
  dataHelp_->setObjectName(QStringLiteral("secondaryText"));
  dataHelp_->setWordWrap(true);
  dataHelp_->setMaximumWidth(560);
  delete_->setObjectName(QStringLiteral("danger"));
  contents_->setObjectName(QStringLiteral("defaultContents"));
  cover_->setObjectName(QStringLiteral("defaultCoverImage"));
  reminders_->setObjectName(QStringLiteral("remindersEnabled"));
  largeEdits_->setObjectName(QStringLiteral("remindBeforeLargeEdits"));
  languageLabel_->setBuddy(language_);
  themeLabel_->setBuddy(theme_);
  exportLanguageLabel_->setBuddy(exportLanguage_);
  paperLabel_->setBuddy(paper_);
  frequencyLabel_->setBuddy(frequency_);

  auto* general = settingsForm();
  general->addRow(languageLabel_, language_);
  general->addRow(themeLabel_, theme_);
  auto* exports = settingsForm();
  exports->addRow(exportLanguageLabel_, exportLanguage_);
  exports->addRow(paperLabel_, paper_);
  exports->addRow(new QLabel(this), contents_);
  exports->addRow(new QLabel(this), cover_);
  exports->addRow(new QLabel(this), labels_);
  auto* backups = settingsForm();
  backups->addRow(new QLabel(this), reminders_);
  backups->addRow(frequencyLabel_, frequency_);
  backups->addRow(new QLabel(this), largeEdits_);

  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(32, 28, 32, 28);
  layout->setSpacing(10);
  layout->addWidget(title_);
  layout->addSpacing(6);
  layout->addWidget(generalHeading_);
  layout->addLayout(general);
  layout->addSpacing(14);
  layout->addWidget(exportHeading_);
  layout->addLayout(exports);
  layout->addSpacing(14);
  layout->addWidget(backupHeading_);
  layout->addLayout(backups);
  layout->addSpacing(14);
  layout->addWidget(dataHeading_);
  layout->addWidget(dataHelp_);
  auto* deleteRow = new QHBoxLayout;
  deleteRow->addWidget(delete_);
  deleteRow->addStretch(1);
  layout->addLayout(deleteRow);
  layout->addStretch();
  fillWithScrolling(this, content);

  connect(language_, &QComboBox::activated, this, [this] {
    if (filling_) return;
    const QString code = language_->currentData().toString();
    store_.setUiLanguage(code.isEmpty() ? std::nullopt : std::optional<std::string>(utf8(code)));
  });
  connect(theme_, &QComboBox::activated, this, [this] {
    if (filling_) return;
    if (const auto mode = fromRawValue<ThemeMode>(utf8(theme_->currentData().toString()))) {
      store_.setThemeMode(*mode);
    }
  });
  connect(exportLanguage_, &QComboBox::activated, this, &SettingsPage::exportDefaultsEdited);
  connect(paper_, &QComboBox::activated, this, &SettingsPage::exportDefaultsEdited);
  connect(contents_, &QCheckBox::toggled, this, &SettingsPage::exportDefaultsEdited);
  connect(cover_, &QCheckBox::toggled, this, &SettingsPage::exportDefaultsEdited);
  connect(labels_, &QPushButton::clicked, this, &SettingsPage::labelsRequested);
  connect(reminders_, &QCheckBox::toggled, this, [this](bool on) {
    if (!filling_) store_.setBackupRemindersEnabled(on);
  });
  connect(frequency_, &QComboBox::activated, this, [this] {
    if (filling_) return;
    if (const auto frequency =
            fromRawValue<BackupReminderFrequency>(utf8(frequency_->currentData().toString()))) {
      store_.setBackupReminderFrequency(*frequency);
    }
  });
  connect(largeEdits_, &QCheckBox::toggled, this, [this](bool on) {
    if (!filling_) store_.setRemindBeforeLargeEdits(on);
  });
  connect(delete_, &QPushButton::clicked, this, &SettingsPage::deleteAllData);
  retranslate();
}

void SettingsPage::retranslate() {
  const Words words(store_);
  title_->setText(words("desktop.nav.settings"));
  generalHeading_->setText(words("desktop.settings.general"));
  languageLabel_->setText(words("desktop.settings.language"));
  language_->setAccessibleName(words("desktop.settings.language"));
  themeLabel_->setText(words("desktop.settings.theme"));
  theme_->setAccessibleName(words("desktop.settings.theme"));
  exportHeading_->setText(words("desktop.settings.export"));
  exportLanguageLabel_->setText(words("desktop.export.language"));
  exportLanguage_->setAccessibleName(words("desktop.export.language"));
  paperLabel_->setText(words("desktop.export.paper"));
  paper_->setAccessibleName(words("desktop.export.paper"));
  contents_->setText(words("desktop.export.include.toc"));
  contents_->setAccessibleName(contents_->text());
  cover_->setText(words("desktop.export.include.cover_image"));
  cover_->setAccessibleName(cover_->text());
  labels_->setText(words("desktop.labels.open"));
  labels_->setAccessibleName(labels_->text());
  backupHeading_->setText(words("backup.settings.title"));
  reminders_->setText(words("backup.settings.enable"));
  reminders_->setAccessibleName(reminders_->text());
  frequencyLabel_->setText(words("backup.settings.frequency"));
  frequency_->setAccessibleName(words("backup.settings.frequency"));
  largeEdits_->setText(words("backup.settings.large_edits"));
  largeEdits_->setAccessibleName(largeEdits_->text());
  dataHeading_->setText(words("desktop.settings.data"));
  dataHelp_->setText(words("desktop.settings.delete_help"));
  delete_->setText(words("desktop.settings.delete"));
  delete_->setAccessibleName(delete_->text());
  filling_ = true;
  language_->clear();
  language_->addItem(words("desktop.settings.language.system"), QString());
  for (const auto code : kInterfaceLanguages) language_->addItem(languageName(code), qstr(code));
  theme_->clear();
  theme_->addItem(words("desktop.settings.theme.system"), QStringLiteral("system"));
  theme_->addItem(words("desktop.settings.theme.light"), QStringLiteral("light"));
  theme_->addItem(words("desktop.settings.theme.dark"), QStringLiteral("dark"));
  exportLanguage_->clear();
  exportLanguage_->addItem(words("desktop.settings.export_language.project"), QString());
  for (const auto code : kInterfaceLanguages) {
    exportLanguage_->addItem(languageName(code), qstr(code));
  }
  paper_->clear();
  paper_->addItem(words("desktop.export.paper.a4"), QStringLiteral("a4"));
  paper_->addItem(words("desktop.export.paper.letter"), QStringLiteral("letter"));
  frequency_->clear();
  for (const auto frequency : {BackupReminderFrequency::minimal, BackupReminderFrequency::balanced,
                               BackupReminderFrequency::frequent}) {
    const std::string raw(rawValue(frequency));
    frequency_->addItem(words("backup.settings.frequency." + raw), qstr(raw));
  }
  filling_ = false;
  // The three forms share one column of labels, so their fields line up.
  const std::initializer_list<QLabel*> labels{languageLabel_, themeLabel_, exportLanguageLabel_,
                                              paperLabel_, frequencyLabel_};
  int widest = 0;
  for (QLabel* label : labels) {
    label->setMinimumWidth(0);
    widest = std::max(widest, label->sizeHint().width());
  }
  for (QLabel* label : labels) label->setMinimumWidth(widest);
  for (QCheckBox* box : {contents_, cover_, reminders_, largeEdits_})
    box->setContentsMargins(0, 0, 0, 0);
  fill();
}

void SettingsPage::fill() {
  filling_ = true;
  const AppState& state = store_.state();
  const auto select = [](QComboBox* box, const QString& data) {
    box->setCurrentIndex(std::max(0, box->findData(data)));
  };
  select(language_, qstr(state.uiLanguage.value_or("")));
  select(theme_, qstr(rawValue(state.themeMode)));
  select(exportLanguage_, qstr(state.exportOptions.exportLocale));
  select(paper_, qstr(rawValue(state.exportOptions.format)));
  contents_->setChecked(state.exportOptions.includeTableOfContents);
  cover_->setChecked(state.exportOptions.includeCoverImage);
  const BackupReminderState& backup = state.backupReminderState;
  reminders_->setChecked(backup.remindersEnabled);
  select(frequency_, qstr(rawValue(backup.frequency)));
  frequency_->setEnabled(backup.remindersEnabled);
  largeEdits_->setChecked(backup.remindBeforeLargeEdits);
  largeEdits_->setEnabled(backup.remindersEnabled);
  filling_ = false;
}

void SettingsPage::exportDefaultsEdited() {
  if (filling_) return;
  ExportOptions options = store_.state().exportOptions;
  options.exportLocale = utf8(exportLanguage_->currentData().toString());
  options.format =
      fromRawValue<PdfFormat>(utf8(paper_->currentData().toString())).value_or(PdfFormat::a4);
  options.includeTableOfContents = contents_->isChecked();
  options.includeCoverImage = cover_->isChecked();
  if (options != store_.state().exportOptions) store_.setExportOptions(options);
}

void SettingsPage::deleteAllData() { emit deleteAllRequested(); }

}  // namespace quorvane::gui
