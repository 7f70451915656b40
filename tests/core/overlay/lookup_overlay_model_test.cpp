#include "core/overlay/lookup_overlay_model.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "support/fake_lookup_pipeline.h"

namespace trelvis {
namespace {

using Lines = std::vector<std::string>;

LookupViewState cardState(LookupStatus status, std::string headword = "apple",
                          std::optional<std::string> url = std::nullopt) {
  LookupViewState state;
  state.status = status;
  state.pronunciationContextKey = "lookup-1";
  state.entry.emplace();
  state.entry->headword = std::move(headword);
  state.entry->partOfSpeech = "noun";
  state.entry->meaning = "a fruit";
  state.entry->pronunciationUrl = std::move(url);
  state.entry->lookupLang = "en";
  return state;
}

class LookupOverlayModelTest : public ::testing::Test {
 protected:
  LookupOverlayModelTest() {
    model->onCardHeightChange = [this](double height) {
      log.add("card height " + std::to_string(int(height)));
    };
    model->onTextSelectionChange = [this](const std::optional<std::string>& text) {
      log.add("selection " + text.value_or("none"));
    };
  }

  CallLog log;
  InMemoryPreferenceStore preferences;
  PronunciationSettingsStore settings{preferences};
  FakePronunciationPlayer playback{log};
  FakeLearning learning{log};
  std::shared_ptr<LookupOverlayModel> model =
      std::make_shared<LookupOverlayModel>(playback, &learning, &settings);
};

TEST_F(LookupOverlayModelTest, CardMetricsFollowTheContentAndTheLimits) {
  struct Paragraph {
    Size selection;
    double width;
    double maxHeight;
  } paragraphs[] = {
      {{100, 50}, 380, 400},
      {{1000, 50}, 640, 400},
      {{500, 900}, 500, 900},
      {{500, std::numeric_limits<double>::infinity()}, 500, 400},
  };
  model->setContentKind(OverlayContentKind::paragraphTranslation);
  for (const auto& p : paragraphs) {
    model->prepareParagraphLayout(p.selection);
    EXPECT_EQ(model->layout().width, p.width);
    EXPECT_EQ(model->layout().maxHeight, p.maxHeight);
    EXPECT_EQ(model->maxCardHeight(), p.maxHeight);
  }

  model->setContentKind(OverlayContentKind::lookup);
  model->setMaxCardHeight(400);
  struct Height {
    double natural;
    bool enrollable;
    double card;
    bool scrolls;
  } heights[] = {{10, false, 137, false},
                 {200, false, 244, false},
                 {200, true, 238, false},
                 {357, false, 400, true},
                 {356, false, 400, false}};
  for (const auto& h : heights) {
    model->setState(cardState(LookupStatus::success));
    model->resetEnrollment(
        std::nullopt,
        h.enrollable ? LearningEnrollmentRequest::from(*model->state().entry) : std::nullopt);
    model->setNaturalContentHeight(h.natural);
    EXPECT_EQ(model->cardHeight(), h.card) << h.natural;
    EXPECT_EQ(model->requiresContentScrolling(), h.scrolls) << h.natural;
  }
}

TEST_F(LookupOverlayModelTest, OnlyTheAnswerToThePendingRequestMovesTheWindow) {
  model->requestPanelFit();
  const int64_t first = model->layoutRequestID();
  model->requestPanelFit();
  model->reportNaturalContentHeight(0, model->layoutRequestID());  // no height yet
  model->reportNaturalContentHeight(300, first);                   // stale: stored, not applied
  EXPECT_EQ(model->naturalContentHeight(), 300);
  model->reportNaturalContentHeight(150, model->layoutRequestID());
  model->reportNaturalContentHeight(160, model->layoutRequestID());  // answered already
  EXPECT_EQ(log.take(), (Lines{"card height 194"}));
  model->requestPanelFit();
  model->cancelPendingLayoutRequest();
  model->reportNaturalContentHeight(170, model->layoutRequestID() - 1);
  EXPECT_TRUE(log.take().empty());
}

TEST_F(LookupOverlayModelTest, ASelectionBelongsToItsViewAndToTheTextItWasMadeIn) {
  const Uuid headwordView = Uuid::random();
  const Uuid meaningView = Uuid::random();
  model->setState(cardState(LookupStatus::streaming));
  model->updateTextSelection("app", headwordView);
  model->updateTextSelection("app", headwordView);  // no change
  model->clearTextSelection(meaningView);           // not its selection
  EXPECT_FALSE(model->copyTextSelection(meaningView));
  LookupViewState withURL = cardState(LookupStatus::streaming, "apple", "https://a/apple.mp3");
  model->setState(withURL);  // the texts stay the same
  EXPECT_TRUE(model->textSelection());
  model->setState(cardState(LookupStatus::streaming, "apples"));
  model->updateTextSelection("fruit", meaningView);
  model->setContentKind(OverlayContentKind::paragraphTranslation);
  model->updateTextSelection("", meaningView);
  EXPECT_EQ(log.take(),
            (Lines{"selection app", "selection none", "selection fruit", "selection none"}));
}

TEST_F(LookupOverlayModelTest, CardActionsActOnlyWhereTheyApply) {
  CallLog actions;
  model->onViewPro = actions.note("view pro");
  model->onRetryParagraphTranslation = actions.note("retry");
  for (auto code : {LookupErrorCode::rateLimited, LookupErrorCode::translationQuotaExhausted}) {
    LookupViewState state;
    state.status = LookupStatus::error;
    state.error = LookupError(code);
    model->setState(state);
    model->viewPro();
    model->retryParagraphTranslation();  // a word card has no retry
  }
  model->setContentKind(OverlayContentKind::paragraphTranslation);
  model->retryParagraphTranslation();
  // A translation is copied trimmed: the card view's test presses Copy.
  EXPECT_FALSE(model->copyParagraphTranslation());
  EXPECT_EQ(actions.take(), (Lines{"view pro", "retry"}));
}

TEST_F(LookupOverlayModelTest, EnrollmentSendsOnceAndIgnoresLateAnswers) {
  model->enrollCurrentResult();  // nothing prepared
  model->setState(cardState(LookupStatus::success));
  model->resetEnrollment(std::nullopt, LearningEnrollmentRequest::from(*model->state().entry));
  model->enrollCurrentResult();
  model->enrollCurrentResult();
  EXPECT_EQ(log.take(), (Lines{"enroll apple"}));
  EXPECT_EQ(model->enrollmentState(), LookupEnrollmentState::optimisticallyEnrolled());

  // A new result arrives before the answer for the old one.
  model->resetEnrollment(std::nullopt, LearningEnrollmentRequest::from(*model->state().entry));
  learning.complete(LearningEnrollmentResultStatus::enrolled);
  EXPECT_EQ(model->enrollmentState(), LookupEnrollmentState::idle());

  int succeeded = 0;
  model->onEnrollmentSucceeded = [&] {
    ++succeeded;
  };
  const EnrollmentFailure offline{
      EnrollmentFailure::Api{{LearningEnrollmentAPIError::Network{"offline"}}}};
  model->enrollCurrentResult();
  learning.complete(offline);
  EXPECT_EQ(model->enrollmentState(), LookupEnrollmentState::failed(offline));
  model->enrollCurrentResult();  // a failure may be retried
  learning.complete(LearningEnrollmentResultStatus::skipped);
  EXPECT_EQ(model->enrollmentState(), LookupEnrollmentState::skipped());
  EXPECT_EQ(succeeded, 1);

  // The recent-lookup history's state wins over the card's own.
  model->resetEnrollment(Uuid::random(), LearningEnrollmentRequest::from(*model->state().entry));
  learning.historyState = LookupEnrollmentState::enrolled();
  log.take();
  model->enrollCurrentResult();
  EXPECT_TRUE(log.take().empty());

  LookupOverlayModel alone(playback, nullptr, &settings);
  alone.setState(cardState(LookupStatus::success));
  alone.resetEnrollment(std::nullopt, LearningEnrollmentRequest::from(*alone.state().entry));
  alone.enrollCurrentResult();
  EXPECT_EQ(alone.enrollmentState(),
            LookupEnrollmentState::failed({EnrollmentFailure::BuildUnavailable{}}));
}

TEST_F(LookupOverlayModelTest, AutoplayPlaysOnceAtTheFirstURLOfItsOwnLookup) {
  settings.setAutoplayEnabled(true);
  model->preparePronunciationAutoplay("lookup-1");
  model->setState(cardState(LookupStatus::streaming));
  model->setState(cardState(LookupStatus::streaming, "apple", "ftp://a/apple.mp3"));
  LookupViewState other = cardState(LookupStatus::streaming, "apple", "https://a/apple.mp3");
  other.pronunciationContextKey = "lookup-0";  // a later state of an older lookup
  model->setState(other);
  EXPECT_TRUE(log.take().empty());
  model->setState(cardState(LookupStatus::streaming, "apple", "https://a/apple.mp3"));
  model->setState(cardState(LookupStatus::success, "apple", "https://a/apple.mp3"));
  EXPECT_EQ(log.take(), (Lines{"play lookup-1 apple en https://a/apple.mp3 auto"}));

  // Off: the intent is dropped, and turning autoplay on later in the same lookup plays nothing.
  settings.setAutoplayEnabled(false);
  model->preparePronunciationAutoplay("lookup-2");
  LookupViewState second = cardState(LookupStatus::streaming, "pear", "https://a/pear.mp3");
  second.pronunciationContextKey = "lookup-2";
  model->setState(second);
  settings.setAutoplayEnabled(true);
  second.status = LookupStatus::success;
  model->setState(second);
  EXPECT_TRUE(log.take().empty());
}

}  // namespace
}  // namespace trelvis
