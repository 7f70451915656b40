#pragma once

// The small painted pieces of the floating card: its icon and text buttons, the
// part-of-speech chip, the ruled block of the example and the loading skeleton.
// Each draws itself from a CardTheme that the card hands it; none knows the model.
// Main thread.

#include <QAbstractButton>
#include <QLabel>
#include <QWidget>

#include "ui/card_theme.h"

class QVariantAnimation;

namespace trelvis {

// The card's buttons: no focus, a pointing hand, and a highlight under the pointer.
class CardButton : public QAbstractButton {
 public:
  explicit CardButton(QWidget* parent);
  virtual void setTheme(const CardTheme& theme);

 protected:
  bool isHovered() const { return hovered_; }
  const CardTheme& theme() const { return theme_; }
  void enterEvent(QEnterEvent* event) override;
  void leaveEvent(QEvent* event) override;

 private:
  CardTheme theme_;
  bool hovered_ = false;
};

// A square, borderless button showing a monochrome icon.
class CardIconButton final : public CardButton {
 public:
  CardIconButton(const QString& iconName, QWidget* parent);

  void setTheme(const CardTheme& theme) override;
  // Another icon of resources/icons, in the theme's colour or in the accent.
  void setIconName(const QString& name, bool accent = false);

  QSize sizeHint() const override { return {28, 28}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void updateIcon();

  QString iconName_;
  bool accent_ = false;
};

// A rounded button with a short text and, optionally, an icon before it. The
// prominent kind is filled with the accent colour.
class CardTextButton final : public CardButton {
 public:
  CardTextButton(QString iconName, bool prominent, QWidget* parent);

  void setTheme(const CardTheme& theme) override;
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString iconName_;
  QIcon icon_;
  bool prominent_;
};

// A label on a rounded tinted background, sized to its text.
class ChipLabel final : public QLabel {
 public:
  explicit ChipLabel(QWidget* parent);
  void setTheme(const CardTheme& theme);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor background_;
};

// A block with a thin rule down its leading edge.
class RuledBlock final : public QWidget {
 public:
  explicit RuledBlock(QWidget* parent);
  void setRuleColor(const QColor& color);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor rule_;
};

// The card's placeholder while nothing has arrived: bars where the headword, the
// phonetic and the meaning will be, pulsing gently while it is on screen. It is
// as high as the content height the model assumes for a loading card.
class CardSkeleton final : public QWidget {
 public:
  CardSkeleton(int height, QWidget* parent);
  void setTheme(const CardTheme& theme);
  QSize sizeHint() const override { return {200, height_}; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  const int height_;
  QColor color_;
  qreal pulse_ = 1.0;
  QVariantAnimation* animation_;
};

}  // namespace trelvis
