#include "platform/linux/qt/QtDispatch.h"

#include <QCoreApplication>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <chrono>
#include <cmath>

namespace murvel::linux_platform {

namespace {

std::chrono::milliseconds toMilliseconds(double seconds) {
  if (!(seconds > 0))
    return std::chrono::milliseconds(0);
  return std::chrono::milliseconds(static_cast<long long>(std::llround(seconds * 1000.0)));
}

int priorityFor(QualityOfService qos) {
  switch (qos) {
    case QualityOfService::userInteractive:
      return 3;
    case QualityOfService::userInitiated:
      return 2;
    case QualityOfService::utility:
      return 1;
    case QualityOfService::background:
      return 0;
  }
  return 0;
}

class QtTimer final : public Timer {
 public:
  QtTimer(double interval, std::function<void()> tick) : timer_(new QTimer()) {
    timer_->setTimerType(Qt::PreciseTimer);
    timer_->setInterval(toMilliseconds(interval));
    QObject::connect(timer_, &QTimer::timeout, timer_, std::move(tick));
    timer_->start();
  }
  ~QtTimer() override { invalidate(); }

  void invalidate() override {
    if (timer_ == nullptr)
      return;
    timer_->stop();
    timer_->deleteLater();
    timer_ = nullptr;
  }
  bool isValid() const override { return timer_ != nullptr; }

 private:
  QTimer* timer_;
};

}  // namespace

void QtDispatch::async(std::function<void()> work) {
  // Posted to an application whose loop has ended, the work is dropped with the application.
  if (QCoreApplication* application = QCoreApplication::instance())
    QMetaObject::invokeMethod(application, std::move(work), Qt::QueuedConnection);
}

void QtDispatch::asyncAfter(double seconds, std::shared_ptr<WorkItem> item) {
  const auto delay = toMilliseconds(seconds);
  auto start = [delay, item = std::move(item)] {
    QTimer::singleShot(delay, Qt::PreciseTimer, QCoreApplication::instance(),
                       [item] { item->perform(); });
  };
  // Timers belong to the thread that starts them. On the main thread the delay runs from now,
  // not from after the rest of this turn; other threads hand the start to the main thread.
  QCoreApplication* application = QCoreApplication::instance();
  if (application != nullptr && QThread::currentThread() == application->thread()) {
    start();
  } else {
    async(std::move(start));
  }
}

void QtDispatch::global(QualityOfService qos, std::function<void()> work) {
  QThreadPool::globalInstance()->start(std::move(work), priorityFor(qos));
}

std::shared_ptr<Timer> QtDispatch::scheduledRepeatingTimer(double interval,
                                                           std::function<void()> tick) {
  return std::make_shared<QtTimer>(interval, std::move(tick));
}

Date QtDispatch::now() const {
  return std::chrono::system_clock::now();
}

void QtDispatch::waitForGlobalWork() {
  QThreadPool::globalInstance()->waitForDone();
}

}  // namespace murvel::linux_platform
