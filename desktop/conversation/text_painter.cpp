#include "desktop/conversation/text_painter.hpp"

#include <QTextDocument>

#include "desktop/theme/theme.hpp"

namespace ravant::desktop {

namespace {

QTextCharFormat formatOf(CodeToken token) {
  const Theme& theme = Theme::instance();
  QTextCharFormat format;
  switch (token) {
    case CodeToken::keyword:
      format.setForeground(theme.codeKeyword());
      break;
    case CodeToken::type:
      format.setForeground(theme.codeType());
      break;
    case CodeToken::string:
      format.setForeground(theme.codeString());
      break;
    case CodeToken::number:
      format.setForeground(theme.codeNumber());
      break;
    case CodeToken::comment:
      format.setForeground(theme.codeComment());
      break;
    case CodeToken::call:
      format.setForeground(theme.codeCall());
      break;
    case CodeToken::added:
      format.setForeground(theme.good());
      break;
    case CodeToken::removed:
      format.setForeground(theme.bad());
      break;
    case CodeToken::plain:
      break;
  }
  return format;
}

}  // namespace

class TextPainter::Highlighter : public QSyntaxHighlighter {
 public:
  Highlighter(QTextDocument* document, const TextPainter& painter) : QSyntaxHighlighter(document), painter_(painter) {}

 protected:
  void highlightBlock(const QString& text) override {
    const auto line = static_cast<std::size_t>(currentBlock().blockNumber());
    if (painter_.code_ && line < painter_.code_->lines.size()) {
      for (const CodeSpan& span : painter_.code_->lines[line]) {
        setFormat(static_cast<int>(span.begin), static_cast<int>(span.length), formatOf(span.token));
      }
    }
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

TextPainter::~TextPainter() { delete highlighter_; }

void TextPainter::setCode(const QVariant& code) {
  auto paint = code.value<std::shared_ptr<const CodePaint>>();
  if (std::exchange(code_, std::move(paint)) != code_) Q_EMIT changed();
}

void TextPainter::paint() {
  if (!document_ || !document_->textDocument()) return;
  document_->textDocument()->setIndentWidth(5 * Theme::instance().unit());
  if (!highlighter_ && marked_.isEmpty() && !code_) return;
  if (!highlighter_) highlighter_ = new Highlighter(document_->textDocument(), *this);
  highlighter_->rehighlight();
}

}  // namespace ravant::desktop
