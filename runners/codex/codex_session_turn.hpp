#pragma once

#include <memory>

#include "runners/codex/codex_session.hpp"

namespace ravant {

std::unique_ptr<SessionTurn> makeCodexSessionTurn(std::shared_ptr<const CodexSession::Knowledge> knowledge);

}  // namespace ravant
