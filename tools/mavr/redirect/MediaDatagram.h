#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace mavr::redirect {

/// What a piece of media carries in front on its way: docs/formats/media-datagram.md spells out the bytes.
///
/// A frame (a picture, or a chunk of sound) is cut into fragments of equal size, the last one shorter; each travels in
/// a datagram of its own and says where it belongs, so that it can come in any order, twice, or not at all.
enum class Stream : uint8_t { kVideo = 1, kAudio = 2 };

struct MediaHeader {
   static constexpr size_t kSize = 48;

   Stream stream = Stream::kVideo;
   uint32_t sequence = 0;      ///< of the stream's datagrams, from 0, with no gap when they were sent
   uint32_t frame = 0;         ///< of the stream's frames, from 0, with no gap
   uint16_t fragment = 0;      ///< of the frame, from 0
   uint16_t fragmentCount = 0; ///< at least 1
   uint32_t frameSize = 0;     ///< bytes of the whole frame, at least 1
   uint32_t fragmentSize = 0;  ///< bytes of every fragment but the last
   uint64_t captureNs = 0;     ///< the machine's monotonic clock when the frame was taken from the device
   uint64_t sendNs = 0;        ///< and when this datagram was handed over
   uint32_t mediaMs = 0;       ///< the recorder's own time of the frame

   /// Where the fragment lies in the frame. Of a header that UnpackMedia gave.
   [[nodiscard]] size_t Offset() const { return size_t{fragment} * fragmentSize; }
   [[nodiscard]] size_t PayloadSize() const;

   bool operator==(const MediaHeader &) const = default;
};

struct MediaPiece {
   MediaHeader header;
   const uint8_t *payload; ///< header.PayloadSize() bytes, within the datagram
};

/// How a frame is cut so that header and fragment fit `largestDatagram` bytes: the number of fragments, 0 when it can't
/// be done (an empty frame, no room, more than 65535 fragments), and their size.
struct Cut {
   uint16_t fragmentCount = 0;
   uint32_t fragmentSize = 0;
};
[[nodiscard]] Cut CutFrame(uint32_t frameSize, uint32_t largestDatagram);

/// Writes the header's kSize bytes.
void PackMedia(const MediaHeader &header, uint8_t *out);

/// The fragment that a datagram carries; none for bytes that PackMedia and CutFrame would not have made. Any bytes may
/// come.
[[nodiscard]] std::optional<MediaPiece> UnpackMedia(const void *datagram, size_t size);

} // namespace mavr::redirect
