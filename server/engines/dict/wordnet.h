#pragma once

// English meanings from the WordNet database files: the index files are sorted,
// so they are searched in place in a memory map, and glosses are read from the
// data files at the offsets the index gives. Lemmatisation follows WordNet's own
// morphology: the exception lists, then the suffix rules of each part of speech.
// Read-only after loading; any thread may look up.

#include "server/engines/dict/mapped_file.h"

#include <tl/expected.hpp>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace trelvis::server {

enum class WordNetPos { noun, verb, adjective, adverb };

// "n.", "v.", "adj.", "adv.": the part of speech as the card shows it.
std::string_view abbreviation(WordNetPos pos);

struct WordNetSense {
  std::string definition;
  std::vector<std::string> examples;
};

struct WordNetLemma {
  std::string lemma;  // as in the index, with spaces for underscores
  WordNetPos pos = WordNetPos::noun;
  int taggedSenses = 0;  // how often the lemma was seen in the tagged corpus
};

class WordNet {
 public:
  static tl::expected<std::unique_ptr<WordNet>, std::string> open(const std::string& directory);

  // Base forms of `word` that WordNet knows, the most frequent first.
  std::vector<WordNetLemma> lemmas(std::string_view word) const;
  // The senses of a lemma, at most `limit`, most frequent first.
  std::vector<WordNetSense> senses(const WordNetLemma& lemma, size_t limit) const;
  bool contains(std::string_view word) const { return !lemmas(word).empty(); }

 private:
  struct Part {
    MappedFile index;
    MappedFile data;
    std::unordered_map<std::string, std::vector<std::string>> exceptions;
  };
  WordNet() = default;
  std::optional<std::string_view> indexLine(WordNetPos pos, std::string_view key) const;

  std::array<Part, 4> parts_;
};

}  // namespace trelvis::server
