#include "platform/x11/x11_hot_key_registrar.h"

#include <chrono>
#include <thread>

#include <gtest/gtest.h>
// After gtest, whose names X's macros (None, Bool) would replace.
#include <X11/keysym.h>

#include "base/async/run_loop.h"
#include "platform/x11/x11_test_display.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using HotKeyID = HotKeyRegistering::HotKeyID;

constexpr uint32_t kSignature = 0x54524B59;  // "TRKY"
constexpr uint32_t kOption = 0x800;
constexpr uint16_t kS = 1;
constexpr uint16_t kI = 34;
constexpr uint16_t kU = 32;

class X11HotKeyRegistrarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(server_.displayName().empty());
    registrar_->setPressHandler([this](HotKeyID id) {
      presses_.push_back(id);
      onMain_.push_back(main_->isCurrent());
    });
  }

  void pressOptionS() {
    input_.key(XK_Alt_L, true);
    input_.tap(XK_s);
    input_.key(XK_Alt_L, false);
  }

  bool runUntilPresses(size_t count) {
    return loop_.runUntil([&] { return presses_.size() >= count; }, 5s);
  }

  testing::Xvfb& server_ = testing::Xvfb::shared();
  testing::TestDisplay input_{server_.displayName()};
  testing::TestDisplay other_{server_.displayName()};
  RunLoop loop_;
  std::shared_ptr<Executor> main_ = loop_.executor();
  std::unique_ptr<X11HotKeyRegistrar> registrar_ =
      std::make_unique<X11HotKeyRegistrar>(main_, server_.displayName());
  std::vector<HotKeyID> presses_;
  std::vector<bool> onMain_;
};

TEST_F(X11HotKeyRegistrarTest, DeliversPressesOnTheMainExecutorOncePerPress) {
  const auto ref = registrar_->registerHotKey(kS, kOption, {kSignature, 3});
  ASSERT_TRUE(ref);
  pressOptionS();
  input_.key(XK_Alt_L, true);
  input_.hold(XK_s, 150ms);  // auto-repeats are not presses
  input_.key(XK_Alt_L, false);
  input_.setNumLock(true);  // the lock variants are grabbed too
  pressOptionS();
  input_.setNumLock(false);
  input_.tap(XK_s);  // without Option: not the hot key
  ASSERT_TRUE(runUntilPresses(3));
  loop_.runUntil([] { return false; }, 100ms);
  EXPECT_EQ(presses_, (std::vector<HotKeyID>(3, HotKeyID{kSignature, 3})));
  EXPECT_EQ(onMain_, std::vector<bool>(3, true));

  // Unregistered, the combination is free for others and presses go nowhere.
  registrar_->unregisterHotKey(*ref);
  EXPECT_TRUE(other_.canGrab(XK_s, Mod1Mask));
  pressOptionS();
  loop_.runUntil([] { return false; }, 100ms);
  EXPECT_EQ(presses_.size(), 3u);
}

TEST_F(X11HotKeyRegistrarTest, RefusesCombinationsItCannotHave) {
  // Another client holds Option+I outright, and Option+U only with Caps Lock.
  XGrabKey(other_.display(), other_.keycode(XK_i), Mod1Mask, other_.root(), False, GrabModeAsync,
           GrabModeAsync);
  XGrabKey(other_.display(), other_.keycode(XK_u), Mod1Mask | LockMask, other_.root(), False,
           GrabModeAsync, GrabModeAsync);
  XSync(other_.display(), False);
  EXPECT_FALSE(registrar_->registerHotKey(kI, kOption, {kSignature, 1}));
  EXPECT_FALSE(registrar_->registerHotKey(kU, kOption, {kSignature, 1}));
  // The variants of Option+U it did get were given back.
  EXPECT_TRUE(other_.canGrab(XK_u, Mod1Mask));
  XUngrabKey(other_.display(), AnyKey, AnyModifier, other_.root());
  XSync(other_.display(), False);

  // A combination this registrar holds already, and keys that do not exist.
  ASSERT_TRUE(registrar_->registerHotKey(kI, kOption, {kSignature, 3}));
  EXPECT_FALSE(registrar_->registerHotKey(kI, kOption, {kSignature, 900}));
  EXPECT_FALSE(other_.canGrab(XK_i, Mod1Mask));
  EXPECT_FALSE(registrar_->registerHotKey(10, kOption, {kSignature, 1}));

  X11HotKeyRegistrar nowhere(main_, ":65000");
  EXPECT_FALSE(nowhere.registerHotKey(kS, kOption, {kSignature, 1}));
}

TEST_F(X11HotKeyRegistrarTest, APressPendingWhenTheRegistrarGoesIsDropped) {
  ASSERT_TRUE(registrar_->registerHotKey(kS, kOption, {kSignature, 4}));
  pressOptionS();
  // The press is posted to the main executor by now or soon; give it the time.
  std::this_thread::sleep_for(100ms);
  registrar_.reset();
  loop_.runUntil([] { return false; }, 100ms);
  EXPECT_TRUE(presses_.empty());
  EXPECT_TRUE(other_.canGrab(XK_s, Mod1Mask));
}

}  // namespace
}  // namespace trelvis
