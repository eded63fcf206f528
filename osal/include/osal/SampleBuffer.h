#pragma once

#include "osal/RefCounted.h"

#include <cstddef>
#include <cstdint>

namespace osal {

/// The pixels of one picture, in planes: for '420f' plane 0 is luma, one byte a pixel, plane 1 is chroma, Cb and Cr in
/// turn, one pair for each 2x2 block; sizes that are odd are rounded up in plane 1.
///
/// Part of a SampleBuffer and as long-lived. Threads: one at a time. Addresses are valid, and the pixels unchanged,
/// between a successful lockBaseAddress and its unlockBaseAddress; format, size and rows at any time. Locks do not
/// nest.
class PixelBuffer {
public:
   virtual ~PixelBuffer() = default;
   /// 0, or the platform's error number; then there is nothing to unlock.
   [[nodiscard]] virtual int32_t lockBaseAddress() = 0;
   virtual void unlockBaseAddress() = 0;
   [[nodiscard]] virtual uint32_t pixelFormatType() const = 0; ///< FourCC
   [[nodiscard]] virtual size_t width() const = 0;             ///< pixels
   [[nodiscard]] virtual size_t height() const = 0;
   [[nodiscard]] virtual const uint8_t *baseAddressOfPlane(size_t plane) const = 0; ///< null for a plane that is not
   [[nodiscard]] virtual size_t bytesPerRowOfPlane(size_t plane) const = 0; ///< may be longer than the picture is wide
};

/// The samples of one audio delivery, in one piece. Part of a SampleBuffer and as long-lived. Any thread.
class BlockBuffer {
public:
   virtual ~BlockBuffer() = default;
   /// Bytes from `offset` on, and how many there are. 0, or an error number (`offset` is past the end); `*length` and
   /// `*data` are then 0 and null.
   [[nodiscard]] virtual int32_t getDataPointer(size_t offset, size_t *length, const char **data) const = 0;
};

/// One delivery of a camera or microphone: either pixels or samples.
///
/// Counted by reference: who keeps it beyond the delegate call holds a Ref. Backends pool their buffers, so that
/// holding many stops the stream; ten kept and one being read are provided for. Its content does not change while a
/// reference exists. Outlives its session.
class SampleBuffer : public RefCounted {
public:
   [[nodiscard]] virtual PixelBuffer *imageBuffer() = 0;      ///< null for audio
   [[nodiscard]] virtual const BlockBuffer *dataBuffer() = 0; ///< null for video
};

/// A bounded queue of sample buffers from one thread to another, first in, first out.
///
/// Owner: who made it. Threads: any thread, all methods. No call waits.
class BufferQueue {
public:
   static constexpr int32_t kFull = -12764;     ///< of enqueue
   static constexpr int32_t kNoBuffer = -12761; ///< of enqueue: the reference was empty
   virtual ~BufferQueue() = default;
   /// Keeps a reference. 0; kFull when the queue holds as many as it can, or another error number: not taken.
   [[nodiscard]] virtual int32_t enqueue(const Ref<SampleBuffer> &buffer) = 0;
   /// The oldest, with the reference that the queue had; empty when there is none.
   [[nodiscard]] virtual Ref<SampleBuffer> dequeueAndRetain() = 0;
   [[nodiscard]] virtual bool isEmpty() const = 0;
   [[nodiscard]] virtual size_t getBufferCount() const = 0;
};

} // namespace osal
