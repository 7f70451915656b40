// The region overlay's Qt windows on a private Xvfb with two monitors, driven by
// the real controller: where they appear, what they paint (read back from the
// X server), what the pointer on them reports, and when they go away.


#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/region_selection_overlay_controller.h"
#include "core/prefs/appearance_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/triggers/input_events.h"
#include "platform/x11/x11_region_selection_physical_state.h"
#include "platform/x11/x11_screen_capture.h"
#include "support/geometry_printers.h"
#include "ui/qt_main_executor.h"
#include "ui/region_selection_windowing.h"

// After the project's headers: Qt's `emit` macro would replace Signal::emit.
#include <QApplication>
#include <QDeadlineTimer>
#include <QImage>
#include <QLabel>
#include <QScreen>

#include <gtest/gtest.h>

// Last: X's macros (None, Bool, KeyPress) would replace names of Qt and gtest.
#include <X11/Xatom.h>
#include <X11/keysym.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/x11/x11_test_display.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Update = RegionSelectionGestureUpdate;

// Root-window pixels: A is the primary monitor, 800 high, which puts the origin
// of global points at y = 800 from the top; B stands right of it, taller.
const QRect kMonitorA(0, 0, 640, 800);
const QRect kMonitorB(640, 0, 640, 1024);
const QRgb kDesktop = qRgb(58, 110, 165);

// The interface's scale, which QT_SCALE_FACTOR sets for the run.
double interfaceScale() {
  return QGuiApplication::primaryScreen()->devicePixelRatio();
}

// Root-window pixels → global points (origin bottom left of A): each monitor's
// pixels scale about its own top-left corner.
Point global(int x, int y) {
  const QRect& m = kMonitorB.contains(x, y) ? kMonitorB : kMonitorA;
  return Point{m.x() + (x - m.x()) / interfaceScale(), (kMonitorA.height() - y) / interfaceScale()};
}

struct Rgb {
  int r, g, b;
};
// `colour` at `opacity` over `under`, as 8-bit painting rounds it, give or take.
Rgb over(Rgb colour, double opacity, QRgb under) {
  auto mix = [&](int c, int u) { return int(c * opacity + u * (1 - opacity) + 0.5); };
  return {mix(colour.r, qRed(under)), mix(colour.g, qGreen(under)), mix(colour.b, qBlue(under))};
}

// A compositing manager on the display for the lifetime of the object; it
// owns the compositing selection from when the constructor returns.
class CompositingManager {
 public:
  CompositingManager(Display* display, const std::string& displayName) : display_(display) {
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      execlp("xcompmgr", "xcompmgr", "-d", displayName.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    EXPECT_TRUE(waitForOwner(true)) << "xcompmgr did not start (scripts/setup installs it)";
  }
  ~CompositingManager() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    EXPECT_TRUE(waitForOwner(false));
  }

 private:
  bool waitForOwner(bool owned) {
    const Atom selection = XInternAtom(display_, "_NET_WM_CM_S0", False);
    for (int i = 0; i < 500; ++i) {
      if ((XGetSelectionOwner(display_, selection) != 0) == owned) return true;
      usleep(10000);
    }
    return false;
  }

  Display* display_;
  pid_t pid_ = -1;
};

::testing::AssertionResult near(QRgb actual, Rgb expected) {
  const bool close = std::abs(qRed(actual) - expected.r) <= 2 &&
                     std::abs(qGreen(actual) - expected.g) <= 2 &&
                     std::abs(qBlue(actual) - expected.b) <= 2;
  if (close) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "(" << qRed(actual) << ", " << qGreen(actual) << ", " << qBlue(actual) << ") is not ("
         << expected.r << ", " << expected.g << ", " << expected.b << ")";
}

class RegionSelectionWindowingTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    server_ = new testing::Xvfb();
    desktop_ = new testing::TestDisplay(server_->displayName());
    layout_ = new testing::MonitorLayout(
        desktop_->display(),
        {{kMonitorA.x(), kMonitorA.y(), kMonitorA.width(), kMonitorA.height(), true},
         {kMonitorB.x(), kMonitorB.y(), kMonitorB.width(), kMonitorB.height(), false}});
    // A plain desktop colour that every check can compare with.
    XSetWindowBackground(desktop_->display(), desktop_->root(), kDesktop & 0xFFFFFF);
    XClearWindow(desktop_->display(), desktop_->root());
    XSync(desktop_->display(), False);

    static std::string runtimeDir = makeRuntimeDir();
    setenv("XDG_RUNTIME_DIR", runtimeDir.c_str(), 1);
    // No session bus to reach or to launch.
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    static std::string display = server_->displayName();
    static char name[] = "region_selection_windowing_test";
    static char platformFlag[] = "-platform";
    static char platform[] = "xcb";
    static char displayFlag[] = "-display";
    static char* argv[] = {name, platformFlag, platform, displayFlag, display.data(), nullptr};
    static int argc = 5;
    app_ = new QApplication(argc, argv);
  }

  static void TearDownTestSuite() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    delete app_;
    delete layout_;
    delete desktop_;
    delete server_;
  }

  static std::string makeRuntimeDir() {
    std::string dir = (std::filesystem::temp_directory_path() / "trelvis-ui-XXXXXX").string();
    return mkdtemp(dir.data()) ? dir : std::string();
  }

  RegionSelectionWindowingTest() {
    controller_ = RegionSelectionOverlayController::create(
        {executor_, MonotonicClockRef(), screens_, windowing_, input_}, appearance_,
        [] {
          return ShortcutBinding{"regionSelectionTrigger", ShortcutBindingKind::modifierTap,
                                 KeyCodes::leftOption, 0};
        },
        [this](RegionSelectionFailsafeReason reason, int64_t) {
          log_.push_back("failsafe " + std::string(toString(reason)));
        });
    controller_->onGestureUpdate = [this](const Update& update) {
      log_.push_back(describe(update));
      if (const RegionSelectionGesture* g = update.gesture()) {
        if (update.kind() == Update::Kind::began) controller_->begin(*g);
        if (update.kind() == Update::Kind::changed) controller_->update(*g);
        if (update.kind() == Update::Kind::completed) result_ = controller_->finish(*g);
      }
    };
    controller_->onFailsafeCancel = [this] { log_.push_back("cancel"); };
  }

  ~RegionSelectionWindowingTest() override {
    controller_->dismissCaptureSurfaces();
    controller_.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  static const Clock& MonotonicClockRef() {
    static MonotonicClock clock;
    return clock;
  }

  bool runUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout = 5s) {
    QDeadlineTimer deadline(timeout);
    while (!done()) {
      if (deadline.hasExpired()) return false;
      QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
      XSync(desktop_->display(), False);
    }
    return true;
  }

  // The mapped override-redirect windows on the root, in root-window pixels.
  std::vector<QRect> mappedSurfaces() {
    XSync(desktop_->display(), False);
    std::vector<QRect> found;
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    XQueryTree(desktop_->display(), desktop_->root(), &root, &parent, &children, &count);
    for (unsigned int i = 0; i < count; ++i) {
      XWindowAttributes a;
      if (XGetWindowAttributes(desktop_->display(), children[i], &a) && a.map_state == IsViewable &&
          a.override_redirect) {
        found.emplace_back(a.x, a.y, a.width, a.height);
      }
    }
    if (children) XFree(children);
    return found;
  }

  // What the X server shows, as root-window pixels.
  QImage screenshot() {
    const CapturedImage image = pixels_.captureImage(Rect{{0, 0}, {1280, 1024}});
    EXPECT_EQ(image.layout, CapturedImage::Layout::bgrx);
    return QImage(image.pixels, image.width, image.height, image.width * 4, QImage::Format_RGB32)
        .copy();
  }

  bool waitForPixel(QPoint at, Rgb expected) {
    return runUntil([&] { return near(screenshot().pixel(at), expected); }, 3s);
  }

  static void save(const QImage& image, const std::string& name) {
    const std::filesystem::path dir = std::filesystem::path(TRELVIS_BUILD_DIR) / "screenshots";
    std::filesystem::create_directories(dir);
    EXPECT_TRUE(image.save(QString::fromStdString((dir / name).string())));
  }

  static inline testing::Xvfb* server_ = nullptr;
  static inline testing::TestDisplay* desktop_ = nullptr;
  static inline testing::MonitorLayout* layout_ = nullptr;
  static inline QApplication* app_ = nullptr;

  std::shared_ptr<QtMainExecutor> executor_ = QtMainExecutor::create();
  X11ScreenCapture capture_{server_->displayName(), interfaceScale()};
  X11ScreenCapture pixels_{server_->displayName()};
  X11RegionSelectionPhysicalState physical_{server_->displayName()};
  // The keys and the button as the X server has them, or, unless a test asks
  // for that, held for as long as the test needs.
  bool readInput_ = false;
  RegionSelectionPhysicalStateSource input_{
      [this] { return readInput_ ? physical_.pressedMouseButtons() : 1; },
      [this](uint16_t key) { return readInput_ ? physical_.keyState(key) : true; }};
  // The test's two monitors, without the one Xvfb keeps for its output.
  class TwoMonitors final : public ScreenListing {
   public:
    explicit TwoMonitors(const X11ScreenCapture& all) : all_(all) {}
    std::vector<Screen> screens() const override {
      std::vector<Screen> found = all_.screens();
      std::erase_if(found, [](const Screen& s) { return s.localizedName == "screen"; });
      return found;
    }
    std::optional<Screen> mainScreen() const override { return all_.mainScreen(); }
    Rect displayBounds(uint32_t id) const override { return all_.displayBounds(id); }

   private:
    const X11ScreenCapture& all_;
  } screens_{capture_};
  QtRegionSelectionWindowing windowing_{capture_};
  InMemoryPreferenceStore defaults_;
  AppearanceStore appearance_{defaults_};
  std::shared_ptr<RegionSelectionOverlayController> controller_;
  std::vector<std::string> log_;
  std::optional<RegionSelectionGesture> result_;
};

TEST_F(RegionSelectionWindowingTest, SurfacesCoverEachScreenAndDimAllButTheHole) {
  // A page of text on A, so that the picture shows what a person would see.
  QLabel page(
      "<h2>Region selection</h2><p>Hold the key and drag across a paragraph to translate it. "
      "The screen dims around the selection and stays clear inside it.</p>");
  page.setWordWrap(true);
  page.setMargin(16);
  page.setStyleSheet("background: #fbfbf8; color: #202124; font-size: 18px;");
  page.setWindowFlags(Qt::Window | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
  // In the display's pixels, whatever Qt's scale.
  const qreal ratio = page.devicePixelRatioF();
  page.setGeometry(QRectF(60 / ratio, 60 / ratio, 520 / ratio, 300 / ratio).toRect());
  page.show();
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 1; }));
  ASSERT_TRUE(waitForPixel({70, 350}, {0xfb, 0xfb, 0xf8}));

  controller_->arm();
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 3; }));
  std::vector<QRect> surfaces = mappedSurfaces();
  EXPECT_EQ(surfaces[1], kMonitorA);
  EXPECT_EQ(surfaces[2], kMonitorB);
  // Armed and not pressed: nothing is painted.
  runUntil([] { return false; }, 100ms);
  EXPECT_TRUE(near(screenshot().pixel(300, 600), over({0, 0, 0}, 0, kDesktop)));

  // The drag as the monitors report it: from (20, 100) to (400, 480) on A.
  const RegionSelectionGesture gesture{global(20, 100), global(400, 480), {}};
  controller_->begin({gesture.start, gesture.start, {}});
  controller_->update(gesture);
  const Rgb lightScrim = over({0, 0, 0}, 0.48, kDesktop);
  ASSERT_TRUE(waitForPixel({300, 600}, lightScrim));
  EXPECT_EQ(mappedSurfaces().size(), 2u) << "B is no longer dimmed";

  struct Probe {
    QPoint at;
    Rgb expected;
    const char* what;
  };
  auto check = [&](const QImage& shot, const std::vector<Probe>& probes) {
    for (const Probe& p : probes) {
      EXPECT_TRUE(near(shot.pixel(p.at), p.expected)) << p.what << " at " << p.at.x() << ","
                                                      << p.at.y();
    }
  };
  const Rgb desktop{qRed(kDesktop), qGreen(kDesktop), qBlue(kDesktop)};
  const QImage light = screenshot();
  check(light, {
                   {{30, 450}, desktop, "inside the hole"},
                   {{19, 450}, lightScrim, "left of the hole"},
                   {{30, 481}, lightScrim, "below the hole"},
                   {{20, 450}, over({0xD5, 0xD7, 0xDA}, 0.5, kDesktop), "the hairline"},
                   {{21, 450}, desktop, "inside the hairline"},
                   {{300, 99}, over({0, 0, 0}, 0.48, qRgb(0xfb, 0xfb, 0xf8)), "page above"},
                   {{900, 500}, desktop, "on B"},
               });
  const std::string scale = ratio > 1 ? "@" + std::to_string(int(ratio)) + "x" : "";
  save(light.copy(kMonitorA), "region_selection_light" + scale + ".png");

  appearance_.setMode(AppearanceMode::dark);
  const Rgb darkScrim = over({0x22, 0x25, 0x2A}, 0.22, kDesktop);
  ASSERT_TRUE(waitForPixel({300, 600}, darkScrim));
  const QImage dark = screenshot();
  check(dark, {
                  {{30, 450}, desktop, "inside the hole"},
                  {{20, 450}, over({0x5F, 0x63, 0x68}, 0.64, kDesktop), "the hairline"},
              });
  save(dark.copy(kMonitorA), "region_selection_dark" + scale + ".png");

  appearance_.setMode(AppearanceMode::light);
  result_ = controller_->finish(gesture);
  ASSERT_TRUE(result_);
  EXPECT_EQ(result_->selectedRect(),
            (Rect{global(20, 480), {380 / interfaceScale(), 380 / interfaceScale()}}));
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 1; }));
  EXPECT_TRUE(waitForPixel({300, 600}, desktop));
}

// A press, drag and release on the window of B come back as a gesture in
// global points through the same handler as the monitors' reports.
TEST_F(RegionSelectionWindowingTest, PointerOnTheWindowReportsGlobalPoints) {
  controller_->arm();
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 2; }));
  desktop_->moveTo(740, 100);
  desktop_->button(1, true);
  ASSERT_TRUE(runUntil([&] { return !log_.empty(); }));
  desktop_->moveTo(900, 400);
  desktop_->moveTo(1000, 600);
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 1; })) << "A is no longer dimmed";
  desktop_->button(1, false);
  ASSERT_TRUE(runUntil([&] { return result_.has_value(); }));
  const Point press = global(740, 100);
  EXPECT_TRUE(log_.front().starts_with("began((" + std::to_string(int(press.x)) + ", " +
                                       std::to_string(int(press.y)) + ")"))
      << log_.front();
  EXPECT_EQ(result_->start, global(740, 600));
  EXPECT_EQ(result_->end, global(1000, 100));
  EXPECT_TRUE(runUntil([&] { return mappedSurfaces().empty(); }));
}

// The key that armed the selection is let go and the release never arrives:
// the failsafe takes the windows down. A window nothing tracks is swept.
TEST_F(RegionSelectionWindowingTest, FailsafeAndSweepTakeWindowsDown) {
  readInput_ = true;
  desktop_->key(XK_Alt_L, true);
  controller_->arm();
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 2; }));
  runUntil([] { return false; }, 600ms);
  EXPECT_EQ(mappedSurfaces().size(), 2u) << "held, so left up";
  desktop_->key(XK_Alt_L, false);
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().empty(); }, 1s));
  EXPECT_EQ(log_, (std::vector<std::string>{"failsafe armed_gesture_up", "cancel"}));

  std::shared_ptr<RegionSelectionWindow> stray = windowing_.makeWindow(
      Rect{global(0, 800), {640 / interfaceScale(), 800 / interfaceScale()}},
      Rect{{0, 0}, {640 / interfaceScale(), 800 / interfaceScale()}}, AppearanceMode::light);
  stray->orderFrontRegardless();
  ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 1; }));
  EXPECT_EQ(controller_->cleanupOrphanCaptureWindows(), 1);
  EXPECT_TRUE(runUntil([&] { return mappedSurfaces().empty(); }));
  EXPECT_EQ(log_.back(), "failsafe orphan_window");
}

// With a compositing manager the window is translucent: what lies beneath
// shows through the scrim as it is now, not as a picture taken before.
TEST_F(RegionSelectionWindowingTest, ACompositedDesktopShowsThroughTheScrim) {
  Display* display = desktop_->display();
  // The compositor paints the desktop from the root's background picture.
  const Pixmap picture = XCreatePixmap(display, desktop_->root(), 1, 1, 24);
  GC gc = XCreateGC(display, picture, 0, nullptr);
  XSetForeground(display, gc, kDesktop & 0xFFFFFF);
  XFillRectangle(display, picture, gc, 0, 0, 1, 1);
  XFreeGC(display, gc);
  const Atom rootPicture = XInternAtom(display, "_XROOTPMAP_ID", False);
  XChangeProperty(display, desktop_->root(), rootPicture, XA_PIXMAP, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(&picture), 1);
  // A window beneath the selection whose content will change.
  const Window beneath =
      XCreateSimpleWindow(display, desktop_->root(), 250, 550, 100, 100, 0, 0, kDesktop & 0xFFFFFF);
  XSetWindowAttributes unmanaged;
  unmanaged.override_redirect = True;
  XChangeWindowAttributes(display, beneath, CWOverrideRedirect, &unmanaged);
  XMapWindow(display, beneath);
  XSync(display, False);

  {
    CompositingManager compositor(display, server_->displayName());
    controller_->arm();
    ASSERT_TRUE(runUntil([&] { return mappedSurfaces().size() == 3; }));
    controller_->update({global(20, 100), global(400, 480), {}});
    const Rgb desktop{qRed(kDesktop), qGreen(kDesktop), qBlue(kDesktop)};
    ASSERT_TRUE(waitForPixel({300, 600}, over({0, 0, 0}, 0.48, kDesktop)));
    const QImage shot = screenshot();
    EXPECT_TRUE(near(shot.pixel(30, 450), desktop));
    EXPECT_TRUE(near(shot.pixel(20, 450), over({0xD5, 0xD7, 0xDA}, 0.5, kDesktop)));
    EXPECT_TRUE(near(shot.pixel(900, 500), desktop));

    // What lies beneath changes while the scrim is up: it shows, dimmed.
    const QRgb changed = qRgb(240, 240, 240);
    XSetWindowBackground(display, beneath, changed & 0xFFFFFF);
    XClearWindow(display, beneath);
    XSync(display, False);
    EXPECT_TRUE(waitForPixel({300, 600}, over({0, 0, 0}, 0.48, changed)));
    controller_->dismissCaptureSurfaces();
    EXPECT_TRUE(runUntil([&] { return mappedSurfaces().size() == 1; }));
  }
  XDestroyWindow(display, beneath);
  XDeleteProperty(display, desktop_->root(), rootPicture);
  XFreePixmap(display, picture);
  XSync(display, False);
}

}  // namespace
}  // namespace trelvis
