#pragma once

// A short notation for the input sequences of the trigger tests, so that a case
// fits on a line. Steps are separated by spaces:
//   lopt/o      flags changed by left Option, with the Option flag set after it
//   lsh/os@7,8  flags changed by left Shift, Option and Shift set, pointer at (7, 8)
//   lctl/       flags changed by left Control, no flag set
//   down@1,2    primary button pressed at (1, 2); likewise up@, drag@, right@, other@
//   key         a key (code 1) pressed
//   +5ms        time moves on by five milliseconds
//   any other word is an operation that the test gives a meaning to ("stop", "!").
// Keys: lopt ropt lctl rctl lsh rsh lcmd fn. Flags: o Option, c Control, s Shift,
// m Command, k Caps Lock, f Function.

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/geometry.h"
#include "core/triggers/input_events.h"

namespace trelvis::testing {

struct TriggerStep {
  enum class Kind { event, advance, op } kind = Kind::event;
  InputEventType type = InputEventType::flagsChanged;
  uint16_t keyCode = 0;
  uint64_t modifierFlags = 0;
  Point location;
  Duration by{0};
  std::string op;
};

// The flags of "osk": Option, Shift and Caps Lock.
inline uint64_t parseFlags(const std::string& letters) {
  static const std::map<char, uint64_t> flags = {
      {'o', ModifierFlags::option},   {'c', ModifierFlags::control},
      {'s', ModifierFlags::shift},    {'m', ModifierFlags::command},
      {'k', ModifierFlags::capsLock}, {'f', ModifierFlags::function}};
  uint64_t bits = 0;
  for (const char letter : letters) bits |= flags.at(letter);
  return bits;
}

inline TriggerStep parseStep(std::string token) {
  using T = InputEventType;
  static const std::map<std::string, uint16_t> keys = {
      {"lopt", KeyCodes::leftOption},  {"ropt", KeyCodes::rightOption},
      {"lctl", KeyCodes::leftControl}, {"rctl", KeyCodes::rightControl},
      {"lsh", KeyCodes::leftShift},    {"rsh", KeyCodes::rightShift},
      {"lcmd", KeyCodes::leftCommand}, {"fn", KeyCodes::function}};
  static const std::map<std::string, T> buttons = {{"down", T::leftMouseDown},
                                                   {"up", T::leftMouseUp},
                                                   {"drag", T::leftMouseDragged},
                                                   {"right", T::rightMouseDown},
                                                   {"other", T::otherMouseDown}};

  TriggerStep step;
  if (const size_t at = token.find('@'); at != token.npos) {
    std::sscanf(token.c_str() + at + 1, "%lf,%lf", &step.location.x, &step.location.y);
    token.resize(at);
  }
  if (const size_t slash = token.find('/'); slash != token.npos) {
    const auto key = keys.find(token.substr(0, slash));
    if (key != keys.end()) step.keyCode = key->second;
    step.modifierFlags = parseFlags(token.substr(slash + 1));
    EXPECT_NE(key, keys.end()) << "no key " << token;
  } else if (token == "key") {
    step.type = T::keyDown;
    step.keyCode = 1;
  } else if (token.starts_with('+') && token.ends_with("ms")) {
    step.kind = TriggerStep::Kind::advance;
    step.by = std::chrono::milliseconds(std::stoi(token.substr(1)));
  } else if (buttons.contains(token)) {
    step.type = buttons.at(token);
  } else {
    step.kind = TriggerStep::Kind::op;
    step.op = token;
  }
  return step;
}

inline std::vector<TriggerStep> parseSteps(const std::string& text) {
  std::istringstream words(text);
  std::vector<TriggerStep> steps;
  for (std::string word; words >> word;) steps.push_back(parseStep(word));
  return steps;
}

}  // namespace trelvis::testing
