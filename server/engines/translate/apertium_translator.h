#pragma once

// Rule-based translation with the apertium language pairs installed as Debian
// packages. Each pair runs as one long-lived pipeline of apertium processes in
// null-flush mode: a segment ended by a NUL goes in, its translation ended by a
// NUL comes out, so the ~0.5 s start-up of a pair is paid once. Pairs without a
// direct package go through Spanish when both halves exist. One request at a
// time per pipeline; a pipeline that hangs or dies is killed and started again on
// the next request. Thread-safe. Ignores SIGPIPE for the whole process, as a
// server that writes to pipes and sockets must.

#include "server/engines/translate/translator.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace trelvis::server {

class ApertiumTranslator : public Translator {
 public:
  // Finds the installed pairs in `modesDirectory` ("/usr/share/apertium/modes").
  explicit ApertiumTranslator(const std::string& modesDirectory = "/usr/share/apertium/modes",
                              std::chrono::milliseconds timeout = std::chrono::seconds(20));
  ~ApertiumTranslator() override;

  bool supports(std::string_view source, std::string_view target) const override;
  tl::expected<std::string, TranslationFailure> translate(std::string_view text, std::string_view source,
                                                          std::string_view target, const TranslationDelta& onDelta) override;
  std::string provider() const override { return "apertium"; }
  std::string model(std::string_view source, std::string_view target) const override;

  // Starts every pipeline and translates a word through it, so that the first
  // request finds them warm. Takes about half a second per pair.
  void warmUp();
  // The pairs that translate directly, as wire codes.
  std::vector<std::pair<std::string, std::string>> directPairs() const;

 private:
  class Pipeline;
  // The pipelines a pair goes through: one, or two through Spanish.
  std::vector<Pipeline*> route(std::string_view source, std::string_view target) const;

  std::map<std::pair<std::string, std::string>, std::unique_ptr<Pipeline>> pipelines_;
  std::chrono::milliseconds timeout_;
};

}  // namespace trelvis::server
