#include "gui/window_hand_over.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTimer>
#include <QUrl>

#include "platform/paths.h"

namespace quorvane::gui {

namespace {

constexpr int kLargestMessage = 1 << 20;

}  // namespace

QString WindowHandOver::socketName(const std::string& libraryDirectory) {
  const QByteArray hash = QCryptographicHash::hash(QByteArray::fromStdString(libraryDirectory),
                                                   QCryptographicHash::Sha256)
                              .toHex()
                              .left(16);
  const std::string runtime = runtimeDirectory();
  const QString name = QStringLiteral("quorvane-window-") + QString::fromLatin1(hash);
  if (!runtime.empty()) return QDir(QString::fromStdString(runtime)).filePath(name);
  // Without a runtime folder, the library's own (another user could take a
  // name in the shared temporary folder first), unless its path is too long
  // for a socket; then Qt's place, which the socket's permission keeps to
  // this user.
  const QString inLibrary =
      QDir(QString::fromStdString(libraryDirectory)).filePath(QStringLiteral("window.socket"));
  return inLibrary.toLocal8Bit().size() < 100 ? inLibrary : name;
}

bool WindowHandOver::handTo(const QString& name, const QStringList& files, int timeoutMs) {
  QLocalSocket socket;
  socket.connectToServer(name);
  if (!socket.waitForConnected(timeoutMs)) return false;
  QByteArray message;
  // Percent-encoded: a file name may hold a line break.
  for (const QString& file : files) message += QUrl::toPercentEncoding(file) + '\n';
  message += '\n';
  socket.write(message);
  if (!socket.waitForBytesWritten(timeoutMs)) return false;
  while (!socket.canReadLine()) {
    if (!socket.waitForReadyRead(timeoutMs)) return false;
  }
  return socket.readLine().trimmed() == "ok";
}

WindowHandOver::WindowHandOver(const QString& name,
                               std::function<void(const QStringList&)> received, QObject* parent)
    : QObject(parent), server_(new QLocalServer(this)), received_(std::move(received)) {
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  if (!server_->listen(name)) {
    // One a killed window left: no window answers there any more.
    QLocalServer::removeServer(name);
    server_->listen(name);
  }
  connect(server_, &QLocalServer::newConnection, this, [this] {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
      connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
      connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
        if (socket->bytesAvailable() > kLargestMessage) return socket->abort();
        const QByteArray all = socket->peek(socket->bytesAvailable());
        if (!all.endsWith("\n\n") && all != "\n") return;  // the rest is on its way
        QStringList files;
        for (const QByteArray& line : socket->readAll().split('\n')) {
          if (!line.isEmpty()) files << QString::fromUtf8(QByteArray::fromPercentEncoding(line));
        }
        socket->write("ok\n");
        socket->flush();
        // Later, from the event loop: what the window does with them may
        // ask a question (a loop of its own) while this socket goes.
        QTimer::singleShot(0, this, [this, files] { received_(files); });
      });
    }
  });
}

bool WindowHandOver::isListening() const { return server_->isListening(); }

}  // namespace quorvane::gui
