#include "ui/lookup_card_view.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/overlay/lookup_overlay_model.h"
#include "core/prefs/app_language_store.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/pronunciation_settings_store.h"
#include "support/call_log.h"
#include "support/fake_lookup_pipeline.h"
#include "ui/card_theme.h"
#include "ui/localization.h"
#include "ui/qt_test_application.h"

namespace trelvis {
namespace {

using testing::QtTestApplication;

LookupViewState wordState(LookupStatus status, TranslationEntry entry,
                          PronunciationStatus sound = PronunciationStatus::ready) {
  LookupViewState state;
  state.status = status;
  state.pronunciationStatus = sound;
  state.pronunciationContextKey = "lookup-7";
  state.word = status == LookupStatus::success ? entry.headword : "";
  state.entry = std::move(entry);
  return state;
}

TranslationEntry appleEntry() {
  TranslationEntry entry;
  entry.headword = "apple";
  entry.phonetic = "/ˈæp.əl/";
  entry.partOfSpeech = "noun";
  entry.meaning = "苹果；苹果树";
  entry.sentence = "She ate an apple on the way to work.";
  entry.sentenceTranslation = "她在上班路上吃了一个苹果。";
  entry.pronunciationUrl = "https://audio.example/apple.mp3";
  entry.pronunciationLang = "en-US";
  entry.lookupLang = "en";
  return entry;
}

LookupViewState messageState(LookupStatus status, std::optional<LookupErrorCode> code = {}) {
  LookupViewState state;
  state.status = status;
  if (code) state.error = LookupError(*code, "detail for the log");
  return state;
}

LookupViewState paragraphState(LookupStatus status, std::string translation) {
  TranslationEntry entry;
  entry.sentenceTranslation = std::move(translation);
  entry.lookupLang = "en";
  LookupViewState state;
  state.status = status;
  state.entry = std::move(entry);
  return state;
}

const std::string kParagraph =
    "在过去的十年里，这座城市的公共交通发生了很大变化。新的地铁线路把郊区和市中心连接起来，"
    "公交车也换成了电动车。许多居民说，他们现在更愿意把车留在家里。";

class LookupCardViewTest : public ::testing::Test {
 protected:
  LookupCardViewTest() {
    model->onCardHeightChange = [this](double height) {
      log.add("card height " + std::to_string(int(height)));
    };
    model->onPinStateChange = [this](bool pinned) {
      log.add(pinned ? "pinned" : "unpinned");
    };
    model->onCopyParagraphTranslation = [this](const std::string& text) {
      log.add("copy " + text);
    };
    model->onRetryParagraphTranslation = log.note("retry");
    model->onViewPro = log.note("view pro");
    model->onDragExclusionRectsChange = [this](const std::vector<Rect>& rects) {
      exclusionRects = rects;
    };
  }

  template <class T = QLabel>
  T* part(const char* identifier) {
    auto* found = view->findChild<T*>(QString::fromLatin1(identifier));
    EXPECT_NE(found, nullptr) << identifier;
    return found;
  }
  QString text(const char* identifier) { return part(identifier)->text(); }
  // Shown inside the card, whether or not the card itself is on screen.
  bool shows(const char* identifier) { return part<QWidget>(identifier)->isVisibleTo(view.get()); }
  void click(const char* identifier) { part<QAbstractButton>(identifier)->click(); }

  // The view follows on the next turn of the event loop.
  void show(LookupViewState state, bool fit = true) {
    model->setState(std::move(state));
    if (fit) model->requestPanelFit();
    QtTestApplication::settle();
  }

  // The card as the panel would size it for the current content.
  void layOut() {
    view->resize(int(model->layout().width), int(model->cardHeight()));
    view->show();
    QtTestApplication::settle();
  }

  QApplication& app = QtTestApplication::instance();
  CallLog log;
  InMemoryPreferenceStore preferences;
  AppearanceStore appearance{preferences};
  AppLanguageStore languages{preferences};
  Localization localization{languages, QLocale(QLocale::English)};
  PronunciationSettingsStore settings{preferences};
  FakePronunciationPlayer playback{log};
  FakeLearning learning{log};
  std::shared_ptr<LookupOverlayModel> model =
      std::make_shared<LookupOverlayModel>(playback, &learning, &settings);
  std::unique_ptr<LookupCardView> view =
      std::make_unique<LookupCardView>(*model, appearance, localization);
  std::vector<Rect> exclusionRects;
};

TEST_F(LookupCardViewTest, FollowsAWordLookupFromSkeletonToItsEndings) {
  show(LookupViewState::loading(), false);
  EXPECT_TRUE(shows("lookup-card-skeleton"));
  EXPECT_FALSE(shows("lookup-card-headword"));
  // The skeleton is exactly as high as the model assumes before any measurement.
  EXPECT_EQ(model->naturalContentHeight(), LookupOverlayModel::kInitialContentHeight);

  TranslationEntry entry;
  entry.headword = "apple";
  show(wordState(LookupStatus::streaming, entry), false);
  EXPECT_FALSE(shows("lookup-card-skeleton"));
  EXPECT_EQ(text("lookup-card-headword"), "apple");
  EXPECT_FALSE(shows("lookup-card-meaning"));
  EXPECT_FALSE(shows("lookup-card-pronounce"));
  EXPECT_FALSE(shows("lookup-card-example"));

  entry.partOfSpeech = "noun";
  entry.meaning = "苹果";
  entry.phonetic = "/ˈæp.əl/";
  show(wordState(LookupStatus::streaming, entry, PronunciationStatus::loading), false);
  EXPECT_EQ(text("lookup-card-part-of-speech"), "noun");
  EXPECT_EQ(text("lookup-card-meaning"), "苹果");
  EXPECT_EQ(text("lookup-card-phonetic"), "/ˈæp.əl/");
  // The sound is on its way: the button is there but cannot be pressed yet.
  ASSERT_TRUE(shows("lookup-card-pronounce"));
  EXPECT_FALSE(part<QAbstractButton>("lookup-card-pronounce")->isEnabled());

  show(wordState(LookupStatus::success, appleEntry()));
  EXPECT_EQ(text("lookup-card-example"), "She ate an apple on the way to work.");
  EXPECT_EQ(text("lookup-card-example-translation"), "她在上班路上吃了一个苹果。");
  EXPECT_EQ(text("lookup-card-language"), "English");
  EXPECT_FALSE(shows("lookup-card-copy"));
  ASSERT_TRUE(part<QAbstractButton>("lookup-card-pronounce")->isEnabled());
  click("lookup-card-pronounce");
  EXPECT_EQ(log.take(), (std::vector<std::string>{
                            "card height " + std::to_string(int(model->cardHeight())),
                            "play lookup-7 apple en-US https://audio.example/apple.mp3"}));

  // The quota's ending offers the plans.
  show(messageState(LookupStatus::error, LookupErrorCode::translationQuotaExhausted));
  click("lookup-card-view-pro");
  EXPECT_EQ(log.take().back(), "view pro");
}

TEST_F(LookupCardViewTest, ShowsAParagraphAndItsCopyAndRetry) {
  model->setContentKind(OverlayContentKind::paragraphTranslation);
  model->prepareParagraphLayout({560, 180});
  show(LookupViewState::loading(), false);
  EXPECT_TRUE(shows("lookup-card-skeleton"));

  show(paragraphState(LookupStatus::streaming, "在过去的十年里"), false);
  EXPECT_EQ(text("lookup-card-paragraph"), "在过去的十年里");
  EXPECT_EQ(text("lookup-card-paragraph-language"), "English");
  // Half a translation is not worth copying.
  EXPECT_FALSE(shows("lookup-card-copy"));

  show(paragraphState(LookupStatus::success, "  " + kParagraph + "\n"));
  ASSERT_TRUE(shows("lookup-card-copy"));
  click("lookup-card-copy");
  EXPECT_EQ(log.take().back(), "copy " + kParagraph);
  QtTestApplication::settle();
  EXPECT_EQ(part<QAbstractButton>("lookup-card-copy")->accessibleName(), "Copied");

  show(messageState(LookupStatus::error, LookupErrorCode::streamInterrupted));
  EXPECT_FALSE(shows("lookup-card-copy"));
  ASSERT_TRUE(shows("lookup-card-retry"));
  click("lookup-card-retry");
  EXPECT_EQ(log.take().back(), "retry");

  show(messageState(LookupStatus::noWord));
  EXPECT_EQ(text("lookup-card-message-title"), "No text found");
}

TEST_F(LookupCardViewTest, MeasuresItsContentAndAnswersLayoutRequests) {
  TranslationEntry entry;
  entry.headword = "apple";
  entry.partOfSpeech = "noun";
  entry.meaning = "a fruit";
  show(wordState(LookupStatus::success, entry), false);
  const int oneLine = view->naturalContentHeight(380);
  // A measurement without a request is kept, and moves no window.
  EXPECT_EQ(model->naturalContentHeight(), oneLine);
  EXPECT_TRUE(log.take().empty());

  entry.meaning =
      "the round fruit of a tree of the rose family, which typically has thin red or green skin "
      "and crisp flesh; many varieties have been developed as dessert or cooking fruit";
  show(wordState(LookupStatus::success, entry));
  const int wrapped = view->naturalContentHeight(380);
  EXPECT_GT(wrapped, oneLine + 30);
  EXPECT_EQ(log.take(),
            (std::vector<std::string>{"card height " + std::to_string(wrapped + 22 + 22)}));
  // Wider, the same text needs fewer lines; measuring again changes nothing.
  EXPECT_LT(view->naturalContentHeight(640), wrapped);
  EXPECT_EQ(view->naturalContentHeight(380), wrapped);
  EXPECT_EQ(view->naturalHeight(380), wrapped + 44);

  show(wordState(LookupStatus::success, appleEntry()));
  const int complete = view->naturalContentHeight(380);
  EXPECT_GT(complete, oneLine);

  // What was measured before the card was ever on screen is what it uses on
  // screen: every label fits, and nothing scrolls.
  layOut();
  EXPECT_EQ(view->naturalContentHeight(380), complete);
  EXPECT_FALSE(part<QScrollArea>("lookup-card-scroll")->verticalScrollBar()->isVisible());
  for (const char* label : {"lookup-card-headword", "lookup-card-meaning", "lookup-card-example",
                            "lookup-card-example-translation", "lookup-card-language"}) {
    QWidget* widget = part<QWidget>(label);
    const QRect area(widget->mapTo(view.get(), QPoint(0, 0)), widget->size());
    EXPECT_LE(area.bottom(), view->height() - 22) << label;
    EXPECT_GE(area.left(), 24) << label;
    EXPECT_LE(area.right(), view->width() - 24) << label;
  }
  // The buttons and the text do not start a drag of the card.
  QtTestApplication::settle();
  const QPoint pin = part<QWidget>("lookup-card-pin")->geometry().center();
  const auto inside = [&](QPoint point) {
    for (const Rect& r : exclusionRects) {
      if (point.x() >= r.origin.x && point.x() < r.origin.x + r.size.width &&
          point.y() >= r.origin.y && point.y() < r.origin.y + r.size.height) {
        return true;
      }
    }
    return false;
  };
  EXPECT_TRUE(inside(pin));
  EXPECT_TRUE(inside(part<QWidget>("lookup-card-meaning")->mapTo(view.get(), QPoint(2, 2))));
  EXPECT_FALSE(inside(QPoint(4, 4)));
}

TEST_F(LookupCardViewTest, PinsSelectsAndSpeaksTheInterfaceLanguage) {
  show(wordState(LookupStatus::success, appleEntry()));
  layOut();
  EXPECT_EQ(part<QAbstractButton>("lookup-card-pin")->accessibleName(), "Pin");
  click("lookup-card-pin");
  QtTestApplication::settle();
  EXPECT_TRUE(model->isPinned());
  EXPECT_EQ(part<QAbstractButton>("lookup-card-pin")->accessibleName(), "Unpin");

  // A selection made in one label is the model's, and goes when the model drops it.
  QLabel* meaning = part("lookup-card-meaning");
  meaning->setSelection(0, 2);
  const QPoint at(4, 4);
  QMouseEvent release(QEvent::MouseButtonRelease, at, meaning->mapToGlobal(at), Qt::LeftButton,
                      Qt::NoButton, Qt::NoModifier);
  QCoreApplication::sendEvent(meaning, &release);
  QtTestApplication::settle();
  ASSERT_TRUE(model->textSelection().has_value());
  EXPECT_EQ(model->textSelection()->text, "苹果");
  model->invalidateTextSelection();
  QtTestApplication::settle();
  EXPECT_FALSE(meaning->hasSelectedText());

  languages.setPreference(AppLanguagePreference::simplifiedChinese);
  QtTestApplication::settle();
  EXPECT_EQ(part<QAbstractButton>("lookup-card-pin")->accessibleName(), "取消固定");
  EXPECT_EQ(text("lookup-card-language"), "英语");
  show(messageState(LookupStatus::error, LookupErrorCode::timeout));
  EXPECT_EQ(text("lookup-card-message-title"), "无法翻译");
}

// Draws every state of the card, light and dark, onto a desktop-like backdrop and
// saves it for a person to look at; checks what can be checked by machine: the
// card's own colours, and that each state fits the card the model sizes for it.
TEST_F(LookupCardViewTest, DrawsEveryStateInBothAppearances) {
  const QString directory = QStringLiteral(TRELVIS_SCREENSHOT_DIR);
  ASSERT_TRUE(QDir().mkpath(directory));
  // A message state's title, or "" for none; only an area is retried from the card.
  struct Shot {
    const char* name;
    OverlayContentKind kind;
    LookupViewState state;
    const char* title = "";
    bool retry = false, offersPro = false;
  } shots[] = {
      {"loading", OverlayContentKind::lookup, LookupViewState::loading()},
      {"word", OverlayContentKind::lookup, wordState(LookupStatus::success, appleEntry())},
      {"paragraph", OverlayContentKind::paragraphTranslation,
       paragraphState(LookupStatus::success, kParagraph)},
      {"error", OverlayContentKind::paragraphTranslation,
       messageState(LookupStatus::error, LookupErrorCode::networkUnavailable), "Couldn’t translate",
       true},
      {"quota", OverlayContentKind::lookup,
       messageState(LookupStatus::error, LookupErrorCode::translationQuotaExhausted),
       "Daily limit reached", false, true},
      {"no-word", OverlayContentKind::lookup, messageState(LookupStatus::noWord), "No word found"},
  };
  for (const AppearanceMode mode : {AppearanceMode::light, AppearanceMode::dark}) {
    appearance.setMode(mode);
    const CardTheme theme = CardTheme::forMode(mode);
    for (const Shot& shot : shots) {
      const std::string name = std::string(shot.name) + "-" + std::string(toString(mode));
      SCOPED_TRACE(name);
      model->setContentKind(shot.kind);
      model->prepareParagraphLayout({480, 160});
      show(shot.state);
      layOut();
      EXPECT_FALSE(part<QScrollArea>("lookup-card-scroll")->verticalScrollBar()->isVisible());
      if (*shot.title) {
        EXPECT_EQ(text("lookup-card-message-title"), QString::fromUtf8(shot.title));
        EXPECT_FALSE(shows("lookup-card-headword"));
        EXPECT_EQ(shows("lookup-card-retry"), shot.retry);
        EXPECT_EQ(shows("lookup-card-view-pro"), shot.offersPro);
      }

      for (const qreal ratio : {1.0, 2.0}) {
        const int margin = 24;
        QImage image((view->size() + QSize(2 * margin, 2 * margin)) * ratio,
                     QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(ratio);
        image.fill(mode == AppearanceMode::dark ? QColor(0x5A, 0x60, 0x6B)
                                                : QColor(0xC9, 0xCF, 0xD8));
        {
          QPainter painter(&image);
          view->render(&painter, QPoint(margin, margin), QRegion(), QWidget::DrawChildren);
        }
        const QString file = directory + QStringLiteral("/card-") + QString::fromStdString(name) +
                             (ratio > 1 ? QStringLiteral("@2x.png") : QStringLiteral(".png"));
        ASSERT_TRUE(image.save(file)) << file.toStdString();
        // Inside the card, below its top corner: the card's own background.
        EXPECT_EQ(image.pixelColor(QPoint(margin + 16, margin + 4) * ratio), theme.background);
      }
    }
  }
}

}  // namespace
}  // namespace trelvis
