#pragma once

#include <QFile>
#include <QTemporaryDir>
#include <ostream>

// Qt strings in test failures as text.
inline void PrintTo(const QString& text, std::ostream* out) {
  *out << '"' << text.toStdString() << '"';
}

namespace murvel::linux_platform::testing {

inline QString readFile(const QString& path) {
  QFile file(path);
  file.open(QIODevice::ReadOnly);
  return QString::fromUtf8(file.readAll());
}

// Sets (or, with nullptr, unsets) an environment variable for the life of the object.
struct ScopedEnv {
  ScopedEnv(const char* name, const char* value) : name(name), old(qgetenv(name)) {
    value ? qputenv(name, value) : qunsetenv(name);
  }
  ~ScopedEnv() { old.isNull() ? qunsetenv(name) : qputenv(name, old); }
  const char* name;
  const QByteArray old;  // null when unset
};

// Stand-ins for desktop tools, first in PATH: each adds a line of its name and arguments to a
// log, then runs `more`.
class FakeTools {
 public:
  void add(const QString& name, const QString& more = {}) {
    QFile script(dir_.filePath(name));
    script.open(QIODevice::WriteOnly);
    script.write(
        QStringLiteral("#!/bin/sh\necho %1 \"$@\" >> '%2'\n%3\n").arg(name, log(), more).toUtf8());
    script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
  }
  QString log() const { return dir_.filePath("calls.log"); }
  QString calls() const { return readFile(log()); }

 private:
  QTemporaryDir dir_;
  ScopedEnv path_{"PATH", (dir_.path() + ":" + qgetenv("PATH")).toUtf8().constData()};
};

}  // namespace murvel::linux_platform::testing
