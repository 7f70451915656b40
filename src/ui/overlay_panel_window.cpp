#include "ui/overlay_panel_window.h"

#include <QAbstractNativeEventFilter>
#include <QBitmap>
#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScreen>
#include <QWidget>
#include <xcb/xcb.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>

#include "ui/card_content.h"
#include "ui/x11_compositing.h"

namespace trelvis {
namespace {

// The core counts points up from the bottom of the primary monitor; Qt counts the
// same device-independent pixels down from the top.
struct Mapping {
  double primaryHeight = 0;

  static Mapping current() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    return {screen ? static_cast<double>(screen->geometry().height()) : 0};
  }
  QRect toQt(const Rect& r) const {
    return QRect(static_cast<int>(std::lround(r.minX())),
                 static_cast<int>(std::lround(primaryHeight - r.maxY())),
                 static_cast<int>(std::lround(r.width())),
                 static_cast<int>(std::lround(r.height())));
  }
  Rect fromQt(const QRect& r) const {
    return Rect{{static_cast<double>(r.x()), primaryHeight - (r.y() + r.height())},
                {static_cast<double>(r.width()), static_cast<double>(r.height())}};
  }
  QPoint toQt(Point p) const {
    return QPoint(static_cast<int>(std::lround(p.x)),
                  static_cast<int>(std::lround(primaryHeight - p.y)));
  }
};

xcb_connection_t* x11Connection() {
  const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                            : nullptr;
  return x11 ? x11->connection() : nullptr;
}

xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name) {
  xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.data()),
      nullptr);
  const xcb_atom_t atom = reply ? reply->atom : XCB_ATOM_NONE;
  std::free(reply);
  return atom;
}

std::optional<uint32_t> cardinalProperty(xcb_connection_t* connection, xcb_window_t window,
                                         xcb_atom_t property) {
  xcb_get_property_reply_t* reply = xcb_get_property_reply(
      connection,
      xcb_get_property(connection, 0, window, property, XCB_ATOM_CARDINAL, 0, 1), nullptr);
  std::optional<uint32_t> value;
  if (reply && reply->format == 32 && xcb_get_property_value_length(reply) >= 4) {
    value = *static_cast<const uint32_t*>(xcb_get_property_value(reply));
  }
  std::free(reply);
  return value;
}

// A card's shadow: layers of translucent black round the card, thicker below it.
void paintShadow(QPainter& painter, const QRectF& card, double margin, bool dark) {
  constexpr int kLayers = 12;
  constexpr double kRadius = 16;
  painter.setPen(Qt::NoPen);
  const double spread = std::min(margin * 0.6, 28.0);
  for (int i = kLayers; i >= 1; --i) {
    const double grow = spread * i / kLayers;
    const QRectF layer = card.adjusted(-grow, -grow * 0.6, grow, grow * 1.2);
    painter.setBrush(QColor(0, 0, 0, (dark ? 9 : 5) + (kLayers - i)));
    painter.drawRoundedRect(layer, kRadius + grow, kRadius + grow);
  }
}

}  // namespace

// ---- The widget ----------------------------------------------------------------

class QtOverlayPanelWindow::Widget final : public QWidget {
 public:
  explicit Widget(ContentFactory makeContent)
      : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                             Qt::WindowDoesNotAcceptFocus),
        makeContent_(std::move(makeContent)) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11DoNotAcceptFocus);
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::NoFocus);
    setObjectName("overlay-panel");
  }

  void install(OverlayPresentedFeature feature) {
    if (content_) {
      // The old content may be the one whose event led here: it goes once
      // that event is over.
      content_->hide();
      content_->deleteLater();
      content_ = nullptr;
    }
    QWidget* content = makeContent_ ? makeContent_(feature) : nullptr;
    if (!content) return;
    content->setParent(this);
    content_ = content;
    layoutContent();
    content_->show();
  }

  void setCardLayout(OverlayAnchor anchor, double shadowPadding) {
    anchor_ = anchor;
    shadowPadding_ = shadowPadding;
    layoutContent();
  }

  void setDark(bool dark) {
    dark_ = dark;
    setProperty("appearance", dark ? "dark" : "light");
    if (content_) content_->setProperty("appearance", dark ? "dark" : "light");
    update();
  }
  bool isDark() const { return dark_; }

  QWidget* content() const { return content_; }

  // The card's place in the window: inside the margin, against the anchor edge,
  // as high as the content asks and the space allows.
  QRect cardRect() const {
    const int margin = static_cast<int>(std::lround(shadowPadding_));
    const QRect inner = rect().marginsRemoved(QMargins(margin, margin, margin, margin));
    int height = inner.height();
    if (const auto* card = dynamic_cast<const CardContent*>(content_.data())) {
      const int natural = card->naturalHeight(inner.width());
      if (natural > 0) height = std::min(natural, inner.height());
    }
    int y = inner.y();
    switch (anchor_) {
      case OverlayAnchor::top:
        break;
      case OverlayAnchor::bottom:
        y = inner.y() + inner.height() - height;
        break;
      case OverlayAnchor::center:
        y = inner.y() + (inner.height() - height) / 2;
        break;
    }
    return QRect(inner.x(), y, inner.width(), std::max(height, 0));
  }

 protected:
  bool event(QEvent* event) override {
    // The content asks for another height (updateGeometry) or the window resized.
    if (event->type() == QEvent::LayoutRequest) layoutContent();
    return QWidget::event(event);
  }
  void resizeEvent(QResizeEvent* event) override {
    QWidget::resizeEvent(event);
    layoutContent();
  }
  void paintEvent(QPaintEvent*) override {
    if (!content_ || shadowPadding_ <= 0) return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintShadow(painter, content_->geometry(), shadowPadding_, dark_);
  }

 private:
  void layoutContent() {
    if (!content_) return;
    const QRect card = cardRect();
    if (content_->geometry() != card) {
      content_->setGeometry(card);
      update();
    }
    shapeToCard(card);
  }

 public:
  // Read when the window shows: a compositing manager may come and go.
  void noteCompositing() {
    compositing_ = isCompositingManagerRunning();
    if (content_) shapeToCard(content_->geometry());
  }

 private:
  // Without a compositing manager the shadow's transparent margin would show
  // black, so the window takes the card's rounded shape and goes without it.
  void shapeToCard(const QRect& card) {
    if (compositing_) {
      if (!mask().isEmpty()) clearMask();
      return;
    }
    if (card == maskedCard_ && size() == maskedSize_) return;
    maskedCard_ = card;
    maskedSize_ = size();
    QBitmap shape(size());
    shape.fill(Qt::color0);
    QPainter painter(&shape);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::color1);
    painter.drawRoundedRect(card, kCardCornerRadius, kCardCornerRadius);
    painter.end();
    setMask(shape);
  }

  bool compositing_ = true;
  QRect maskedCard_;
  QSize maskedSize_;

  const ContentFactory makeContent_;
  QPointer<QWidget> content_;
  OverlayAnchor anchor_ = OverlayAnchor::top;
  double shadowPadding_ = 0;
  bool dark_ = false;
};

// ---- Desktop changes (X11) -----------------------------------------------------

// Watches the root window's _NET_CURRENT_DESKTOP, which a window manager
// changes when the user switches desktops.
class QtOverlayPanelWindow::DesktopWatcher final : public QAbstractNativeEventFilter {
 public:
  DesktopWatcher(xcb_connection_t* connection, std::function<void()> onChange)
      : connection_(connection), onChange_(std::move(onChange)) {
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    currentDesktop_ = internAtom(connection_, "_NET_CURRENT_DESKTOP");
    windowDesktop_ = internAtom(connection_, "_NET_WM_DESKTOP");
    // Property changes of the root window reach this connection (Qt's own
    // selection usually includes them already; the mask is only ever widened).
    xcb_get_window_attributes_reply_t* attributes = xcb_get_window_attributes_reply(
        connection_, xcb_get_window_attributes(connection_, root_), nullptr);
    if (attributes && !(attributes->your_event_mask & XCB_EVENT_MASK_PROPERTY_CHANGE)) {
      const uint32_t mask = attributes->your_event_mask | XCB_EVENT_MASK_PROPERTY_CHANGE;
      xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &mask);
      xcb_flush(connection_);
    }
    std::free(attributes);
    QCoreApplication::instance()->installNativeEventFilter(this);
  }
  ~DesktopWatcher() override {
    if (QCoreApplication::instance()) QCoreApplication::instance()->removeNativeEventFilter(this);
  }

  bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override {
    if (eventType != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY) return false;
    const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event);
    if (change->window == root_ && change->atom == currentDesktop_ && onChange_) onChange_();
    return false;
  }

  // Whether `window` is on the desktop the user sees: also when no window
  // manager keeps desktops, or the window is on all of them.
  bool isOnCurrentDesktop(xcb_window_t window) const {
    constexpr uint32_t kAllDesktops = 0xFFFFFFFF;
    const std::optional<uint32_t> current = cardinalProperty(connection_, root_, currentDesktop_);
    const std::optional<uint32_t> mine = cardinalProperty(connection_, window, windowDesktop_);
    return !current || !mine || *mine == kAllDesktops || *mine == *current;
  }

 private:
  xcb_connection_t* const connection_;
  const std::function<void()> onChange_;
  xcb_window_t root_ = 0;
  xcb_atom_t currentDesktop_ = XCB_ATOM_NONE;
  xcb_atom_t windowDesktop_ = XCB_ATOM_NONE;
};

// ---- The window ----------------------------------------------------------------

QtOverlayPanelWindow::QtOverlayPanelWindow(ContentFactory makeContent)
    : widget_(std::make_unique<Widget>(std::move(makeContent))) {
  if (xcb_connection_t* connection = x11Connection()) {
    desktopWatcher_ = std::make_unique<DesktopWatcher>(connection, [this] {
      if (onActiveSpaceChange) onActiveSpaceChange();
    });
  }
}

QtOverlayPanelWindow::~QtOverlayPanelWindow() = default;

Rect QtOverlayPanelWindow::frame() const {
  return Mapping::current().fromQt(widget_->geometry());
}

void QtOverlayPanelWindow::setFrame(const Rect& frame, bool display) {
  widget_->setGeometry(Mapping::current().toQt(frame));
  if (display) displayIfNeeded();
}

void QtOverlayPanelWindow::setFrameOrigin(Point origin) {
  const Mapping mapping = Mapping::current();
  const Rect current = mapping.fromQt(widget_->geometry());
  widget_->move(mapping.toQt(Rect{origin, current.size}).topLeft());
}

void QtOverlayPanelWindow::displayIfNeeded() {
  if (widget_->isVisible()) widget_->repaint();
}

void QtOverlayPanelWindow::setAlphaValue(double alpha) {
  widget_->setWindowOpacity(alpha);
}

void QtOverlayPanelWindow::orderFrontRegardless() {
  if (!widget_->isVisible()) {
    widget_->noteCompositing();
    widget_->show();
  }
  widget_->raise();
}

void QtOverlayPanelWindow::orderOut() {
  widget_->hide();
}

bool QtOverlayPanelWindow::isVisible() const {
  return widget_->isVisible();
}

bool QtOverlayPanelWindow::isOnActiveSpace() const {
  if (!desktopWatcher_ || !widget_->testAttribute(Qt::WA_WState_Created)) return true;
  return desktopWatcher_->isOnCurrentDesktop(static_cast<xcb_window_t>(widget_->winId()));
}

void QtOverlayPanelWindow::setAppearance(AppearanceMode mode) {
  widget_->setDark(mode == AppearanceMode::dark);
}

void QtOverlayPanelWindow::installContent(OverlayPresentedFeature feature) {
  widget_->install(feature);
}

void QtOverlayPanelWindow::setCardLayout(OverlayAnchor anchor, double shadowPadding) {
  widget_->setCardLayout(anchor, shadowPadding);
}

bool QtOverlayPanelWindow::containsCopySelection(Point point) const {
  QWidget* content = widget_->content();
  const auto* card = dynamic_cast<const CardContent*>(content);
  if (!card || !widget_->isVisible()) return false;
  return card->containsCopySelection(content->mapFromGlobal(Mapping::current().toQt(point)));
}

QWidget* QtOverlayPanelWindow::widget() const {
  return widget_.get();
}

QWidget* QtOverlayPanelWindow::content() const {
  return widget_->content();
}

AppearanceMode QtOverlayPanelWindow::appearance() const {
  return widget_->isDark() ? AppearanceMode::dark : AppearanceMode::light;
}

bool isInputToOwnWindows(const LocalInputEvent& event) {
  switch (event.type) {
    case InputEventType::keyDown:
    case InputEventType::keyUp:
    case InputEventType::flagsChanged:
      return QGuiApplication::focusWindow() != nullptr;
    default:
      // Asks the window system which window is under the point, so a window of
      // another application over ours counts as that application's.
      return QGuiApplication::mouseButtons() != Qt::NoButton ||
             QGuiApplication::topLevelAt(Mapping::current().toQt(event.location)) != nullptr;
  }
}

}  // namespace trelvis
