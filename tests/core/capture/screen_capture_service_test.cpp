#include "core/capture/screen_capture_service.h"

#include <chrono>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "base/async/task.h"
#include "base/async/test_scheduler.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/prefs/target_language_store.h"
#include "support/fake_screen_capture.h"
#include "support/geometry_printers.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Kind = ScreenCaptureError::Kind;

Rect R(double x, double y, double w, double h) {
  return Rect{{x, y}, {w, h}};
}

// Two 1000x800 displays side by side; A is the main one.
const Screen kA{R(0, 0, 1000, 800), R(0, 0, 1000, 770), "A", 1};
const Screen kB{R(1000, 0, 1000, 800), R(1000, 0, 1000, 800), "B", 2};

class ScreenCaptureServiceTest : public ::testing::Test {
 protected:
  ScreenCaptureServiceTest() {
    screens_.list = {kA, kB};
    screens_.main = kA;
    screens_.bounds = {{1, R(0, 0, 1000, 800)}, {2, R(1000, 0, 1000, 800)}};
    targetLanguages_.setCode("ja");
  }

  // Runs the operation as a main-thread task until nothing is left to do.
  template <class T>
  std::variant<T, ScreenCaptureError> run(Async<T> operation) {
    auto task = spawn(main_, [op = std::move(operation)]() mutable -> Async<T> {
      co_return co_await std::move(op);
    });
    scheduler_.runUntilIdle();
    EXPECT_TRUE(task.isDone());
    try {
      return std::move(task).value();
    } catch (const ScreenCaptureError& error) {
      return error;
    }
  }

  static std::optional<ScreenCaptureError> failureOf(const auto& outcome) {
    if (const auto* error = std::get_if<ScreenCaptureError>(&outcome)) return *error;
    return std::nullopt;
  }
  static std::optional<Kind> errorOf(const auto& outcome) {
    const auto failure = failureOf(outcome);
    return failure ? std::optional(failure->kind()) : std::nullopt;
  }

  TestScheduler scheduler_;
  std::shared_ptr<Executor> main_ = scheduler_.makeExecutor();
  std::shared_ptr<Executor> encoding_ = scheduler_.makeExecutor();
  ManualClock clock_;
  FakeScreens screens_;
  FakeScreenshots screenshots_{clock_};
  Point pointer_;
  std::shared_ptr<FakeJpegEncoder> encoder_ = std::make_shared<FakeJpegEncoder>(clock_);
  InMemoryPreferenceStore defaults_;
  TargetLanguageStore targetLanguages_{defaults_, noPreferredLanguages, isNewUser};
  std::optional<std::string> secondary_ = "ko";
  ScreenCaptureService service_{platform(), targetLanguages_, secondaryLanguage()};

 private:
  static std::vector<std::string> noPreferredLanguages() { return {}; }
  static bool isNewUser() { return false; }
  ScreenCaptureService::Platform platform() {
    return {screens_, screenshots_, encoder_, encoding_, clock_};
  }
  ScreenCaptureService::SecondaryTargetLanguage secondaryLanguage() {
    return [this] {
      return secondary_;
    };
  }
};

TEST_F(ScreenCaptureServiceTest, DeniedPermissionStopsBothCapturesBeforeAnythingElse) {
  screenshots_.granted = false;
  EXPECT_EQ(errorOf(run(service_.captureImageAtPointer(pointer_))), Kind::permissionDenied);
  EXPECT_EQ(errorOf(run(service_.captureRegion(R(10, 10, 100, 100)))), Kind::permissionDenied);
  EXPECT_EQ(screens_.queries, 0);
  EXPECT_TRUE(screenshots_.requests.empty());
  EXPECT_TRUE(encoder_->ranOn.empty());
}

TEST_F(ScreenCaptureServiceTest, PointerCaptureCarriesImageHotspotLanguagesAndTimings) {
  pointer_ = {1500, 500};
  screenshots_.pixelsPerPoint = 2;
  screenshots_.captureCost = 12500us;  // halves round away from zero
  encoder_->encodeCost = 3490us;
  auto outcome = run(service_.captureImageAtPointer(pointer_));
  ASSERT_FALSE(errorOf(outcome)) << std::get<ScreenCaptureError>(outcome).what();
  const NativeCapture& capture = std::get<NativeCapture>(outcome);

  // The band of B around y 500 is y 400..600, which is 200..400 from B's top.
  EXPECT_EQ(screenshots_.requests, std::vector<Rect>{R(1000, 200, 1000, 200)});
  EXPECT_EQ(std::string(capture.imageData.begin(), capture.imageData.end()), "jpeg 2000x400");
  EXPECT_EQ(capture.imageWidth, 2000);
  EXPECT_EQ(capture.imageHeight, 400);
  EXPECT_EQ(capture.hotspotX, 1000);
  EXPECT_EQ(capture.hotspotY, 200);
  EXPECT_EQ(capture.secondaryTargetLanguage, "ko");
  EXPECT_EQ(capture.captureMilliseconds, 13);
  EXPECT_EQ(capture.encodeMilliseconds, 3);
  // Encoded on the encoding executor, not on the caller's.
  EXPECT_EQ(encoder_->ranOn, std::vector<Executor*>{encoding_.get()});
}

TEST_F(ScreenCaptureServiceTest, PointerOffTheScreensUsesTheNearestWithin64PointsElseTheMain) {
  // A small display without an identity, and one whose bounds are unknown.
  const Screen anonymous{R(5000, 0, 100, 100), R(5000, 0, 100, 100), "anonymous", std::nullopt};
  const Screen unbounded{R(-1000, -800, 1000, 800), R(-1000, -800, 1000, 800), "C", 3};
  screens_.list.push_back(anonymous);
  screens_.list.push_back(unbounded);
  struct Case {
    Point mouse;
    std::optional<uint32_t> display;
  };
  const Case cases[] = {
      {{500, 400}, 1},
      {{1000, 400}, 2},            // the edge belongs to the display to its right
      {{2064, 400}, 2},            // the tolerance is inclusive
      {{2065, 400}, 1},            // too far: the main screen serves
      {{1500, -30}, 2},            // below B
      {{1000, 850}, 1},            // as near to A as to B: the earlier one
      {{2040, 850}, 1},            // 40 across and 50 up is 64.03 away
      {{5050, 50}, std::nullopt},  // a screen with no display identity
      {{-500, -100}, 3},
  };
  for (const Case& c : cases) {
    const auto geometry = service_.captureGeometry(c.mouse);
    EXPECT_EQ(geometry ? std::optional(geometry->displayID) : std::nullopt, c.display) << c.mouse;
  }
  // Unknown bounds: the screen's frame stands in for them.
  EXPECT_EQ(service_.captureGeometry(Point{-500, -100})->displayBoundsInScreenCapture,
            unbounded.frame);

  screens_.main.reset();
  EXPECT_FALSE(service_.captureGeometry(Point{2065, 400}));
  pointer_ = {2065, 400};
  EXPECT_EQ(errorOf(run(service_.captureImageAtPointer(pointer_))), Kind::displayUnavailable);
  EXPECT_TRUE(screenshots_.requests.empty());
}

TEST_F(ScreenCaptureServiceTest, RegionIsClippedToTheDisplayUnderItsCentre) {
  struct Case {
    Rect region;
    std::optional<Rect> selection;  // none: displayUnavailable
    Rect request;
  };
  const Case cases[] = {
      // Across the two displays, centred on B: only B's part, read from B.
      {R(900, 100, 300, 200), R(1000, 100, 200, 200), R(1000, 500, 200, 200)},
      {R(100, 100, 8, 8), R(100, 100, 8, 8), R(100, 692, 8, 8)},
      {R(100, 100, 7.9, 100), std::nullopt, {}},
      {R(100, 100, 100, 7.5), std::nullopt, {}},
      // Centred on B's edge: B's 5-point sliver is too small.
      {R(995, 100, 10, 100), std::nullopt, {}},
      // Far off every screen: the main one, which it does not touch.
      {R(-500, -500, 100, 100), std::nullopt, {}},
  };
  for (const Case& c : cases) {
    screenshots_.requests.clear();
    auto outcome = run(service_.captureRegion(c.region));
    if (!c.selection) {
      EXPECT_EQ(errorOf(outcome), Kind::displayUnavailable) << c.region;
      EXPECT_TRUE(screenshots_.requests.empty());
      continue;
    }
    ASSERT_FALSE(errorOf(outcome)) << c.region;
    const RegionCapture& capture = std::get<RegionCapture>(outcome);
    EXPECT_EQ(capture.selectionRect, *c.selection) << c.region;
    EXPECT_EQ(screenshots_.requests, std::vector<Rect>{c.request}) << c.region;
    EXPECT_EQ(capture.imageWidth, c.request.width());
    EXPECT_EQ(capture.imageHeight, c.request.height());
    EXPECT_EQ(capture.targetLanguage, "ja");
    EXPECT_EQ(capture.secondaryTargetLanguage, "ko");
  }
}

TEST_F(ScreenCaptureServiceTest, FailuresOfThePlatformReachTheCaller) {
  using SE = ScreenCaptureError;
  const auto refuse = [](const Rect&) -> CapturedImage {
    throw SE::captureFailed("no server");
  };
  const auto blank = [](const Rect&) {
    return CapturedImage{};
  };
  struct Case {
    const char* name;
    std::function<CapturedImage(const Rect&)> answer;
    bool encodingFails;
    ScreenCaptureError expected;
  };
  const Case cases[] = {
      {"capture fails", refuse, false, SE::captureFailed("no server")},
      {"nothing captured", blank, false, SE(Kind::emptyImage)},
      {"encoding fails", nullptr, true, SE(Kind::encodingFailed)},
      {"no screens", nullptr, false, SE(Kind::displayUnavailable)},
  };
  for (const Case& c : cases) {
    screenshots_.answer = c.answer;
    encoder_->fails = c.encodingFails;
    if (c.expected.kind() == Kind::displayUnavailable) screens_ = FakeScreens{};
    EXPECT_EQ(failureOf(run(service_.captureImageAtPointer({500, 400}))), c.expected) << c.name;
    EXPECT_EQ(failureOf(run(service_.captureRegion(R(100, 100, 50, 50)))), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace trelvis
