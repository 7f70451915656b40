#pragma once

// Reads the text around a hotspot without reading the whole capture: it finds the
// text line under the hotspot from the ink of a small neighbourhood, recognises a
// window of that line alone (inverted when the ground is dark, enlarged when the
// text is small), and widens the window only when the word under the hotspot is
// cut by its edge. English is tried first; Chinese when English finds no
// confident word there. Called on a request thread with a leased recogniser.

#include "server/engines/ocr/gray_image.h"
#include "server/engines/ocr/tesseract_ocr.h"

#include <vector>

namespace trelvis::server {

struct HotspotReading {
  std::vector<OcrWord> words;  // boxes in the capture's pixels
  OcrLanguage language = OcrLanguage::english;
  PixelRect window;  // the part of the capture that was recognised last
  int passes = 0;    // recogniser runs spent
};

// `hotspotX`, `hotspotY` must lie inside the image. An empty reading means that
// there is no text near the hotspot.
HotspotReading readAroundHotspot(TesseractOcr& ocr, const GrayImage& image, double hotspotX, double hotspotY);

// The text regions of a whole selection, for paragraph translation: the image
// normalised (dark ground inverted, small text enlarged) and read with page layout
// analysis, in the language that reads with more confidence.
HotspotReading readRegion(TesseractOcr& ocr, const GrayImage& image);

}  // namespace trelvis::server
