#pragma once

// LookupOverlayModel: the observable state behind the floating card of the
// hover and area translations. The lookup coordinator writes it, the panel
// controller sizes and places the window from it, and the card's view reads it
// and reports back (its height, its text selection, its buttons). Every
// setter is equality-guarded: writing an equal value tells no observer.
// Lives on the main thread for the whole run; it borrows the playback session,
// the enrollment coordinator and the pronunciation settings.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/geometry.h"
#include "base/signal.h"
#include "base/uuid.h"
#include "core/learning/learning_enrollment.h"
#include "core/learning/pronunciation_playing.h"
#include "core/lookup/lookup_error.h"
#include "core/overlay/overlay_layout.h"

namespace trelvis {

class PronunciationSettingsStore;

// The text selected in one of the card's text views, and which view owns it.
struct OverlayTextSelection {
  Uuid ownerID;
  std::string text;
  friend bool operator==(const OverlayTextSelection&, const OverlayTextSelection&) = default;
};

class LookupOverlayModel : public std::enable_shared_from_this<LookupOverlayModel> {
 public:
  // The observable fields, named in change notifications.
  enum class Field {
    state,
    contentKind,
    anchor,
    maxCardHeight,
    naturalContentHeight,
    paragraphCardWidth,
    paragraphCardMaxHeight,
    layoutRequestID,
    resultScrollResetID,
    localEnrollmentState,
    historyLookupID,
    textSelection,
    isPinned,
    preparedEnrollmentRequest,
  };

  struct PendingAutoplay {
    std::string key;
    AutoplayIntent intent;
  };

  static constexpr double kMinCardWidth = 380;
  static constexpr double kMaxCardWidth = 640;
  static constexpr double kDefaultMaxHeight = 400;
  // The height of the loading skeleton, before the view has measured anything.
  static constexpr double kInitialContentHeight = 85;

  LookupOverlayModel(PronunciationPlaying& pronunciation, LearningEnrolling* enrollmentCoordinator,
                     const PronunciationSettingsStore* pronunciationSettings);

  // Emitted after each real change of an observable field.
  Signal<Field>& changed() { return changed_; }

  // ---- Fields ------------------------------------------------------------
  const LookupViewState& state() const { return state_; }
  // A change that alters what the card's text is made of drops the selection;
  // every change may start the pending autoplay.
  void setState(LookupViewState state);
  OverlayContentKind contentKind() const { return contentKind_; }
  void setContentKind(OverlayContentKind kind);
  OverlayAnchor anchor() const { return anchor_; }
  void setAnchor(OverlayAnchor anchor) { assign(anchor_, anchor, Field::anchor); }
  double maxCardHeight() const { return maxCardHeight_; }
  void setMaxCardHeight(double height) { assign(maxCardHeight_, height, Field::maxCardHeight); }
  double naturalContentHeight() const { return naturalContentHeight_; }
  void setNaturalContentHeight(double height) {
    assign(naturalContentHeight_, height, Field::naturalContentHeight);
  }
  double paragraphCardWidth() const { return paragraphCardWidth_; }
  double paragraphCardMaxHeight() const { return paragraphCardMaxHeight_; }
  int64_t layoutRequestID() const { return layoutRequestID_; }
  std::optional<int64_t> pendingLayoutRequestID() const { return pendingLayoutRequestID_; }
  int64_t resultScrollResetID() const { return resultScrollResetID_; }
  // Sends the result's scroll view back to the top.
  void resetResultScroll() {
    assign(resultScrollResetID_, resultScrollResetID_ + 1, Field::resultScrollResetID);
  }
  const LookupEnrollmentState& localEnrollmentState() const { return localEnrollmentState_; }
  std::optional<Uuid> historyLookupID() const { return historyLookupID_; }
  const std::optional<OverlayTextSelection>& textSelection() const { return textSelection_; }
  bool isPinned() const { return isPinned_; }
  std::optional<Uuid> enrollmentOperationID() const { return enrollmentOperationID_; }
  const std::optional<LearningEnrollmentRequest>& preparedEnrollmentRequest() const {
    return preparedEnrollmentRequest_;
  }
  const std::optional<PendingAutoplay>& pendingPronunciationAutoplay() const {
    return pendingPronunciationAutoplay_;
  }
  PronunciationPlaying& pronunciation() { return pronunciation_; }

  // ---- Layout ------------------------------------------------------------
  // Sizes a paragraph card for a selection of `selectionSize`.
  void prepareParagraphLayout(Size selectionSize);
  // Asks the view to measure its content; its answer moves the window.
  void requestPanelFit();
  // Voids the request that the view has not answered yet.
  void cancelPendingLayoutRequest();
  // The view's measurement. Only the answer to the pending request moves the window.
  void reportNaturalContentHeight(double height, int64_t requestID);
  OverlayLayoutMetrics layout() const;
  double cardHeight() const;
  bool requiresContentScrolling() const;

  // ---- Text selection ----------------------------------------------------
  void invalidateTextSelection();
  void updateTextSelection(const std::optional<std::string>& text, Uuid ownerID);
  // Only the owner of the selection can clear it.
  void clearTextSelection(Uuid ownerID);
  bool copyTextSelection(Uuid ownerID);

  // ---- Pin and card actions ----------------------------------------------
  void setPinned(bool pinned, bool notify);
  bool copyParagraphTranslation();
  void retryParagraphTranslation();
  void viewPro();

  // ---- Enrollment --------------------------------------------------------
  // Sets the enrollment of a new result (or of none): nothing running, the
  // control idle, the history row and the prepared request.
  void resetEnrollment(std::optional<Uuid> historyLookupID = std::nullopt,
                       std::optional<LearningEnrollmentRequest> preparedRequest = std::nullopt);
  void enrollCurrentResult();
  LookupEnrollmentState enrollmentState() const;
  bool showsEnrollmentControl() const;

  // ---- Pronunciation -----------------------------------------------------
  // A lookup of `contextKey` starts: play its word once it is known, if the
  // user wants that and nothing has changed meanwhile.
  void preparePronunciationAutoplay(std::string contextKey);

  // ---- Callbacks ---------------------------------------------------------
  std::function<void(double height)> onCardHeightChange;
  std::function<void(const std::vector<Rect>& rects)> onDragExclusionRectsChange;
  std::function<void(bool pinned)> onPinStateChange;
  std::function<void(const std::optional<std::string>& text)> onTextSelectionChange;
  std::function<void(const std::string& text)> onCopyTextSelection;
  std::function<void(const std::string& text)> onCopyParagraphTranslation;
  std::function<void()> onRetryParagraphTranslation;
  std::function<void()> onViewPro;
  std::function<void()> onEnrollmentSucceeded;

 private:
  template <class T>
  bool assign(T& field, T value, Field which) {
    if (field == value) return false;
    field = std::move(value);
    changed_.emit(which);
    return true;
  }
  // The card height before it is held within the limits.
  double unclampedCardHeight() const;
  void autoplayPronunciationIfNeeded();
  void applyEnrollmentOutcome(Uuid operationID, const LearningEnrollmentOutcome& outcome);

  LookupViewState state_;
  OverlayContentKind contentKind_ = OverlayContentKind::lookup;
  OverlayAnchor anchor_ = OverlayAnchor::top;
  double maxCardHeight_ = kDefaultMaxHeight;
  double naturalContentHeight_ = kInitialContentHeight;
  double paragraphCardWidth_ = kMinCardWidth;
  double paragraphCardMaxHeight_ = kDefaultMaxHeight;
  int64_t layoutRequestID_ = 0;
  int64_t resultScrollResetID_ = 0;
  LookupEnrollmentState localEnrollmentState_;
  std::optional<Uuid> historyLookupID_;
  std::optional<OverlayTextSelection> textSelection_;
  bool isPinned_ = false;
  PronunciationPlaying& pronunciation_;
  std::optional<int64_t> pendingLayoutRequestID_;
  LearningEnrolling* enrollmentCoordinator_;
  std::optional<Uuid> enrollmentOperationID_;
  std::optional<LearningEnrollmentRequest> preparedEnrollmentRequest_;
  const PronunciationSettingsStore* pronunciationSettings_;
  std::optional<PendingAutoplay> pendingPronunciationAutoplay_;
  Signal<Field> changed_;
};

}  // namespace trelvis
