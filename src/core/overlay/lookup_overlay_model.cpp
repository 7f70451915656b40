#include "core/overlay/lookup_overlay_model.h"

#include <algorithm>
#include <cmath>
#include <variant>

#include "base/text.h"
#include "core/prefs/pronunciation_settings_store.h"

namespace trelvis {
namespace {

// What the card's selectable text is made of. Two equal values mean that a
// selection made in one stays valid in the other.
struct LookupText {
  std::optional<std::string> resultID;
  std::vector<std::string> strings;
  friend bool operator==(const LookupText&, const LookupText&) = default;
};
struct NoWordMessage {
  bool paragraph = false;
  friend bool operator==(const NoWordMessage&, const NoWordMessage&) = default;
};
using ParagraphText = std::string;
using OverlaySelectionContent =
    std::variant<std::monostate, LookupText, ParagraphText, NoWordMessage, LookupError>;

OverlaySelectionContent selectionContent(OverlayContentKind kind, const LookupViewState& state) {
  const bool paragraph = kind == OverlayContentKind::paragraphTranslation;
  switch (state.status) {
    case LookupStatus::idle:
    case LookupStatus::loading:
      return std::monostate{};
    case LookupStatus::noWord:
      return NoWordMessage{paragraph};
    case LookupStatus::error:
      return state.error.value_or(LookupError(LookupErrorCode::unknown));
    case LookupStatus::streaming:
    case LookupStatus::success:
      break;
  }
  if (!state.entry) return std::monostate{};
  const TranslationEntry& entry = *state.entry;
  if (paragraph) return ParagraphText(entry.sentenceTranslation);
  return LookupText{state.pronunciationContextKey,
                    {state.word, entry.headword, entry.phonetic.value_or(""), entry.partOfSpeech,
                     entry.meaning, entry.sentence, entry.sentenceTranslation}};
}

bool isWebURL(const Url& url) {
  const std::string scheme = url.scheme();
  return scheme == "http" || scheme == "https";
}

}  // namespace

LookupOverlayModel::LookupOverlayModel(PronunciationPlaying& pronunciation,
                                       LearningEnrolling* enrollmentCoordinator,
                                       const PronunciationSettingsStore* pronunciationSettings)
    : pronunciation_(pronunciation),
      enrollmentCoordinator_(enrollmentCoordinator),
      pronunciationSettings_(pronunciationSettings) {}

void LookupOverlayModel::setState(LookupViewState state) {
  if (state_ == state) return;
  const bool contentChanged =
      selectionContent(contentKind_, state_) != selectionContent(contentKind_, state);
  state_ = std::move(state);
  changed_.emit(Field::state);
  if (contentChanged) invalidateTextSelection();
  autoplayPronunciationIfNeeded();
}

void LookupOverlayModel::setContentKind(OverlayContentKind kind) {
  if (assign(contentKind_, kind, Field::contentKind)) invalidateTextSelection();
}

// ---- Layout ------------------------------------------------------------------

void LookupOverlayModel::prepareParagraphLayout(Size selectionSize) {
  assign(paragraphCardWidth_, std::clamp(selectionSize.width, kMinCardWidth, kMaxCardWidth),
         Field::paragraphCardWidth);
  const double height = std::isfinite(selectionSize.height)
                            ? std::max(kDefaultMaxHeight, selectionSize.height)
                            : kDefaultMaxHeight;
  assign(paragraphCardMaxHeight_, height, Field::paragraphCardMaxHeight);
  setMaxCardHeight(paragraphCardMaxHeight_);
}

void LookupOverlayModel::requestPanelFit() {
  assign(layoutRequestID_, layoutRequestID_ + 1, Field::layoutRequestID);
  pendingLayoutRequestID_ = layoutRequestID_;
}

void LookupOverlayModel::cancelPendingLayoutRequest() {
  pendingLayoutRequestID_.reset();
  assign(layoutRequestID_, layoutRequestID_ + 1, Field::layoutRequestID);
}

void LookupOverlayModel::reportNaturalContentHeight(double height, int64_t requestID) {
  if (!(height > 0)) return;
  setNaturalContentHeight(height);
  const double card = cardHeight();
  if (pendingLayoutRequestID_ != requestID) return;
  pendingLayoutRequestID_.reset();
  if (onCardHeightChange) onCardHeightChange(card);
}

OverlayLayoutMetrics LookupOverlayModel::layout() const {
  OverlayLayoutMetrics metrics;
  if (contentKind_ == OverlayContentKind::paragraphTranslation) {
    metrics.width = std::clamp(paragraphCardWidth_, kMinCardWidth, kMaxCardWidth);
    metrics.maxHeight = std::isfinite(paragraphCardMaxHeight_)
                            ? std::max(kDefaultMaxHeight, paragraphCardMaxHeight_)
                            : kDefaultMaxHeight;
  }
  return metrics;
}

double LookupOverlayModel::unclampedCardHeight() const {
  const EdgeInsets padding = layout().cardPadding;
  // The enrollment control sits in the bottom padding.
  const double bottom = padding.bottom - (showsEnrollmentControl() ? 6 : 0);
  return naturalContentHeight_ + padding.top + bottom;
}

double LookupOverlayModel::cardHeight() const {
  return std::max(layout().minHeight, std::min(unclampedCardHeight(), maxCardHeight_));
}

bool LookupOverlayModel::requiresContentScrolling() const {
  return unclampedCardHeight() > maxCardHeight_;
}

// ---- Text selection ----------------------------------------------------------

void LookupOverlayModel::invalidateTextSelection() {
  if (!textSelection_) return;
  textSelection_.reset();
  changed_.emit(Field::textSelection);
  if (onTextSelectionChange) onTextSelectionChange(std::nullopt);
}

void LookupOverlayModel::updateTextSelection(const std::optional<std::string>& text, Uuid ownerID) {
  if (!text || text->empty()) {
    clearTextSelection(ownerID);
    return;
  }
  if (!assign(textSelection_, std::optional(OverlayTextSelection{ownerID, *text}),
              Field::textSelection)) {
    return;
  }
  if (onTextSelectionChange) onTextSelectionChange(*text);
}

void LookupOverlayModel::clearTextSelection(Uuid ownerID) {
  if (textSelection_ && textSelection_->ownerID == ownerID) invalidateTextSelection();
}

bool LookupOverlayModel::copyTextSelection(Uuid ownerID) {
  if (!textSelection_ || textSelection_->ownerID != ownerID) return false;
  if (onCopyTextSelection) onCopyTextSelection(textSelection_->text);
  return true;
}

// ---- Pin and card actions ----------------------------------------------------

void LookupOverlayModel::setPinned(bool pinned, bool notify) {
  if (!assign(isPinned_, pinned, Field::isPinned)) return;
  if (notify && onPinStateChange) onPinStateChange(pinned);
}

bool LookupOverlayModel::copyParagraphTranslation() {
  if (contentKind_ != OverlayContentKind::paragraphTranslation ||
      state_.status != LookupStatus::success || !state_.entry) {
    return false;
  }
  const std::string text = trimmed(state_.entry->sentenceTranslation);
  if (text.empty()) return false;
  if (onCopyParagraphTranslation) onCopyParagraphTranslation(text);
  return true;
}

void LookupOverlayModel::retryParagraphTranslation() {
  if (contentKind_ == OverlayContentKind::paragraphTranslation &&
      state_.status == LookupStatus::error && onRetryParagraphTranslation) {
    onRetryParagraphTranslation();
  }
}

void LookupOverlayModel::viewPro() {
  if (state_.error && state_.error->code() == LookupErrorCode::translationQuotaExhausted &&
      onViewPro) {
    onViewPro();
  }
}

// ---- Enrollment --------------------------------------------------------------

void LookupOverlayModel::resetEnrollment(std::optional<Uuid> historyLookupID,
                                         std::optional<LearningEnrollmentRequest> preparedRequest) {
  enrollmentOperationID_.reset();
  assign(localEnrollmentState_, LookupEnrollmentState::idle(), Field::localEnrollmentState);
  assign(historyLookupID_, historyLookupID, Field::historyLookupID);
  assign(preparedEnrollmentRequest_, std::move(preparedRequest), Field::preparedEnrollmentRequest);
}

LookupEnrollmentState LookupOverlayModel::enrollmentState() const {
  if (historyLookupID_ && enrollmentCoordinator_) {
    if (auto state = enrollmentCoordinator_->historyEnrollmentState(*historyLookupID_)) {
      return *state;
    }
  }
  return localEnrollmentState_;
}

bool LookupOverlayModel::showsEnrollmentControl() const {
  return contentKind_ == OverlayContentKind::lookup && state_.status == LookupStatus::success &&
         preparedEnrollmentRequest_.has_value();
}

void LookupOverlayModel::enrollCurrentResult() {
  if (state_.status != LookupStatus::success || !preparedEnrollmentRequest_) return;
  if (enrollmentState().isSettledOrPending()) return;
  if (!enrollmentCoordinator_ || !state_.entry) {
    EnrollmentFailure failure{EnrollmentFailure::InvalidEntry{}};
    if (!enrollmentCoordinator_) failure = {EnrollmentFailure::BuildUnavailable{}};
    assign(localEnrollmentState_, LookupEnrollmentState::failed(failure),
           Field::localEnrollmentState);
    requestPanelFit();
    return;
  }
  assign(localEnrollmentState_, LookupEnrollmentState::optimisticallyEnrolled(),
         Field::localEnrollmentState);
  requestPanelFit();
  const Uuid operationID = Uuid::random();
  enrollmentOperationID_ = operationID;
  enrollmentCoordinator_->enroll(
      *preparedEnrollmentRequest_, historyLookupID_,
      [weak = weak_from_this(), operationID](Uuid, const LearningEnrollmentOutcome& outcome) {
        if (auto self = weak.lock()) self->applyEnrollmentOutcome(operationID, outcome);
      });
}

void LookupOverlayModel::applyEnrollmentOutcome(Uuid operationID,
                                                const LearningEnrollmentOutcome& outcome) {
  // A late answer for an earlier card changes nothing.
  if (enrollmentOperationID_ != operationID) return;
  const auto* status = std::get_if<LearningEnrollmentResultStatus>(&outcome);
  LookupEnrollmentState state =
      !status ? LookupEnrollmentState::failed(std::get<EnrollmentFailure>(outcome))
      : *status == LearningEnrollmentResultStatus::enrolled ? LookupEnrollmentState::enrolled()
                                                            : LookupEnrollmentState::skipped();
  assign(localEnrollmentState_, std::move(state), Field::localEnrollmentState);
  requestPanelFit();
  if (status && onEnrollmentSucceeded) onEnrollmentSucceeded();
}

// ---- Pronunciation -----------------------------------------------------------

void LookupOverlayModel::preparePronunciationAutoplay(std::string contextKey) {
  pendingPronunciationAutoplay_ =
      PendingAutoplay{std::move(contextKey), pronunciation_.autoplayIntent()};
}

void LookupOverlayModel::autoplayPronunciationIfNeeded() {
  if (!pendingPronunciationAutoplay_ || contentKind_ != OverlayContentKind::lookup) return;
  if (state_.status != LookupStatus::streaming && state_.status != LookupStatus::success) return;
  if (state_.pronunciationContextKey != pendingPronunciationAutoplay_->key) return;
  if (!state_.entry || !state_.entry->pronunciationUrl) return;
  const std::optional<Url> url = Url::parse(*state_.entry->pronunciationUrl);
  if (!url || !isWebURL(*url)) return;
  const PendingAutoplay pending = *std::exchange(pendingPronunciationAutoplay_, std::nullopt);
  if (!pronunciationSettings_ || !pronunciationSettings_->autoplayEnabled()) return;
  const TranslationEntry& entry = *state_.entry;
  pronunciation_.play(pending.key, entry.headword,
                      entry.pronunciationLang ? entry.pronunciationLang : entry.lookupLang, url,
                      pending.intent);
}

}  // namespace trelvis
