#pragma once

#include <QtQml/qqmlregistration.h>
#include <QColor>
#include <QObject>
#include <QString>
#include <algorithm>

#include "desktop/theme/color_scheme.hpp"

class QJSEngine;
class QQmlEngine;

namespace ravant::desktop {

/// Which colours the user wants.
enum class Appearance { system, light, dark };

/// Every colour, size and typeface of the interface. Lengths are pixels, scaled by the zoom.
///
/// There is one in a process, made before the engine.
class Theme final : public QObject {
  Q_OBJECT
  QML_ELEMENT
  QML_SINGLETON
  Q_PROPERTY(bool isDark READ isDark NOTIFY colorsChanged)
  Q_PROPERTY(QColor text READ text NOTIFY colorsChanged)
  Q_PROPERTY(QColor dim READ dim NOTIFY colorsChanged)
  Q_PROPERTY(QColor faint READ faint NOTIFY colorsChanged)
  Q_PROPERTY(QColor accent READ accent NOTIFY colorsChanged)
  Q_PROPERTY(QColor good READ good NOTIFY colorsChanged)
  Q_PROPERTY(QColor attention READ attention NOTIFY colorsChanged)
  Q_PROPERTY(QColor bad READ bad NOTIFY colorsChanged)
  Q_PROPERTY(QColor textOnAccent READ textOnAccent NOTIFY colorsChanged)
  Q_PROPERTY(QColor codeKeyword READ codeKeyword NOTIFY colorsChanged)
  Q_PROPERTY(QColor codeType READ codeType NOTIFY colorsChanged)
  Q_PROPERTY(QColor codeString READ codeString NOTIFY colorsChanged)
  Q_PROPERTY(QColor codeNumber READ codeNumber NOTIFY colorsChanged)
  Q_PROPERTY(QColor codeComment READ codeComment NOTIFY colorsChanged)
  Q_PROPERTY(QColor codeCall READ codeCall NOTIFY colorsChanged)
  Q_PROPERTY(QColor sidebar READ sidebar NOTIFY colorsChanged)
  Q_PROPERTY(QColor window READ window NOTIFY colorsChanged)
  Q_PROPERTY(QColor raised READ raised NOTIFY colorsChanged)
  Q_PROPERTY(QColor sunken READ sunken NOTIFY colorsChanged)
  Q_PROPERTY(QColor hover READ hover NOTIFY colorsChanged)
  Q_PROPERTY(QColor selected READ selected NOTIFY colorsChanged)
  /// Of the current row on a raised ground; `faint` cannot be read on it.
  Q_PROPERTY(QColor raisedSelected READ raisedSelected NOTIFY colorsChanged)
  Q_PROPERTY(QColor accentGround READ accentGround NOTIFY colorsChanged)
  Q_PROPERTY(QColor attentionGround READ attentionGround NOTIFY colorsChanged)
  Q_PROPERTY(QColor badGround READ badGround NOTIFY colorsChanged)
  Q_PROPERTY(QColor addedGround READ addedGround NOTIFY colorsChanged)
  Q_PROPERTY(QColor addedStrong READ addedStrong NOTIFY colorsChanged)
  Q_PROPERTY(QColor removedGround READ removedGround NOTIFY colorsChanged)
  Q_PROPERTY(QColor removedStrong READ removedStrong NOTIFY colorsChanged)
  Q_PROPERTY(QColor line READ line NOTIFY colorsChanged)
  Q_PROPERTY(QColor strongLine READ strongLine NOTIFY colorsChanged)
  Q_PROPERTY(QString interfaceFont READ interfaceFont CONSTANT)
  Q_PROPERTY(QString codeFont READ codeFont CONSTANT)
  Q_PROPERTY(int noteSize READ noteSize NOTIFY sizesChanged)
  Q_PROPERTY(int secondarySize READ secondarySize NOTIFY sizesChanged)
  Q_PROPERTY(int interfaceSize READ interfaceSize NOTIFY sizesChanged)
  Q_PROPERTY(int proseSize READ proseSize NOTIFY sizesChanged)
  /// Of the grid: every space is a multiple of it.
  Q_PROPERTY(int unit READ unit NOTIFY sizesChanged)
  Q_PROPERTY(int rowHeight READ rowHeight NOTIFY sizesChanged)
  Q_PROPERTY(int smallRowHeight READ smallRowHeight NOTIFY sizesChanged)
  Q_PROPERTY(int headHeight READ headHeight NOTIFY sizesChanged)
  Q_PROPERTY(int iconSize READ iconSize NOTIFY sizesChanged)
  /// Of the corners of what lies in a line: rows, buttons, fields.
  Q_PROPERTY(int rowRadius READ rowRadius NOTIFY sizesChanged)
  /// Of what has a ground of its own between texts: code, messages, reasons.
  Q_PROPERTY(int blockRadius READ blockRadius NOTIFY sizesChanged)
  Q_PROPERTY(int composerRadius READ composerRadius NOTIFY sizesChanged)
  /// Of what floats over the window.
  Q_PROPERTY(int floatingRadius READ floatingRadius NOTIFY sizesChanged)
  /// In percent, from 80 to 200.
  Q_PROPERTY(int zoom READ zoom WRITE setZoom NOTIFY sizesChanged)
  /// Milliseconds of a fold or a panel that opens; 0 where the desktop asks for reduced motion.
  Q_PROPERTY(int motion READ motion NOTIFY motionChanged)

 public:
  static constexpr int kLeastZoom = 80;
  static constexpr int kGreatestZoom = 200;
  /// The least height of what can be pressed.
  static constexpr int kLeastTarget = 24;

  /// `scheme` outlives this.
  explicit Theme(ColorScheme& scheme);
  ~Theme() override;

  /// For the QML engine.
  static Theme* create(QQmlEngine* engine, QJSEngine* scripts);
  static Theme& instance();

  void setAppearance(Appearance appearance);
  bool isDark() const { return isDark_; }
  QColor text() const;
  QColor dim() const;
  QColor faint() const;
  QColor accent() const;
  QColor good() const;
  QColor attention() const;
  QColor bad() const;
  QColor textOnAccent() const;
  QColor codeKeyword() const;
  QColor codeType() const;
  QColor codeString() const;
  QColor codeNumber() const;
  QColor codeComment() const;
  QColor codeCall() const;
  QColor sidebar() const;
  QColor window() const;
  QColor raised() const;
  QColor sunken() const;
  QColor hover() const;
  QColor selected() const;
  QColor raisedSelected() const;
  QColor accentGround() const;
  QColor attentionGround() const;
  QColor badGround() const;
  QColor addedGround() const;
  QColor addedStrong() const;
  QColor removedGround() const;
  QColor removedStrong() const;
  QColor line() const;
  QColor strongLine() const;

  QString interfaceFont() const { return QStringLiteral("Inter"); }
  QString codeFont() const { return QStringLiteral("JetBrains Mono"); }
  int noteSize() const { return scaled(11); }
  int secondarySize() const { return scaled(12); }
  int interfaceSize() const { return scaled(13); }
  int proseSize() const { return scaled(14); }
  int unit() const { return scaled(4); }
  int rowHeight() const { return std::max(kLeastTarget, scaled(28)); }
  int smallRowHeight() const { return std::max(kLeastTarget, scaled(26)); }
  int headHeight() const { return scaled(48); }
  int iconSize() const { return scaled(16); }
  int rowRadius() const { return scaled(6); }
  int blockRadius() const { return scaled(8); }
  int composerRadius() const { return scaled(10); }
  int floatingRadius() const { return scaled(12); }

  int zoom() const { return zoom_; }
  /// The nearest possible one.
  void setZoom(int percent);
  /// To the next step, up with 1 and down with -1: between them, texts would grow and spaces not.
  Q_INVOKABLE void stepZoom(int by);
  int motion() const;

 Q_SIGNALS:
  void colorsChanged();
  void sizesChanged();
  void motionChanged();

 private:
  int scaled(int length) const;
  void followScheme();

  ColorScheme& scheme_;
  Appearance appearance_ = Appearance::system;
  bool isDark_ = false;
  int zoom_ = 100;
};

}  // namespace ravant::desktop
