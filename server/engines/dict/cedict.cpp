#include "server/engines/dict/cedict.h"

#include "base/text.h"
#include "server/engines/dict/mapped_file.h"
#include "server/engines/utf8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>

namespace trelvis::server {

namespace {

std::string lowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

// The English gloss as a key of the reverse index: no parenthesised remarks, no
// "to " of verbs or articles, lower case; empty when the gloss is no short phrase.
std::string glossKey(std::string_view gloss) {
  std::string plain;
  int depth = 0;
  for (char c : gloss) {
    if (c == '(' || c == '[') ++depth;
    if (depth == 0) plain += c;
    if ((c == ')' || c == ']') && depth > 0) --depth;
  }
  std::string key = lowerAscii(trimmed(plain));
  for (std::string_view prefix : {"to ", "a ", "an ", "the "}) {
    if (key.starts_with(prefix)) {
      key.erase(0, prefix.size());
      break;
    }
  }
  key = trimmed(key);
  if (key.empty() || key.size() > 40 || std::count(key.begin(), key.end(), ' ') > 2) return {};
  if (std::any_of(key.begin(), key.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80 || c == '|'; })) {
    return {};
  }
  return key;
}

bool isReference(std::string_view gloss) {
  for (std::string_view marker : {"variant of", "surname ", "used in ", "see ", "abbr. for", "erhua variant"}) {
    if (gloss.find(marker) != std::string_view::npos) return true;
  }
  return false;
}

}  // namespace

// Streams the JSON: only the "all" array is kept, entry by entry, so that the
// document never exists as a tree (it would take ten times the file's size).
class CedictLoader : public nlohmann::json_sax<nlohmann::json> {
 public:
  explicit CedictLoader(Cedict& cedict) : cedict_(cedict) {}

  bool null() override { return value(); }
  bool boolean(bool) override { return value(); }
  bool number_integer(number_integer_t) override { return value(); }
  bool number_unsigned(number_unsigned_t) override { return value(); }
  bool number_float(number_float_t, const string_t&) override { return value(); }
  bool binary(binary_t&) override { return value(); }
  bool string(string_t& text) override {
    if (inAll_ && depth_ == 3) {
      if (field_ < 3) fields_[field_] = text;
      if (field_ == 3) meanings_.push_back(text);
    } else if (inAll_ && depth_ == 4 && field_ == 3) {
      meanings_.push_back(text);
    }
    return value();
  }
  bool start_object(std::size_t) override {
    ++depth_;
    return true;
  }
  bool end_object() override {
    --depth_;
    return value();
  }
  bool key(string_t& name) override {
    if (depth_ == 1) nextIsAll_ = name == "all";
    return true;
  }
  bool start_array(std::size_t) override {
    ++depth_;
    if (depth_ == 2 && nextIsAll_) inAll_ = true;
    if (inAll_ && depth_ == 3) {
      field_ = 0;
      meanings_.clear();
    }
    return true;
  }
  bool end_array() override {
    if (inAll_ && depth_ == 3) finishEntry();
    if (inAll_ && depth_ == 2) inAll_ = false;
    --depth_;
    return value();
  }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    error_ = "CC-CEDICT data is malformed near byte " + std::to_string(position);
    return false;
  }
  const std::string& error() const { return error_; }

 private:
  // A complete value at entry level moves to the next field.
  bool value() {
    if (inAll_ && depth_ == 3) ++field_;
    return true;
  }
  void finishEntry() {
    if (field_ < 4 || fields_[1].empty()) return;
    std::string joined;
    for (const std::string& meaning : meanings_) {
      if (!joined.empty()) joined += '\x1f';
      joined += meaning;
    }
    cedict_.entries_.push_back({cedict_.store(fields_[0]), cedict_.store(fields_[1]),
                                cedict_.store(pinyinWithToneMarks(fields_[2])), cedict_.store(joined)});
  }

  Cedict& cedict_;
  int depth_ = 0;
  bool nextIsAll_ = false;
  bool inAll_ = false;
  int field_ = 0;
  std::string fields_[3];
  std::vector<std::string> meanings_;
  std::string error_;
};

tl::expected<std::unique_ptr<Cedict>, std::string> Cedict::load(const std::string& path) {
  auto file = MappedFile::open(path);
  if (!file) return tl::unexpected(file.error());
  std::string_view text = file->text();
  size_t brace = text.find('{');
  if (brace == std::string_view::npos) return tl::unexpected(path + ": no JSON object");
  std::unique_ptr<Cedict> cedict(new Cedict());
  cedict->text_.reserve(text.size() * 3 / 4);
  CedictLoader loader(*cedict);
  bool parsed = nlohmann::json::sax_parse(text.substr(brace), &loader);
  if (!parsed) return tl::unexpected(path + ": " + (loader.error().empty() ? "malformed JSON" : loader.error()));
  if (cedict->entries_.empty()) return tl::unexpected(path + ": no entries");
  cedict->text_.shrink_to_fit();

  const auto count = static_cast<uint32_t>(cedict->entries_.size());
  for (auto* index : {&cedict->bySimplified_, &cedict->byTraditional_}) {
    index->resize(count);
    for (uint32_t i = 0; i < count; ++i) (*index)[i] = i;
  }
  Cedict* self = cedict.get();
  auto sortBy = [self](std::vector<uint32_t>& index, uint32_t Entry::*field) {
    std::stable_sort(index.begin(), index.end(), [self, field](uint32_t a, uint32_t b) {
      return self->at(self->entries_[a].*field) < self->at(self->entries_[b].*field);
    });
  };
  sortBy(cedict->bySimplified_, &Entry::simplified);
  sortBy(cedict->byTraditional_, &Entry::traditional);

  // The English index: each short gloss points at its entry. Earlier glosses,
  // shorter headwords and common nouns (pinyin in lower case) rank first.
  for (uint32_t i = 0; i < count; ++i) {
    const Entry& entry = cedict->entries_[i];
    std::string_view meanings = cedict->at(entry.meanings);
    std::string_view simplified = cedict->at(entry.simplified);
    bool proper = std::isupper(static_cast<unsigned char>(cedict->at(entry.pinyin).front()));
    uint32_t position = 0;
    size_t start = 0;
    while (start <= meanings.size()) {
      size_t end = meanings.find('\x1f', start);
      if (end == std::string_view::npos) end = meanings.size();
      std::string_view meaning = meanings.substr(start, end - start);
      size_t partStart = 0;
      while (partStart <= meaning.size()) {
        size_t partEnd = meaning.find("; ", partStart);
        if (partEnd == std::string_view::npos) partEnd = meaning.size();
        std::string_view gloss = meaning.substr(partStart, partEnd - partStart);
        if (!isReference(gloss)) {
          std::string key = glossKey(gloss);
          if (!key.empty()) {
            uint32_t rank = position * 8 + static_cast<uint32_t>(simplified.size()) + (proper ? 200 : 0);
            cedict->glosses_.push_back({cedict->store(key), i, rank});
          }
        }
        ++position;
        partStart = partEnd + 2;
      }
      start = end + 1;
    }
  }
  std::stable_sort(cedict->glosses_.begin(), cedict->glosses_.end(), [self](const Gloss& a, const Gloss& b) {
    std::string_view ka = self->at(a.key);
    std::string_view kb = self->at(b.key);
    return ka != kb ? ka < kb : a.rank < b.rank;
  });
  cedict->glosses_.shrink_to_fit();
  return cedict;
}

uint32_t Cedict::store(std::string_view text) {
  auto offset = static_cast<uint32_t>(text_.size());
  text_.append(text);
  text_.push_back('\0');
  return offset;
}

std::string_view Cedict::at(uint32_t offset) const { return std::string_view(text_.data() + offset); }

CedictEntry Cedict::expand(uint32_t index) const {
  const Entry& entry = entries_[index];
  CedictEntry out{std::string(at(entry.traditional)), std::string(at(entry.simplified)), std::string(at(entry.pinyin)), {}};
  std::string_view meanings = at(entry.meanings);
  size_t start = 0;
  while (start <= meanings.size()) {
    size_t end = meanings.find('\x1f', start);
    if (end == std::string_view::npos) end = meanings.size();
    if (end > start) out.meanings.emplace_back(meanings.substr(start, end - start));
    start = end + 1;
  }
  return out;
}

std::pair<size_t, size_t> Cedict::range(const std::vector<uint32_t>& index, uint32_t Entry::*field,
                                        std::string_view word) const {
  auto lower = std::lower_bound(index.begin(), index.end(), word,
                                [&](uint32_t e, std::string_view w) { return at(entries_[e].*field) < w; });
  auto upper = std::upper_bound(lower, index.end(), word,
                                [&](std::string_view w, uint32_t e) { return w < at(entries_[e].*field); });
  return {static_cast<size_t>(lower - index.begin()), static_cast<size_t>(upper - index.begin())};
}

std::vector<CedictEntry> Cedict::lookup(std::string_view word) const {
  std::vector<CedictEntry> found;
  std::vector<uint32_t> seen;
  for (auto [index, field] : {std::pair{&bySimplified_, &Entry::simplified}, std::pair{&byTraditional_, &Entry::traditional}}) {
    auto [begin, end] = range(*index, field, word);
    for (size_t i = begin; i < end; ++i) {
      uint32_t e = (*index)[i];
      if (std::find(seen.begin(), seen.end(), e) != seen.end()) continue;
      seen.push_back(e);
      found.push_back(expand(e));
    }
  }
  // Common words before names: entries with lower-case pinyin first.
  std::stable_sort(found.begin(), found.end(), [](const CedictEntry& a, const CedictEntry& b) {
    return !std::isupper(static_cast<unsigned char>(a.pinyin.front())) &&
           std::isupper(static_cast<unsigned char>(b.pinyin.front()));
  });
  return found;
}

bool Cedict::contains(std::string_view word) const {
  auto [b1, e1] = range(bySimplified_, &Entry::simplified, word);
  if (b1 < e1) return true;
  auto [b2, e2] = range(byTraditional_, &Entry::traditional, word);
  return b2 < e2;
}

std::vector<CedictEntry> Cedict::lookupEnglish(std::string_view word, size_t limit) const {
  std::vector<CedictEntry> found;
  std::string key = lowerAscii(trimmed(word));
  auto lower = std::lower_bound(glosses_.begin(), glosses_.end(), key,
                                [&](const Gloss& g, const std::string& k) { return at(g.key) < k; });
  std::vector<std::string> simplifiedSeen;
  for (auto it = lower; it != glosses_.end() && at(it->key) == key && found.size() < limit; ++it) {
    CedictEntry entry = expand(it->entry);
    if (std::find(simplifiedSeen.begin(), simplifiedSeen.end(), entry.simplified) != simplifiedSeen.end()) continue;
    simplifiedSeen.push_back(entry.simplified);
    found.push_back(std::move(entry));
  }
  return found;
}

size_t Cedict::longestWordAt(std::string_view text, size_t offset) const {
  if (offset >= text.size()) return 0;
  size_t single = utf8Length(static_cast<unsigned char>(text[offset]));
  size_t best = single;
  size_t length = 0;
  // Dictionary words are rarely longer than eight characters.
  for (int characters = 0; characters < 8 && offset + length < text.size(); ++characters) {
    length += utf8Length(static_cast<unsigned char>(text[offset + length]));
    if (offset + length > text.size()) break;
    if (characters > 0 && contains(text.substr(offset, length))) best = length;
  }
  return best;
}

std::string pinyinWithToneMarks(std::string_view numbered) {
  // Marks for a e i o u ü, tones 1 to 4.
  static const char* const kMarked[6][4] = {{"ā", "á", "ǎ", "à"}, {"ē", "é", "ě", "è"}, {"ī", "í", "ǐ", "ì"},
                                            {"ō", "ó", "ǒ", "ò"}, {"ū", "ú", "ǔ", "ù"}, {"ǖ", "ǘ", "ǚ", "ǜ"}};
  std::string out;
  size_t start = 0;
  while (start <= numbered.size()) {
    size_t end = numbered.find(' ', start);
    if (end == std::string_view::npos) end = numbered.size();
    std::string syllable(numbered.substr(start, end - start));
    int tone = 0;
    if (!syllable.empty() && syllable.back() >= '1' && syllable.back() <= '5') {
      tone = syllable.back() - '0';
      syllable.pop_back();
    }
    // "u:" is ü; the mark goes on a or e, on the o of "ou", else on the last vowel.
    std::string letters;
    std::vector<int> vowels;  // index into letters -> vowel kind
    std::vector<size_t> vowelAt;
    for (size_t i = 0; i < syllable.size(); ++i) {
      char c = syllable[i];
      char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      if (lower == 'u' && i + 1 < syllable.size() && syllable[i + 1] == ':') {
        vowels.push_back(5);
        vowelAt.push_back(letters.size());
        letters += '\x01';
        ++i;
        continue;
      }
      int kind = lower == 'a' ? 0 : lower == 'e' ? 1 : lower == 'i' ? 2 : lower == 'o' ? 3 : lower == 'u' ? 4 : -1;
      if (kind >= 0) {
        vowels.push_back(kind);
        vowelAt.push_back(letters.size());
      }
      letters += c;
    }
    int marked = -1;
    if (tone >= 1 && tone <= 4 && !vowels.empty()) {
      for (size_t v = 0; v < vowels.size() && marked < 0; ++v) {
        if (vowels[v] == 0 || vowels[v] == 1) marked = static_cast<int>(v);
      }
      for (size_t v = 0; v + 1 < vowels.size() && marked < 0; ++v) {
        if (vowels[v] == 3 && vowels[v + 1] == 4) marked = static_cast<int>(v);
      }
      if (marked < 0) marked = static_cast<int>(vowels.size()) - 1;
    }
    std::string rendered;
    size_t vowelIndex = 0;
    for (size_t i = 0; i < letters.size(); ++i) {
      bool isVowel = vowelIndex < vowelAt.size() && vowelAt[vowelIndex] == i;
      if (isVowel && static_cast<int>(vowelIndex) == marked) {
        bool upper = std::isupper(static_cast<unsigned char>(letters[i]));
        std::string mark = kMarked[vowels[vowelIndex]][tone - 1];
        if (upper && vowels[vowelIndex] != 5) {
          // Capitals are rare (names); keep them readable without their mark.
          rendered += letters[i];
        } else {
          rendered += mark;
        }
      } else if (letters[i] == '\x01') {
        rendered += "ü";
      } else {
        rendered += letters[i];
      }
      if (isVowel) ++vowelIndex;
    }
    if (!out.empty()) out += ' ';
    out += rendered;
    start = end + 1;
  }
  return out;
}

}  // namespace trelvis::server
