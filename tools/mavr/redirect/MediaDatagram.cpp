#include "tools/mavr/redirect/MediaDatagram.h"

#include <algorithm>

namespace mavr::redirect {
namespace {

constexpr uint32_t kMark = 0x4D4D; // "MM"
constexpr uint8_t kVersion = 1;

class Writer {
public:
   explicit Writer(uint8_t *out)
       : mAt(out) {}
   void Put(uint64_t value, int bytes) {
      for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
         *mAt++ = static_cast<uint8_t>(value >> shift);
      }
   }

private:
   uint8_t *mAt;
};

class Reader {
public:
   explicit Reader(const uint8_t *in)
       : mAt(in) {}
   template <typename Word>
   Word Get() {
      uint64_t value = 0;
      for (size_t i = 0; i < sizeof(Word); ++i) {
         value = value << 8 | *mAt++;
      }
      return static_cast<Word>(value);
   }

private:
   const uint8_t *mAt;
};

uint32_t FragmentsOf(uint32_t frameSize, uint32_t fragmentSize) {
   return frameSize / fragmentSize + (frameSize % fragmentSize != 0 ? 1 : 0);
}

bool IsWellFormed(const MediaHeader &header) {
   return (header.stream == Stream::kVideo || header.stream == Stream::kAudio) && header.frameSize > 0 &&
          header.fragmentSize > 0 && header.fragmentSize <= header.frameSize &&
          FragmentsOf(header.frameSize, header.fragmentSize) == header.fragmentCount &&
          header.fragment < header.fragmentCount;
}

} // namespace

size_t MediaHeader::PayloadSize() const {
   return std::min(size_t{fragmentSize}, frameSize - Offset());
}

Cut CutFrame(uint32_t frameSize, uint32_t largestDatagram) {
   if (frameSize == 0 || largestDatagram <= MediaHeader::kSize) {
      return {};
   }
   const uint32_t room = largestDatagram - static_cast<uint32_t>(MediaHeader::kSize);
   const uint32_t count = FragmentsOf(frameSize, room);
   if (count > UINT16_MAX) {
      return {};
   }
   // As equal as they can be: the loss of one datagram then costs the same wherever it falls.
   const uint32_t size = FragmentsOf(frameSize, count);
   return {static_cast<uint16_t>(FragmentsOf(frameSize, size)), size};
}

void PackMedia(const MediaHeader &header, uint8_t *out) {
   Writer writer(out);
   writer.Put(kMark, 2);
   writer.Put(kVersion, 1);
   writer.Put(static_cast<uint8_t>(header.stream), 1);
   writer.Put(header.sequence, 4);
   writer.Put(header.frame, 4);
   writer.Put(header.fragment, 2);
   writer.Put(header.fragmentCount, 2);
   writer.Put(header.frameSize, 4);
   writer.Put(header.fragmentSize, 4);
   writer.Put(header.captureNs, 8);
   writer.Put(header.sendNs, 8);
   writer.Put(header.mediaMs, 4);
   writer.Put(0, 4);
}

std::optional<MediaPiece> UnpackMedia(const void *datagram, size_t size) {
   if (size < MediaHeader::kSize) {
      return std::nullopt;
   }
   const auto *const bytes = static_cast<const uint8_t *>(datagram);
   Reader reader(bytes);
   if (reader.Get<uint16_t>() != kMark || reader.Get<uint8_t>() != kVersion) {
      return std::nullopt;
   }
   MediaHeader header;
   header.stream = static_cast<Stream>(reader.Get<uint8_t>());
   header.sequence = reader.Get<uint32_t>();
   header.frame = reader.Get<uint32_t>();
   header.fragment = reader.Get<uint16_t>();
   header.fragmentCount = reader.Get<uint16_t>();
   header.frameSize = reader.Get<uint32_t>();
   header.fragmentSize = reader.Get<uint32_t>();
   header.captureNs = reader.Get<uint64_t>();
   header.sendNs = reader.Get<uint64_t>();
   header.mediaMs = reader.Get<uint32_t>();
   if (reader.Get<uint32_t>() != 0 || !IsWellFormed(header) || size - MediaHeader::kSize != header.PayloadSize()) {
      return std::nullopt;
   }
   return MediaPiece{header, bytes + MediaHeader::kSize};
}

} // namespace mavr::redirect
