#include "base/signal.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace trelvis {
namespace {

using Calls = std::vector<std::string>;

TEST(SignalTest, ConnectionsDecideWhichCallbacksRun) {
  Signal<int, const std::string&> changed;
  Calls calls;
  auto record = [&](const char* name) {
    return [&calls, name](int n, const std::string& s) {
      calls.push_back(name + std::to_string(n) + s);
    };
  };
  Connection a = changed.connect(record("a"));
  { Connection scoped = changed.connect(record("scoped")); }
  Connection moved = changed.connect(record("b"));
  Connection b = std::move(moved);
  Connection replaced = changed.connect(record("replaced"));
  replaced = changed.connect(record("c"));  // Disconnects "replaced".
  std::vector<Connection> many;             // Reallocation moves the connections.
  for (int i = 0; i < 5; ++i) many.push_back(changed.connect(record("v")));
  many.resize(1);

  changed.emit(1, "x");
  b.disconnect();
  Signal<int, const std::string&> moveTarget = std::move(changed);
  moveTarget.emit(2, "y");
  EXPECT_EQ(calls, (Calls{"a1x", "b1x", "c1x", "v1x", "a2y", "c2y", "v2y"}));
  EXPECT_FALSE(moved.connected());
  EXPECT_FALSE(b.connected());
  EXPECT_TRUE(a.connected());
  Connection empty;
  EXPECT_FALSE(empty.connected());
  empty.disconnect();
}

TEST(SignalTest, ChangesDuringEmission) {
  // Callbacks "a", "b" and "c" are connected in that order; "b" acts on the first
  // emission only.
  enum Action { disconnectSelf, disconnectLater, disconnectEarlier, connectNew };
  struct Case {
    Action action;
    Calls firstEmission;
    Calls secondEmission;
  };
  const Case cases[] = {
      {disconnectSelf, {"a", "b", "c"}, {"a", "c"}},
      {disconnectLater, {"a", "b"}, {"a", "b"}},
      {disconnectEarlier, {"a", "b", "c"}, {"b", "c"}},
      {connectNew, {"a", "b", "c"}, {"a", "b", "c", "new"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.action);
    Signal<> changed;
    Calls calls;
    Connection a, b, later, added;
    bool first = true;
    a = changed.connect([&] { calls.push_back("a"); });
    b = changed.connect([&] {
      calls.push_back("b");
      if (!first) return;
      if (c.action == disconnectSelf) b.disconnect();
      if (c.action == disconnectLater) later.disconnect();
      if (c.action == disconnectEarlier) a.disconnect();
      if (c.action == connectNew) added = changed.connect([&] { calls.push_back("new"); });
    });
    later = changed.connect([&] { calls.push_back("c"); });
    changed.emit();
    EXPECT_EQ(calls, c.firstEmission);
    calls.clear();
    first = false;
    changed.emit();
    EXPECT_EQ(calls, c.secondEmission);
  }
}

TEST(SignalTest, NestedEmissionSeesDisconnectionsAndKeepsRunningCallbacksAlive) {
  Signal<int> changed;
  Calls calls;
  Connection inner, outer;
  // The callback owns state that must outlive its own disconnection while it runs.
  auto state = std::make_shared<std::string>("outer");
  outer = changed.connect([&, state](int depth) {
    calls.push_back(*state + std::to_string(depth));
    if (depth > 0) return;
    changed.emit(1);
    outer.disconnect();
    calls.push_back(*state + " after");
  });
  inner = changed.connect([&](int depth) {
    calls.push_back("inner" + std::to_string(depth));
    if (depth == 1) inner.disconnect();
  });
  state.reset();
  changed.emit(0);
  changed.emit(2);
  EXPECT_EQ(calls, (Calls{"outer0", "outer1", "inner1", "outer after"}));
}

TEST(SignalTest, SignalMayDieBeforeItsConnectionsOrDuringEmission) {
  Calls calls;
  Connection survivor;
  {
    Signal<> changed;
    survivor = changed.connect([&] { calls.push_back("never"); });
  }
  EXPECT_FALSE(survivor.connected());
  survivor.disconnect();

  auto owned = std::make_unique<Signal<>>();
  Connection first = owned->connect([&] {
    calls.push_back("first");
    owned.reset();
  });
  Connection second = owned->connect([&] { calls.push_back("second"); });
  owned->emit();
  EXPECT_EQ(calls, (Calls{"first"}));
  EXPECT_FALSE(first.connected());
  EXPECT_FALSE(second.connected());
}

}  // namespace
}  // namespace trelvis
