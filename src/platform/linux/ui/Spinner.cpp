#include "platform/linux/ui/Spinner.h"

#include <QPainter>

namespace murvel::linux_platform::ui {

namespace {
constexpr int tickCount = 12;
constexpr int tickIntervalMs = 80;
}  // namespace

Spinner::Spinner(QWidget* parent) : QWidget(parent) {
  setAttribute(Qt::WA_TransparentForMouseEvents);
  timer_.setInterval(tickIntervalMs);
  connect(&timer_, &QTimer::timeout, this, [this] {
    step_ = (step_ + 1) % tickCount;
    update();
  });
  setFixedSize(diameter_, diameter_);
}

void Spinner::setAnimating(bool animating) {
  if (animating == timer_.isActive())
    return;
  if (animating)
    timer_.start();
  else
    timer_.stop();
  update();
}

void Spinner::setDiameter(int diameter) {
  diameter_ = diameter;
  setFixedSize(diameter_, diameter_);
}

void Spinner::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.translate(width() / 2.0, height() / 2.0);
  const double radius = std::min(width(), height()) / 2.0;
  QColor color = palette().color(QPalette::WindowText);
  for (int i = 0; i < tickCount; ++i) {
    // The newest tick is darkest; the others fade behind it.
    const int age = (step_ - i + tickCount) % tickCount;
    color.setAlphaF(1.0 - 0.8 * age / tickCount);
    painter.setPen(QPen(color, radius / 6.0, Qt::SolidLine, Qt::RoundCap));
    painter.save();
    painter.rotate(360.0 * i / tickCount);
    painter.drawLine(QPointF(0, -radius * 0.5), QPointF(0, -radius * 0.9));
    painter.restore();
  }
}

}  // namespace murvel::linux_platform::ui
