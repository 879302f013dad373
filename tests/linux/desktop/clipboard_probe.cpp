// Another X client: prints the text of the CLIPBOARD selection, as a pasting application gets it.
#include <QClipboard>
#include <QGuiApplication>
#include <cstdio>

int main(int argc, char** argv) {
  QGuiApplication application(argc, argv);
  const QByteArray text = QGuiApplication::clipboard()->text(QClipboard::Clipboard).toUtf8();
  std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
  return 0;
}
