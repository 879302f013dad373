#include "platform/linux/ui/Binding.h"

#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <cmath>

namespace murvel::linux_platform::ui {

Binding::Binding(Control& control, QWidget& widget) : control_(&control), widget_(&widget) {}

Binding::~Binding() {
  if (control_ != nullptr && listener_ != 0)
    control_->removeListener(listener_);
}

void Binding::start() {
  widget_->installEventFilter(this);
  if (appliesFrame_)
    applyFrame();
  apply();
  listener_ = control_->addListener([this](ControlEvent event) {
    if (event == ControlEvent::destroyed) {
      control_ = nullptr;
      listener_ = 0;
      recordGone();
      return;
    }
    if (event == ControlEvent::changed) {
      if (appliesFrame_)
        applyFrame();
      apply();
      return;
    }
    handle(event);
  });
}

bool Binding::eventFilter(QObject* watched, QEvent* event) {
  if (watched == widget_ && control_ != nullptr &&
      event->type() == QEvent::ApplicationPaletteChange)
    apply();
  return QObject::eventFilter(watched, event);
}

void Binding::applyFrame() {
  const Control& control = *control_;
  const QString toolTip = QString::fromStdString(control.toolTip());
  if (widget_->toolTip() != toolTip)
    widget_->setToolTip(toolTip);
  const Size size = control.size();
  if (size.width > 0)
    widget_->setFixedWidth(static_cast<int>(std::lround(size.width)));
  if (size.height > 0)
    widget_->setFixedHeight(static_cast<int>(std::lround(size.height)));
  const double alpha = control.alphaValue();
  auto* effect = qobject_cast<QGraphicsOpacityEffect*>(widget_->graphicsEffect());
  if (alpha < 1.0) {
    if (effect == nullptr) {
      effect = new QGraphicsOpacityEffect(widget_);
      widget_->setGraphicsEffect(effect);
    }
    effect->setOpacity(alpha);
  } else if (effect != nullptr) {
    widget_->setGraphicsEffect(nullptr);
  }
  if (widget_->isHidden() != control.isHidden())
    widget_->setHidden(control.isHidden());
}

}  // namespace murvel::linux_platform::ui

#include "platform/linux/ui/Widgets.h"

namespace murvel::linux_platform::ui {

QWidget* makeWidget(Control& control, QWidget* parent) {
  switch (control.kind()) {
    case ControlKind::label:
      return makeLabel(static_cast<Label&>(control), parent);
    case ControlKind::button:
      return makeButton(static_cast<Button&>(control), parent);
    case ControlKind::popUpButton:
      return makePopUpButton(static_cast<PopUpButton&>(control), parent);
    case ControlKind::textView:
      return makeTextView(static_cast<TextView&>(control), parent);
    case ControlKind::textField:
      return makeTextField(static_cast<TextField&>(control), parent);
    case ControlKind::segmentedControl:
      return makeSegmentedControl(static_cast<SegmentedControl&>(control), parent);
    case ControlKind::tableView:
      return makeTableView(static_cast<TableView&>(control), parent);
    case ControlKind::scrollView:
      return makeScrollView(static_cast<ScrollView&>(control), parent);
    case ControlKind::progressIndicator:
      return makeProgressIndicator(static_cast<ProgressIndicator&>(control), parent);
    case ControlKind::box:
      return makeBox(static_cast<Box&>(control), parent);
    case ControlKind::view:
      return makeView(static_cast<View&>(control), parent);
    case ControlKind::tabView:
      return makeTabView(static_cast<TabView&>(control), parent);
    case ControlKind::statusItemButton:
    case ControlKind::window:
    case ControlKind::popover:
      // Whole surfaces: the status bar and the window server show them.
      return nullptr;
  }
  return nullptr;
}

}  // namespace murvel::linux_platform::ui
