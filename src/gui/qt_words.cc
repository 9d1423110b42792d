#include "gui/qt_words.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QPointer>
#include <QTranslator>
#include <memory>

namespace quorvane::gui {

void speakQtIn(const std::string& language) {
  // One translator at a time, the application's child, replaced as the
  // language changes.
  static QPointer<QTranslator> installed;
  if (installed) {
    QCoreApplication::removeTranslator(installed);
    installed->deleteLater();
  }
  auto translator = std::make_unique<QTranslator>();
  if (!translator->load(QStringLiteral("qtbase_") + QString::fromStdString(language),
                        QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    return;
  }
  translator->setParent(QCoreApplication::instance());
  QCoreApplication::installTranslator(translator.get());
  installed = translator.release();
}

}  // namespace quorvane::gui
