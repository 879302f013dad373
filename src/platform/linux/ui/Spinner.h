#pragma once

#include <QTimer>
#include <QWidget>

namespace murvel::linux_platform::ui {

// A ring of ticks that turns while something is under way. Its timer runs only while it turns.
class Spinner final : public QWidget {
 public:
  explicit Spinner(QWidget* parent);

  void setAnimating(bool animating);
  bool isAnimating() const { return timer_.isActive(); }
  void setDiameter(int diameter);

  QSize sizeHint() const override { return {diameter_, diameter_}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QTimer timer_;
  int step_ = 0;
  int diameter_ = 32;
};

}  // namespace murvel::linux_platform::ui
