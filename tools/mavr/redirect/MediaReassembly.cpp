#include "tools/mavr/redirect/MediaReassembly.h"

#include <algorithm>
#include <cstring>

namespace mavr::redirect {
namespace {

// A number of 32 bits as it goes on over the wrap, by its distance to the `next` that is expected. None below 0.
std::optional<uint64_t> Unwrap(uint32_t number, uint64_t next) {
   const auto distance = static_cast<int32_t>(number - static_cast<uint32_t>(next));
   const int64_t whole = static_cast<int64_t>(next) + distance;
   return whole >= 0 ? std::optional(static_cast<uint64_t>(whole)) : std::nullopt;
}

bool AreOfOneFrame(const MediaHeader &a, const MediaHeader &b) {
   return a.frame == b.frame && a.fragmentCount == b.fragmentCount && a.frameSize == b.frameSize &&
          a.fragmentSize == b.fragmentSize && a.captureNs == b.captureNs && a.mediaMs == b.mediaMs;
}

} // namespace

MediaReassembly::MediaReassembly(Stream stream, uint32_t largestFrame)
    : mStream(stream)
    , mLargestFrame(largestFrame)
    , mRecent(kRecent) {}

std::optional<MediaReassembly::Frame> MediaReassembly::Take(const void *datagram, size_t size) {
   const auto piece = UnpackMedia(datagram, size);
   const auto sequence = piece ? Unwrap(piece->header.sequence, mSequences) : std::nullopt;
   const auto frame = piece ? Unwrap(piece->header.frame, mFrames) : std::nullopt;
   if (!sequence || !frame || piece->header.stream != mStream || piece->header.frameSize > mLargestFrame) {
      ++mCounts.datagramsMalformed;
      return std::nullopt;
   }
   const Kind kind = Judge(piece->header, *sequence, *frame);
   if (kind == Kind::kContradicts) {
      ++mCounts.datagramsMalformed;
      return std::nullopt;
   }
   ++mCounts.datagrams;
   if (kind == Kind::kRepeated) {
      ++mCounts.datagramsDuplicated;
      return std::nullopt;
   }
   NoteSequence(*sequence);
   if (kind == Kind::kLate) {
      ++mCounts.datagramsLate;
      return std::nullopt;
   }
   MoveWindow(*frame);
   return Add(&SlotOf(*frame), *frame, *piece);
}

MediaReassembly::Kind MediaReassembly::Judge(const MediaHeader &header, uint64_t sequence, uint64_t frame) {
   const bool isRecent = sequence + kRecent >= mSequences;
   if (sequence < mSequences && (!isRecent || mRecent[sequence % kRecent])) {
      return Kind::kRepeated;
   }
   if (frame < mLow) {
      return Kind::kLate;
   }
   const Slot &slot = SlotOf(frame);
   if (frame < mLow + kWindow && slot.had > 0 &&
       (slot.isComplete || !AreOfOneFrame(slot.header, header) || slot.has[header.fragment])) {
      return Kind::kContradicts;
   }
   return Kind::kNew;
}

void MediaReassembly::NoteSequence(uint64_t sequence) {
   // Numbers that are passed over have not come yet.
   mSequences = std::max(mSequences, sequence - std::min(sequence, kRecent));
   for (; mSequences <= sequence; ++mSequences) {
      mRecent[mSequences % kRecent] = false;
   }
   mRecent[sequence % kRecent] = true;
   ++mDistinct;
   mCounts.datagramsLost = mSequences - mDistinct;
}

void MediaReassembly::MoveWindow(uint64_t frame) {
   mFrames = std::max(mFrames, frame + 1);
   if (frame >= mLow + kWindow) {
      Settle(frame - kWindow + 1);
   }
}

// Gives up what is not complete below that frame.
void MediaReassembly::Settle(uint64_t below) {
   for (; mLow < below; ++mLow) {
      Slot &slot = SlotOf(mLow);
      const bool isFree = std::none_of(mSlots.begin(), mSlots.end(), [](const Slot &each) { return each.had > 0; });
      if (isFree) { // a gap of any length
         mCounts.framesLost += below - mLow;
         mLow = below;
         return;
      }
      mCounts.framesLost += slot.isComplete ? 0 : 1;
      slot.had = 0;
      slot.isComplete = false;
   }
}

std::optional<MediaReassembly::Frame> MediaReassembly::Add(Slot *slot, uint64_t frame, const MediaPiece &piece) {
   const MediaHeader &header = piece.header;
   if (slot->had == 0) {
      slot->header = header;
      slot->has.assign(header.fragmentCount, false);
      slot->data.resize(header.frameSize);
   }
   std::memcpy(slot->data.data() + header.Offset(), piece.payload, header.PayloadSize());
   slot->has[header.fragment] = true;
   slot->header.sendNs = std::min(slot->header.sendNs, header.sendNs);
   if (++slot->had < header.fragmentCount) {
      return std::nullopt;
   }
   slot->isComplete = true;
   ++mCounts.framesComplete;
   mCounts.framesReordered += frame < mCompleteBelow ? 1 : 0;
   mCompleteBelow = std::max(mCompleteBelow, frame + 1);
   Frame complete{header, slot->data.data()};
   complete.header.sendNs = slot->header.sendNs;
   return complete;
}

void MediaReassembly::Finish(uint64_t datagramsSent, uint64_t framesSent) {
   mCounts.datagramsLost = std::max(mSequences, datagramsSent) - mDistinct;
   Settle(std::max(mFrames, framesSent));
}

} // namespace mavr::redirect
