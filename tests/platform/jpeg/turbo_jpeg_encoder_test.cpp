#include "platform/jpeg/turbo_jpeg_encoder.h"

#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/capture/screen_capture_error.h"
#include "support/jpeg_decoding.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

using Layout = CapturedImage::Layout;

// Dark strokes on a light page with a few saturated blocks: what a band of
// screen text with coloured highlights looks like to the encoder.
void colourAt(int x, int y, uint8_t rgb[3]) {
  const bool stroke = (x % 7 == 2 || y % 11 == 3) && (x / 7 + y / 11) % 3 != 0;
  rgb[0] = rgb[1] = rgb[2] = stroke ? 30 : 235;
  if (x >= 16 && x < 48 && y >= 16 && y < 48) rgb[0] = 220, rgb[1] = 20, rgb[2] = 20;
  if (x >= 64 && x < 96 && y >= 16 && y < 48) rgb[0] = 20, rgb[1] = 40, rgb[2] = 210;
}

CapturedImage pattern(int width, int height, Layout layout) {
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  uint8_t* p = pixels.data();
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x, p += 4) {
      uint8_t rgb[3];
      colourAt(x, y, rgb);
      if (layout == Layout::bgrx) {
        p[0] = rgb[2], p[1] = rgb[1], p[2] = rgb[0], p[3] = 0;
      } else {
        p[0] = 0, p[1] = rgb[0], p[2] = rgb[1], p[3] = rgb[2];
      }
    }
  }
  return CapturedImage::owning(width, height, layout, std::move(pixels));
}

// The first value of the first quantisation table (luminance DC): 16 scaled by
// the quality, 6 at quality 80.
int firstQuantisationValue(const std::vector<uint8_t>& jpeg) {
  for (size_t i = 0; i + 5 < jpeg.size(); ++i) {
    if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xDB) return jpeg[i + 5];
  }
  return -1;
}

TEST(TurboJpegEncoderTest, RoundTripKeepsSizeAndPixelsWithinJpegTolerance) {
  const TurboJpegEncoder encoder;
  struct Case {
    int width, height;
    Layout layout;
  };
  for (const Case& c :
       {Case{640, 90, Layout::bgrx}, Case{640, 90, Layout::xrgb}, Case{101, 53, Layout::bgrx}}) {
    const auto decoded =
        testing::decodeJpeg(encoder.jpegData(pattern(c.width, c.height, c.layout)));
    ASSERT_TRUE(decoded) << c.width << "x" << c.height;
    EXPECT_EQ(decoded->width, c.width);
    EXPECT_EQ(decoded->height, c.height);
    EXPECT_EQ(decoded->subsampling, TJSAMP_420);
    long error = 0;
    for (int y = 0; y < c.height; ++y) {
      for (int x = 0; x < c.width; ++x) {
        uint8_t rgb[3];
        colourAt(x, y, rgb);
        for (int k = 0; k < 3; ++k) error += std::abs(decoded->at(x, y)[k] - rgb[k]);
      }
    }
    const double meanError = static_cast<double>(error) / (c.width * c.height * 3);
    EXPECT_LT(meanError, 12) << c.width << "x" << c.height << " layout "
                             << static_cast<int>(c.layout);
    // Inside the saturated blocks the colours, not only the brightness, survive.
    for (auto [x, y] : {std::pair{32, 32}, std::pair{80, 32}}) {
      uint8_t rgb[3];
      colourAt(x, y, rgb);
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(decoded->at(x, y)[k], rgb[k], 24) << x << "," << y;
    }
  }
  EXPECT_EQ(firstQuantisationValue(encoder.jpegData(pattern(64, 64, Layout::bgrx))), 6);
}

TEST(TurboJpegEncoderTest, RefusesImagesWithoutTheirPixels) {
  const TurboJpegEncoder encoder;
  CapturedImage shortOfBytes = pattern(64, 64, Layout::bgrx);
  shortOfBytes.byteCount = 64 * 63 * 4;
  CapturedImage noWidth = pattern(64, 64, Layout::bgrx);
  noWidth.width = 0;
  for (const CapturedImage& image : {CapturedImage{}, noWidth, shortOfBytes}) {
    EXPECT_EQ(testing::thrownBy<ScreenCaptureError>([&] { encoder.jpegData(image); }),
              ScreenCaptureError(ScreenCaptureError::Kind::encodingFailed))
        << image.width << "x" << image.height;
  }
  // The encoder is still usable afterwards, and a larger image grows its buffer.
  EXPECT_TRUE(testing::decodeJpeg(encoder.jpegData(pattern(64, 64, Layout::bgrx))));
  EXPECT_TRUE(testing::decodeJpeg(encoder.jpegData(pattern(1024, 300, Layout::bgrx))));
}

TEST(TurboJpegEncoderTest, ThreadsTakeTurnsOnOneEncoder) {
  const TurboJpegEncoder encoder;
  const CapturedImage small = pattern(120, 40, Layout::bgrx);
  const CapturedImage large = pattern(800, 200, Layout::xrgb);
  const std::vector<uint8_t> expectedSmall = encoder.jpegData(small);
  const std::vector<uint8_t> expectedLarge = encoder.jpegData(large);
  int mismatches = 0;
  std::thread other([&] {
    for (int i = 0; i < 20; ++i) mismatches += encoder.jpegData(large) != expectedLarge;
  });
  int ownMismatches = 0;
  for (int i = 0; i < 20; ++i) ownMismatches += encoder.jpegData(small) != expectedSmall;
  other.join();
  EXPECT_EQ(mismatches + ownMismatches, 0);
}

}  // namespace
}  // namespace trelvis
