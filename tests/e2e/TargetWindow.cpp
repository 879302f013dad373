// The window a person types into, for the end-to-end test: one text box, titled "Target", whose
// text is written to the file named on the command line after every change, so the test reads
// what arrived without asking the window.

#include <QApplication>
#include <QSaveFile>
#include <QTextEdit>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc != 2) {
    qCritical("usage: murvel_target_window TEXT_FILE");
    return 2;
  }
  const QString path = QString::fromLocal8Bit(argv[1]);
  QTextEdit box;
  box.setWindowTitle("Target");
  box.setAcceptRichText(false);
  box.resize(640, 240);
  box.move(80, 120);
  QObject::connect(&box, &QTextEdit::textChanged, [&] {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
      file.write(box.toPlainText().toUtf8());
      file.commit();
    }
  });
  box.show();
  return application.exec();
}
