#include "tests/desktop/sidebar/shown_rows.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace ravant::test {

using desktop::SidebarRows;

std::string line(const SidebarRows& model, int row) {
  const auto text = [&](SidebarRows::Role role) { return model.data(model.index(row), role).toString().toStdString(); };
  std::string shown = text(SidebarRows::nameRole);
  if (const std::string count = text(SidebarRows::newCountRole); !count.empty()) shown += " | " + count + " new";
  if (const std::string note = text(SidebarRows::noteRole); !note.empty()) shown += " | " + note;
  const bool isProject = model.data(model.index(row), SidebarRows::kindRole).toInt() == SidebarRows::Project;
  if (!isProject) return "  " + shown;
  return (model.data(model.index(row), SidebarRows::isOpenRole).toBool() ? "v " : "> ") + shown;
}

std::vector<std::string> lines(const SidebarRows& model) {
  std::vector<std::string> shown;
  for (int row = 0; row < model.rowCount(); ++row) shown.push_back(line(model, row));
  return shown;
}

AnnouncedRows::AnnouncedRows(SidebarRows& model)
    : model_(model),
      lines_(test::lines(model)),
      tester_(&model, QAbstractItemModelTester::FailureReportingMode::Warning) {
  const auto at = [this](int row) { return lines_.begin() + row; };
  QObject::connect(&model, &SidebarRows::rowsInserted, &connections_, [this, at](auto, int first, int last) {
    for (int row = first; row <= last; ++row) lines_.insert(at(row), line(model_, row));
  });
  QObject::connect(&model, &SidebarRows::rowsRemoved, &connections_,
                   [this, at](auto, int first, int last) { lines_.erase(at(first), at(last + 1)); });
  QObject::connect(&model, &SidebarRows::rowsMoved, &connections_, [this, at](auto, int first, int last, auto, int to) {
    ASSERT_EQ(first, last);
    const std::string moved = lines_[static_cast<std::size_t>(first)];
    lines_.erase(at(first));
    lines_.insert(at(to > first ? to - 1 : to), moved);
  });
  QObject::connect(&model, &SidebarRows::dataChanged, &connections_, [this](const auto& first, const auto& last) {
    for (int row = first.row(); row <= last.row(); ++row) lines_[static_cast<std::size_t>(row)] = line(model_, row);
  });
  QObject::connect(&model, &SidebarRows::modelReset, &connections_, [] { ADD_FAILURE() << "all rows at once"; });
}

testing::AssertionResult comesToShow(const SidebarRows& model, const std::vector<std::string>& expected) {
  if (until([&] { return lines(model) == expected; }, std::chrono::seconds(10))) return testing::AssertionSuccess();
  return testing::AssertionFailure() << fmt::format("shows\n{}\nnot\n{}", fmt::join(lines(model), "\n"),
                                                    fmt::join(expected, "\n"));
}

}  // namespace ravant::test
