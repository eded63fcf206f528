#include "tools/mavr/redirect/MediaSender.h"

#include "tests/kit/ManualClock.h"
#include "tools/mavr/redirect/MediaReassembly.h"

#include "osal/Clock.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace mavr::redirect {
namespace {

using Bytes = std::vector<uint8_t>;

struct Taken {
   bool operator()(const void *data, uint32_t size) {
      const auto *const bytes = static_cast<const uint8_t *>(data);
      datagrams.emplace_back(bytes, bytes + size);
      return datagrams.size() != refused;
   }
   std::vector<Bytes> datagrams;
   size_t refused = 0; // the how manieth is refused
};

Bytes Frame(size_t size) {
   Bytes frame(size);
   std::iota(frame.begin(), frame.end(), uint8_t{1});
   return frame;
}

TEST(MediaSender, NumbersFramesAndDatagramsAndStampsThem) {
   kit::ManualClock clock;
   const osal::ScopedClock scope(clock);
   Taken taken;
   MediaSender sender(Stream::kAudio, MediaHeader::kSize + 4, std::ref(taken));
   const Bytes frame = Frame(10);
   EXPECT_TRUE(sender.Send(frame.data(), 10, 77, 5));
   EXPECT_TRUE(sender.Send(frame.data(), 3, 88, 6));
   ASSERT_EQ(taken.datagrams.size(), 4U);
   for (uint32_t sequence = 0; sequence < 4; ++sequence) {
      const Bytes &datagram = taken.datagrams[sequence];
      const auto piece = UnpackMedia(datagram.data(), datagram.size());
      ASSERT_TRUE(piece.has_value());
      EXPECT_EQ(piece->header.stream, Stream::kAudio);
      EXPECT_EQ(piece->header.sequence, sequence);
      EXPECT_EQ(piece->header.frame, sequence / 3);
      EXPECT_EQ(piece->header.captureNs, sequence < 3 ? 77U : 88U);
      EXPECT_EQ(piece->header.mediaMs, sequence < 3 ? 5U : 6U);
      EXPECT_EQ(piece->header.sendNs, clock.monotonicNs());
   }
   EXPECT_EQ(sender.Counts(), (SenderCounts{2, 0, 4, 0, 13}));
}

TEST(MediaSender, TheRestOfAFrameThatCannotBecomeWholeIsNotSent) {
   Taken taken;
   taken.refused = 2;
   MediaSender sender(Stream::kVideo, MediaHeader::kSize + 4, std::ref(taken));
   const Bytes frame = Frame(10);
   EXPECT_FALSE(sender.Send(frame.data(), 10, 0, 0));
   EXPECT_TRUE(sender.Send(frame.data(), 10, 0, 0));
   EXPECT_EQ(taken.datagrams.size(), 5U);
   EXPECT_EQ(sender.Counts(), (SenderCounts{2, 1, 5, 1, 10}));
}

TEST(MediaSender, AnEmptyFrameAndOneThatCannotBeCutAreRefused) {
   Taken taken;
   MediaSender sender(Stream::kVideo, MediaHeader::kSize + 1, std::ref(taken));
   const Bytes frame = Frame(65536);
   EXPECT_FALSE(sender.Send(frame.data(), 0, 0, 0));
   EXPECT_FALSE(sender.Send(frame.data(), 65536, 0, 0));
   EXPECT_TRUE(taken.datagrams.empty());
   EXPECT_EQ(sender.Counts(), (SenderCounts{2, 2, 0, 0, 0}));
}

TEST(MediaSender, WhatItSendsIsPutTogetherAgain) {
   for (uint32_t size = 1; size < 300; ++size) {
      MediaReassembly reassembly(Stream::kVideo, 1000);
      const Bytes frame = Frame(size);
      Bytes received;
      MediaSender sender(Stream::kVideo, MediaHeader::kSize + 17, [&](const void *data, uint32_t bytes) {
         if (const auto whole = reassembly.Take(data, bytes)) {
            received.assign(whole->data, whole->data + whole->header.frameSize);
         }
         return true;
      });
      EXPECT_TRUE(sender.Send(frame.data(), size, 1, 2));
      EXPECT_EQ(received, frame);
   }
}

} // namespace
} // namespace mavr::redirect
