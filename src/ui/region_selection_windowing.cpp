#include "ui/region_selection_windowing.h"

#include "base/log.h"
#include "core/capture/screen_capture_error.h"
#include "ui/x11_compositing.h"

#include <QApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QScreen>
#include <QWidget>
// After Qt, whose names Xlib's macros (None, Bool) would replace.
#include <X11/Xlib.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace trelvis {
namespace {

const LogCategory kLog("region-selection");

constexpr qreal kCornerRadius = 4;
// A selection narrower or shorter than this gets no hairline.
constexpr qreal kMinimumBorderedSide = 3;

QColor scrimColour(AppearanceMode mode) {
  return mode == AppearanceMode::dark ? QColor::fromRgbF(0x22 / 255.0, 0x25 / 255.0, 0x2A / 255.0, 0.22)
                                      : QColor::fromRgbF(0, 0, 0, 0.48);
}

QColor hairlineColour(AppearanceMode mode) {
  return mode == AppearanceMode::dark ? QColor::fromRgbF(0x5F / 255.0, 0x63 / 255.0, 0x68 / 255.0, 0.64)
                                      : QColor::fromRgbF(0xD5 / 255.0, 0xD7 / 255.0, 0xDA / 255.0, 0.5);
}

// The Qt screen showing `displayBounds` (top-left global points, which are Qt's
// device-independent pixels).
QScreen* screenFor(const Rect& displayBounds) {
  QScreen* best = QGuiApplication::primaryScreen();
  qreal bestOverlap = 0;
  for (QScreen* screen : QGuiApplication::screens()) {
    const QRectF overlap = QRectF(screen->geometry())
                               .intersected(QRectF(displayBounds.minX(), displayBounds.minY(),
                                                   displayBounds.width(), displayBounds.height()));
    const qreal area = overlap.isEmpty() ? 0 : overlap.width() * overlap.height();
    if (area > bestOverlap) {
      best = screen;
      bestOverlap = area;
    }
  }
  return best;
}

class QtRegionSelectionWindow final : public QWidget, public RegionSelectionWindow {
 public:
  QtRegionSelectionWindow(const Rect& frame, const Rect& displayBounds, QScreen* screen,
                          ScreenshotCapturing& screenshots, AppearanceMode appearance)
      : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                             Qt::X11BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus |
                             Qt::NoDropShadowWindowHint),
        frame_(frame),
        displayBounds_(displayBounds),
        screenshots_(screenshots),
        translucent_(isCompositingManagerRunning()) {
    state_.appearance = appearance;
    setObjectName(QString::fromUtf8(kIdentifier.data(), static_cast<qsizetype>(kIdentifier.size())));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_DeleteOnClose, false);
    setAttribute(Qt::WA_TranslucentBackground, translucent_);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_OpaquePaintEvent, !translucent_);
    setFocusPolicy(Qt::NoFocus);
    setScreen(screen);
    setGeometry(screen->geometry());
  }

  std::string_view identifier() const override { return identifier_; }
  bool isVisible() const override { return QWidget::isVisible(); }

  void orderFrontRegardless() override {
    if (!QWidget::isVisible()) {
      // The picture must be of what lies beneath, so it is taken before the
      // window covers it.
      if (!translucent_) takeBackdrop();
      show();
    }
    raise();
  }

  void orderOut() override {
    hide();
    backdrop_ = QImage();
    backdropPixels_ = CapturedImage();
  }

  void display(const RegionSelectionViewState& state) override {
    if (state == state_) return;
    state_ = state;
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    if (!backdrop_.isNull()) {
      painter.drawImage(QPointF(0, 0), backdrop_);
    } else if (!translucent_) {
      painter.fillRect(rect(), Qt::black);
    }
    if (!state_.isSelectionActive) return;
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF hole = logicalRect(state_.selectionRect);
    QPainterPath scrim;
    scrim.setFillRule(Qt::OddEvenFill);
    scrim.addRect(rect());
    if (!state_.selectionRect.isEmpty()) scrim.addRoundedRect(hole, kCornerRadius, kCornerRadius);
    painter.fillPath(scrim, scrimColour(state_.appearance));
    if (hole.width() > kMinimumBorderedSide && hole.height() > kMinimumBorderedSide) {
      // One device pixel, whatever the density.
      const qreal width = 1 / std::max<qreal>(devicePixelRatioF(), 1);
      const qreal inset = width / 2;
      painter.setPen(QPen(hairlineColour(state_.appearance), width));
      painter.setBrush(Qt::NoBrush);
      painter.drawRoundedRect(hole.adjusted(inset, inset, -inset, -inset), kCornerRadius - inset,
                              kCornerRadius - inset);
    }
  }

  void mousePressEvent(QMouseEvent* event) override {
    if (event->button() == Qt::LeftButton) report(RegionSelectionPointerPhase::began, event);
  }
  void mouseMoveEvent(QMouseEvent* event) override {
    if (event->buttons() & Qt::LeftButton) report(RegionSelectionPointerPhase::changed, event);
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() == Qt::LeftButton) report(RegionSelectionPointerPhase::completed, event);
  }

 private:
  // The picture is painted from the captured pixels where they lie; a capture
  // that fails leaves it to Qt's slower reading of the screen.
  void takeBackdrop() {
    backdrop_ = QImage();
    try {
      backdropPixels_ = screenshots_.captureImage(displayBounds_);
      const CapturedImage& pixels = backdropPixels_;
      if (pixels.layout == CapturedImage::Layout::bgrx) {
        backdrop_ = QImage(pixels.pixels, pixels.width, pixels.height, pixels.width * 4,
                           QImage::Format_RGB32);
      } else {
        // X, R, G, B: a server of the other byte order.
        backdrop_ = QImage(pixels.width, pixels.height, QImage::Format_RGB32);
        for (int y = 0; y < pixels.height; ++y) {
          auto* line = reinterpret_cast<QRgb*>(backdrop_.scanLine(y));
          const uint8_t* from = pixels.pixels + static_cast<size_t>(y) * pixels.width * 4;
          for (int x = 0; x < pixels.width; ++x, from += 4) line[x] = qRgb(from[1], from[2], from[3]);
        }
      }
    } catch (const ScreenCaptureError& error) {
      kLog.warning("the screen's picture under the selection came from Qt: {}", error.what());
      backdrop_ = screen()->grabWindow(0).toImage();
    }
    backdrop_.setDevicePixelRatio(devicePixelRatioF());
  }

  // The view's points have their origin at the bottom left; Qt counts the same
  // device-independent pixels from the top left.
  QRectF logicalRect(const Rect& local) const {
    return QRectF(local.minX(), frame_.height() - local.maxY(), local.width(), local.height());
  }

  void report(RegionSelectionPointerPhase phase, const QMouseEvent* event) {
    if (!onPointerEvent) return;
    const QPointF at = event->position();
    onPointerEvent(phase, Point{at.x(), frame_.height() - at.y()});
  }

  const std::string identifier_{kIdentifier};
  const Rect frame_;
  const Rect displayBounds_;
  ScreenshotCapturing& screenshots_;
  const bool translucent_;
  RegionSelectionViewState state_;
  CapturedImage backdropPixels_;
  QImage backdrop_;  // over backdropPixels_ when they are bgrx
};

}  // namespace

std::shared_ptr<RegionSelectionWindow> QtRegionSelectionWindowing::makeWindow(
    const Rect& frame, const Rect& displayBounds, AppearanceMode appearance) {
  auto* window = new QtRegionSelectionWindow(frame, displayBounds, screenFor(displayBounds),
                                             screenshots_, appearance);
  return std::shared_ptr<QtRegionSelectionWindow>(
      window, [guard = QPointer<QWidget>(window)](QtRegionSelectionWindow*) {
        if (!guard) return;
        guard->hide();
        guard->deleteLater();
      });
}

std::vector<RegionSelectionWindow*> QtRegionSelectionWindowing::windows() {
  std::vector<RegionSelectionWindow*> found;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (auto* window = dynamic_cast<RegionSelectionWindow*>(widget)) found.push_back(window);
  }
  return found;
}

}  // namespace trelvis
