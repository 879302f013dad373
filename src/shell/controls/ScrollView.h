#pragma once

#include "shell/controls/Control.h"

namespace murvel {

// Scrolls one document control (a text view or a table) inside a fixed frame.
class ScrollView : public Control {
 public:
  ControlKind kind() const override { return ControlKind::scrollView; }

  Control* documentView() const { return document_; }
  void setDocumentView(Control& document) { assign(document_, &document); }
  bool hasVerticalScroller() const { return verticalScroller_; }
  void setHasVerticalScroller(bool has) { assign(verticalScroller_, has); }
  bool autohidesScrollers() const { return autohides_; }
  void setAutohidesScrollers(bool autohides) { assign(autohides_, autohides); }
  bool isBordered() const { return bordered_; }
  void setBordered(bool bordered) { assign(bordered_, bordered); }

 private:
  Control* document_ = nullptr;
  bool verticalScroller_ = false;
  bool autohides_ = false;
  bool bordered_ = true;
};

}  // namespace murvel
