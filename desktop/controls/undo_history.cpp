#include "desktop/controls/undo_history.hpp"

#include <QTextDocument>

namespace ravant::desktop {

void UndoHistory::clear() { document_->textDocument()->clearUndoRedoStacks(); }

}  // namespace ravant::desktop
