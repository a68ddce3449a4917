#pragma once

#include <map>
#include <stop_token>

#include "core/store/search/search_reader.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/palette/palette_rows.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// Places in the transcripts of all conversations, found while one types. Choosing one goes there.
class SearchModel : public PaletteRows, public ViewModel {
  Q_OBJECT
  QML_ELEMENT

 public:
  explicit SearchModel(QObject* parent = nullptr) : SearchModel(DesktopWindow::instance(), parent) {}
  SearchModel(DesktopWindow& window, QObject* parent);
  ~SearchModel() override;

  void open() override;
  void close() override;
  void choose(int row) override;
  void take() override;

 private:
  struct Place {
    ConversationId conversation;
    ProjectId project;
    ConversationItemId item;
  };

  void look() override;
  void forget();
  QString nothingFound() const;
  awaitable<void> search(Turns::Turn turn, std::string words, std::stop_token stop);
  awaitable<void> showFound(Turns::Turn turn, std::string words, std::stop_token stop);
  awaitable<std::map<ConversationId, ConversationSummary>> conversationsOf(std::vector<SearchHit> hits);

  DesktopWindow& window_;
  Turns turns_;
  std::stop_source stop_;
  bool isLooking_ = false;
  bool isTaken_ = false;       ///< the first row, as soon as it is found
  std::vector<Place> places_;  ///< of the rows
  QString found_;              ///< the words for which these were found
};

}  // namespace ravant::desktop
