#include "platform/linux/desktop/SingleInstance.h"

#include <unistd.h>

#include <QByteArray>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTimer>
#include <QtGlobal>

#include "platform/linux/desktop/InstanceLock.h"
#include "platform/linux/desktop/UrlMessage.h"

namespace murvel::linux_platform {

namespace {

// Bounds on what other processes can make the running instance hold.
constexpr qsizetype maxOpenConnections = 8;
constexpr int connectionLifetimeMs = 2000;
constexpr std::size_t maxUndeliveredUrls = 16;
// How long a later process waits on the running one, which may be busy, before giving up.
constexpr int handOverTimeoutMs = 2000;

// The line that carries a hotkey command: this prefix, then the command's name.
constexpr std::string_view hotkeyPrefix = "hotkey ";

std::string serverNameIn(const std::filesystem::path& directory) {
  return (directory / ("murvel-" + std::to_string(::getuid()) + ".socket")).string();
}

bool sendLine(const QString& name, const QByteArray& line) {
  QLocalSocket socket;
  socket.connectToServer(name);
  if (!socket.waitForConnected(handOverTimeoutMs))
    return false;
  socket.write(line);
  while (socket.bytesToWrite() > 0) {
    if (!socket.waitForBytesWritten(handOverTimeoutMs))
      return false;
  }
  socket.disconnectFromServer();
  return true;
}

}  // namespace

SingleInstance::SingleInstance(int argc, const char* const* argv) {
  std::vector<std::string> urls;
  for (int i = 1; i < argc; ++i) {
    if (argv[i] == nullptr)
      continue;
    if (auto url = acceptedMurvelUrl(argv[i]))
      urls.push_back(std::move(*url));
  }

  const auto directory = privateRuntimeDirectory();
  if (!directory) {
    refuse(
        "there is no private directory for the instance lock (XDG_RUNTIME_DIR, or murvel in "
        "the user's state directory, must be the user's own, mode 0700)");
    return;
  }
  const std::string prefix = "murvel-" + std::to_string(::getuid());
  serverName_ = serverNameIn(*directory);

  // Start-ups take turns: a primary keeps this lock until it listens, so that a later process
  // which finds the instance lock taken also finds the socket ready.
  InstanceLock startup(*directory / (prefix + ".startup"));
  startup.lock();

  lock_ = std::make_unique<InstanceLock>(*directory / (prefix + ".lock"));
  if (!lock_->isOpen()) {
    lock_.reset();
    refuse("the instance lock in " + directory->string() + " cannot be opened");
    return;
  }
  if (!lock_->tryLock()) {
    primaryPid_ = lock_->readProcessIdentifier();
    if (handOver(urls)) {
      primary_ = false;
      lock_.reset();
      return;
    }
    // Nobody answered. Either the holder has just exited, and the lock is free now, or it runs
    // without listening, and the URLs are lost.
    if (!lock_->tryLock()) {
      primary_ = false;
      lock_.reset();
      return;
    }
    primaryPid_.reset();
  }
  becomePrimary();
  launchUrls_ = std::move(urls);
}

SingleInstance::~SingleInstance() = default;

void SingleInstance::refuse(const std::string& reason) {
  // Two copies would paste every dictation twice: unsure, this one stays out.
  qWarning("Murvel does not start: %s, so it cannot tell whether another copy runs.",
           reason.c_str());
  primary_ = false;
}

void SingleInstance::becomePrimary() {
  primary_ = true;
  lock_->writeProcessIdentifier(::getpid());

  const QString name = QString::fromStdString(serverName_);
  // A socket left behind by a primary that crashed; the lock says that nobody else uses it.
  QLocalServer::removeServer(name);
  server_ = std::make_unique<QLocalServer>();
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  server_->setMaxPendingConnections(static_cast<int>(maxOpenConnections));
  if (!server_->listen(name)) {
    qWarning("Murvel: cannot listen on %s: %s", qUtf8Printable(name),
             qUtf8Printable(server_->errorString()));
    server_.reset();
    return;
  }
  QObject::connect(server_.get(), &QLocalServer::newConnection, server_.get(),
                   [this] { acceptConnections(); });
}

bool SingleInstance::handOver(const std::vector<std::string>& urls) {
  const QString name = QString::fromStdString(serverName_);
  // One URL per connection. Without URLs, one connection still shows whether anyone listens.
  const std::size_t connections = urls.empty() ? 1 : urls.size();
  for (std::size_t i = 0; i < connections; ++i) {
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(handOverTimeoutMs))
      return false;
    if (!urls.empty()) {
      const QByteArray message = QByteArray::fromStdString(urls[i]) + '\n';
      socket.write(message);
      while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(handOverTimeoutMs))
          break;
      }
    }
    socket.disconnectFromServer();
  }
  return true;
}

bool SingleInstance::handOverHotkeyCommand(std::string_view name) {
  const auto directory = privateRuntimeDirectory();
  if (!directory || !hotkeyCommandNamed(name))
    return false;
  const QByteArray line =
      QByteArray::fromStdString(std::string(hotkeyPrefix) + std::string(name)) + '\n';
  return sendLine(QString::fromStdString(serverNameIn(*directory)), line);
}

void SingleInstance::setHotkeyReceiver(std::function<void(HotkeyCommand)> receiver) {
  hotkeyReceiver_ = std::move(receiver);
}

void SingleInstance::acceptConnections() {
  while (QLocalSocket* connection = server_->nextPendingConnection()) {
    const auto open = server_->findChildren<QLocalSocket*>(Qt::FindDirectChildrenOnly).size();
    if (open > maxOpenConnections) {
      connection->abort();
      connection->deleteLater();
      continue;
    }
    // Qt reads no more than this from the kernel, whatever the other side sends.
    connection->setReadBufferSize(static_cast<qint64>(maxUrlMessageLength) + 1);
    QObject::connect(connection, &QLocalSocket::readyRead, connection,
                     [this, connection] { readMessage(*connection); });
    QObject::connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
    // A peer that never finishes its line doesn't keep the connection.
    QTimer::singleShot(connectionLifetimeMs, connection, [connection] {
      connection->abort();
      connection->deleteLater();
    });
  }
}

void SingleInstance::readMessage(QLocalSocket& connection) {
  // The line read so far stays in the socket's buffer until it is complete.
  if (!connection.canReadLine()) {
    if (connection.bytesAvailable() > static_cast<qint64>(maxUrlMessageLength))
      connection.abort();
    return;
  }
  // The read buffer bounds the line: at most the longest URL and its newline.
  const QByteArray line = connection.readLine();
  if (line.endsWith('\n')) {
    const std::string_view text(line.constData(), static_cast<std::size_t>(line.size() - 1));
    if (auto url = acceptedMurvelUrl(text)) {
      deliver(std::move(*url));
    } else if (text.starts_with(hotkeyPrefix)) {
      const auto command = hotkeyCommandNamed(text.substr(hotkeyPrefix.size()));
      if (command && hotkeyReceiver_)
        hotkeyReceiver_(*command);
    }
  }
  // One URL per connection: whatever follows is not read.
  connection.abort();
}

void SingleInstance::deliver(std::string url) {
  if (receiver_) {
    receiver_(url);
    return;
  }
  if (undelivered_.size() < maxUndeliveredUrls)
    undelivered_.push_back(std::move(url));
}

void SingleInstance::setUrlReceiver(std::function<void(const std::string&)> receiver) {
  receiver_ = std::move(receiver);
  if (!receiver_)
    return;
  auto pending = std::move(undelivered_);
  undelivered_.clear();
  for (const auto& url : pending) receiver_(url);
}

}  // namespace murvel::linux_platform
