// The interface's words in the store's language, as Qt strings. Every text
// a widget shows comes through here, so a change of language is a matter
// of asking again.
#pragma once

#include <QString>
#include <initializer_list>
#include <string>
#include <string_view>

#include "app/app_store.h"

namespace quorvane::gui {

inline QString qstr(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline std::string utf8(const QString& text) { return text.toUtf8().toStdString(); }
// `text` as a label with a shortcut or a check box shows it: an "&" of the
// text ("Grants & awards") is printed, not taken for a shortcut marker.
inline QString literalAmpersands(QString text) {
  return text.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

// A language in its own words ("Français"), as a chooser lists it.
QString languageName(std::string_view code);

class Words {
 public:
  explicit Words(const AppStore& store) : store_(store) {}
  QString operator()(std::string_view key) const;
  QString format(std::string_view key, std::initializer_list<std::string> arguments) const;
  // "3 artworks": the plural form the language gives `count`.
  QString count(std::string_view key, std::int64_t count) const;
  std::string language() const { return store_.language(); }

 private:
  const AppStore& store_;
};

}  // namespace quorvane::gui
