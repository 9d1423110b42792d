// One window per library. A launch while the window is open (a backup
// double-clicked in the file manager, the program started again) hands the
// files it was given to that window, which brings itself to the front,
// instead of failing on the library lock.
//
// The open window listens on a local socket named after the library's
// folder, in the user's runtime folder (readable by the user alone). A
// launch sends one absolute path per line, percent-encoded, then an empty
// line, and waits for "ok".
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <string>

class QLocalServer;

namespace quorvane::gui {

class WindowHandOver final : public QObject {
 public:
  // The socket of the window of the library in `libraryDirectory`.
  static QString socketName(const std::string& libraryDirectory);
  // Gives `files` (maybe none) to the window listening at `name`; true once
  // it has taken them, false when no window answers within `timeoutMs`.
  static bool handTo(const QString& name, const QStringList& files, int timeoutMs = 3000);

  // Listens at `name` (a socket a killed window left there is replaced);
  // `received` is told each launch's files on the Qt event loop.
  WindowHandOver(const QString& name, std::function<void(const QStringList&)> received,
                 QObject* parent = nullptr);

  bool isListening() const;

 private:
  QLocalServer* server_;
  std::function<void(const QStringList&)> received_;
};

}  // namespace quorvane::gui
