#pragma once

#include <QAbstractItemModelTester>
#include <string>
#include <vector>

#include "desktop/sidebar/sidebar_rows.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {

/// What a row shows, in one line.
std::string line(const desktop::SidebarRows& model, int row);
std::vector<std::string> lines(const desktop::SidebarRows& model);

/// A list that knows a model only by what it announced.
class AnnouncedRows {
 public:
  explicit AnnouncedRows(desktop::SidebarRows& model);

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  desktop::SidebarRows& model_;
  std::vector<std::string> lines_;
  QAbstractItemModelTester tester_;
  QObject connections_;
};

/// Runs the loop until the model shows exactly these rows; tells what it shows where it does not.
testing::AssertionResult comesToShow(const desktop::SidebarRows& model, const std::vector<std::string>& expected);

}  // namespace ravant::test
