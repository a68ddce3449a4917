#include "runners/cursor/acp_stream_break.hpp"

#include <algorithm>
#include <utility>

#include "platform/text/text.hpp"

namespace ravant {
namespace {

/// How much of the text's end the words could begin with.
std::size_t beginningAtEnd(std::string_view text, std::string_view words) {
  std::size_t size = std::min(text.size(), words.size() - 1);
  while (!text.ends_with(words.substr(0, size))) --size;
  return size;
}

}  // namespace

std::vector<AcpStreamBreak::Piece> AcpStreamBreak::take(std::string_view chunk) {
  const std::string text = std::exchange(held_, {}).append(chunk);
  std::string_view rest = text;
  std::vector<Piece> pieces;
  Piece piece;
  for (std::size_t at = rest.find(kWords); at != std::string_view::npos; at = rest.find(kWords)) {
    say(rest.substr(0, at), piece);
    rest.remove_prefix(at);
    const Meaning meaning = meaningOf(rest.substr(kWords.size()));
    if (meaning == Meaning::open) break;
    rest.remove_prefix(kWords.size());
    if (meaning == Meaning::quoted) {
      say(kWords, piece);
      continue;
    }
    piece.isBroken = true;
    pieces.push_back(std::exchange(piece, {}));
    release();
  }
  const std::size_t held = rest.starts_with(kWords) ? rest.size() : beginningAtEnd(rest, kWords);
  say(rest.substr(0, rest.size() - held), piece);
  held_ = rest.substr(rest.size() - held);
  if (!piece.text.empty()) pieces.push_back(std::move(piece));
  return pieces;
}

AcpStreamBreak::Piece AcpStreamBreak::release() {
  isInCode_ = false;
  last_ = '\0';
  Piece piece{.text = std::exchange(held_, {})};
  if (piece.text.starts_with(kWords)) piece = {.text = {}, .isBroken = true};
  return piece;
}

AcpStreamBreak::Meaning AcpStreamBreak::meaningOf(std::string_view behind) const {
  if (!isInCode_ && last_ != '"') return Meaning::broken;
  const std::string_view next = trimmed(behind);
  if (next.empty()) return Meaning::open;
  return isInCode_ || next.front() == '"' ? Meaning::quoted : Meaning::broken;
}

void AcpStreamBreak::say(std::string_view text, Piece& piece) {
  if (text.empty()) return;
  if (std::ranges::count(text, '`') % 2 != 0) isInCode_ = !isInCode_;
  last_ = text.back();
  piece.text += text;
}

}  // namespace ravant
