#pragma once

// CardTheme: the colours and type of the floating card in its light and dark
// appearance, and the card's monochrome icons drawn in a theme colour at every
// device pixel ratio the screens may ask for. Plain values; main thread (fonts
// and pixmaps need the application object).

#include <QColor>
#include <QFont>
#include <QIcon>
#include <QPixmap>
#include <QString>

#include "core/prefs/appearance_store.h"

namespace trelvis {

struct CardTheme {
  AppearanceMode mode = AppearanceMode::light;
  QColor background;
  QColor border;
  QColor primaryText;
  QColor secondaryText;
  QColor tertiaryText;
  QColor accent;
  QColor chipBackground;
  QColor chipText;
  QColor rule;  // the line beside the example
  QColor skeleton;
  QColor controlHover;
  QColor controlPressed;
  QColor error;
  QColor selection;

  static CardTheme forMode(AppearanceMode mode);
};

// The card's type, in pixels so that it matches the card's fixed metrics.
enum class CardFont { headword, phonetic, partOfSpeech, body, example, caption, title, button };
QFont cardFont(CardFont role);

// An icon of resources/icons (by file name without extension), `pixels` square,
// drawn in `color`; null when there is no such icon.
QPixmap tintedPixmap(const QString& name, const QColor& color, int pixels);
// An icon of resources/icons (by file name without extension: "pin", "copy", ...)
// drawn in `color`, sharp at `logicalSize` on screens of ratio 1, 1.5, 2 and 3.
QIcon tintedIcon(const QString& name, const QColor& color, int logicalSize);

}  // namespace trelvis
