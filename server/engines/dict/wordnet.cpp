#include "server/engines/dict/wordnet.h"

#include "base/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

namespace trelvis::server {

namespace {

constexpr std::array<const char*, 4> kFileNames = {"noun", "verb", "adj", "adv"};

struct Detachment {
  std::string_view suffix;
  std::string_view ending;
};

// WordNet's inflectional endings and what replaces them, per part of speech.
const std::array<std::vector<Detachment>, 4> kDetachments = {{
    {{"s", ""}, {"ses", "s"}, {"xes", "x"}, {"zes", "z"}, {"ches", "ch"}, {"shes", "sh"}, {"men", "man"}, {"ies", "y"}},
    {{"s", ""}, {"ies", "y"}, {"es", "e"}, {"es", ""}, {"ed", "e"}, {"ed", ""}, {"ing", "e"}, {"ing", ""}},
    {{"er", ""}, {"est", ""}, {"er", "e"}, {"est", "e"}},
    {},
}};

std::string indexKey(std::string_view word) {
  std::string key;
  key.reserve(word.size());
  for (char c : word) key += c == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return key;
}

std::vector<std::string_view> fields(std::string_view line) {
  std::vector<std::string_view> out;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && line[i] == ' ') ++i;
    size_t start = i;
    while (i < line.size() && line[i] != ' ') ++i;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

int toInt(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

std::string_view abbreviation(WordNetPos pos) {
  switch (pos) {
    case WordNetPos::noun: return "n.";
    case WordNetPos::verb: return "v.";
    case WordNetPos::adjective: return "adj.";
    case WordNetPos::adverb: return "adv.";
  }
  return "";
}

tl::expected<std::unique_ptr<WordNet>, std::string> WordNet::open(const std::string& directory) {
  std::unique_ptr<WordNet> wordnet(new WordNet());
  for (size_t p = 0; p < kFileNames.size(); ++p) {
    auto index = MappedFile::open(directory + "/index." + kFileNames[p]);
    if (!index) return tl::unexpected(index.error());
    auto data = MappedFile::open(directory + "/data." + kFileNames[p]);
    if (!data) return tl::unexpected(data.error());
    wordnet->parts_[p].index = std::move(*index);
    wordnet->parts_[p].data = std::move(*data);
    auto exceptions = MappedFile::open(directory + "/" + kFileNames[p] + ".exc");
    if (!exceptions) continue;  // the lists only refine lemmatisation
    std::istringstream lines{std::string(exceptions->text())};
    std::string line;
    while (std::getline(lines, line)) {
      auto words = fields(line);
      if (words.size() < 2) continue;
      auto& bases = wordnet->parts_[p].exceptions[std::string(words[0])];
      for (size_t i = 1; i < words.size(); ++i) bases.emplace_back(words[i]);
    }
  }
  return wordnet;
}

std::optional<std::string_view> WordNet::indexLine(WordNetPos pos, std::string_view key) const {
  std::string_view text = parts_[static_cast<size_t>(pos)].index.text();
  // Binary search over byte positions: each probe moves to the start of a line.
  // Licence lines begin with spaces and sort before every lemma.
  size_t low = 0;
  size_t high = text.size();
  while (low < high) {
    size_t mid = low + (high - low) / 2;
    size_t lineStart = text.rfind('\n', mid);
    lineStart = lineStart == std::string_view::npos ? 0 : lineStart + 1;
    size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string_view::npos) lineEnd = text.size();
    std::string_view line = text.substr(lineStart, lineEnd - lineStart);
    std::string_view lemma = line.substr(0, line.find(' '));
    if (line.starts_with(' ') || lemma < key) {
      low = lineEnd + 1;
    } else if (lemma > key) {
      high = lineStart;
    } else {
      return line;
    }
  }
  return std::nullopt;
}

std::vector<WordNetLemma> WordNet::lemmas(std::string_view word) const {
  std::string key = indexKey(word);
  std::vector<WordNetLemma> found;
  if (key.empty()) return found;
  for (size_t p = 0; p < parts_.size(); ++p) {
    auto pos = static_cast<WordNetPos>(p);
    std::vector<std::string> candidates{key};
    if (auto exception = parts_[p].exceptions.find(key); exception != parts_[p].exceptions.end()) {
      candidates.insert(candidates.end(), exception->second.begin(), exception->second.end());
    }
    for (const Detachment& rule : kDetachments[p]) {
      if (key.size() > rule.suffix.size() && key.ends_with(rule.suffix)) {
        candidates.push_back(key.substr(0, key.size() - rule.suffix.size()) + std::string(rule.ending));
      }
    }
    for (const std::string& candidate : candidates) {
      auto line = indexLine(pos, candidate);
      if (!line) continue;
      bool seen = std::any_of(found.begin(), found.end(), [&](const WordNetLemma& lemma) {
        return lemma.pos == pos && indexKey(lemma.lemma) == candidate;
      });
      if (seen) continue;
      auto parts = fields(*line);
      // lemma pos synset_cnt p_cnt [ptr_symbol...] sense_cnt tagsense_cnt offsets...
      int tagged = 0;
      if (parts.size() > 4) {
        size_t pointers = static_cast<size_t>(toInt(parts[3]));
        if (parts.size() > 5 + pointers) tagged = toInt(parts[5 + pointers]);
      }
      std::string lemma = candidate;
      std::replace(lemma.begin(), lemma.end(), '_', ' ');
      found.push_back({lemma, pos, tagged});
    }
  }
  // Most frequent first; the surface form wins a tie over a derived base.
  std::stable_sort(found.begin(), found.end(), [&](const WordNetLemma& a, const WordNetLemma& b) {
    if (a.taggedSenses != b.taggedSenses) return a.taggedSenses > b.taggedSenses;
    return (indexKey(a.lemma) == key) > (indexKey(b.lemma) == key);
  });
  return found;
}

std::vector<WordNetSense> WordNet::senses(const WordNetLemma& lemma, size_t limit) const {
  std::vector<WordNetSense> senses;
  auto line = indexLine(lemma.pos, indexKey(lemma.lemma));
  if (!line) return senses;
  auto parts = fields(*line);
  if (parts.size() < 4) return senses;
  int synsets = toInt(parts[2]);
  size_t first = parts.size() - static_cast<size_t>(std::max(0, synsets));
  std::string_view data = parts_[static_cast<size_t>(lemma.pos)].data.text();
  for (size_t i = first; i < parts.size() && senses.size() < limit; ++i) {
    size_t offset = static_cast<size_t>(toInt(parts[i]));
    if (offset >= data.size()) continue;
    size_t end = data.find('\n', offset);
    std::string_view record = data.substr(offset, end == std::string_view::npos ? std::string_view::npos : end - offset);
    size_t bar = record.find(" | ");
    if (bar == std::string_view::npos) continue;
    std::string_view gloss = record.substr(bar + 3);
    WordNetSense sense;
    // "definition; "example"; "example"": quoted parts are examples.
    size_t start = 0;
    while (start < gloss.size()) {
      size_t semicolon = gloss.find("; ", start);
      if (gloss[start] == '"') {
        size_t close = gloss.find('"', start + 1);
        if (close != std::string_view::npos) {
          sense.examples.push_back(std::string(gloss.substr(start + 1, close - start - 1)));
          semicolon = gloss.find("; ", close);
        }
      } else {
        std::string part = trimmed(gloss.substr(start, semicolon == std::string_view::npos ? std::string_view::npos
                                                                                             : semicolon - start));
        if (!part.empty()) sense.definition += (sense.definition.empty() ? "" : "; ") + part;
      }
      if (semicolon == std::string_view::npos) break;
      start = semicolon + 2;
    }
    senses.push_back(std::move(sense));
  }
  return senses;
}

}  // namespace trelvis::server
