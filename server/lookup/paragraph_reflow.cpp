#include "server/lookup/paragraph_reflow.h"

#include <cctype>

namespace trelvis::server {

namespace {

bool isLetter(char c) {
  auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 || std::isalpha(byte);
}

}  // namespace

std::string lineText(const std::vector<OcrWord>& words, int line, bool chinese) {
  std::string text;
  for (const OcrWord& word : words) {
    if (word.line != line) continue;
    if (!text.empty() && !chinese) text += ' ';
    text += word.text;
  }
  return text;
}

std::string reflowParagraphs(const std::vector<OcrWord>& words, bool chinese) {
  std::string text;
  int paragraph = -1;
  int line = -1;
  for (const OcrWord& word : words) {
    if (word.text.empty()) continue;
    if (paragraph >= 0 && word.paragraph != paragraph) {
      text += "\n\n";
    } else if (line >= 0 && word.line != line) {
      // "infor-" at a line end and "mation" below it are one word.
      bool broken = text.size() >= 2 && text.back() == '-' && isLetter(text[text.size() - 2]) &&
                    std::islower(static_cast<unsigned char>(word.text.front()));
      if (broken) {
        text.pop_back();
      } else if (!chinese) {
        text += ' ';
      }
    } else if (!text.empty() && !chinese && text.back() != '\n') {
      text += ' ';
    }
    text += word.text;
    paragraph = word.paragraph;
    line = word.line;
  }
  return text;
}

}  // namespace trelvis::server
