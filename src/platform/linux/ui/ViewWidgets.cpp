// Containers: a view lays its records out in rows; a tab view shows one view per tab.

#include <QApplication>
#include <QBoxLayout>
#include <QEvent>
#include <QSignalBlocker>
#include <QTabWidget>
#include <vector>

#include "platform/linux/ui/Binding.h"
#include "platform/linux/ui/Look.h"
#include "platform/linux/ui/Widgets.h"

namespace murvel::linux_platform::ui {

namespace {

struct Spacing {
  int sideMargin;
  int verticalMargin;
  int rowSpacing;
};

Spacing spacingFor(ViewDensity density) {
  return density == ViewDensity::tableRow ? Spacing{8, 2, 1} : Spacing{10, 4, 4};
}

// Kinds that take whatever width their line leaves them when the record fixes none.
bool takesSpareWidth(const Control& control) {
  if (control.size().width > 0)
    return false;
  switch (control.kind()) {
    case ControlKind::label:
    case ControlKind::textField:
    case ControlKind::textView:
    case ControlKind::tableView:
    case ControlKind::scrollView:
    case ControlKind::box:
    case ControlKind::view:
    case ControlKind::tabView:
      return true;
    default:
      return false;
  }
}

class ViewBinding final : public RecordBinding<View, QWidget> {
 public:
  ViewBinding(View& record, QWidget& widget, ViewDensity density)
      : RecordBinding(record, widget), spacing_(spacingFor(density)) {}

 private:
  void apply() override {
    const View& record = this->record();
    if (record.backgroundColor()) {
      QPalette palette = view().palette();
      palette.setColor(QPalette::Window,
                       colorFor(*record.backgroundColor(), QApplication::palette()));
      view().setPalette(palette);
      view().setAutoFillBackground(true);
    }
    if (record.rows().size() != builtRows_ || record.overlays().size() != overlays_.size())
      rebuild();
  }

  void rebuild() {
    for (QWidget* child : view().findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) delete child;
    delete view().layout();
    overlays_.clear();
    const View& record = this->record();
    auto* column = new QVBoxLayout(&view());
    column->setContentsMargins(0, spacing_.verticalMargin, 0, spacing_.verticalMargin);
    // A line whose controls are all hidden takes no room and no spacing.
    column->setSpacing(spacing_.rowSpacing);
    for (const LayoutRow& row : record.rows()) column->addLayout(buildLine(row));
    column->addStretch(1);
    builtRows_ = record.rows().size();
    for (Control* control : record.overlays()) {
      if (QWidget* overlay = makeWidget(*control, &view())) {
        overlay->raise();
        overlays_.push_back(overlay);
      }
    }
    placeOverlays();
  }

  QHBoxLayout* buildLine(const LayoutRow& row) {
    auto* line = new QHBoxLayout;
    line->setSpacing(6);
    const std::size_t count = row.leading.size() + row.center.size() + row.trailing.size();
    const Control* lone = count == 1 ? (row.leading.size() == 1  ? row.leading.front()
                                        : row.center.size() == 1 ? row.center.front()
                                                                 : row.trailing.front())
                                     : nullptr;
    // A nested view spans the whole width: its own lines keep the margins.
    const bool nested = lone != nullptr && lone->kind() == ControlKind::view;
    const int side = nested ? 0 : spacing_.sideMargin;
    line->setContentsMargins(side, static_cast<int>(row.spacingBefore), side, 0);
    bool anyFlexible = false;
    for (const auto* group : {&row.leading, &row.center, &row.trailing}) {
      for (const Control* control : *group) anyFlexible |= takesSpareWidth(*control);
    }
    // A lone control without a fixed width fills the line.
    const bool fills = lone != nullptr && lone->size().width <= 0;
    const auto add = [&](Control* control) {
      QWidget* widget = makeWidget(*control, &view());
      if (widget == nullptr)
        return;
      // Each control first gets the width it asks for; what is left goes to those that take
      // spare width.
      if (takesSpareWidth(*control)) {
        QSizePolicy policy = widget->sizePolicy();
        policy.setHorizontalPolicy(QSizePolicy::Expanding);
        widget->setSizePolicy(policy);
      }
      line->addWidget(widget, fills ? 1 : 0, Qt::AlignVCenter);
    };
    for (Control* control : row.leading) add(control);
    const bool spacers = !anyFlexible && !fills;
    if (spacers && (!row.center.empty() || !row.trailing.empty()))
      line->addStretch(1);
    for (Control* control : row.center) add(control);
    if (spacers && !row.center.empty())
      line->addStretch(1);
    for (Control* control : row.trailing) add(control);
    return line;
  }

  // Overlays stand over the middle of the view, at their own size.
  void placeOverlays() {
    for (QWidget* overlay : overlays_) {
      const QSize size = overlay->sizeHint();
      overlay->setGeometry((view().width() - size.width()) / 2,
                           (view().height() - size.height()) / 2, size.width(), size.height());
    }
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (watched == &view() && event->type() == QEvent::Resize)
      placeOverlays();
    return Binding::eventFilter(watched, event);
  }

  Spacing spacing_;
  std::size_t builtRows_ = 0;
  std::vector<QWidget*> overlays_;
};

class TabViewBinding final : public RecordBinding<TabView, QTabWidget> {
 public:
  TabViewBinding(TabView& tabView, QTabWidget& widget) : RecordBinding(tabView, widget) {
    connect(&widget, &QTabWidget::currentChanged, this, [this](int index) {
      if (control() != nullptr)
        record().selectItem(index);
    });
  }

 private:
  void apply() override {
    const TabView& tabView = record();
    const QSignalBlocker blocker(&view());
    const auto& items = tabView.items();
    if (static_cast<std::size_t>(view().count()) != items.size()) {
      while (view().count() > 0) {
        QWidget* page = view().widget(0);
        view().removeTab(0);
        delete page;
      }
      for (const TabView::Item& item : items) {
        view().addTab(makeView(*item.view, &view()), QString::fromStdString(item.label));
      }
    }
    for (std::size_t i = 0; i < items.size(); ++i)
      view().setTabText(static_cast<int>(i), QString::fromStdString(items[i].label));
    view().setCurrentIndex(static_cast<int>(tabView.indexOfSelectedItem()));
    const QFont font = fontFor(ControlSize::regular);
    if (view().font() != font)
      view().setFont(font);
  }
};

}  // namespace

QWidget* makeView(View& view, QWidget* parent, ViewDensity density) {
  auto* widget = new QWidget(parent);
  auto* binding = new ViewBinding(view, *widget, density);
  binding->setParent(widget);
  binding->start();
  return widget;
}

QWidget* makeTabView(TabView& tabView, QWidget* parent) {
  return bindWidget<TabViewBinding>(tabView, new QTabWidget(parent));
}

}  // namespace murvel::linux_platform::ui
