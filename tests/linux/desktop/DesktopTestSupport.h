#pragma once

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>
#include <optional>
#include <ostream>

// Qt strings in test failures as text.
inline void PrintTo(const QString& text, std::ostream* out) {
  *out << '"' << text.toStdString() << '"';
}

namespace murvel::linux_platform::testing {

// Sets (or, with nothing, unsets) an environment variable for the life of the object.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, std::optional<QByteArray> value)
      : name_(name),
        old_(qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt) {
    set(value);
  }
  ~ScopedEnv() { set(old_); }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  void set(const std::optional<QByteArray>& value) {
    if (value)
      qputenv(name_, *value);
    else
      qunsetenv(name_);
  }
  const char* name_;
  std::optional<QByteArray> old_;
};

// Shell scripts that stand in for desktop tools: put first in PATH, each appends
// "<name> <arguments>" to a log, then runs what else it is given.
class FakeTools {
 public:
  FakeTools() : path_("PATH", dir_.path().toUtf8() + ":" + qgetenv("PATH")) {}

  void add(const QString& name, const QString& more = {}) {
    QFile script(dir_.filePath(name));
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write(QStringLiteral("#!/bin/sh\necho \"%1 $*\" >> '%2'\n%3\n")
                     .arg(name, logPath(), more)
                     .toUtf8());
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  }

  QString logPath() const { return dir_.filePath("calls.log"); }

  QStringList calls() const {
    QFile log(logPath());
    if (!log.open(QIODevice::ReadOnly))
      return {};
    QStringList lines;
    for (const QString& line :
         QString::fromUtf8(log.readAll()).split(QChar('\n'), Qt::SkipEmptyParts))
      lines.push_back(line.trimmed());
    return lines;
  }

 private:
  QTemporaryDir dir_;
  ScopedEnv path_;
};

}  // namespace murvel::linux_platform::testing
