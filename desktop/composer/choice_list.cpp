#include "desktop/composer/choice_list.hpp"

#include <algorithm>

namespace ravant::desktop {

void ChoiceList::replace(std::vector<Choice> choices, const QString& chosen, bool takesAny) {
  if (all_ == choices && chosen_ == chosen && takesAny_ == takesAny) return;
  all_ = std::move(choices);
  chosen_ = chosen;
  takesAny_ = takesAny;
  refill();
}

const ChoiceList::Choice* ChoiceList::at(int row) const {
  return row >= 0 && row < rowCount() ? &shown_.at(static_cast<std::size_t>(row)) : nullptr;
}

void ChoiceList::setFilter(const QString& filter) {
  if (filter_ == filter) return;
  filter_ = filter;
  refill();
}

int ChoiceList::chosenRow() const {
  const auto found = std::ranges::find(shown_, chosen_, &Choice::value);
  return found == shown_.end() ? 0 : static_cast<int>(found - shown_.begin());
}

int ChoiceList::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

QVariant ChoiceList::data(const QModelIndex& index, int role) const {
  const Choice* const choice = at(index.row());
  if (choice == nullptr) return {};
  switch (role) {
    case ValueRole:
      return choice->value;
    case NameRole:
    case Qt::DisplayRole:
      return choice->name;
    case DetailRole:
      return choice->detail;
    case SectionRole:
      return choice->section;
    case IsChosenRole:
      return choice->value == chosen_;
    default:
      return {};
  }
}

QHash<int, QByteArray> ChoiceList::roleNames() const {
  return {{ValueRole, "value"},
          {NameRole, "name"},
          {DetailRole, "detail"},
          {SectionRole, "section"},
          {IsChosenRole, "isChosen"}};
}

bool ChoiceList::fits(const Choice& choice) const {
  const QStringList words = filter_.split(QLatin1Char(' '), Qt::SkipEmptyParts);
  return std::ranges::all_of(words, [&](const QString& word) {
    return choice.name.contains(word, Qt::CaseInsensitive) || choice.value.contains(word, Qt::CaseInsensitive) ||
           choice.section.contains(word, Qt::CaseInsensitive);
  });
}

void ChoiceList::refill() {
  beginResetModel();
  shown_.clear();
  std::ranges::copy_if(all_, std::back_inserter(shown_), [this](const Choice& choice) { return fits(choice); });
  const QString typed = filter_.trimmed();
  const bool isKnown =
      std::ranges::any_of(all_, [&](const Choice& choice) { return choice.value == typed || choice.name == typed; });
  if (takesAny_ && !typed.isEmpty() && !isKnown) {
    shown_.push_back({.value = typed, .name = tr("Use “%1” as it is").arg(typed)});
  }
  endResetModel();
  Q_EMIT filterChanged();
}

}  // namespace ravant::desktop
