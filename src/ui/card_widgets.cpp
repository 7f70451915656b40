#include "ui/card_widgets.h"

#include <QEnterEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

#include <utility>

namespace trelvis {
namespace {

constexpr int kIconSize = 18;
constexpr qreal kControlRadius = 7;

void paintHighlight(QPainter& painter, const QRectF& rect, const CardTheme& theme, bool hovered,
                    bool down) {
  if (!hovered && !down) return;
  painter.setPen(Qt::NoPen);
  painter.setBrush(down ? theme.controlPressed : theme.controlHover);
  painter.drawRoundedRect(rect, kControlRadius, kControlRadius);
}

}  // namespace

// ---- CardButton ----------------------------------------------------------------

CardButton::CardButton(QWidget* parent) : QAbstractButton(parent) {
  setFocusPolicy(Qt::NoFocus);
  setCursor(Qt::PointingHandCursor);
}

void CardButton::setTheme(const CardTheme& theme) {
  theme_ = theme;
  update();
}

void CardButton::enterEvent(QEnterEvent* event) {
  hovered_ = true;
  update();
  QAbstractButton::enterEvent(event);
}

void CardButton::leaveEvent(QEvent* event) {
  hovered_ = false;
  update();
  QAbstractButton::leaveEvent(event);
}

// ---- CardIconButton -----------------------------------------------------------

CardIconButton::CardIconButton(const QString& iconName, QWidget* parent)
    : CardButton(parent), iconName_(iconName) {
  setIconSize(QSize(kIconSize, kIconSize));
  setFixedSize(sizeHint());
}

void CardIconButton::setTheme(const CardTheme& theme) {
  CardButton::setTheme(theme);
  updateIcon();
}

void CardIconButton::setIconName(const QString& name, bool accent) {
  if (name == iconName_ && accent == accent_) return;
  iconName_ = name;
  accent_ = accent;
  updateIcon();
}

void CardIconButton::updateIcon() {
  const QColor color = accent_ ? theme().accent : theme().secondaryText;
  if (color.isValid()) setIcon(tintedIcon(iconName_, color, kIconSize));
  update();
}

void CardIconButton::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  paintHighlight(painter, QRectF(rect()), theme(), isHovered() && isEnabled(), isDown());
  const QRect iconRect((width() - kIconSize) / 2, (height() - kIconSize) / 2, kIconSize, kIconSize);
  painter.setOpacity(isEnabled() ? 1.0 : 0.45);
  icon().paint(&painter, iconRect);
}

// ---- CardTextButton -----------------------------------------------------------

CardTextButton::CardTextButton(QString iconName, bool prominent, QWidget* parent)
    : CardButton(parent), iconName_(std::move(iconName)), prominent_(prominent) {
  setFont(cardFont(CardFont::button));
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void CardTextButton::setTheme(const CardTheme& theme) {
  CardButton::setTheme(theme);
  if (!iconName_.isEmpty()) {
    icon_ = tintedIcon(iconName_, prominent_ ? theme.background : theme.primaryText, 16);
  }
}

QSize CardTextButton::sizeHint() const {
  const int iconWidth = iconName_.isEmpty() ? 0 : 16 + 6;
  return {fontMetrics().horizontalAdvance(text()) + iconWidth + 2 * 12, 30};
}

void CardTextButton::paintEvent(QPaintEvent*) {
  const CardTheme& colors = theme();
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
  if (prominent_) {
    QColor fill = colors.accent;
    if (isDown()) {
      fill = fill.darker(115);
    } else if (isHovered()) {
      fill = fill.lighter(108);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(frame, kControlRadius, kControlRadius);
  } else {
    painter.setPen(QPen(colors.border, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(frame, kControlRadius, kControlRadius);
    paintHighlight(painter, frame, colors, isHovered(), isDown());
  }
  int x = 12;
  if (!icon_.isNull()) {
    icon_.paint(&painter, QRect(x, (height() - 16) / 2, 16, 16));
    x += 16 + 6;
  }
  painter.setPen(prominent_ ? colors.background : colors.primaryText);
  painter.setFont(font());
  painter.drawText(QRect(x, 0, width() - x - 12, height()), Qt::AlignVCenter | Qt::AlignLeft,
                   text());
}

// ---- ChipLabel ------------------------------------------------------------------

ChipLabel::ChipLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setFont(cardFont(CardFont::partOfSpeech));
  setContentsMargins(7, 2, 7, 2);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void ChipLabel::setTheme(const CardTheme& theme) {
  background_ = theme.chipBackground;
  QPalette colors = palette();
  colors.setColor(QPalette::WindowText, theme.chipText);
  setPalette(colors);
}

void ChipLabel::paintEvent(QPaintEvent* event) {
  {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(background_);
    painter.drawRoundedRect(QRectF(rect()), 5, 5);
  }
  QLabel::paintEvent(event);
}

// ---- RuledBlock -----------------------------------------------------------------

RuledBlock::RuledBlock(QWidget* parent) : QWidget(parent) {}

void RuledBlock::setRuleColor(const QColor& color) {
  rule_ = color;
  update();
}

void RuledBlock::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(rule_);
  const QRect content = contentsRect();
  painter.drawRoundedRect(QRectF(0, content.top() + 2, 2.5, content.height() - 4), 1.25, 1.25);
}

// ---- CardSkeleton ---------------------------------------------------------------

CardSkeleton::CardSkeleton(int height, QWidget* parent)
    : QWidget(parent), height_(height), animation_(new QVariantAnimation(this)) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setFixedHeight(height_);
  animation_->setStartValue(1.0);
  animation_->setKeyValueAt(0.5, 0.55);
  animation_->setEndValue(1.0);
  animation_->setDuration(1400);
  animation_->setLoopCount(-1);
  QObject::connect(animation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
    pulse_ = v.toReal();
    update();
  });
}

void CardSkeleton::setTheme(const CardTheme& theme) {
  color_ = theme.skeleton;
  update();
}

void CardSkeleton::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(color_);
  painter.setOpacity(pulse_);
  const qreal w = width();
  // Headword, phonetic, then two lines of meaning, filling the height exactly.
  const struct {
    qreal y, height, widthShare;
  } bars[] = {{0, 22, 0.46}, {33, 12, 0.28}, {55, 12, 0.94}, {73, 12, 0.68}};
  const qreal scale = height_ / 85.0;
  for (const auto& bar : bars) {
    painter.drawRoundedRect(QRectF(0, bar.y * scale, w * bar.widthShare, bar.height * scale), 5, 5);
  }
}

void CardSkeleton::showEvent(QShowEvent* event) {
  animation_->start();
  QWidget::showEvent(event);
}

void CardSkeleton::hideEvent(QHideEvent* event) {
  animation_->stop();
  pulse_ = 1.0;
  QWidget::hideEvent(event);
}

}  // namespace trelvis
