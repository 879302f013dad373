#pragma once

#include <QWidget>

#include "shell/controls/Box.h"
#include "shell/controls/Button.h"
#include "shell/controls/Label.h"
#include "shell/controls/PopUpButton.h"
#include "shell/controls/ProgressIndicator.h"
#include "shell/controls/ScrollView.h"
#include "shell/controls/SegmentedControl.h"
#include "shell/controls/TabView.h"
#include "shell/controls/TableView.h"
#include "shell/controls/TextField.h"
#include "shell/controls/TextView.h"
#include "shell/controls/View.h"

namespace murvel::linux_platform::ui {

// One widget per record kind, each bound to its record. makeWidget() in Binding.h picks the one.

// ControlWidgets.cpp
QWidget* makeLabel(Label& label, QWidget* parent);
QWidget* makeButton(Button& button, QWidget* parent);
QWidget* makePopUpButton(PopUpButton& popUp, QWidget* parent);
QWidget* makeTextField(TextField& field, QWidget* parent);
QWidget* makeSegmentedControl(SegmentedControl& control, QWidget* parent);
QWidget* makeBox(Box& box, QWidget* parent);
QWidget* makeProgressIndicator(ProgressIndicator& indicator, QWidget* parent);

// ScrollingWidgets.cpp: a scroll view is its document's widget, framed as the scroll view says.
QWidget* makeScrollView(ScrollView& scrollView, QWidget* parent);
QWidget* makeTextView(TextView& textView, QWidget* parent, bool appliesFrame = true);
QWidget* makeTableView(TableView& table, QWidget* parent, bool appliesFrame = true);

// ViewWidgets.cpp
enum class ViewDensity { regular, tableRow };
QWidget* makeView(View& view, QWidget* parent, ViewDensity density = ViewDensity::regular);
QWidget* makeTabView(TabView& tabView, QWidget* parent);

}  // namespace murvel::linux_platform::ui
