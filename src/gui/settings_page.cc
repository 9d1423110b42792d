#include "gui/settings_page.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "gui/words.h"
#include "pdf/localization.h"

namespace quorvane::gui {

SettingsPage::SettingsPage(AppStore& store, QWidget* parent)
    : QWidget(parent),
      store_(store),
      title_(new QLabel(this)),
      languageLabel_(new QLabel(this)),
      language_(new QComboBox(this)),
      themeLabel_(new QLabel(this)),
      theme_(new QComboBox(this)),
      subscription_(store, [this](const StoreChanges& changes) {
        if (changes.has(StoreArea::settings)) fill();
      }) {
  title_->setObjectName(QStringLiteral("pageTitle"));
  language_->setObjectName(QStringLiteral("interfaceLanguage"));
  theme_->setObjectName(QStringLiteral("theme"));
  languageLabel_->setBuddy(language_);
  themeLabel_->setBuddy(theme_);
  auto* form = new QFormLayout;
  form->setHorizontalSpacing(16);
  form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
  form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  language_->setMinimumWidth(260);
  theme_->setMinimumWidth(260);
  form->setVerticalSpacing(12);
  form->addRow(languageLabel_, language_);
  form->addRow(themeLabel_, theme_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(32, 28, 32, 28);
  layout->setSpacing(18);
  layout->addWidget(title_);
  layout->addLayout(form);
  layout->addStretch();

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
  retranslate();
}

void SettingsPage::retranslate() {
  const Words words(store_);
  title_->setText(words("desktop.nav.settings"));
  languageLabel_->setText(words("desktop.settings.language"));
  language_->setAccessibleName(words("desktop.settings.language"));
  themeLabel_->setText(words("desktop.settings.theme"));
  theme_->setAccessibleName(words("desktop.settings.theme"));
  filling_ = true;
  language_->clear();
  language_->addItem(words("desktop.settings.language.system"), QString());
  for (const auto code : kInterfaceLanguages) language_->addItem(languageName(code), qstr(code));
  theme_->clear();
  theme_->addItem(words("desktop.settings.theme.system"), QStringLiteral("system"));
  theme_->addItem(words("desktop.settings.theme.light"), QStringLiteral("light"));
  theme_->addItem(words("desktop.settings.theme.dark"), QStringLiteral("dark"));
  filling_ = false;
  fill();
}

void SettingsPage::fill() {
  filling_ = true;
  const AppState& state = store_.state();
  language_->setCurrentIndex(std::max(0, language_->findData(qstr(state.uiLanguage.value_or("")))));
  theme_->setCurrentIndex(std::max(0, theme_->findData(qstr(rawValue(state.themeMode)))));
  filling_ = false;
}

}  // namespace quorvane::gui
