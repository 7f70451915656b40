#include "ui/card_theme.h"

#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace trelvis {

CardTheme CardTheme::forMode(AppearanceMode mode) {
  CardTheme theme;
  theme.mode = mode;
  if (mode == AppearanceMode::dark) {
    theme.background = QColor(0x23, 0x24, 0x28);
    theme.border = QColor(255, 255, 255, 30);
    theme.primaryText = QColor(0xF1, 0xF2, 0xF4);
    theme.secondaryText = QColor(0xB9, 0xBC, 0xC2);
    theme.tertiaryText = QColor(0x95, 0x99, 0xA0);
    theme.accent = QColor(0x7E, 0xA8, 0xFF);
    theme.chipBackground = QColor(0x2C, 0x36, 0x50);
    theme.chipText = QColor(0xC9, 0xD7, 0xFF);
    theme.rule = QColor(0x3E, 0x44, 0x54);
    theme.skeleton = QColor(0x33, 0x35, 0x3B);
    theme.controlHover = QColor(255, 255, 255, 22);
    theme.controlPressed = QColor(255, 255, 255, 38);
    theme.error = QColor(0xFF, 0x8A, 0x80);
    theme.selection = QColor(0x3B, 0x4E, 0x7A);
  } else {
    theme.background = QColor(0xFF, 0xFF, 0xFF);
    theme.border = QColor(0, 0, 0, 28);
    theme.primaryText = QColor(0x1C, 0x1C, 0x1E);
    theme.secondaryText = QColor(0x55, 0x59, 0x5F);
    theme.tertiaryText = QColor(0x6E, 0x73, 0x7A);
    theme.accent = QColor(0x2F, 0x6F, 0xEB);
    theme.chipBackground = QColor(0xEA, 0xF1, 0xFE);
    theme.chipText = QColor(0x23, 0x50, 0xB8);
    theme.rule = QColor(0xD5, 0xDC, 0xE8);
    theme.skeleton = QColor(0xE3, 0xE6, 0xEB);
    theme.controlHover = QColor(0, 0, 0, 16);
    theme.controlPressed = QColor(0, 0, 0, 28);
    theme.error = QColor(0xC6, 0x28, 0x28);
    theme.selection = QColor(0xCF, 0xE0, 0xFF);
  }
  return theme;
}

QFont cardFont(CardFont role) {
  QFont font = QGuiApplication::font();
  struct Type {
    int pixels;
    QFont::Weight weight;
  };
  const Type type = [role]() -> Type {
    switch (role) {
      case CardFont::headword:
        return {22, QFont::DemiBold};
      case CardFont::phonetic:
        return {14, QFont::Normal};
      case CardFont::partOfSpeech:
        return {12, QFont::DemiBold};
      case CardFont::body:
        return {15, QFont::Normal};
      case CardFont::example:
        return {14, QFont::Normal};
      case CardFont::caption:
        return {12, QFont::Normal};
      case CardFont::title:
        return {16, QFont::DemiBold};
      case CardFont::button:
        return {13, QFont::DemiBold};
    }
    return {15, QFont::Normal};
  }();
  font.setPixelSize(type.pixels);
  font.setWeight(type.weight);
  return font;
}

QPixmap tintedPixmap(const QString& name, const QColor& color, int pixels) {
  static QHash<QString, QByteArray> sources;
  auto source = sources.find(name);
  if (source == sources.end()) {
    QFile file(QStringLiteral(":/icons/") + name + QStringLiteral(".svg"));
    source = sources.insert(name, file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
  }
  QByteArray svg = *source;
  svg.replace("currentColor", color.name(QColor::HexRgb).toLatin1());
  QSvgRenderer renderer(svg);
  if (!renderer.isValid()) return {};
  QPixmap pixmap(pixels, pixels);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  // The colour's own alpha, which the SVG colour cannot carry.
  painter.setOpacity(color.alphaF());
  renderer.render(&painter, QRectF(0, 0, pixels, pixels));
  return pixmap;
}

QIcon tintedIcon(const QString& name, const QColor& color, int logicalSize) {
  QIcon icon;
  for (const qreal ratio : {1.0, 1.5, 2.0, 3.0}) {
    QPixmap pixmap = tintedPixmap(name, color, qRound(logicalSize * ratio));
    if (pixmap.isNull()) return {};
    pixmap.setDevicePixelRatio(ratio);
    icon.addPixmap(pixmap);
  }
  return icon;
}

}  // namespace trelvis
