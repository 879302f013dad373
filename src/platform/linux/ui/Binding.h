#pragma once

#include <QObject>
#include <QWidget>

#include "shell/controls/Control.h"

namespace murvel::linux_platform::ui {

// Keeps one widget showing one control record: it writes the whole record into the widget at the
// start and after each change, passes the record's happenings on, and forgets the record when the
// record goes away. It is a child of its widget, so it goes when the widget goes. It knows no rule
// of the system: the widget's signals only reach the operations that the record names.
class Binding : public QObject {
 public:
  Binding(Control& control, QWidget& widget);
  ~Binding() override;
  Binding(const Binding&) = delete;
  Binding& operator=(const Binding&) = delete;

  // Writes the record into the widget and follows it from now on.
  void start();
  // Null once the record is gone.
  Control* control() const { return control_; }
  // Whether the record's own visibility, size, tool tip and alpha are this binding's to apply.
  // A document inside a scroll view leaves them to the scroll view.
  void setAppliesFrame(bool applies) { appliesFrame_ = applies; }

 protected:
  // Writes every property of the record into the widget.
  virtual void apply() = 0;
  // A happening that is not a property: reloadData, performClick, orderFront, show.
  virtual void handle(ControlEvent) {}
  // The record went away: the widget stays, inert.
  virtual void recordGone() {}
  // Visibility, fixed size, tool tip and alpha of the record.
  virtual void applyFrame();
  QWidget& widget() const { return *widget_; }
  // A change of the desktop's theme: colours are chosen anew.
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  Control* control_;
  QWidget* widget_;
  Control::ListenerId listener_ = 0;
  bool appliesFrame_ = true;
};

// The record's type behind a binding: reads the record as what it is.
template <class Record, class Widget>
class RecordBinding : public Binding {
 public:
  RecordBinding(Record& record, Widget& widget) : Binding(record, widget), typed_(&widget) {}

 protected:
  Record& record() const { return static_cast<Record&>(*control()); }
  Widget& view() const { return *typed_; }

 private:
  Widget* typed_;
};

// Makes the widget that shows `control`, bound to it, as a child of `parent`. Every record kind
// but the ones that stand for whole surfaces (windows, popovers, the menu-bar button) has one.
QWidget* makeWidget(Control& control, QWidget* parent);

// Makes `binding`'s widget follow its record: the binding becomes the widget's child.
template <class B, class Record, class Widget>
Widget* bindWidget(Record& record, Widget* widget, bool appliesFrame = true) {
  auto* binding = new B(record, *widget);
  binding->setParent(widget);
  binding->setAppliesFrame(appliesFrame);
  binding->start();
  return widget;
}

}  // namespace murvel::linux_platform::ui
