#include "ui/lookup_card_view.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "base/text.h"
#include "base/uuid.h"
#include "core/overlay/lookup_overlay_model.h"
#include "core/prefs/appearance_store.h"
#include "ui/card_theme.h"
#include "ui/card_widgets.h"
#include "ui/coalesced_refresh.h"
#include "ui/localization.h"
#include "ui/lookup_error_texts.h"

namespace trelvis {
namespace {

// The content scrolls inside the card's one-pixel frame.
constexpr int kFrame = 1;
// The pin and copy buttons sit in the card's top trailing corner, over the
// padding; the first line of each kind of content leaves room for them.
constexpr int kCornerInset = 10;
constexpr int kCornerGap = 2;
constexpr int kRoomForPin = 20;
constexpr int kRoomForPinAndCopy = kRoomForPin + 28 + kCornerGap + 6;
constexpr int kCopiedFeedbackMs = 1500;

QString toQString(const std::string& text) {
  return QString::fromStdString(text);
}

// Shows a label only when it has something to say.
void setLabelText(QLabel* label, const QString& text) {
  if (label->text() != text) label->setText(text);
  label->setVisible(!text.trimmed().isEmpty());
}

QLabel* makeLabel(QWidget* parent, CardFont font, const char* identifier, bool selectable) {
  auto* label = new QLabel(parent);
  label->setObjectName(QString::fromLatin1(identifier));
  // Server text is shown as it stands, never read as markup.
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setFont(cardFont(font));
  label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  if (selectable) {
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // The card's window never takes the keyboard; selection works without it.
    label->setFocusPolicy(Qt::NoFocus);
  }
  return label;
}

QVBoxLayout* column(QWidget* widget) {
  auto* layout = new QVBoxLayout(widget);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  return layout;
}

QHBoxLayout* row(QWidget* widget, int spacing) {
  auto* layout = new QHBoxLayout(widget);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(spacing);
  return layout;
}

Rect toRect(const QRect& rect) {
  return Rect{Point{double(rect.x()), double(rect.y())},
              Size{double(rect.width()), double(rect.height())}};
}

int layoutHeightForWidth(QLayout* layout, int width) {
  if (layout->hasHeightForWidth()) return layout->totalHeightForWidth(width);
  return layout->totalSizeHint().height();
}

}  // namespace

struct LookupCardView::Parts {
  explicit Parts(LookupCardView* view)
      : refresh(view, [view] { view->refresh(); }),
        exclusion(view, [view] { view->updateDragExclusionRects(); }) {}

  CardTheme theme;
  CoalescedRefresh refresh;
  CoalescedRefresh exclusion;

  QScrollArea* scroll = nullptr;
  QWidget* body = nullptr;
  QVBoxLayout* bodyLayout = nullptr;
  CardSkeleton* skeleton = nullptr;

  QWidget* lookup = nullptr;
  QLabel* headword = nullptr;
  QWidget* phoneticRow = nullptr;
  QLabel* phonetic = nullptr;
  CardIconButton* speaker = nullptr;
  QWidget* meaningRow = nullptr;
  ChipLabel* partOfSpeech = nullptr;
  QLabel* meaning = nullptr;
  RuledBlock* example = nullptr;
  QLabel* sentence = nullptr;
  QLabel* sentenceTranslation = nullptr;
  QLabel* lookupLanguage = nullptr;

  QWidget* paragraph = nullptr;
  QLabel* paragraphCaption = nullptr;
  QLabel* paragraphText = nullptr;

  QWidget* message = nullptr;
  QLabel* messageTitle = nullptr;
  QLabel* messageText = nullptr;
  QWidget* actions = nullptr;
  CardTextButton* retry = nullptr;
  CardTextButton* viewPro = nullptr;

  CardIconButton* copy = nullptr;
  CardIconButton* pin = nullptr;
  QTimer* copiedTimer = nullptr;

  // The labels whose text can be selected, each with the identity it selects as.
  std::vector<std::pair<QLabel*, Uuid>> selectable;
  // Which theme colour each label is drawn in.
  std::vector<std::pair<QLabel*, QColor CardTheme::*>> inks;
  int64_t scrollResetID = 0;
  std::optional<std::vector<Rect>> exclusionRects;
};

LookupCardView::LookupCardView(LookupOverlayModel& model, AppearanceStore& appearance,
                               Localization& localization, QWidget* parent)
    : QWidget(parent),
      model_(model),
      appearance_(appearance),
      localization_(localization),
      parts_(std::make_unique<Parts>(this)) {
  Parts& p = *parts_;
  setObjectName(QStringLiteral("lookup-card-surface"));

  p.scroll = new QScrollArea(this);
  p.scroll->setObjectName(QStringLiteral("lookup-card-scroll"));
  p.scroll->setFrameShape(QFrame::NoFrame);
  p.scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  p.scroll->setWidgetResizable(true);
  p.scroll->viewport()->setAutoFillBackground(false);
  p.scroll->setAutoFillBackground(false);
  p.scroll->setFocusPolicy(Qt::NoFocus);

  p.body = new QWidget;
  p.body->setAutoFillBackground(false);
  p.bodyLayout = column(p.body);
  const EdgeInsets padding = model_.layout().cardPadding;
  p.bodyLayout->setContentsMargins(int(padding.leading) - kFrame, 0, int(padding.trailing) - kFrame,
                                   0);

  p.skeleton = new CardSkeleton(int(LookupOverlayModel::kInitialContentHeight), p.body);
  p.skeleton->setObjectName(QStringLiteral("lookup-card-skeleton"));
  // Above the content: takes the card's spare height when a short message is
  // centred in a card held at its minimum height.
  p.bodyLayout->addStretch(0);
  p.bodyLayout->addWidget(p.skeleton);

  // The word's entry.
  p.lookup = new QWidget(p.body);
  QVBoxLayout* lookup = column(p.lookup);
  p.headword = makeLabel(p.lookup, CardFont::headword, "lookup-card-headword", true);
  p.headword->setContentsMargins(0, 0, kRoomForPin, 0);
  lookup->addWidget(p.headword);
  p.phoneticRow = new QWidget(p.lookup);
  p.phoneticRow->setContentsMargins(0, 2, 0, 0);
  QHBoxLayout* phonetic = row(p.phoneticRow, 2);
  p.phonetic = makeLabel(p.phoneticRow, CardFont::phonetic, "lookup-card-phonetic", true);
  p.phonetic->setWordWrap(false);
  p.phonetic->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  p.speaker = new CardIconButton(QStringLiteral("speaker"), p.phoneticRow);
  p.speaker->setObjectName(QStringLiteral("lookup-card-pronounce"));
  phonetic->addWidget(p.phonetic);
  phonetic->addWidget(p.speaker);
  phonetic->addStretch();
  lookup->addWidget(p.phoneticRow);
  p.meaningRow = new QWidget(p.lookup);
  p.meaningRow->setContentsMargins(0, 10, 0, 0);
  QHBoxLayout* meaning = row(p.meaningRow, 8);
  p.partOfSpeech = new ChipLabel(p.meaningRow);
  p.partOfSpeech->setObjectName(QStringLiteral("lookup-card-part-of-speech"));
  p.meaning = makeLabel(p.meaningRow, CardFont::body, "lookup-card-meaning", true);
  meaning->addWidget(p.partOfSpeech, 0, Qt::AlignTop);
  meaning->addWidget(p.meaning, 1);
  lookup->addWidget(p.meaningRow);
  p.example = new RuledBlock(p.lookup);
  p.example->setContentsMargins(12, 12, 0, 0);
  QVBoxLayout* example = column(p.example);
  example->setSpacing(3);
  p.sentence = makeLabel(p.example, CardFont::example, "lookup-card-example", true);
  p.sentenceTranslation =
      makeLabel(p.example, CardFont::example, "lookup-card-example-translation", true);
  example->addWidget(p.sentence);
  example->addWidget(p.sentenceTranslation);
  lookup->addWidget(p.example);
  p.lookupLanguage = makeLabel(p.lookup, CardFont::caption, "lookup-card-language", false);
  p.lookupLanguage->setContentsMargins(0, 14, 0, 0);
  lookup->addWidget(p.lookupLanguage);
  p.bodyLayout->addWidget(p.lookup);

  // The paragraph's translation.
  p.paragraph = new QWidget(p.body);
  QVBoxLayout* paragraph = column(p.paragraph);
  p.paragraphCaption =
      makeLabel(p.paragraph, CardFont::caption, "lookup-card-paragraph-language", false);
  p.paragraphText = makeLabel(p.paragraph, CardFont::body, "lookup-card-paragraph", true);
  p.paragraphText->setContentsMargins(0, 8, 0, 0);
  paragraph->addWidget(p.paragraphCaption);
  paragraph->addWidget(p.paragraphText);
  p.bodyLayout->addWidget(p.paragraph);

  // No word, no text, or a failure.
  p.message = new QWidget(p.body);
  QVBoxLayout* message = column(p.message);
  p.messageTitle = makeLabel(p.message, CardFont::title, "lookup-card-message-title", true);
  p.messageTitle->setContentsMargins(0, 0, kRoomForPin, 0);
  p.messageText = makeLabel(p.message, CardFont::example, "lookup-card-message", true);
  p.messageText->setContentsMargins(0, 6, 0, 0);
  p.actions = new QWidget(p.message);
  p.actions->setContentsMargins(0, 14, 0, 0);
  QHBoxLayout* actions = row(p.actions, 8);
  p.retry = new CardTextButton(QStringLiteral("retry"), false, p.actions);
  p.retry->setObjectName(QStringLiteral("lookup-card-retry"));
  p.viewPro = new CardTextButton(QString(), true, p.actions);
  p.viewPro->setObjectName(QStringLiteral("lookup-card-view-pro"));
  actions->addWidget(p.retry);
  actions->addWidget(p.viewPro);
  actions->addStretch();
  message->addWidget(p.messageTitle);
  message->addWidget(p.messageText);
  message->addWidget(p.actions);
  p.bodyLayout->addWidget(p.message);
  p.bodyLayout->addStretch();

  p.scroll->setWidget(p.body);
  // The scroll area would paint the body over the card's rounded frame.
  p.body->setAutoFillBackground(false);

  p.copy = new CardIconButton(QStringLiteral("copy"), this);
  p.copy->setObjectName(QStringLiteral("lookup-card-copy"));
  p.pin = new CardIconButton(QStringLiteral("pin"), this);
  p.pin->setObjectName(QStringLiteral("lookup-card-pin"));
  p.copiedTimer = new QTimer(this);
  p.copiedTimer->setSingleShot(true);
  p.copiedTimer->setInterval(kCopiedFeedbackMs);

  p.selectable = {{p.headword, Uuid::random()},
                  {p.phonetic, Uuid::random()},
                  {p.meaning, Uuid::random()},
                  {p.sentence, Uuid::random()},
                  {p.sentenceTranslation, Uuid::random()},
                  {p.paragraphText, Uuid::random()},
                  {p.messageTitle, Uuid::random()},
                  {p.messageText, Uuid::random()}};
  for (auto& [label, owner] : p.selectable) label->installEventFilter(this);
  p.inks = {{p.headword, &CardTheme::primaryText},
            {p.phonetic, &CardTheme::secondaryText},
            {p.meaning, &CardTheme::primaryText},
            {p.sentence, &CardTheme::primaryText},
            {p.sentenceTranslation, &CardTheme::secondaryText},
            {p.lookupLanguage, &CardTheme::tertiaryText},
            {p.paragraphCaption, &CardTheme::tertiaryText},
            {p.paragraphText, &CardTheme::primaryText},
            {p.messageTitle, &CardTheme::primaryText},
            {p.messageText, &CardTheme::secondaryText}};

  // Every widget is shown or hidden explicitly, so that the content measures the
  // same before the card has ever been on screen as after.
  for (QWidget* child : p.body->findChildren<QWidget*>()) child->show();
  p.body->show();

  QObject::connect(p.pin, &QAbstractButton::clicked, this,
                   [this] { model_.setPinned(!model_.isPinned(), true); });
  QObject::connect(p.speaker, &QAbstractButton::clicked, this, [this] { pronounce(); });
  QObject::connect(p.copy, &QAbstractButton::clicked, this, [this] { copyTranslation(); });
  QObject::connect(p.retry, &QAbstractButton::clicked, this,
                   [this] { model_.retryParagraphTranslation(); });
  QObject::connect(p.viewPro, &QAbstractButton::clicked, this, [this] { model_.viewPro(); });
  QObject::connect(p.copiedTimer, &QTimer::timeout, this, [this] { parts_->refresh.schedule(); });
  QObject::connect(p.scroll->verticalScrollBar(), &QScrollBar::valueChanged, this,
                   [this] { parts_->exclusion.schedule(); });

  connections_.push_back(model_.changed().connect([this](LookupOverlayModel::Field field) {
    using Field = LookupOverlayModel::Field;
    // The view's own report, and the placement, change nothing it shows.
    if (field == Field::naturalContentHeight || field == Field::anchor ||
        field == Field::maxCardHeight) {
      return;
    }
    parts_->refresh.schedule();
  }));
  connections_.push_back(appearance_.changed().connect([this](AppearanceMode) {
    applyTheme();
    parts_->refresh.schedule();
  }));
  connections_.push_back(
      localization_.changed().connect([this](AppLanguage) { parts_->refresh.schedule(); }));

  applyTheme();
  p.scrollResetID = model_.resultScrollResetID();
  p.refresh.schedule();
  p.refresh.flush();
}

LookupCardView::~LookupCardView() = default;

QSize LookupCardView::sizeHint() const {
  const int width = int(model_.layout().width);
  return {width, naturalHeight(width)};
}

int LookupCardView::naturalContentHeight(int width) const {
  return layoutHeightForWidth(parts_->bodyLayout, width - 2 * kFrame);
}

int LookupCardView::naturalHeight(int width) const {
  const EdgeInsets padding = model_.layout().cardPadding;
  return naturalContentHeight(width) + int(padding.top + padding.bottom);
}

void LookupCardView::refreshNow() {
  parts_->refresh.flush();
}

void LookupCardView::refresh() {
  Parts& p = *parts_;
  const LookupViewState& state = model_.state();
  const bool isParagraph = model_.contentKind() == OverlayContentKind::paragraphTranslation;
  const TranslationEntry* entry = state.entry ? &*state.entry : nullptr;

  enum class Section { skeleton, lookup, paragraph, message };
  Section section = Section::skeleton;
  switch (state.status) {
    case LookupStatus::idle:
    case LookupStatus::loading:
      break;
    case LookupStatus::streaming:
    case LookupStatus::success:
      if (!entry) break;
      if (isParagraph) {
        if (!isBlank(entry->sentenceTranslation)) section = Section::paragraph;
      } else if (!isBlank(entry->headword) || !isBlank(entry->meaning) ||
                 !isBlank(entry->partOfSpeech)) {
        section = Section::lookup;
      }
      break;
    case LookupStatus::noWord:
    case LookupStatus::error:
      section = Section::message;
      break;
  }
  p.skeleton->setVisible(section == Section::skeleton);
  p.lookup->setVisible(section == Section::lookup);
  p.paragraph->setVisible(section == Section::paragraph);
  p.message->setVisible(section == Section::message);
  p.bodyLayout->setStretch(0, section == Section::message ? 1 : 0);

  const auto languageLine = [&]() -> QString {
    if (!entry) return {};
    return toQString(entry->detectedLanguageDisplayName(localization_.language()).value_or(""));
  };

  bool showsCopy = false;
  switch (section) {
    case Section::skeleton:
      break;
    case Section::lookup: {
      setLabelText(p.headword, toQString(trimmed(entry->headword)));
      setLabelText(p.phonetic, toQString(trimmed(entry->phonetic.value_or(""))));
      const bool hasURL = !isBlank(entry->pronunciationUrl.value_or(""));
      const bool loadingSound = state.pronunciationStatus == PronunciationStatus::loading;
      p.speaker->setVisible(!isBlank(entry->headword) && (hasURL || loadingSound));
      p.speaker->setEnabled(hasURL && !loadingSound);
      const QString speakerText =
          Localization::text(loadingSound ? "card.pronunciationLoading" : "card.pronounce");
      p.speaker->setToolTip(speakerText);
      p.speaker->setAccessibleName(speakerText);
      p.phoneticRow->setVisible(p.phonetic->isVisibleTo(p.phoneticRow) ||
                                p.speaker->isVisibleTo(p.phoneticRow));
      setLabelText(p.partOfSpeech, toQString(trimmed(entry->partOfSpeech)));
      setLabelText(p.meaning, toQString(trimmed(entry->meaning)));
      p.meaningRow->setVisible(p.partOfSpeech->isVisibleTo(p.meaningRow) ||
                               p.meaning->isVisibleTo(p.meaningRow));
      setLabelText(p.sentence, toQString(trimmed(entry->sentence)));
      setLabelText(p.sentenceTranslation, toQString(trimmed(entry->sentenceTranslation)));
      p.example->setVisible(p.sentence->isVisibleTo(p.example) ||
                            p.sentenceTranslation->isVisibleTo(p.example));
      setLabelText(p.lookupLanguage, languageLine());
      break;
    }
    case Section::paragraph: {
      showsCopy = state.status == LookupStatus::success;
      QString caption = languageLine();
      if (caption.isEmpty()) caption = Localization::text("card.paragraph.caption");
      setLabelText(p.paragraphCaption, caption);
      p.paragraphCaption->setContentsMargins(0, 0, showsCopy ? kRoomForPinAndCopy : kRoomForPin, 0);
      setLabelText(p.paragraphText, toQString(trimmed(entry->sentenceTranslation)));
      break;
    }
    case Section::message: {
      const bool failed = state.status == LookupStatus::error;
      const LookupErrorCode code = state.error ? state.error->code() : LookupErrorCode::unknown;
      const std::string_view title = !failed
                                         ? (isParagraph ? "card.noText.title" : "card.noWord.title")
                                         : lookupErrorTitleKey(code);
      const std::string_view text =
          !failed ? (isParagraph ? "card.noText.message" : "card.noWord.message")
                  : lookupErrorMessageKey(code);
      setLabelText(p.messageTitle, Localization::text(title));
      setLabelText(p.messageText, Localization::text(text));
      p.retry->setText(Localization::text("card.retry"));
      p.retry->setVisible(failed && isParagraph);
      p.viewPro->setText(Localization::text("card.viewPro"));
      p.viewPro->setVisible(failed && code == LookupErrorCode::translationQuotaExhausted);
      p.actions->setVisible(p.retry->isVisibleTo(p.actions) || p.viewPro->isVisibleTo(p.actions));
      break;
    }
  }

  // The corner buttons.
  p.pin->setVisible(model_.layout().showsPinButton);
  const bool pinned = model_.isPinned();
  p.pin->setIconName(pinned ? QStringLiteral("pin-filled") : QStringLiteral("pin"), pinned);
  const QString pinText = Localization::text(pinned ? "card.unpin" : "card.pin");
  p.pin->setToolTip(pinText);
  p.pin->setAccessibleName(pinText);
  if (!showsCopy) p.copiedTimer->stop();
  const bool copied = p.copiedTimer->isActive();
  p.copy->setVisible(showsCopy);
  p.copy->setIconName(copied ? QStringLiteral("check") : QStringLiteral("copy"), copied);
  const QString copyText = Localization::text(copied ? "card.copied" : "card.copy");
  p.copy->setToolTip(copyText);
  p.copy->setAccessibleName(copyText);
  p.skeleton->setAccessibleName(Localization::text("card.loading"));
  setAccessibleName(Localization::text("card.surface"));

  // A selection belongs to one label; the others let theirs go.
  const std::optional<OverlayTextSelection>& selection = model_.textSelection();
  for (auto& [label, owner] : p.selectable) {
    if (label->hasSelectedText() && (!selection || selection->ownerID != owner)) {
      label->setSelection(0, 0);
    }
  }
  if (p.scrollResetID != model_.resultScrollResetID()) {
    p.scrollResetID = model_.resultScrollResetID();
    p.scroll->verticalScrollBar()->setValue(0);
  }

  // Labels change their size hints without telling the containers above them
  // while the card is hidden; measure afresh.
  for (QWidget* child : p.body->findChildren<QWidget*>()) child->updateGeometry();
  p.body->updateGeometry();
  placeCornerButtons();
  const int width = int(model_.layout().width);
  model_.reportNaturalContentHeight(naturalContentHeight(width), model_.layoutRequestID());
  p.exclusion.schedule();
  update();
}

void LookupCardView::applyTheme() {
  Parts& p = *parts_;
  p.theme = CardTheme::forMode(appearance_.mode());
  const CardTheme& theme = p.theme;
  QPalette colors = palette();
  colors.setColor(QPalette::Window, theme.background);
  colors.setColor(QPalette::Base, theme.background);
  colors.setColor(QPalette::Button, theme.background);
  colors.setColor(QPalette::WindowText, theme.primaryText);
  colors.setColor(QPalette::Text, theme.primaryText);
  colors.setColor(QPalette::ButtonText, theme.primaryText);
  colors.setColor(QPalette::Highlight, theme.selection);
  colors.setColor(QPalette::HighlightedText, theme.primaryText);
  colors.setColor(QPalette::ToolTipBase, theme.background);
  colors.setColor(QPalette::ToolTipText, theme.primaryText);
  // What the scroll bar is drawn with.
  colors.setColor(QPalette::Light, theme.background);
  colors.setColor(QPalette::Midlight, theme.skeleton);
  colors.setColor(QPalette::Mid, theme.rule);
  colors.setColor(QPalette::Dark, theme.tertiaryText);
  colors.setColor(QPalette::Shadow, theme.border);
  setPalette(colors);
  for (auto& [label, ink] : p.inks) {
    QPalette labelColors = label->palette();
    labelColors.setColor(QPalette::WindowText, theme.*ink);
    label->setPalette(labelColors);
  }
  p.partOfSpeech->setTheme(theme);
  p.example->setRuleColor(theme.rule);
  p.skeleton->setTheme(theme);
  for (CardIconButton* button : {p.pin, p.copy, p.speaker}) button->setTheme(theme);
  p.retry->setTheme(theme);
  p.viewPro->setTheme(theme);
  update();
}

void LookupCardView::placeCornerButtons() {
  Parts& p = *parts_;
  const EdgeInsets padding = model_.layout().cardPadding;
  p.scroll->setGeometry(kFrame, int(padding.top), std::max(0, width() - 2 * kFrame),
                        std::max(0, height() - int(padding.top + padding.bottom)));
  const QSize size = p.pin->sizeHint();
  int x = width() - kCornerInset - size.width();
  p.pin->move(x, kCornerInset);
  x -= size.width() + kCornerGap;
  p.copy->move(x, kCornerInset);
  p.copy->raise();
  p.pin->raise();
}

void LookupCardView::paintEvent(QPaintEvent*) {
  const CardTheme& theme = parts_->theme;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const QRectF card = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
  painter.setPen(QPen(theme.border, 1));
  painter.setBrush(theme.background);
  painter.drawRoundedRect(card, kCardCornerRadius, kCardCornerRadius);
}

void LookupCardView::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  placeCornerButtons();
  parts_->exclusion.schedule();
}

void LookupCardView::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  parts_->exclusion.schedule();
}

void LookupCardView::changeEvent(QEvent* event) {
  if (event->type() == QEvent::LanguageChange) parts_->refresh.schedule();
  QWidget::changeEvent(event);
}

bool LookupCardView::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
      // The label updates its selection when it handles the event; look after that.
      QMetaObject::invokeMethod(
          watched, [this, watched] { reportTextSelection(watched); }, Qt::QueuedConnection);
      break;
    default:
      break;
  }
  return QWidget::eventFilter(watched, event);
}

void LookupCardView::reportTextSelection(QObject* watched) {
  for (auto& [label, owner] : parts_->selectable) {
    if (label != watched) continue;
    const std::string text = label->selectedText().toStdString();
    model_.updateTextSelection(text.empty() ? std::nullopt : std::optional(text), owner);
    return;
  }
}

void LookupCardView::updateDragExclusionRects() {
  Parts& p = *parts_;
  if (!isVisible()) return;
  const QRect viewport(p.scroll->viewport()->mapTo(this, QPoint(0, 0)),
                       p.scroll->viewport()->size());
  std::vector<Rect> rects;
  const auto add = [&](QWidget* widget, bool scrolls) {
    if (!widget->isVisible()) return;
    QRect area(widget->mapTo(this, QPoint(0, 0)), widget->size());
    if (scrolls) area &= viewport;
    if (!area.isEmpty()) rects.push_back(toRect(area));
  };
  add(p.pin, false);
  add(p.copy, false);
  for (QWidget* widget : {static_cast<QWidget*>(p.speaker), static_cast<QWidget*>(p.retry),
                          static_cast<QWidget*>(p.viewPro)}) {
    add(widget, true);
  }
  for (auto& [label, owner] : p.selectable) add(label, true);
  if (p.exclusionRects == rects) return;
  p.exclusionRects = rects;
  if (model_.onDragExclusionRectsChange) model_.onDragExclusionRectsChange(rects);
}

void LookupCardView::pronounce() {
  const LookupViewState& state = model_.state();
  if (!state.entry || !state.pronunciationContextKey) return;
  const TranslationEntry& entry = *state.entry;
  const std::optional<Url> url = Url::parse(trimmed(entry.pronunciationUrl.value_or("")));
  if (!url) return;
  model_.pronunciation().play(*state.pronunciationContextKey, entry.headword,
                              entry.pronunciationLang ? entry.pronunciationLang : entry.lookupLang,
                              url, std::nullopt);
}

void LookupCardView::copyTranslation() {
  if (!model_.copyParagraphTranslation()) return;
  parts_->copiedTimer->start();
  parts_->refresh.schedule();
}

}  // namespace trelvis
