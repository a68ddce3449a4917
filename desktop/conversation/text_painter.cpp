#include "desktop/conversation/text_painter.hpp"

#include <QTextBlock>
#include <QTextDocument>
#include <QTimer>

#include "core/store/search/search_letter.hpp"
#include "desktop/conversation/found_places.hpp"
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
    if (painter_.hasCode_) keepLetters();
    const Theme& theme = Theme::instance();
    for (const FoundSpan& span : foundSpans(text, painter_.folded_)) {
      const bool isCurrent = currentBlock().position() + span.begin == painter_.position_;
      QTextCharFormat format = this->format(static_cast<int>(span.begin));
      format.setBackground(isCurrent ? theme.attention() : theme.attentionGround());
      format.setForeground(isCurrent ? theme.window() : theme.attention());
      setFormat(static_cast<int>(span.begin), static_cast<int>(span.length), format);
    }
  }

 private:
  // A ligature would change what is read: != is no ≠.
  void keepLetters() {
    const QTextBlock block = currentBlock();
    const QString codeFont = Theme::instance().codeFont();
    QTextCharFormat format;
    format.setFontStyleStrategy(QFont::PreferNoShaping);
    for (auto at = block.begin(); !at.atEnd(); ++at) {
      const QTextFragment part = at.fragment();
      const bool isCode = part.charFormat().fontFamilies().toStringList().contains(codeFont);
      if (isCode) setFormat(part.position() - block.position(), part.length(), format);
    }
  }

  const TextPainter& painter_;
};

TextPainter::TextPainter(QObject* parent) : QObject(parent) {
  connect(this, &TextPainter::changed, this, &TextPainter::paint);
  connect(&Theme::instance(), &Theme::colorsChanged, this, &TextPainter::paint);
  connect(&Theme::instance(), &Theme::sizesChanged, this, &TextPainter::paint);
}

TextPainter::~TextPainter() { delete highlighter_; }

void TextPainter::setCode(const QVariant& code) {
  auto paint = code.value<std::shared_ptr<const CodePaint>>();
  if (std::exchange(code_, std::move(paint)) != code_) Q_EMIT changed();
}

void TextPainter::paint() {
  if (!document_ || !document_->textDocument()) return;
  QTextDocument* const document = document_->textDocument();
  document->setIndentWidth(5 * Theme::instance().unit());
  if (!highlighter_ && marked_.isEmpty() && !code_ && !hasCode_) return;
  if (!highlighter_) highlighter_ = new Highlighter(document, *this);
  if (!growth_) growth_ = connect(document, &QTextDocument::contentsChange, this, &TextPainter::lookAgain);
  folded_ = foldedForSearch(marked_.toStdString());
  lookForPlace();
  highlighter_->rehighlight();
}

// In the midst of a change the document cannot be asked where anything stands.
void TextPainter::lookAgain() {
  if (place_ <= 0 && position_ < 0) return;
  QTimer::singleShot(0, this, [this] {
    const int before = position_;
    if (document_ && document_->textDocument()) lookForPlace();
    if (position_ != before && highlighter_) highlighter_->rehighlight();
  });
}

void TextPainter::lookForPlace() {
  int position = -1;
  int left = place_;
  if (left > 0 && !folded_.empty()) {
    for (QTextBlock block = document_->textDocument()->begin(); block.isValid() && position < 0; block = block.next()) {
      const auto spans = foundSpans(block.text(), folded_);
      if (left <= std::ssize(spans)) {
        position = block.position() + static_cast<int>(spans[static_cast<std::size_t>(left) - 1].begin);
      }
      left -= static_cast<int>(spans.size());
    }
  }
  if (std::exchange(position_, position) != position) Q_EMIT positionChanged();
}

}  // namespace ravant::desktop
