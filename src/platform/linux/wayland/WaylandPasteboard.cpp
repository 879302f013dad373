#include "platform/linux/wayland/WaylandPasteboard.h"

#include <QObject>
#include <QProcess>
#include <QTimer>

namespace murvel::linux_platform {

namespace {

// A compositor that never answers wl-copy must not hold a paste back for long; a loaded desktop
// can take over a second to start it, and a paste before it has the text would paste the old one.
constexpr int writeLimitMs = 3000;

}  // namespace

WaylandPasteboard::WaylandPasteboard(Pasteboard& x11Clipboard)
    : x11Clipboard_(x11Clipboard), context_(std::make_unique<QObject>()) {}

WaylandPasteboard::~WaylandPasteboard() = default;

void WaylandPasteboard::clearContents() {
  x11Clipboard_.clearContents();
}

bool WaylandPasteboard::setString(const std::string& text, std::string_view) {
  // Only wl-copy takes the selection: XWayland hands it on to X11 clients, while a write to the
  // X11 clipboard as well would reach the compositor through XWayland some moments later and
  // could take the selection back from wl-copy just as the paste asks for it.
  auto* process = new QProcess(context_.get());
  // The copy that stays behind to serve the text must not hold pipes of ours open.
  process->setStandardOutputFile(QProcess::nullDevice());
  process->setStandardErrorFile(QProcess::nullDevice());
  ++writing_;
  // Whichever comes first ends this write: wl-copy's end, its failure to start, the limit.
  auto done = std::make_shared<bool>(false);
  const auto finish = [this, process, done] {
    if (*done)
      return;
    *done = true;
    process->deleteLater();
    written();
  };
  QObject::connect(process, &QProcess::finished, context_.get(), finish);
  QObject::connect(process, &QProcess::errorOccurred, context_.get(),
                   [finish](QProcess::ProcessError error) {
                     if (error == QProcess::FailedToStart)
                       finish();
                   });
  QTimer::singleShot(writeLimitMs, process, finish);
  process->start("wl-copy", {"--type", "text/plain;charset=utf-8"});
  process->write(text.data(), static_cast<qint64>(text.size()));
  process->closeWriteChannel();
  return true;
}

std::optional<std::string> WaylandPasteboard::stringForType(std::string_view type) {
  return x11Clipboard_.stringForType(type);
}

void WaylandPasteboard::whenWritten(std::function<void()> then) {
  if (writing_ == 0) {
    then();
    return;
  }
  waiting_.push_back(std::move(then));
}

void WaylandPasteboard::written() {
  if (--writing_ > 0)
    return;
  auto waiting = std::move(waiting_);
  waiting_.clear();
  for (auto& then : waiting) then();
}

}  // namespace murvel::linux_platform
