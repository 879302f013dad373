#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shell/controls/View.h"

namespace murvel {

class TableView;

struct TableColumn {
  std::string identifier;
  std::string title;
  double width = 0;
};

// Where a table's rows come from: the table asks for them whenever its data is reloaded.
class TableViewDataSource {
 public:
  virtual ~TableViewDataSource() = default;
  virtual long numberOfRows(TableView& tableView) = 0;
  // A new view for the row, or nothing.
  virtual std::unique_ptr<View> viewFor(TableView& tableView, const TableColumn* column,
                                        long row) = 0;
  virtual double heightOfRow(TableView& tableView, long row) = 0;
};

// A list of rows whose views a data source makes on demand.
class TableView : public Control {
 public:
  ControlKind kind() const override { return ControlKind::tableView; }

  void addTableColumn(TableColumn column) {
    columns_.push_back(std::move(column));
    notify(ControlEvent::changed);
  }
  const std::vector<TableColumn>& tableColumns() const { return columns_; }
  bool hasHeaderView() const { return headerView_; }
  void setHeaderView(bool shown) { assign(headerView_, shown); }
  double rowHeight() const { return rowHeight_; }
  void setRowHeight(double height) { assign(rowHeight_, height); }
  bool usesAlternatingRowBackgroundColors() const { return alternating_; }
  void setUsesAlternatingRowBackgroundColors(bool uses) { assign(alternating_, uses); }

  // Not owned: the data source outlives the table.
  TableViewDataSource* dataSource = nullptr;
  std::function<void()> doubleAction;

  // The rows must be asked for again.
  void reloadData() {
    selected_ = -1;
    notify(ControlEvent::reloadData);
  }
  long numberOfRows() { return dataSource ? dataSource->numberOfRows(*this) : 0; }
  std::unique_ptr<View> viewForRow(long row) {
    if (!dataSource)
      return nullptr;
    return dataSource->viewFor(*this, columns_.empty() ? nullptr : &columns_.front(), row);
  }

  // -1 for none.
  long selectedRow() const { return selected_; }
  void selectRow(long row) { assign(selected_, row); }
  // A double click by the user on `row`: it selects the row, then acts.
  void doubleClick(long row) {
    selectRow(row);
    if (doubleAction)
      doubleAction();
  }

 private:
  std::vector<TableColumn> columns_;
  bool headerView_ = true;
  double rowHeight_ = 17;
  bool alternating_ = false;
  long selected_ = -1;
};

}  // namespace murvel
