// The X11 screen capture against private Xvfb servers: known pixels drawn on the
// root window come back, with MIT-SHM, without it and at 16 bits per pixel; an
// untrusted client is refused; the RandR monitors become screens. The capture
// service over them is driven whole by the desktop end-to-end test.

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/Xatom.h>
#include <X11/Xauth.h>
#include <X11/Xlib.h>
#include <X11/extensions/security.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/capture/screen_capture_error.h"
#include "platform/x11/x11_capture_service_rig.h"
#include "platform/x11/x11_screen_capture.h"
#include "platform/x11/x11_test_display.h"
#include "support/geometry_printers.h"
#include "support/jpeg_decoding.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

Rect R(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}

struct Rgb {
  int r, g, b;
};

Rgb rgbAt(const CapturedImage& image, int x, int y) {
  const uint8_t* p =
      image.pixels + (static_cast<size_t>(y) * static_cast<size_t>(image.width) + x) * 4;
  if (image.layout == CapturedImage::Layout::bgrx) return {p[2], p[1], p[0]};
  return {p[1], p[2], p[3]};
}

// Rectangles of colour on the root window, which with no window above it is
// what the screen shows.
void fill(Display* display, int x, int y, int width, int height, Rgb colour) {
  XColor c{};
  c.red = static_cast<unsigned short>(colour.r * 257);
  c.green = static_cast<unsigned short>(colour.g * 257);
  c.blue = static_cast<unsigned short>(colour.b * 257);
  XAllocColor(display, DefaultColormap(display, DefaultScreen(display)), &c);
  GC gc = XCreateGC(display, DefaultRootWindow(display), 0, nullptr);
  XSetForeground(display, gc, c.pixel);
  XFillRectangle(display, DefaultRootWindow(display), gc, x, y, static_cast<unsigned>(width),
                 static_cast<unsigned>(height));
  XFreeGC(display, gc);
  XSync(display, False);
}

// What the capture keeps of shared memory at most.
constexpr size_t kKeptSegmentBytes = 16u << 20;

std::optional<ScreenCaptureError::Kind> failureOf(X11ScreenCapture& capture, const Rect& rect) {
  const auto error = testing::thrownBy<ScreenCaptureError>([&] { capture.captureImage(rect); });
  return error ? std::optional(error->kind()) : std::nullopt;
}

TEST(X11ScreenCaptureTest, ReadsTheRootWindowWithAndWithoutSharedMemory) {
  struct Case {
    const char* name;
    testing::Xvfb::Options server;
    size_t sharedBytesPerPixel;  // 0: no shared memory
    bool imagesReferToSegments;  // not copied, not converted
    int tolerance;               // 16-bit pixels keep 5 or 6 bits of each channel
  };
  const Case cases[] = {
      // Its whole screen, 17.9 MB, is more than a kept segment may hold.
      {"MIT-SHM", {2600, 1720, 24, true}, 4, true, 0},
      {"GetImage", {1280, 1024, 24, false}, 0, false, 0},
      {"16 bits per pixel", {640, 480, 16, true}, 2, false, 8},
  };
  const Rgb black{0, 0, 0};
  const Rgb red{200, 30, 10};
  const Rgb green{20, 180, 60};
  const Rgb blue{40, 50, 220};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    testing::Xvfb server(c.server);
    ASSERT_FALSE(server.displayName().empty());
    auto desktop = std::make_unique<testing::TestDisplay>(server.displayName());
    Display* display = desktop->display();
    fill(display, 0, 0, c.server.width, c.server.height, black);
    fill(display, 100, 200, 50, 40, red);
    fill(display, 150, 200, 50, 40, green);
    fill(display, 200, 200, 50, 40, blue);
    fill(display, 260, 200, 20, 20, {255, 255, 255});
    X11ScreenCapture capture(server.displayName());
    capture.warmUp();
    // Segments hold whole rows: the warm-up's is the lookup band's, a quarter of the screen.
    const auto sharedBytes = [&](int rows) {
      return c.sharedBytesPerPixel * static_cast<size_t>(c.server.width) *
             static_cast<size_t>(rows);
    };
    EXPECT_EQ(capture.sharedMemoryBytes(), sharedBytes(c.server.height / 4));
    EXPECT_TRUE(capture.preflightScreenCaptureAccess());

    // Twice, so that the reused segment is read again.
    for (int round = 0; round < 2; ++round) {
      const CapturedImage image = capture.captureImage(R(90, 190, 200, 80));
      ASSERT_EQ(image.width, 200);
      ASSERT_EQ(image.height, 80);
      struct Sample {
        int x, y;
        Rgb expected;
      };
      for (const Sample& s : {Sample{5, 5, black}, Sample{10, 10, red}, Sample{59, 49, red},
                              Sample{60, 10, green}, Sample{110, 30, blue}, Sample{160, 30, black},
                              Sample{35, 50, black}, Sample{199, 79, black}}) {
        const Rgb got = rgbAt(image, s.x, s.y);
        EXPECT_NEAR(got.r, s.expected.r, c.tolerance) << s.x << "," << s.y;
        EXPECT_NEAR(got.g, s.expected.g, c.tolerance) << s.x << "," << s.y;
        EXPECT_NEAR(got.b, s.expected.b, c.tolerance) << s.x << "," << s.y;
      }
      // Full channels stay full whatever their width on the server.
      const Rgb white = rgbAt(image, 180, 20);
      EXPECT_EQ(white.r + white.g + white.b, 3 * 255);
    }
    // What lies beyond the screen is cut off; a rectangle wholly beyond it is empty.
    const double w = c.server.width;
    const double h = c.server.height;
    {
      const CapturedImage corner = capture.captureImage(R(w - 40, h - 30, 100, 100));
      EXPECT_EQ(corner.width, 40);
      EXPECT_EQ(corner.height, 30);
    }
    EXPECT_EQ(failureOf(capture, R(w + 10, 0, 50, 50)), ScreenCaptureError::Kind::emptyImage);
    // A larger image than the segment holds replaces it, unless it is too large to keep.
    {
      const CapturedImage whole = capture.captureImage(R(0, 0, w, h));
      EXPECT_EQ(whole.width * whole.height, c.server.width * c.server.height);
      EXPECT_NEAR(rgbAt(whole, 120, 210).r, red.r, c.tolerance);
    }
    const size_t wholeBytes = sharedBytes(c.server.height);
    const size_t kept =
        wholeBytes <= kKeptSegmentBytes ? wholeBytes : sharedBytes(c.server.height / 4);
    EXPECT_EQ(capture.sharedMemoryBytes(), kept);

    // An image still held keeps its pixels while the next capture reads the screen
    // anew, into a second segment when the image refers to the first.
    const Rect redBlock = R(100, 200, 50, 40);
    const CapturedImage before = capture.captureImage(redBlock);
    fill(display, 100, 200, 50, 40, blue);
    const CapturedImage after = capture.captureImage(redBlock);
    EXPECT_NEAR(rgbAt(before, 25, 20).r, red.r, c.tolerance);
    EXPECT_NEAR(rgbAt(before, 25, 20).b, red.b, c.tolerance);
    EXPECT_NEAR(rgbAt(after, 25, 20).r, blue.r, c.tolerance);
    EXPECT_NEAR(rgbAt(after, 25, 20).b, blue.b, c.tolerance);
    EXPECT_EQ(capture.sharedMemoryBytes(), kept + (c.imagesReferToSegments ? 50 * 40 * 4 : 0));

    desktop.reset();
    // (Its display number may go to another test's server at once, so nothing
    // here asks again after this.)
    server.kill();
    EXPECT_EQ(failureOf(capture, R(0, 0, 50, 50)), ScreenCaptureError::Kind::displayUnavailable);
  }

  X11ScreenCapture nowhere(":65000");
  nowhere.warmUp();
  EXPECT_TRUE(nowhere.screens().empty());
  EXPECT_FALSE(nowhere.mainScreen());
  EXPECT_TRUE(nowhere.preflightScreenCaptureAccess());  // missing, not refused
  EXPECT_EQ(failureOf(nowhere, R(0, 0, 50, 50)), ScreenCaptureError::Kind::displayUnavailable);
}

TEST(X11ScreenCaptureTest, AnUntrustedClientIsRefusedThePixels) {
  testing::Xvfb server({640, 480, 24, true, true});
  ASSERT_FALSE(server.displayName().empty());
  testing::TestDisplay desktop(server.displayName());
  // An authorization of the SECURITY extension that makes its holder untrusted,
  // as a client of a remote login without trusted forwarding is.
  static char protocol[] = "MIT-MAGIC-COOKIE-1";
  Xauth* request = XSecurityAllocXauth();
  request->name = protocol;
  request->name_length = static_cast<unsigned short>(std::strlen(request->name));
  XSecurityAuthorizationAttributes attributes{};
  attributes.trust_level = XSecurityClientUntrusted;
  XSecurityAuthorization id = 0;
  Xauth* untrusted = XSecurityGenerateAuthorization(desktop.display(), request, XSecurityTrustLevel,
                                                    &attributes, &id);
  XSecurityFreeXauth(request);
  ASSERT_NE(untrusted, nullptr);

  X11ScreenCapture capture(server.displayName());
  // Xlib uses the authorization for every connection opened meanwhile.
  XSetAuthorization(untrusted->name, untrusted->name_length, untrusted->data,
                    untrusted->data_length);
  EXPECT_TRUE(capture.preflightScreenCaptureAccess());  // connects, and has not been refused yet
  XSetAuthorization(nullptr, 0, nullptr, 0);
  XSecurityFreeXauth(untrusted);

  EXPECT_EQ(failureOf(capture, R(0, 0, 50, 50)), ScreenCaptureError::Kind::permissionDenied);
  EXPECT_FALSE(capture.preflightScreenCaptureAccess());
}

TEST(X11ScreenCaptureTest, ScreensAreTheMonitorsInBottomLeftPointsLessTheWorkArea) {
  testing::Xvfb& server = testing::Xvfb::shared();
  ASSERT_FALSE(server.displayName().empty());
  testing::TestDisplay desktop(server.displayName());
  X11ScreenCapture capture(server.displayName());

  // The second monitor is listed first; the primary one, 800 high, still leads.
  testing::MonitorLayout layout(desktop.display(),
                                {{640, 0, 640, 1024, false}, {0, 0, 640, 800, true}});
  const Atom workArea = XInternAtom(desktop.display(), "_NET_WORKAREA", False);
  const long area[] = {0, 30, 1280, 994};  // a 30-pixel panel along the top
  XChangeProperty(desktop.display(), desktop.root(), workArea, XA_CARDINAL, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(area), 4);
  XSync(desktop.display(), False);

  // Xvfb keeps its own monitor for its one output beside the two of the test.
  const std::vector<Screen> screens = capture.screens();
  ASSERT_EQ(screens.size(), 3u);
  auto named = [&](const std::string& name) {
    for (const Screen& screen : screens) {
      if (screen.localizedName == name) return screen;
    }
    ADD_FAILURE() << "no screen " << name;
    return Screen{};
  };
  EXPECT_EQ(screens[0].localizedName, "TEST-1");
  EXPECT_EQ(capture.mainScreen(), screens[0]);
  struct Expected {
    std::string name;
    Rect frame, visibleFrame, bounds;
  };
  for (const Expected& e : {
           Expected{"TEST-1", R(0, 0, 640, 800), R(0, 0, 640, 770), R(0, 0, 640, 800)},
           Expected{"TEST-0", R(640, -224, 640, 1024), R(640, -224, 640, 994),
                    R(640, 0, 640, 1024)},
           Expected{"screen", R(0, -224, 1280, 1024), R(0, -224, 1280, 994), R(0, 0, 1280, 1024)},
       }) {
    const Screen screen = named(e.name);
    EXPECT_EQ(screen.frame, e.frame) << e.name;
    EXPECT_EQ(screen.visibleFrame, e.visibleFrame) << e.name;
    ASSERT_TRUE(screen.displayID) << e.name;
    EXPECT_EQ(capture.displayBounds(*screen.displayID), e.bounds) << e.name;
  }
  EXPECT_EQ(capture.displayBounds(12345), Rect{});

  // Without a work area the visible frame is the whole monitor.
  XDeleteProperty(desktop.display(), desktop.root(), workArea);
  XSync(desktop.display(), False);
  for (const Screen& screen : capture.screens()) {
    EXPECT_EQ(screen.visibleFrame, screen.frame) << screen.localizedName;
  }
}

TEST(X11ScreenCaptureTest, ServiceCapturesTheBandUnderThePointerOnASecondMonitor) {
  testing::Xvfb server;
  ASSERT_FALSE(server.displayName().empty());
  testing::TestDisplay desktop(server.displayName());
  testing::MonitorLayout layout(desktop.display(),
                                {{0, 0, 640, 800, true}, {640, 0, 640, 1024, false}});
  fill(desktop.display(), 0, 0, 1280, 1024, {0, 0, 0});
  fill(desktop.display(), 890, 590, 20, 20, {255, 255, 255});
  desktop.moveTo(900, 600);

  testing::X11CaptureServiceRig rig(server.displayName(), "de");
  const std::optional<NativeCapture> result = rig.captureAtPointer();
  ASSERT_TRUE(result);
  const NativeCapture& capture = *result;

  // The pointer at (900, 600) of the root is (900, 200) in points; the band of the
  // 1024-high monitor is 256 high around it.
  EXPECT_EQ(capture.mouseX, 900);
  EXPECT_EQ(capture.mouseY, 200);
  EXPECT_EQ(capture.imageWidth, 640);
  EXPECT_EQ(capture.imageHeight, 256);
  EXPECT_EQ(capture.hotspotX, 260);
  EXPECT_EQ(capture.hotspotY, 128);
  EXPECT_EQ(capture.targetLanguage, "de");
  EXPECT_GE(capture.captureMilliseconds, 0);
  const auto decoded = testing::decodeJpeg(capture.imageData);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->width, 640);
  EXPECT_EQ(decoded->height, 256);
  // White under the hotspot, black a little way off.
  EXPECT_GT(decoded->at(260, 128)[0], 200);
  EXPECT_LT(decoded->at(260, 100)[0], 50);
  EXPECT_LT(decoded->at(200, 128)[0], 50);
}

}  // namespace
}  // namespace trelvis
