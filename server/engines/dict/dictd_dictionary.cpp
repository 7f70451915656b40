#include "server/engines/dict/dictd_dictionary.h"

#include "server/engines/dict/mapped_file.h"

#include <algorithm>
#include <cctype>

namespace trelvis::server {

namespace {

int base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

// dictd's numbers: base64 digits, most significant first.
bool decodeNumber(std::string_view text, uint32_t& value) {
  uint64_t result = 0;
  if (text.empty() || text.size() > 6) return false;
  for (char c : text) {
    int digit = base64Digit(c);
    if (digit < 0) return false;
    result = result * 64 + static_cast<uint64_t>(digit);
  }
  if (result > UINT32_MAX) return false;
  value = static_cast<uint32_t>(result);
  return true;
}

std::string_view trimView(std::string_view text) {
  size_t begin = text.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return {};
  size_t end = text.find_last_not_of(" \t\r");
  return text.substr(begin, end - begin + 1);
}

// Removes "<fem>", "[zool.]" and similar annotations.
std::string withoutAnnotations(std::string_view text) {
  std::string out;
  int depth = 0;
  for (char c : text) {
    if (c == '<' || c == '[') ++depth;
    if (depth == 0) out += c;
    if ((c == '>' || c == ']') && depth > 0) --depth;
  }
  std::string collapsed;
  for (char c : out) {
    if (c == ' ' && (collapsed.empty() || collapsed.back() == ' ')) continue;
    collapsed += c;
  }
  while (!collapsed.empty() && (collapsed.back() == ' ' || collapsed.back() == ',')) collapsed.pop_back();
  return collapsed;
}

// "(1) (f) Katze, (m) Kater, (2) (f) Shamisen": the senses of a line that numbers
// them in brackets, without the bracketed grammar notes.
std::vector<std::string> bracketNumberedSenses(std::string_view line) {
  std::vector<std::string> senses;
  std::string sense;
  auto finish = [&] {
    std::string text = withoutAnnotations(sense);
    while (!text.empty() && text.front() == ' ') text.erase(0, 1);
    if (!text.empty()) senses.push_back(std::move(text));
    sense.clear();
  };
  for (size_t i = 0; i < line.size();) {
    if (line[i] != '(') {
      sense += line[i++];
      continue;
    }
    size_t close = line.find(')', i);
    if (close == std::string_view::npos) break;
    std::string_view inside = line.substr(i + 1, close - i - 1);
    if (!inside.empty() && std::all_of(inside.begin(), inside.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); })) {
      finish();
    }
    i = close + 1;
  }
  finish();
  return senses;
}

std::string_view partOfSpeechOf(std::string_view tags) {
  // "<n, masc>": the part of speech comes first.
  std::string_view tag = tags.substr(0, tags.find(','));
  if (tag == "n") return "n.";
  if (tag == "v" || tag == "vt" || tag == "vi") return "v.";
  if (tag == "adj") return "adj.";
  if (tag == "adv") return "adv.";
  if (tag == "prep") return "prep.";
  if (tag == "pron") return "pron.";
  if (tag == "conj") return "conj.";
  if (tag == "interj" || tag == "int") return "interj.";
  return {};
}

}  // namespace

std::string foldCase(std::string_view text) {
  std::string out(text);
  for (size_t i = 0; i < out.size(); ++i) {
    auto byte = static_cast<unsigned char>(out[i]);
    if (byte < 0x80) {
      out[i] = static_cast<char>(std::tolower(byte));
    } else if (byte == 0xC3 && i + 1 < out.size()) {
      auto next = static_cast<unsigned char>(out[i + 1]);
      // U+00C0...U+00DE but U+00D7 (the multiplication sign): add 0x20.
      if (next >= 0x80 && next <= 0x9E && next != 0x97) out[i + 1] = static_cast<char>(next + 0x20);
      ++i;
    }
  }
  return out;
}

BilingualArticle parseFreedictArticle(std::string_view text, bool (*keepLine)(std::string_view)) {
  BilingualArticle article;
  auto addTranslation = [&](std::string translation) {
    if (translation.empty() || (keepLine && !keepLine(translation))) return;
    if (std::find(article.translations.begin(), article.translations.end(), translation) == article.translations.end()) {
      article.translations.push_back(std::move(translation));
    }
  };
  size_t lineEnd = text.find('\n');
  std::string_view head = text.substr(0, lineEnd);
  // "headword /ipa/ <pos>"; some articles give several pronunciations.
  size_t slash = head.find(" /");
  article.headword = withoutAnnotations(trimView(head.substr(0, slash)));
  while (!article.headword.empty() && article.headword.front() == ' ') article.headword.erase(0, 1);
  if (slash != std::string_view::npos) {
    size_t close = head.find('/', slash + 2);
    if (close != std::string_view::npos) article.pronunciation = std::string(head.substr(slash + 2, close - slash - 2));
    while (!article.pronunciation.empty() && article.pronunciation.front() == '/') article.pronunciation.erase(0, 1);
  }
  if (size_t open = head.rfind('<'); open != std::string_view::npos && open > slash) {
    size_t close = head.find('>', open);
    if (close != std::string_view::npos) article.partOfSpeech = partOfSpeechOf(head.substr(open + 1, close - open - 1));
  }
  size_t pos = lineEnd == std::string_view::npos ? text.size() : lineEnd + 1;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view raw = text.substr(pos, end - pos);
    pos = end + 1;
    std::string_view line = trimView(raw);
    if (line.empty()) continue;
    if (line.front() == '"') {
      // "source sentence"  - its translation
      size_t close = line.find('"', 1);
      size_t dash = line.find(" - ", close == std::string_view::npos ? 0 : close);
      if (close != std::string_view::npos && dash != std::string_view::npos) {
        article.examples.emplace_back(std::string(line.substr(1, close - 1)), std::string(trimView(line.substr(dash + 3))));
      }
      continue;
    }
    if (line.starts_with("(1) ")) {
      for (std::string& sense : bracketNumberedSenses(line)) addTranslation(std::move(sense));
      continue;
    }
    if (line.starts_with("Synonym") || line.starts_with("see:") || line.starts_with("Note:") ||
        line.starts_with("Antonym") || line.front() == '{' || line.front() == '(') {
      continue;
    }
    // "1. translation" numbering, and a trailing " 2." left by some conversions.
    size_t digits = 0;
    while (digits < line.size() && std::isdigit(static_cast<unsigned char>(line[digits]))) ++digits;
    if (digits > 0 && digits + 1 < line.size() && line[digits] == '.' && line[digits + 1] == ' ') {
      line = trimView(line.substr(digits + 2));
    }
    if (size_t tail = line.rfind(' '); tail != std::string_view::npos && tail + 1 < line.size() &&
                                       std::isdigit(static_cast<unsigned char>(line[tail + 1])) && line.back() == '.') {
      line = trimView(line.substr(0, tail));
    }
    if (keepLine && !keepLine(line)) continue;
    addTranslation(withoutAnnotations(line));
  }
  return article;
}

tl::expected<std::unique_ptr<DictdDictionary>, std::string> DictdDictionary::open(const std::string& indexPath,
                                                                                  const std::string& dataPath) {
  auto index = MappedFile::open(indexPath);
  if (!index) return tl::unexpected(index.error());
  auto data = DictzipReader::open(dataPath);
  if (!data) return tl::unexpected(data.error());
  std::unique_ptr<DictdDictionary> dictionary(new DictdDictionary());
  dictionary->data_ = std::make_unique<DictzipReader>(std::move(*data));
  std::string_view text = index->text();
  dictionary->keys_.reserve(text.size() / 2);
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(pos, end - pos);
    pos = end + 1;
    size_t tab1 = line.find('\t');
    size_t tab2 = tab1 == std::string_view::npos ? tab1 : line.find('\t', tab1 + 1);
    if (tab2 == std::string_view::npos) continue;
    std::string_view headword = line.substr(0, tab1);
    // The database's own descriptions are filed under "00database..." keys.
    if (headword.empty() || headword.starts_with("00database") || headword.starts_with("00-database")) continue;
    Entry entry{};
    if (!decodeNumber(line.substr(tab1 + 1, tab2 - tab1 - 1), entry.dataOffset) ||
        !decodeNumber(line.substr(tab2 + 1), entry.dataLength)) {
      continue;
    }
    std::string folded = foldCase(headword);
    entry.keyOffset = static_cast<uint32_t>(dictionary->keys_.size());
    entry.keyLength = static_cast<uint32_t>(folded.size());
    dictionary->keys_ += folded;
    dictionary->entries_.push_back(entry);
  }
  dictionary->keys_.shrink_to_fit();
  dictionary->entries_.shrink_to_fit();
  auto* self = dictionary.get();
  std::stable_sort(dictionary->entries_.begin(), dictionary->entries_.end(),
                   [self](const Entry& a, const Entry& b) { return self->key(a) < self->key(b); });
  return dictionary;
}

std::pair<size_t, size_t> DictdDictionary::range(std::string_view folded) const {
  auto lower = std::lower_bound(entries_.begin(), entries_.end(), folded,
                                [this](const Entry& entry, std::string_view k) { return key(entry) < k; });
  auto upper = std::upper_bound(lower, entries_.end(), folded,
                                [this](std::string_view k, const Entry& entry) { return k < key(entry); });
  return {static_cast<size_t>(lower - entries_.begin()), static_cast<size_t>(upper - entries_.begin())};
}

bool DictdDictionary::contains(std::string_view word) const {
  auto [begin, end] = range(foldCase(word));
  return begin < end;
}

std::vector<std::string> DictdDictionary::articles(std::string_view word, size_t limit) const {
  std::vector<std::string> found;
  auto [begin, end] = range(foldCase(word));
  for (size_t i = begin; i < end && found.size() < limit; ++i) {
    auto text = data_->read(entries_[i].dataOffset, entries_[i].dataLength);
    if (text) found.push_back(std::move(*text));
  }
  return found;
}

}  // namespace trelvis::server
