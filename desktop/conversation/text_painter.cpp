#include "desktop/conversation/text_painter.hpp"

#include "desktop/theme/theme.hpp"

namespace ravant::desktop {

class TextPainter::Highlighter : public QSyntaxHighlighter {
 public:
  Highlighter(QTextDocument* document, const TextPainter& painter) : QSyntaxHighlighter(document), painter_(painter) {}

 protected:
  void highlightBlock(const QString& text) override {
    const QString& marked = painter_.marked_;
    if (marked.isEmpty()) return;
    for (auto at = text.indexOf(marked, 0, Qt::CaseInsensitive); at >= 0;
         at = text.indexOf(marked, at + marked.size(), Qt::CaseInsensitive)) {
      QTextCharFormat format = this->format(static_cast<int>(at));
      format.setBackground(Theme::instance().attentionGround());
      format.setForeground(Theme::instance().attention());
      setFormat(static_cast<int>(at), static_cast<int>(marked.size()), format);
    }
  }

 private:
  const TextPainter& painter_;
};

TextPainter::TextPainter(QObject* parent) : QObject(parent) {
  connect(this, &TextPainter::changed, this, &TextPainter::paint);
  connect(&Theme::instance(), &Theme::colorsChanged, this, &TextPainter::paint);
}

TextPainter::~TextPainter() = default;

void TextPainter::paint() {
  if (!document_ || !document_->textDocument()) return;
  if (!highlighter_ && marked_.isEmpty()) return;
  if (!highlighter_) highlighter_ = std::make_unique<Highlighter>(document_->textDocument(), *this);
  highlighter_->rehighlight();
}

}  // namespace ravant::desktop
