#include "desktop/conversation/prose_style.hpp"

#include <QFontMetricsF>
#include <QRegularExpression>
#include <cmath>

#include "desktop/text/html_writer.hpp"
#include "desktop/theme/theme.hpp"

namespace ravant::desktop {
namespace {

/// Of most texts, in parts of the letters' size.
constexpr double kCharacterWidth = 0.55;

constexpr int kLowestLevel = 4;

/// The higher the larger, heavier and darker: each differs from the next by one of these.
QString heading(const QString& html, int level) {
  const Theme& theme = Theme::instance();
  return QStringLiteral("<p style=\"font-size: %1px; font-weight: %2; color: %3\">")
             .arg(level <= 2 ? theme.proseSize() : theme.interfaceSize())
             .arg(level == 1 ? 700 : 600)
             .arg((level < kLowestLevel ? theme.text() : theme.dim()).name()) +
         html + QStringLiteral("</p>");
}

/// Of a task's box and the space behind it: what is beside it begins where other items do.
int boxWidth() {
  QFont font(Theme::instance().interfaceFont());
  font.setPixelSize(Theme::instance().proseSize());
  return static_cast<int>(std::round(QFontMetricsF(font).horizontalAdvance(QString::fromUtf8(taskMark(true)))));
}

}  // namespace

ProseStyle::ProseStyle(QObject* parent) : QObject(parent) {
  connect(&Theme::instance(), &Theme::colorsChanged, this, &ProseStyle::changed);
  connect(&Theme::instance(), &Theme::sizesChanged, this, &ProseStyle::changed);
}

QString ProseStyle::sheet() const {
  const Theme& theme = Theme::instance();
  return QStringLiteral(
             "<style>p, li, div, pre { line-height: 145% } td, th { line-height: 120% } p { margin: 0 } "
             "ul, ol { margin-top: 0; margin-bottom: 0 } li, div { margin-bottom: 2px } "
             "div.task { text-indent: -%7px } div.task p, div.task li, div.task pre { text-indent: 0px } "
             "a { color: %1; text-decoration: none } "
             "code, pre { font-family: '%2'; font-size: %3px; background-color: %4 } "
             "pre { white-space: pre-wrap; margin: 0 } "
             "th { color: %5; font-weight: normal } blockquote { margin: 0 0 0 16px } "
             "h1, h2, h3, h4 { font-weight: 600; font-size: %6px; line-height: 145% }</style>")
      .arg(theme.accent().name(), theme.codeFont())
      .arg(theme.interfaceSize())
      .arg(theme.sunken().name(), theme.dim().name())
      .arg(theme.proseSize())
      .arg(boxWidth());
}

QString ProseStyle::withWidths(const QString& table) {
  static const QRegularExpression kWidth(QStringLiteral("(<t[hd] [^>]*)width=\"(\\d+)\""));
  const double character = kCharacterWidth * Theme::instance().proseSize();
  QString html;
  qsizetype end = 0;
  for (auto found = kWidth.globalMatch(table); found.hasNext();) {
    const QRegularExpressionMatch match = found.next();
    html += QStringView(table).mid(end, match.capturedStart() - end);
    const int width = static_cast<int>(match.capturedView(2).toInt() * character);
    html += match.captured(1) + QStringLiteral("width=\"%1\"").arg(width);
    end = match.capturedEnd();
  }
  html += QStringView(table).mid(end);
  return html;
}

QString ProseStyle::page(const QString& html, const QString& sheet, int level) const {
  if (level > 0) return sheet + heading(html, level);
  if (html.startsWith(QLatin1String("<table"))) return sheet + withWidths(html);
  const bool isBlock = html.startsWith(QLatin1String("<ul")) || html.startsWith(QLatin1String("<ol")) ||
                       html.startsWith(QLatin1String("<p>")) || html.startsWith(QLatin1String("<table")) ||
                       html.startsWith(QLatin1String("<pre"));
  return sheet + (isBlock ? html : QStringLiteral("<p>") + html + QStringLiteral("</p>"));
}

QString ProseStyle::code(const QString& text) const {
  // Of what stands behind the tag, the first line break does not count.
  return QStringLiteral("<pre style=\"line-height: 145%; margin: 0; font-family: '%1'\">\n")
             .arg(Theme::instance().codeFont()) +
         text.toHtmlEscaped() + QStringLiteral("</pre>");
}

}  // namespace ravant::desktop
