#pragma once

#include "tools/mavr/redirect/MediaDatagram.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace mavr::redirect {

/// What became of the datagrams and frames of one stream. Every frame that was sent is in exactly one of
/// framesComplete and framesLost once Finish was told how many there were.
struct StreamCounts {
   uint64_t datagrams = 0;           ///< well-formed ones that came, with repeated and late ones
   uint64_t datagramsLost = 0;       ///< numbers that never came
   uint64_t datagramsDuplicated = 0; ///< came a second time
   uint64_t datagramsMalformed = 0;  ///< bytes that are no datagram of this stream, or contradict an earlier one
   uint64_t datagramsLate = 0;       ///< of a frame that had been given up
   uint64_t framesComplete = 0;
   uint64_t framesLost = 0;      ///< no fragment came, or too few before they were given up
   uint64_t framesReordered = 0; ///< complete, after one that was sent later

   bool operator==(const StreamCounts &) const = default;
};

/// Puts the frames of one stream together again, and keeps account of what is missing.
///
/// kWindow frames are held at a time. When a newer one comes, the oldest is given up: its later fragments are late.
/// A frame is handed on when its last fragment is there, each once. Numbers may pass 2^32: what counts is the distance,
/// less than 2^31, to the highest so far.
/// Owner: who receives the stream. Threads: one. Locks: none. Life cycle: constructed -> Take* -> Finish. Nothing is
/// allocated in the steady state for frames of one size.
class MediaReassembly {
public:
   static constexpr size_t kWindow = 4;
   /// A datagram whose number lies further behind is taken for a repeated one.
   static constexpr uint64_t kRecent = 65536;

   struct Frame {
      MediaHeader header;  ///< of the fragment that completed it; sendNs is the earliest of all
      const uint8_t *data; ///< header.frameSize bytes, until the next Take
   };

   /// Frames larger than `largestFrame` bytes are malformed: nobody is to make this side allocate at will.
   MediaReassembly(Stream stream, uint32_t largestFrame);

   /// One datagram, any bytes. The frame that it completes, if it does.
   [[nodiscard]] std::optional<Frame> Take(const void *datagram, size_t size);

   /// Nothing more comes; so many datagrams and frames had been sent. Fewer than have been seen count as seen: zeros
   /// are for a sender that cannot be asked any more.
   void Finish(uint64_t datagramsSent, uint64_t framesSent);

   /// Before Finish, datagrams and frames behind the highest so far are counted as lost when they are past their time.
   [[nodiscard]] const StreamCounts &Counts() const { return mCounts; }

private:
   struct Slot {
      MediaHeader header; // of its first fragment
      uint32_t had = 0;   // fragments; 0: the slot is free
      bool isComplete = false;
      std::vector<bool> has;
      std::vector<uint8_t> data;
   };
   enum class Kind { kNew, kRepeated, kLate, kContradicts };

   [[nodiscard]] Slot &SlotOf(uint64_t frame) { return mSlots[frame % kWindow]; }
   [[nodiscard]] Kind Judge(const MediaHeader &header, uint64_t sequence, uint64_t frame);
   void NoteSequence(uint64_t sequence);
   void MoveWindow(uint64_t frame);
   void Settle(uint64_t below);
   [[nodiscard]] std::optional<Frame> Add(Slot *slot, uint64_t frame, const MediaPiece &piece);

   const Stream mStream;
   const uint32_t mLargestFrame;
   StreamCounts mCounts;

   uint64_t mSequences = 0; // the highest number so far and 1
   uint64_t mDistinct = 0;
   std::vector<bool> mRecent; // by number modulo kRecent: came, for the last kRecent numbers

   uint64_t mFrames = 0;        // the highest number so far and 1
   uint64_t mLow = 0;           // frames below are settled; the window's kWindow begin here
   uint64_t mCompleteBelow = 0; // the highest complete one and 1
   std::array<Slot, kWindow> mSlots;
};

} // namespace mavr::redirect
