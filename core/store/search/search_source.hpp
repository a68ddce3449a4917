#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "core/store/store_connection.hpp"

namespace ravant {

/// The two tables whose texts are indexed.
enum class SearchSource { item, invocation };

constexpr std::string_view rawValue(SearchSource source) {
  return source == SearchSource::item ? "item" : "invocation";
}

/// What is indexed of a source: the ids above `above`, up to `upTo`.
struct SearchProgress {
  std::int64_t above;
  std::int64_t upTo;
  std::int64_t removed;
  std::int64_t newest;  ///< id

  std::int64_t waiting() const { return above + std::max<std::int64_t>(newest - upTo, 0); }
  /// Whether so much in it is outdated that it is made anew; a large one only when somebody asks for it.
  bool isWorn() const;
};

/// Entries until they are enough for one transaction.
class SearchBatch {
 public:
  /// An entry that was created in a week, counted from 1970, with its words.
  struct Entry {
    std::int64_t id;
    std::int64_t week;
    std::string words;
  };

  /// Of at most so many entries, and so many bytes of each.
  SearchBatch(std::int64_t most, std::size_t entryBytes) : most_(most), entryBytes_(entryBytes) {}

  bool isFull() const;
  std::size_t entryBytes() const { return entryBytes_; }
  /// `bytes` are those of its texts; without them it has nothing to be found.
  void add(Entry entry, std::size_t bytes);
  /// By ascending id, the only order that the index takes quickly.
  std::vector<Entry> take();

 private:
  std::int64_t most_;
  std::size_t entryBytes_;
  std::vector<Entry> entries_;
  std::int64_t count_ = 0;
  std::size_t bytes_ = 0;
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

/// The statements for one of the sources. All but `progress` within a transaction that writes.
class SearchSourceTable {
 public:
  SearchSourceTable(StoreConnection& store, SearchSource source);

  SearchProgress progress();
  /// Both say false where the batch was full before all were taken in.
  bool takeInNewer(SearchBatch& batch);
  bool takeInOlder(SearchBatch& batch);
  void takeInAgain(std::int64_t id, SearchBatch& batch);

 private:
  void keep(SearchBatch& batch, const SearchProgress& reached);
  void insert(SearchBatch& batch);

  SearchSource source_;
  sqlite::Statement progress_;
  sqlite::Statement setProgress_;
  sqlite::Statement newer_;
  sqlite::Statement older_;
  sqlite::Statement one_;
  sqlite::Statement insert_;
  sqlite::Statement wear_;
  sqlite::Statement addWeek_;
};

}  // namespace ravant
