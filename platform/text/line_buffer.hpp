#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

namespace ravant {

/// Bytes on their way to becoming lines. Lines may have any length: time is linear in what is put in, memory at most
/// about twice the longest line.
class LineBuffer {
 public:
  /// The next line without its line feed; valid until the next call of any member but `unread`.
  std::optional<std::string_view> tryNext();

  /// Room to write at least 64 KiB to; `commit` says how much was written.
  std::span<char> room();
  void commit(std::size_t written) { end_ += written; }
  void append(std::string_view bytes);

  /// What has not been returned as lines yet.
  std::string_view unread() const { return {buffer_.get() + begin_, end_ - begin_}; }
  void clear() { begin_ = scanned_ = end_ = 0; }
  /// Gives back the memory a long line took.
  void releaseMemory();

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };

  void makeRoom(std::size_t size);
  void moveToFront();
  void resize(std::size_t capacity);

  std::unique_ptr<char, Free> buffer_;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;    ///< of the first line not yet returned
  std::size_t scanned_ = 0;  ///< no line feed from `begin_` up to here
  std::size_t end_ = 0;
};

}  // namespace ravant
