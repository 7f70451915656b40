#pragma once

// LookupCardView: the floating card of the hover and area translations, the
// content that the overlay panel's window hosts. It shows what LookupOverlayModel
// holds (a skeleton while loading, the word's entry or the paragraph's translation
// as they stream in, the no-word and error messages) in the light or dark
// appearance, and sends the card's buttons (pin, pronunciation, copy, retry, the
// plans) to the model's actions.
//
// It follows the model through a CoalescedRefresh: after the model changes, on
// the next turn of the event loop, it updates its widgets, measures its content
// at the model's card width and reports that height with the model's current
// layout request, which is how a requested fit reaches the panel. It also reports
// the text selected in it and the parts of it that must not start a drag.
//
// Main thread; borrows the model, the appearance store and the localization,
// which must outlive it.

#include <QWidget>

#include <memory>
#include <vector>

#include "base/signal.h"
#include "ui/card_content.h"

namespace trelvis {

class AppearanceStore;
class Localization;
class LookupOverlayModel;

class LookupCardView final : public QWidget, public CardContent {
 public:
  LookupCardView(LookupOverlayModel& model, AppearanceStore& appearance, Localization& localization,
                 QWidget* parent = nullptr);
  ~LookupCardView() override;

  // The card's height at `width` for what it shows now: its content and the
  // card's padding, before the model's limits apply. Stable: the same content and
  // width always give the same height.
  int naturalHeight(int width) const override;
  // The same without the padding: what the view reports to the model.
  int naturalContentHeight(int width) const;

  // Applies a pending model change now instead of on the next turn of the event
  // loop (the host calls it before it shows the card).
  void refreshNow();

  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override { return naturalHeight(width); }
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  struct Parts;

  void refresh();
  void applyTheme();
  void placeCornerButtons();
  void reportTextSelection(QObject* label);
  void updateDragExclusionRects();
  void pronounce();
  void copyTranslation();

  LookupOverlayModel& model_;
  AppearanceStore& appearance_;
  Localization& localization_;
  std::unique_ptr<Parts> parts_;
  std::vector<Connection> connections_;
};

}  // namespace trelvis
