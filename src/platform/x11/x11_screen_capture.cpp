#include "platform/x11/x11_screen_capture.h"

#include <X11/Xatom.h>
#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include "base/log.h"
#include "core/capture/capture_geometry.h"
#include "core/capture/screen_capture_error.h"
#include "platform/x11/x11_connection.h"

namespace trelvis {
namespace {

const LogCategory kLog("capture");

constexpr uint8_t kBadAccess = 10;

// The largest shared segment kept between captures: the lookup band of a 5K
// display fits. Larger regions get a segment for their one capture, so that the
// resident memory of an idle application does not keep the largest image ever
// captured.
constexpr size_t kKeptSegmentBytes = 16u << 20;
// One for the capture under way and one for the image still being encoded.
constexpr size_t kKeptSegments = 2;

// A reply that xcb allocated, freed with free().
template <class T>
struct Freed {
  void operator()(T* p) const { std::free(p); }
};
template <class T>
using Reply = std::unique_ptr<T, Freed<T>>;

// How the server lays out the pixels of the root window's images.
struct PixelFormat {
  int bitsPerPixel = 0;
  int scanlinePad = 32;
  bool leastSignificantFirst = true;
  unsigned long red = 0;
  unsigned long green = 0;
  unsigned long blue = 0;

  size_t bytesPerRow(int width) const {
    const size_t bits = static_cast<size_t>(width) * static_cast<size_t>(bitsPerPixel);
    const auto pad = static_cast<size_t>(scanlinePad);
    return (bits + pad - 1) / pad * pad / 8;
  }
};

PixelFormat rootPixelFormat(Display* display) {
  PixelFormat format;
  const int screen = DefaultScreen(display);
  const int depth = DefaultDepth(display, screen);
  int count = 0;
  if (XPixmapFormatValues* formats = XListPixmapFormats(display, &count)) {
    for (int i = 0; i < count; ++i) {
      if (formats[i].depth == depth) {
        format.bitsPerPixel = formats[i].bits_per_pixel;
        format.scanlinePad = formats[i].scanline_pad;
      }
    }
    XFree(formats);
  }
  format.leastSignificantFirst = ImageByteOrder(display) == LSBFirst;
  const Visual* visual = DefaultVisual(display, screen);
  if (visual->c_class == TrueColor || visual->c_class == DirectColor) {
    format.red = visual->red_mask;
    format.green = visual->green_mask;
    format.blue = visual->blue_mask;
  }
  return format;
}

// One colour channel of `pixel` under `mask`, widened or narrowed to 8 bits.
uint8_t channel(uint32_t pixel, unsigned long mask) {
  const int shift = std::countr_zero(mask);
  const int bits = std::popcount(mask);
  const uint32_t value = (pixel & static_cast<uint32_t>(mask)) >> shift;
  if (bits >= 8) return static_cast<uint8_t>(value >> (bits - 8));
  const uint32_t maximum = (1u << bits) - 1;
  return static_cast<uint8_t>((value * 255 + maximum / 2) / maximum);
}

// The server's rows as 4-byte pixels. 32-bit pixels with 8-bit channels in the
// usual places stay where they are, held by `storage`; any other true-colour
// format is converted into a buffer of the image's own.
CapturedImage toCapturedImage(const uint8_t* data, size_t length, int width, int height,
                              const PixelFormat& format, std::shared_ptr<const void> storage) {
  const size_t stride = format.bytesPerRow(width);
  if (length < stride * static_cast<size_t>(height)) {
    throw ScreenCaptureError(ScreenCaptureError::Kind::emptyImage);
  }
  const size_t size = static_cast<size_t>(width) * static_cast<size_t>(height) * 4;
  if (format.bitsPerPixel == 32 && format.red == 0xFF0000 && format.green == 0xFF00 &&
      format.blue == 0xFF) {
    // Rows of 32-bit pixels are never padded.
    return CapturedImage{
        width,
        height,
        format.leastSignificantFirst ? CapturedImage::Layout::bgrx : CapturedImage::Layout::xrgb,
        data,
        size,
        std::move(storage)};
  }
  const int bytes = format.bitsPerPixel / 8;
  if (format.red == 0 || format.bitsPerPixel % 8 != 0 || bytes < 2 || bytes > 4) {
    throw ScreenCaptureError::captureFailed(
        fmt::format("unsupported pixel format ({} bits per pixel)", format.bitsPerPixel));
  }
  std::vector<uint8_t> converted(size);
  uint8_t* out = converted.data();
  for (int row = 0; row < height; ++row) {
    const uint8_t* in = data + static_cast<size_t>(row) * stride;
    for (int column = 0; column < width; ++column, in += bytes, out += 4) {
      uint32_t pixel = 0;
      for (int b = 0; b < bytes; ++b) {
        const int place = format.leastSignificantFirst ? b : bytes - 1 - b;
        pixel |= static_cast<uint32_t>(in[b]) << (8 * place);
      }
      out[0] = channel(pixel, format.blue);
      out[1] = channel(pixel, format.green);
      out[2] = channel(pixel, format.red);
      out[3] = 0xFF;
    }
  }
  return CapturedImage::owning(width, height, CapturedImage::Layout::bgrx, std::move(converted));
}

// This process's view of a shared memory segment, mapped for as long as a
// segment or an image holds it; unmapping touches no X connection, so the last
// holder may be on any thread.
struct SharedMapping {
  SharedMapping(uint8_t* address, size_t size) : address(address), size(size) {}
  ~SharedMapping() { shmdt(address); }
  SharedMapping(const SharedMapping&) = delete;
  SharedMapping& operator=(const SharedMapping&) = delete;

  uint8_t* const address;
  const size_t size;
};

// A System V shared memory segment that the server has attached, so that an
// image travels through it instead of through the socket. The server writes
// into it only while no image holds its mapping.
class SharedSegment {
 public:
  // None when the server cannot share memory with this process.
  static std::unique_ptr<SharedSegment> attach(xcb_connection_t* connection, size_t size) {
    const int id = shmget(IPC_PRIVATE, size, IPC_CREAT | 0600);
    if (id < 0) {
      kLog.warning("no shared memory segment of {} bytes: {}", size, std::strerror(errno));
      return nullptr;
    }
    void* address = shmat(id, nullptr, 0);
    if (address == reinterpret_cast<void*>(-1)) {
      shmctl(id, IPC_RMID, nullptr);
      return nullptr;
    }
    auto mapping = std::make_shared<SharedMapping>(static_cast<uint8_t*>(address), size);
    const xcb_shm_seg_t segment = xcb_generate_id(connection);
    Reply<xcb_generic_error_t> error(
        xcb_request_check(connection, xcb_shm_attach_checked(connection, segment, id, 0)));
    // Both sides hold it now; it goes away when the last one lets go, even after a crash.
    shmctl(id, IPC_RMID, nullptr);
    if (error) {
      kLog.warning("the X server cannot attach shared memory (error {})",
                   static_cast<int>(error->error_code));
      return nullptr;
    }
    return std::unique_ptr<SharedSegment>(
        new SharedSegment(connection, segment, std::move(mapping)));
  }

  // The server lets go of it here; the mapping stays while images hold it.
  ~SharedSegment() {
    xcb_shm_detach(connection_, segment_);
    xcb_flush(connection_);
  }

  xcb_shm_seg_t id() const { return segment_; }
  size_t size() const { return mapping_->size; }
  const std::shared_ptr<SharedMapping>& mapping() const { return mapping_; }
  // No image holds it (only the segment itself hands out new holders). What the
  // last holder read before letting go is ordered before what follows here.
  bool isFree() const {
    if (mapping_.use_count() != 1) return false;
    std::atomic_thread_fence(std::memory_order_acquire);
    return true;
  }

 private:
  SharedSegment(xcb_connection_t* connection, xcb_shm_seg_t segment,
                std::shared_ptr<SharedMapping> mapping)
      : connection_(connection), segment_(segment), mapping_(std::move(mapping)) {}

  xcb_connection_t* connection_;
  xcb_shm_seg_t segment_;
  std::shared_ptr<SharedMapping> mapping_;
};

Rect topLeftRect(const x11::Monitor& m) {
  return Rect{{static_cast<double>(m.x), static_cast<double>(m.y)},
              {static_cast<double>(m.width), static_cast<double>(m.height)}};
}

}  // namespace

class X11ScreenCapture::Session {
 public:
  Session(std::unique_ptr<x11::Connection> connection, double pixelsPerPoint)
      : connection_(std::move(connection)),
        pixelsPerPoint_(pixelsPerPoint),
        display_(connection_->display()),
        xcb_(XGetXCBConnection(display_)),
        format_(rootPixelFormat(display_)) {
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(xcb_, &xcb_shm_id);
    sharedMemory_ = shm != nullptr && shm->present;
    if (!sharedMemory_) kLog.notice("the X server has no MIT-SHM; captures use GetImage");
  }

  bool isBroken() const { return connection_->isBroken(); }
  bool denied() const { return denied_; }
  size_t sharedMemoryBytes() const {
    size_t bytes = 0;
    for (const auto& kept : kept_) bytes += kept->size();
    return sharedMemory_ ? bytes : 0;
  }

  std::vector<Screen> screens() {
    const std::vector<x11::Monitor> all = x11::monitorsOrRoot(display_, connection_->root());
    const x11::Monitor* origin = x11::originMonitor(all);
    const X11PointSpace points = x11::pointSpace(display_, all, pixelsPerPoint_);
    const std::optional<Rect> workArea = this->workArea();
    std::vector<Screen> result;
    for (const x11::Monitor& m : all) {
      const Rect bounds = topLeftRect(m);
      std::optional<Rect> visible = workArea ? intersection(bounds, *workArea) : std::nullopt;
      if (!visible || visible->isEmpty()) visible = bounds;
      Screen screen{points.bottomLeft(points.topLeftPoints(bounds)),
                    points.bottomLeft(points.topLeftPoints(*visible)), monitorName(m),
                    static_cast<uint32_t>(m.name)};
      // The primary monitor is the main screen and comes first.
      auto at = &m == origin ? result.begin() : result.end();
      result.insert(at, std::move(screen));
    }
    return result;
  }

  Rect displayBounds(uint32_t displayID) const {
    const std::vector<x11::Monitor> all = x11::monitorsOrRoot(display_, connection_->root());
    for (const x11::Monitor& m : all) {
      if (static_cast<uint32_t>(m.name) == displayID) {
        return x11::pointSpace(display_, all, pixelsPerPoint_).topLeftPoints(topLeftRect(m));
      }
    }
    return Rect{};
  }

  // `rect` in top-left points; the image has the display's own pixels.
  CapturedImage capture(const Rect& rect) {
    const Rect root = rootBounds();
    // At one pixel per point there is no need to ask for the monitors (a round
    // trip per capture).
    const Rect pixels =
        pixelsPerPoint_ == 1 ? rect : x11::pointSpace(display_, pixelsPerPoint_).pixels(rect);
    const std::optional<ScreenCaptureStreamGeometry> part =
        CaptureGeometryCalculator::streamGeometry(pixels, root, 1.0);
    if (!part) throw ScreenCaptureError(ScreenCaptureError::Kind::emptyImage);
    const auto x = static_cast<int>(std::floor(part->sourceRect.minX()));
    const auto y = static_cast<int>(std::floor(part->sourceRect.minY()));
    const int width = std::min(part->width, static_cast<int>(root.width()) - x);
    const int height = std::min(part->height, static_cast<int>(root.height()) - y);
    if (sharedMemory_) {
      if (auto image = captureShared(x, y, width, height)) return std::move(*image);
    }
    return capturePlain(x, y, width, height);
  }

 private:
  // The root window's size now: RandR can change it while this connection, which
  // reads no events, would not hear of it.
  Rect rootBounds() {
    Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(
        xcb_, xcb_get_geometry(xcb_, static_cast<xcb_drawable_t>(connection_->root())), nullptr));
    if (!geometry) throw connectionError();
    return Rect{{0, 0},
                {static_cast<double>(geometry->width), static_cast<double>(geometry->height)}};
  }

  // Through a shared segment: a kept one that no image holds and that is large
  // enough, else a new one, kept in place of a smaller free one or beside one
  // that an image holds, or used for this capture only when it is too large to
  // keep. None when the server will not do it this way.
  std::optional<CapturedImage> captureShared(int x, int y, int width, int height) {
    const size_t size = format_.bytesPerRow(width) * static_cast<size_t>(height);
    SharedSegment* segment = nullptr;
    std::unique_ptr<SharedSegment> oneOff;
    for (const auto& kept : kept_) {
      if (!segment && kept->isFree() && kept->size() >= size) segment = kept.get();
    }
    if (!segment) {
      std::unique_ptr<SharedSegment> fresh = SharedSegment::attach(xcb_, size);
      if (!fresh) {
        // Failing for an image too large to keep says nothing about the others.
        if (size <= kKeptSegmentBytes) sharedMemory_ = false;
        return std::nullopt;
      }
      segment = fresh.get();
      if (size > kKeptSegmentBytes) {
        oneOff = std::move(fresh);
      } else {
        keep(std::move(fresh), oneOff);
      }
    }
    xcb_generic_error_t* rawError = nullptr;
    Reply<xcb_shm_get_image_reply_t> reply(xcb_shm_get_image_reply(
        xcb_,
        xcb_shm_get_image(xcb_, static_cast<xcb_drawable_t>(connection_->root()),
                          static_cast<int16_t>(x), static_cast<int16_t>(y),
                          static_cast<uint16_t>(width), static_cast<uint16_t>(height), ~0u,
                          XCB_IMAGE_FORMAT_Z_PIXMAP, segment->id(), 0),
        &rawError));
    Reply<xcb_generic_error_t> error(rawError);
    if (error) {
      if (error->error_code == kBadAccess) throw refused();
      kLog.warning("MIT-SHM GetImage failed (error {}); captures use GetImage",
                   static_cast<int>(error->error_code));
      kept_.clear();
      sharedMemory_ = false;
      return std::nullopt;
    }
    if (!reply) throw connectionError();
    const std::shared_ptr<SharedMapping>& mapping = segment->mapping();
    return toCapturedImage(mapping->address, std::min<size_t>(reply->size, mapping->size), width,
                           height, format_, mapping);
  }

  // Keeps `fresh` in place of a free segment, or beside the ones that images
  // hold while there are fewer than two; otherwise it serves this capture only.
  void keep(std::unique_ptr<SharedSegment> fresh, std::unique_ptr<SharedSegment>& oneOff) {
    for (auto& kept : kept_) {
      if (kept->isFree()) {
        kept = std::move(fresh);
        return;
      }
    }
    if (kept_.size() < kKeptSegments) {
      kept_.push_back(std::move(fresh));
    } else {
      oneOff = std::move(fresh);
    }
  }

  CapturedImage capturePlain(int x, int y, int width, int height) {
    xcb_generic_error_t* rawError = nullptr;
    Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        xcb_,
        xcb_get_image(xcb_, XCB_IMAGE_FORMAT_Z_PIXMAP,
                      static_cast<xcb_drawable_t>(connection_->root()), static_cast<int16_t>(x),
                      static_cast<int16_t>(y), static_cast<uint16_t>(width),
                      static_cast<uint16_t>(height), ~0u),
        &rawError));
    Reply<xcb_generic_error_t> error(rawError);
    if (error) {
      if (error->error_code == kBadAccess) throw refused();
      throw ScreenCaptureError::captureFailed(
          fmt::format("GetImage failed with X error {}", static_cast<int>(error->error_code)));
    }
    if (!reply) throw connectionError();
    const uint8_t* data = xcb_get_image_data(reply.get());
    const auto length = static_cast<size_t>(xcb_get_image_data_length(reply.get()));
    // The pixels stay in the reply, which the image holds.
    std::shared_ptr<const void> storage(reply.release(),
                                        [](const void* p) { std::free(const_cast<void*>(p)); });
    return toCapturedImage(data, length, width, height, format_, std::move(storage));
  }

  ScreenCaptureError refused() {
    denied_ = true;
    kLog.warning("the X server refuses this client the screen's pixels");
    return ScreenCaptureError(ScreenCaptureError::Kind::permissionDenied);
  }

  ScreenCaptureError connectionError() {
    connection_->markBroken();
    return ScreenCaptureError(ScreenCaptureError::Kind::displayUnavailable);
  }

  // The current desktop's work area in root coordinates, as the window manager
  // publishes it; none without one.
  std::optional<Rect> workArea() const {
    const std::vector<long> desktop = cardinals("_NET_CURRENT_DESKTOP");
    const std::vector<long> areas = cardinals("_NET_WORKAREA");
    size_t index = desktop.empty() ? 0 : static_cast<size_t>(std::max(desktop[0], 0L));
    if (areas.size() < 4 * (index + 1)) index = 0;
    if (areas.size() < 4) return std::nullopt;
    const long* area = &areas[4 * index];
    return Rect{{static_cast<double>(area[0]), static_cast<double>(area[1])},
                {static_cast<double>(area[2]), static_cast<double>(area[3])}};
  }

  std::vector<long> cardinals(const char* property) const {
    std::vector<long> values;
    const Atom atom = XInternAtom(display_, property, True);
    if (atom == 0) return values;
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display_, connection_->root(), atom, 0, 1024, False, XA_CARDINAL, &type,
                           &format, &count, &remaining, &data) == Success &&
        type == XA_CARDINAL && format == 32 && data) {
      // Format-32 items occupy a long each in Xlib's buffers.
      const auto* items = reinterpret_cast<const long*>(data);
      values.assign(items, items + count);
    }
    if (data) XFree(data);
    return values;
  }

  std::string monitorName(const x11::Monitor& m) {
    auto known = names_.find(m.name);
    if (known != names_.end()) return known->second;
    std::string name = "X screen";
    if (m.name != static_cast<Atom>(connection_->root())) {
      if (char* atomName = XGetAtomName(display_, m.name)) {
        name = atomName;
        XFree(atomName);
      }
    }
    names_.emplace(m.name, name);
    return name;
  }

  std::unique_ptr<x11::Connection> connection_;
  const double pixelsPerPoint_;
  Display* display_;
  xcb_connection_t* xcb_;
  PixelFormat format_;
  bool sharedMemory_ = false;
  bool denied_ = false;
  std::vector<std::unique_ptr<SharedSegment>> kept_;
  std::map<Atom, std::string> names_;  // atoms never change their names
};

X11ScreenCapture::X11ScreenCapture(std::string displayName, double pixelsPerPoint)
    : displayName_(std::move(displayName)), pixelsPerPoint_(pixelsPerPoint) {}

X11ScreenCapture::~X11ScreenCapture() = default;

X11ScreenCapture::Session* X11ScreenCapture::session() const {
  if (session_ && session_->isBroken()) session_.reset();
  if (!session_) {
    if (auto connection = x11::Connection::open(displayName_)) {
      session_ = std::make_unique<Session>(std::move(connection), pixelsPerPoint_);
    }
  }
  return session_.get();
}

void X11ScreenCapture::warmUp() {
  const std::optional<Screen> main = mainScreen();
  if (!main || !main->displayID) return;
  const Rect band = CaptureGeometryCalculator::lookupCaptureRect(
      main->frame.center(), main->frame, CaptureGeometryCalculator::kLookupHeightRatio);
  const Rect bounds = displayBounds(*main->displayID);
  try {
    captureImage(CaptureGeometryCalculator::screenCaptureRect(band, main->frame, bounds));
  } catch (const ScreenCaptureError& error) {
    kLog.warning("warming up the screen capture failed: {}", error.what());
  }
}

std::vector<Screen> X11ScreenCapture::screens() const {
  Session* s = session();
  return s ? s->screens() : std::vector<Screen>{};
}

std::optional<Screen> X11ScreenCapture::mainScreen() const {
  std::vector<Screen> all = screens();
  if (all.empty()) return std::nullopt;
  return std::move(all.front());
}

Rect X11ScreenCapture::displayBounds(uint32_t displayID) const {
  Session* s = session();
  return s ? s->displayBounds(displayID) : Rect{};
}

bool X11ScreenCapture::preflightScreenCaptureAccess() {
  Session* s = session();
  return !s || !s->denied();
}

CapturedImage X11ScreenCapture::captureImage(const Rect& rect) {
  Session* s = session();
  if (!s) throw ScreenCaptureError(ScreenCaptureError::Kind::displayUnavailable);
  return s->capture(rect);
}

size_t X11ScreenCapture::sharedMemoryBytes() const {
  Session* s = session();
  return s ? s->sharedMemoryBytes() : 0;
}

}  // namespace trelvis
