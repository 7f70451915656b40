#pragma once

// Turns the recognised words of a region into paragraphs of running text: words
// of a line joined by spaces (Chinese without), lines of a paragraph joined into
// one, a word broken by a hyphen at a line end joined again, paragraphs separated
// by a blank line. Pure.

#include "server/engines/ocr/tesseract_ocr.h"

#include <string>
#include <vector>

namespace trelvis::server {

std::string reflowParagraphs(const std::vector<OcrWord>& words, bool chinese);

// The text of one line of words.
std::string lineText(const std::vector<OcrWord>& words, int line, bool chinese);

}  // namespace trelvis::server
