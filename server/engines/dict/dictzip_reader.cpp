#include "server/engines/dict/dictzip_reader.h"

#include <zlib.h>

namespace trelvis::server {

namespace {

uint16_t little16(std::string_view bytes, size_t at) {
  return static_cast<uint16_t>(static_cast<unsigned char>(bytes[at]) | static_cast<unsigned char>(bytes[at + 1]) << 8);
}

constexpr uint8_t kFlagHeaderCrc = 0x02;
constexpr uint8_t kFlagExtra = 0x04;
constexpr uint8_t kFlagName = 0x08;
constexpr uint8_t kFlagComment = 0x10;
// A read may span at most this much text: dictionary articles are short.
constexpr uint64_t kMaxRead = 1 << 20;

}  // namespace

tl::expected<DictzipReader, std::string> DictzipReader::open(const std::string& path) {
  auto mapped = MappedFile::open(path);
  if (!mapped) return tl::unexpected(mapped.error());
  std::string_view bytes = mapped->text();
  auto bad = [&](const char* why) { return tl::unexpected(path + ": " + why); };
  if (bytes.size() < 12 || static_cast<unsigned char>(bytes[0]) != 0x1f || static_cast<unsigned char>(bytes[1]) != 0x8b) {
    return bad("not a gzip file");
  }
  auto flags = static_cast<uint8_t>(bytes[3]);
  if (!(flags & kFlagExtra)) return bad("no dictzip chunk table");
  size_t extraLength = little16(bytes, 10);
  size_t pos = 12;
  if (pos + extraLength > bytes.size()) return bad("truncated header");
  DictzipReader reader;
  // Sub-fields of the extra field; "RA" holds the chunk table.
  for (size_t sub = pos; sub + 4 <= pos + extraLength;) {
    size_t subLength = little16(bytes, sub + 2);
    if (bytes[sub] == 'R' && bytes[sub + 1] == 'A' && subLength >= 6 && sub + 4 + subLength <= pos + extraLength) {
      reader.chunkLength_ = little16(bytes, sub + 6);
      size_t count = little16(bytes, sub + 8);
      if (10 + 2 * count > subLength + 4) return bad("truncated chunk table");
      reader.chunkStarts_.reserve(count + 1);
      uint64_t start = 0;
      for (size_t c = 0; c < count; ++c) {
        reader.chunkStarts_.push_back(start);
        start += little16(bytes, sub + 10 + 2 * c);
      }
      reader.chunkStarts_.push_back(start);
    }
    sub += 4 + subLength;
  }
  if (reader.chunkLength_ == 0 || reader.chunkStarts_.size() < 2) return bad("no dictzip chunk table");
  pos += extraLength;
  auto skipString = [&] {
    while (pos < bytes.size() && bytes[pos] != '\0') ++pos;
    ++pos;
  };
  if (flags & kFlagName) skipString();
  if (flags & kFlagComment) skipString();
  if (flags & kFlagHeaderCrc) pos += 2;
  for (uint64_t& start : reader.chunkStarts_) start += pos;
  if (reader.chunkStarts_.back() > bytes.size()) return bad("chunks run past the end of the file");
  reader.file_ = std::move(*mapped);
  return reader;
}

tl::expected<std::string, std::string> DictzipReader::read(uint64_t offset, uint64_t length) const {
  if (length > kMaxRead) return tl::unexpected(std::string("dictionary article too long"));
  std::string text;
  uint64_t firstChunk = offset / chunkLength_;
  uint64_t lastChunk = (offset + length) / chunkLength_;
  if (length == 0) return text;
  if (firstChunk + 2 > chunkStarts_.size()) return tl::unexpected(std::string("dictionary article past the end of the data"));
  lastChunk = std::min<uint64_t>(lastChunk, chunkStarts_.size() - 2);
  std::string_view bytes = file_.text();
  std::string chunk(chunkLength_, '\0');
  for (uint64_t c = firstChunk; c <= lastChunk; ++c) {
    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return tl::unexpected(std::string("inflate failed"));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data() + chunkStarts_[c]));
    stream.avail_in = static_cast<uInt>(chunkStarts_[c + 1] - chunkStarts_[c]);
    stream.next_out = reinterpret_cast<Bytef*>(chunk.data());
    stream.avail_out = chunkLength_;
    int status = inflate(&stream, Z_SYNC_FLUSH);
    size_t produced = chunkLength_ - stream.avail_out;
    inflateEnd(&stream);
    if (status != Z_OK && status != Z_STREAM_END) return tl::unexpected(std::string("corrupt dictionary chunk"));
    text.append(chunk.data(), produced);
  }
  uint64_t skip = offset - firstChunk * chunkLength_;
  if (skip + length > text.size()) return tl::unexpected(std::string("dictionary article past the end of the data"));
  return text.substr(skip, length);
}

}  // namespace trelvis::server
