#include "gui/words.h"

#include "pdf/localization.h"

namespace quorvane::gui {

QString languageName(std::string_view code) {
  if (code == "fr") return QStringLiteral("Français");
  if (code == "it") return QStringLiteral("Italiano");
  if (code == "de") return QStringLiteral("Deutsch");
  if (code == "es") return QStringLiteral("Español");
  return QStringLiteral("English");
}

QString Words::operator()(std::string_view key) const {
  return qstr(uiText(key, store_.language()));
}

QString Words::format(std::string_view key, std::initializer_list<std::string> arguments) const {
  return qstr(uiFormat(key, store_.language(), arguments));
}

QString Words::count(std::string_view key, std::int64_t count) const {
  return qstr(uiCount(key, store_.language(), count));
}

}  // namespace quorvane::gui
