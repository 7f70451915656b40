#pragma once

// One bilingual dictionary in dictd form (freedict): a ".index" of
// "headword TAB offset TAB length" with base64 numbers, and a dictzip ".dict.dz"
// of articles. The index is loaded once into a compact table sorted by the folded
// headword; articles are inflated on demand. Read-only after loading.

#include "server/engines/dict/dictzip_reader.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace trelvis::server {

// What a freedict article says, taken apart.
struct BilingualArticle {
  std::string headword;
  std::string pronunciation;  // IPA between slashes, without them; may be empty
  std::string partOfSpeech;   // "n.", "v.", ... when the article marks one
  std::vector<std::string> translations;
  std::vector<std::pair<std::string, std::string>> examples;  // source sentence, its translation
};

// Parses an article. `keepLine` filters translation lines, for dictionaries whose
// articles mix the target language with notes in another script.
BilingualArticle parseFreedictArticle(std::string_view text, bool (*keepLine)(std::string_view) = nullptr);

// Lower case for ASCII and the Latin-1 letters, which is what headwords of these
// languages need to be matched whatever their capitalisation.
std::string foldCase(std::string_view text);

class DictdDictionary {
 public:
  static tl::expected<std::unique_ptr<DictdDictionary>, std::string> open(const std::string& indexPath,
                                                                           const std::string& dataPath);

  // The articles filed under `word` (case folded), at most `limit`.
  std::vector<std::string> articles(std::string_view word, size_t limit) const;
  bool contains(std::string_view word) const;
  size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    uint32_t keyOffset;
    uint32_t keyLength;
    uint32_t dataOffset;
    uint32_t dataLength;
  };
  DictdDictionary() = default;
  std::string_view key(const Entry& entry) const { return {keys_.data() + entry.keyOffset, entry.keyLength}; }
  std::pair<size_t, size_t> range(std::string_view folded) const;

  std::string keys_;  // the folded headwords, back to back
  std::vector<Entry> entries_;
  std::unique_ptr<DictzipReader> data_;
};

}  // namespace trelvis::server
