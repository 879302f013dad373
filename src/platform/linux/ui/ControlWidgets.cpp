// The widgets of single controls: labels, buttons, pop-ups, text fields, the segmented control,
// separators and the spinner.

#include <QApplication>
#include <QComboBox>
#include <QFrame>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTabBar>
#include <cmath>

#include "platform/linux/ui/Binding.h"
#include "platform/linux/ui/Look.h"
#include "platform/linux/ui/RecordLabel.h"
#include "platform/linux/ui/Spinner.h"
#include "platform/linux/ui/Widgets.h"

namespace murvel::linux_platform::ui {

namespace {

Qt::Alignment alignmentFor(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::left:
      return Qt::AlignLeft;
    case TextAlignment::center:
      return Qt::AlignHCenter;
    case TextAlignment::right:
      return Qt::AlignRight;
  }
  return Qt::AlignLeft;
}

void setForeground(QWidget& widget, Color color) {
  QPalette palette = widget.palette();
  const QColor wanted = colorFor(color, QApplication::palette());
  if (palette.color(QPalette::WindowText) == wanted &&
      palette.color(QPalette::ButtonText) == wanted)
    return;
  palette.setColor(QPalette::WindowText, wanted);
  palette.setColor(QPalette::ButtonText, wanted);
  widget.setPalette(palette);
}

void setFontIfChanged(QWidget& widget, const QFont& font) {
  if (widget.font() != font)
    widget.setFont(font);
}

// A record's title as a button shows it: an ampersand is a character, not a mnemonic.
QString buttonText(const std::string& title) {
  return QString::fromStdString(title).replace(QLatin1Char('&'), QLatin1String("&&"));
}

class LabelBinding final : public RecordBinding<Label, RecordLabel> {
 public:
  using RecordBinding::RecordBinding;

 private:
  void apply() override {
    const Label& label = record();
    const QString text = QString::fromStdString(label.text());
    if (view().text() != text)
      view().setText(text);
    setForeground(view(), label.textColor());
    setFontIfChanged(view(), fontFor(label.font()));
    view().setAlignment(alignmentFor(label.alignment()) | Qt::AlignVCenter);
    view().setLines(label.maximumNumberOfLines(),
                    label.lineBreakMode() == LineBreakMode::truncatingMiddle
                        ? RecordLabel::Elide::middle
                        : RecordLabel::Elide::tail);
    std::optional<QColor> badge;
    if (label.backgroundColor()) {
      badge = colorFor(*label.backgroundColor(), QApplication::palette());
      badge->setAlphaF(badge->alphaF() * label.backgroundAlpha());
    }
    view().setBadge(badge, label.cornerRadius());
  }
};

class ButtonBinding final : public RecordBinding<Button, QPushButton> {
 public:
  ButtonBinding(Button& button, QPushButton& widget) : RecordBinding(button, widget) {
    widget.setAutoDefault(false);
    connect(&widget, &QPushButton::clicked, this, [this] {
      if (control() != nullptr)
        record().performClick();
    });
  }

 private:
  void apply() override {
    const Button& button = record();
    const QString text = buttonText(button.title());
    if (view().text() != text)
      view().setText(text);
    view().setEnabled(button.isEnabled());
    view().setFlat(!button.isBordered());
    // A button whose record names no font of its own takes the one of its control size.
    setFontIfChanged(
        view(), button.font() == Font{} ? fontFor(button.controlSize()) : fontFor(button.font()));
    view().setDefault(button.keyEquivalent() == "\r");
    if (!button.isBordered() && button.size().width <= 0) {
      // A borderless button is as small as its title.
      const QFontMetrics metrics(view().font());
      view().setFixedSize(metrics.horizontalAdvance(view().text()) + 14, metrics.height() + 8);
    }
  }
};

class PopUpBinding final : public RecordBinding<PopUpButton, QComboBox> {
 public:
  PopUpBinding(PopUpButton& popUp, QComboBox& widget) : RecordBinding(popUp, widget) {
    widget.setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(&widget, &QComboBox::activated, this, [this](int index) {
      if (control() != nullptr)
        record().choose(index);
    });
  }

 private:
  void apply() override {
    const PopUpButton& popUp = record();
    const QSignalBlocker blocker(&view());
    QStringList titles;
    for (const std::string& title : popUp.itemTitles())
      titles.push_back(QString::fromStdString(title));
    QStringList shown;
    for (int i = 0; i < view().count(); ++i) shown.push_back(view().itemText(i));
    if (shown != titles) {
      view().clear();
      view().addItems(titles);
    }
    view().setCurrentIndex(static_cast<int>(popUp.indexOfSelectedItem()));
    view().setEnabled(popUp.isEnabled());
    setFontIfChanged(view(), fontFor(popUp.controlSize()));
  }
};

class TextFieldBinding final : public RecordBinding<TextField, QLineEdit> {
 public:
  TextFieldBinding(TextField& field, QLineEdit& widget) : RecordBinding(field, widget) {
    connect(&widget, &QLineEdit::textEdited, this, [this](const QString& text) {
      if (control() != nullptr)
        record().userEdited(text.toStdString());
    });
    connect(&widget, &QLineEdit::returnPressed, this, [this] {
      if (control() != nullptr)
        record().pressReturn();
    });
  }

 private:
  void apply() override {
    const TextField& field = record();
    const QString value = QString::fromStdString(field.stringValue());
    // Writing back what the user just typed would move the cursor.
    if (view().text() != value)
      view().setText(value);
    view().setPlaceholderText(QString::fromStdString(field.placeholderString()));
    setFontIfChanged(view(), fontFor(field.font()));
  }
};

class SegmentedBinding final : public RecordBinding<SegmentedControl, QTabBar> {
 public:
  SegmentedBinding(SegmentedControl& segments, QTabBar& widget) : RecordBinding(segments, widget) {
    widget.setDrawBase(false);
    widget.setExpanding(false);
    widget.setFocusPolicy(Qt::TabFocus);
    connect(&widget, &QTabBar::tabBarClicked, this, [this](int index) {
      if (control() != nullptr && index >= 0)
        record().choose(index);
    });
  }

 private:
  void apply() override {
    const SegmentedControl& segments = record();
    const QSignalBlocker blocker(&view());
    const auto& labels = segments.labels();
    while (view().count() > static_cast<int>(labels.size())) view().removeTab(view().count() - 1);
    for (std::size_t i = 0; i < labels.size(); ++i) {
      const QString label = QString::fromStdString(labels[i]);
      if (static_cast<int>(i) < view().count())
        view().setTabText(static_cast<int>(i), label);
      else
        view().addTab(label);
    }
    view().setCurrentIndex(static_cast<int>(segments.selectedSegment()));
    setFontIfChanged(view(), fontFor(ControlSize::regular));
  }
};

class BoxBinding final : public RecordBinding<Box, QFrame> {
 public:
  using RecordBinding::RecordBinding;

 private:
  void apply() override {
    if (record().boxType() == BoxType::separator) {
      view().setFrameShape(QFrame::HLine);
      view().setFrameShadow(QFrame::Plain);
      view().setForegroundRole(QPalette::Mid);
      view().setFixedHeight(1);
    } else {
      view().setFrameShape(QFrame::StyledPanel);
    }
  }
};

class ProgressBinding final : public RecordBinding<ProgressIndicator, Spinner> {
 public:
  using RecordBinding::RecordBinding;

 private:
  void apply() override {
    const ProgressIndicator& indicator = record();
    view().setDiameter(indicator.controlSize() == ControlSize::small ? 16 : 32);
    view().setAnimating(indicator.isAnimating());
  }
  void applyFrame() override {
    Binding::applyFrame();
    const ProgressIndicator& indicator = record();
    // A stopped spinner that is not displayed when stopped is gone from the screen.
    const bool shown =
        !indicator.isHidden() && (indicator.isAnimating() || indicator.isDisplayedWhenStopped());
    if (view().isHidden() == shown)
      view().setHidden(!shown);
  }
};

}  // namespace

QWidget* makeLabel(Label& label, QWidget* parent) {
  return bindWidget<LabelBinding>(label, new RecordLabel(parent));
}

QWidget* makeButton(Button& button, QWidget* parent) {
  return bindWidget<ButtonBinding>(button, new QPushButton(parent));
}

QWidget* makePopUpButton(PopUpButton& popUp, QWidget* parent) {
  return bindWidget<PopUpBinding>(popUp, new QComboBox(parent));
}

QWidget* makeTextField(TextField& field, QWidget* parent) {
  return bindWidget<TextFieldBinding>(field, new QLineEdit(parent));
}

QWidget* makeSegmentedControl(SegmentedControl& control, QWidget* parent) {
  return bindWidget<SegmentedBinding>(control, new QTabBar(parent));
}

QWidget* makeBox(Box& box, QWidget* parent) {
  return bindWidget<BoxBinding>(box, new QFrame(parent));
}

QWidget* makeProgressIndicator(ProgressIndicator& indicator, QWidget* parent) {
  return bindWidget<ProgressBinding>(indicator, new Spinner(parent));
}

}  // namespace murvel::linux_platform::ui
