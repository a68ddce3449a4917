#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>

#include "app/transfer/exported_conversation.hpp"
#include "core/conversation_item.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant {

/// Why a file is no exported conversation; `what()` names the line.
class ConversationFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class JsonPieces;

/// A JSON export that is read piece by piece, in memory for one entry. White space may have been changed in it.
class ConversationFile {
 public:
  /// Reads what stands before the entries. Blocks. Throws `ConversationFileError` and `std::system_error`.
  explicit ConversationFile(UniqueFd file);
  ~ConversationFile();

  const ExportedConversation& conversation() const { return conversation_; }
  /// The next entry, without ids; nothing at the end, which is reached in a whole file alone. Blocks. Throws as the
  /// constructor.
  std::optional<ConversationItem> next();

 private:
  void readBeginning();

  std::unique_ptr<JsonPieces> pieces_;
  ExportedConversation conversation_;
  std::optional<Timestamp> latest_;  ///< of the entries
};

}  // namespace ravant
