// Widgets that scroll: the text view, the table, and the scroll view that frames either.

#include <QApplication>
#include <QHeaderView>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QTextEdit>
#include <cmath>
#include <memory>
#include <vector>

#include "platform/linux/ui/Binding.h"
#include "platform/linux/ui/Look.h"
#include "platform/linux/ui/Widgets.h"

namespace murvel::linux_platform::ui {

namespace {

class TextViewBinding final : public RecordBinding<TextView, QTextEdit> {
 public:
  TextViewBinding(TextView& textView, QTextEdit& widget) : RecordBinding(textView, widget) {
    widget.setAcceptRichText(false);
    widget.setLineWrapMode(QTextEdit::WidgetWidth);
    connect(&widget, &QTextEdit::textChanged, this, [this] {
      if (control() != nullptr && record().isEditable() && !applying_)
        record().setString(view().toPlainText().toStdString());
    });
  }

 private:
  void apply() override {
    const TextView& textView = record();
    applying_ = true;
    const QString text = QString::fromStdString(textView.string());
    if (view().toPlainText() != text)
      view().setPlainText(text);
    applying_ = false;
    QPalette palette = view().palette();
    const QPalette application = QApplication::palette();
    palette.setColor(QPalette::Text, colorFor(textView.textColor(), application));
    const bool clear = textView.backgroundColor() == Color::clearColor;
    palette.setColor(QPalette::Base, clear ? QColor(Qt::transparent)
                                           : colorFor(textView.backgroundColor(), application));
    if (palette != view().palette())
      view().setPalette(palette);
    view().viewport()->setAutoFillBackground(!clear);
    const QFont font = fontFor(textView.font());
    if (view().font() != font)
      view().setFont(font);
    view().setReadOnly(!textView.isEditable());
    Qt::TextInteractionFlags flags = Qt::NoTextInteraction;
    if (textView.isEditable())
      flags = Qt::TextEditorInteraction;
    else if (textView.isSelectable())
      flags = Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard;
    view().setTextInteractionFlags(flags);
    const Size inset = textView.textContainerInset();
    view().document()->setDocumentMargin(std::max(inset.width, inset.height));
  }

  bool applying_ = false;
};

class TableBinding final : public RecordBinding<TableView, QTableWidget> {
 public:
  TableBinding(TableView& table, QTableWidget& widget) : RecordBinding(table, widget) {
    widget.setColumnCount(1);
    widget.setShowGrid(false);
    widget.setSelectionBehavior(QAbstractItemView::SelectRows);
    widget.setSelectionMode(QAbstractItemView::SingleSelection);
    widget.setEditTriggers(QAbstractItemView::NoEditTriggers);
    widget.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    widget.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    widget.verticalHeader()->hide();
    widget.horizontalHeader()->setStretchLastSection(true);
    connect(&widget, &QTableWidget::currentCellChanged, this, [this](int row) {
      if (control() != nullptr && !reloading_)
        record().selectRow(row);
    });
    connect(&widget, &QTableWidget::cellDoubleClicked, this, [this](int row) {
      if (control() != nullptr)
        record().doubleClick(row);
    });
  }

 private:
  void apply() override {
    const TableView& table = record();
    view().horizontalHeader()->setVisible(table.hasHeaderView());
    if (!table.tableColumns().empty()) {
      view().setHorizontalHeaderLabels(
          {QString::fromStdString(table.tableColumns().front().title)});
    }
    view().setAlternatingRowColors(table.usesAlternatingRowBackgroundColors());
    const int height = static_cast<int>(std::lround(table.rowHeight()));
    view().verticalHeader()->setMinimumSectionSize(1);
    view().verticalHeader()->setDefaultSectionSize(height);
    for (int row = 0; row < view().rowCount(); ++row) view().setRowHeight(row, height);
    if (!loaded_)
      reload();
    const QSignalBlocker blocker(&view());
    if (view().currentRow() != static_cast<int>(table.selectedRow())) {
      if (table.selectedRow() < 0)
        view().clearSelection();
      view().setCurrentCell(static_cast<int>(table.selectedRow()), 0);
    }
  }

  void handle(ControlEvent event) override {
    if (event == ControlEvent::reloadData)
      reload();
  }

  // Asks the data source for every row again; views are made anew, never reused.
  void reload() {
    loaded_ = true;
    reloading_ = true;
    view().setRowCount(0);
    rows_.clear();
    TableView& table = record();
    const long count = std::max(0L, table.numberOfRows());
    view().setRowCount(static_cast<int>(count));
    for (long row = 0; row < count; ++row) {
      view().setRowHeight(static_cast<int>(row), static_cast<int>(std::lround(table.rowHeight())));
      std::unique_ptr<View> cell = table.viewForRow(row);
      if (!cell)
        continue;
      view().setCellWidget(static_cast<int>(row), 0,
                           makeView(*cell, view().viewport(), ViewDensity::tableRow));
      rows_.push_back(std::move(cell));
    }
    view().clearSelection();
    view().setCurrentCell(-1, 0);
    reloading_ = false;
  }

  std::vector<std::unique_ptr<View>> rows_;
  bool loaded_ = false;
  bool reloading_ = false;
};

class ScrollBinding final : public RecordBinding<ScrollView, QAbstractScrollArea> {
 public:
  using RecordBinding::RecordBinding;

 private:
  void apply() override {
    const ScrollView& scroll = record();
    Qt::ScrollBarPolicy vertical = Qt::ScrollBarAlwaysOff;
    if (scroll.hasVerticalScroller())
      vertical = scroll.autohidesScrollers() ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOn;
    view().setVerticalScrollBarPolicy(vertical);
    view().setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view().setFrameShape(scroll.isBordered() ? QFrame::StyledPanel : QFrame::NoFrame);
  }
};

}  // namespace

QWidget* makeTextView(TextView& textView, QWidget* parent, bool appliesFrame) {
  return bindWidget<TextViewBinding>(textView, new QTextEdit(parent), appliesFrame);
}

QWidget* makeTableView(TableView& table, QWidget* parent, bool appliesFrame) {
  return bindWidget<TableBinding>(table, new QTableWidget(parent), appliesFrame);
}

QWidget* makeScrollView(ScrollView& scrollView, QWidget* parent) {
  Control* document = scrollView.documentView();
  QAbstractScrollArea* area = nullptr;
  if (document != nullptr && document->kind() == ControlKind::textView)
    area = static_cast<QTextEdit*>(makeTextView(static_cast<TextView&>(*document), parent, false));
  else if (document != nullptr && document->kind() == ControlKind::tableView)
    area = static_cast<QTableWidget*>(
        makeTableView(static_cast<TableView&>(*document), parent, false));
  else
    area = new QAbstractScrollArea(parent);
  return bindWidget<ScrollBinding>(scrollView, area);
}

}  // namespace murvel::linux_platform::ui
