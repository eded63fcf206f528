#include "tools/mavr/redirect/MediaReassembly.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace mavr::redirect {
namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint32_t kLargestFrame = 100;

// Frame contents that tell where every byte belongs.
uint8_t ByteOf(uint32_t frame, size_t at) {
   return static_cast<uint8_t>(size_t{frame} * 31 + at * 7);
}

Bytes Datagram(uint32_t sequence, uint32_t frame, uint16_t fragment, uint16_t count = 3, uint32_t size = 10) {
   MediaHeader header;
   header.sequence = sequence;
   header.frame = frame;
   header.fragment = fragment;
   header.fragmentCount = count;
   header.frameSize = size;
   header.fragmentSize = (size + count - 1) / count;
   header.captureNs = 1000 + frame;
   header.sendNs = 2000 + sequence;
   header.mediaMs = frame;
   Bytes bytes(MediaHeader::kSize + header.PayloadSize());
   PackMedia(header, bytes.data());
   for (size_t i = 0; i < header.PayloadSize(); ++i) {
      bytes[MediaHeader::kSize + i] = ByteOf(frame, header.Offset() + i);
   }
   return bytes;
}

// The `number`th datagram of a stream of frames of three fragments.
Bytes Nth(uint32_t number) {
   return Datagram(number, number / 3, static_cast<uint16_t>(number % 3));
}

class Receiver {
public:
   // The frame's number, or -1.
   int64_t Take(const Bytes &bytes) {
      const auto frame = mReassembly.Take(bytes.data(), bytes.size());
      if (!frame) {
         return -1;
      }
      for (size_t i = 0; i < frame->header.frameSize; ++i) {
         EXPECT_EQ(frame->data[i], ByteOf(frame->header.frame, i));
      }
      return frame->header.frame;
   }
   MediaReassembly &operator*() { return mReassembly; }
   MediaReassembly *operator->() { return &mReassembly; }

private:
   MediaReassembly mReassembly{Stream::kVideo, kLargestFrame};
};

// Which datagrams of a stream of 12 (four frames of three) come in what order, and what is to be counted.
struct Row {
   const char *what;
   std::vector<uint32_t> order;
   std::vector<int64_t> complete; // frames in the order of their completion
   StreamCounts counts;           // datagrams, lost, duplicated, malformed, late; complete, lost, reordered
};

TEST(MediaReassembly, KeepsAccount) {
   const Row rows[] = {
      {"all in order", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {0, 1, 2, 3}, {12, 0, 0, 0, 0, 4, 0, 0}},
      {"each frame backwards", {2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9}, {0, 1, 2, 3}, {12, 0, 0, 0, 0, 4, 0, 0}},
      {"all backwards", {11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}, {3, 2, 1, 0}, {12, 0, 0, 0, 0, 4, 0, 3}},
      {"frames interleaved", {0, 3, 6, 9, 1, 4, 7, 10, 2, 5, 8, 11}, {0, 1, 2, 3}, {12, 0, 0, 0, 0, 4, 0, 0}},
      {"one fragment lost", {0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 11}, {0, 2, 3}, {11, 1, 0, 0, 0, 3, 1, 0}},
      {"the first lost", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {1, 2, 3}, {11, 1, 0, 0, 0, 3, 1, 0}},
      {"the last lost", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {0, 1, 2}, {11, 1, 0, 0, 0, 3, 1, 0}},
      {"a whole frame lost", {0, 1, 2, 6, 7, 8, 9, 10, 11}, {0, 2, 3}, {9, 3, 0, 0, 0, 3, 1, 0}},
      {"only the last fragment came", {11}, {}, {1, 11, 0, 0, 0, 0, 4, 0}},
      {"nothing came", {}, {}, {0, 12, 0, 0, 0, 0, 4, 0}},
      {"one twice", {0, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {0, 1, 2, 3}, {13, 0, 1, 0, 0, 4, 0, 0}},
      {"a complete frame's again",
       {0, 1, 2, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11},
       {0, 1, 2, 3},
       {15, 0, 3, 0, 0, 4, 0, 0}},
      {"all twice",
       {0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11},
       {0, 1, 2, 3},
       {24, 0, 12, 0, 0, 4, 0, 0}},
   };
   for (const Row &row : rows) {
      SCOPED_TRACE(row.what);
      Receiver receiver;
      std::vector<int64_t> complete;
      for (const uint32_t number : row.order) {
         if (const int64_t frame = receiver.Take(Nth(number)); frame >= 0) {
            complete.push_back(frame);
         }
      }
      receiver->Finish(12, 4);
      EXPECT_EQ(complete, row.complete);
      EXPECT_EQ(receiver->Counts(), row.counts);
   }
}

TEST(MediaReassembly, AFrameIsGivenUpWhenTheFourthAfterItComes) {
   Receiver receiver;
   receiver.Take(Nth(0));
   for (uint32_t number = 3; number < 12; ++number) {
      receiver.Take(Nth(number));
   }
   EXPECT_EQ(receiver->Counts().framesLost, 0U);
   receiver.Take(Nth(12));
   EXPECT_EQ(receiver->Counts().framesLost, 1U);
   EXPECT_EQ(receiver.Take(Nth(1)), -1);
   EXPECT_EQ(receiver.Take(Nth(2)), -1);
   EXPECT_EQ(receiver->Counts().datagramsLate, 2U);
   EXPECT_EQ(receiver->Counts().datagramsLost, 0U) << "late is not lost";
}

TEST(MediaReassembly, AFrameIsNotGivenUpWithTheOneBeforeIt) {
   Receiver receiver;
   receiver.Take(Nth(0));
   receiver.Take(Nth(3));
   receiver.Take(Nth(12));
   EXPECT_EQ(receiver->Counts().framesLost, 1U);
   EXPECT_EQ(receiver.Take(Nth(4)), -1);
   EXPECT_EQ(receiver.Take(Nth(5)), 1);
   EXPECT_EQ(receiver->Counts().datagramsLate, 0U);
}

TEST(MediaReassembly, TellsTheEarliestTimeOfSending) {
   MediaReassembly reassembly(Stream::kVideo, kLargestFrame);
   std::optional<MediaReassembly::Frame> frame;
   for (const uint32_t number : {2U, 0U, 1U}) {
      const Bytes bytes = Nth(number);
      frame = reassembly.Take(bytes.data(), bytes.size());
   }
   ASSERT_TRUE(frame.has_value());
   EXPECT_EQ(frame->header.sendNs, 2000U);
   EXPECT_EQ(frame->header.captureNs, 1000U);
}

TEST(MediaReassembly, WhatContradictsIsMalformedAndChangesNothing) {
   const Bytes good[] = {Nth(0), Nth(1)};
   Bytes otherStream = Nth(2);
   otherStream[3] = 2;
   Bytes otherCapture = Nth(2);
   otherCapture[31] ^= 1;
   const Bytes bad[] = {
      {},
      Bytes(MediaHeader::kSize, 0xFF),
      otherStream,
      otherCapture,
      Datagram(2, 0, 1, 2),                    // another number of fragments
      Datagram(2, 0, 2, 3, 11),                // another size
      Datagram(2, 0, 1),                       // a fragment that is there already, under a new number
      Datagram(2, 0, 2, 3, kLargestFrame + 1), // too large
      Datagram(UINT32_MAX, 0, 2),              // before the first
      Datagram(2, UINT32_MAX, 2),
   };
   for (const Bytes &bytes : bad) {
      Receiver receiver;
      receiver.Take(good[0]);
      receiver.Take(good[1]);
      EXPECT_EQ(receiver.Take(bytes), -1);
      EXPECT_EQ(receiver->Counts().datagramsMalformed, 1U);
      EXPECT_EQ(receiver.Take(Nth(2)), 0);
      receiver->Finish(3, 1);
      EXPECT_EQ(receiver->Counts(), (StreamCounts{3, 0, 0, 1, 0, 1, 0, 0}));
   }
}

TEST(MediaReassembly, NumbersGoOnPast32Bits) {
   Receiver receiver;
   // To the edge in steps that are shorter than half the range.
   for (const uint32_t at : {0U, 0x7FFFFFF0U, 0xFFFFFFF0U}) {
      receiver.Take(Datagram(at, at, 0, 1));
   }
   for (uint32_t step = 1; step < 32; ++step) {
      EXPECT_EQ(receiver.Take(Datagram(0xFFFFFFF0U + step, 0xFFFFFFF0U + step, 0, 1)),
                static_cast<int64_t>(static_cast<uint32_t>(0xFFFFFFF0U + step)));
   }
   EXPECT_EQ(receiver->Counts().framesComplete, 34U);
   EXPECT_EQ(receiver->Counts().datagramsLost, 0xFFFFFFF0U + 32ULL - 34);
   EXPECT_EQ(receiver->Counts().datagramsDuplicated, 0U);
   receiver->Finish(0, 0);
   EXPECT_EQ(receiver->Counts().framesLost, 0xFFFFFFF0U + 32ULL - 34);
}

TEST(MediaReassembly, NumbersFarBehindCountAsRepeated) {
   Receiver receiver;
   receiver.Take(Datagram(100'000, 10, 0));
   EXPECT_EQ(receiver.Take(Datagram(3, 10, 1)), -1);
   EXPECT_EQ(receiver->Counts().datagramsDuplicated, 1U);
   receiver.Take(Datagram(100'000 - 60'000, 10, 1));
   EXPECT_EQ(receiver->Counts().datagramsDuplicated, 1U);
}

TEST(MediaReassembly, The65536thNumberBehindIsTheLastThatIsNotTakenForARepeatedOne) {
   Receiver receiver;
   receiver.Take(Datagram(65'536, 10, 0));
   EXPECT_EQ(receiver.Take(Datagram(0, 10, 1)), -1) << "65537 behind the next one";
   EXPECT_EQ(receiver->Counts().datagramsDuplicated, 1U);
   EXPECT_EQ(receiver.Take(Datagram(1, 10, 1)), -1);
   EXPECT_EQ(receiver.Take(Datagram(2, 10, 2)), 10);
   EXPECT_EQ(receiver->Counts(), (StreamCounts{4, 65'534, 1, 0, 0, 1, 7, 0}));
}

TEST(MediaReassembly, NoNumberIsTakenForTheOne65536BeforeIt) {
   Receiver receiver;
   uint32_t number = 0;
   for (; number < 70'000; ++number) {
      ASSERT_EQ(receiver.Take(Datagram(number, number, 0, 1)), int64_t{number});
   }
   // Passed over, and come after all: 5000 of them 65536 behind one that came.
   receiver.Take(Datagram(number + 65'535, number, 0));
   for (uint32_t late = number; late < number + 65'535; ++late) {
      receiver.Take(Datagram(late, 0, 0));
   }
   EXPECT_EQ(receiver->Counts().datagramsDuplicated, 0U);
   EXPECT_EQ(receiver->Counts().datagramsLost, 0U);
   EXPECT_EQ(receiver->Counts().datagramsLate, 65'535U);
}

TEST(MediaReassembly, AFrameOfOneSizeFollowsOneOfAnother) {
   Receiver receiver;
   uint32_t sequence = 0;
   for (uint32_t frame = 0; frame < 20; ++frame) {
      const auto count = static_cast<uint16_t>(1 + frame % 3);
      for (uint16_t fragment = 0; fragment < count; ++fragment) {
         const int64_t complete = receiver.Take(Datagram(sequence++, frame, fragment, count, 6 + frame));
         EXPECT_EQ(complete, fragment + 1 == count ? int64_t{frame} : -1);
      }
   }
}

// Whatever is lost, repeated and moved about: every datagram and every frame is accounted for exactly once.
TEST(MediaReassembly, TheAccountBalancesForEveryFate) {
   for (uint32_t seed = 0; seed < 2000; ++seed) {
      std::mt19937 random(seed);
      const uint32_t frames = 1 + static_cast<uint32_t>(random() % 40);
      const uint32_t loss = static_cast<uint32_t>(random() % 60);
      std::vector<uint32_t> order;
      uint64_t lost = 0;
      uint64_t repeated = 0;
      for (uint32_t number = 0; number < 3 * frames; ++number) {
         if (random() % 100 < loss) {
            ++lost;
            continue;
         }
         order.push_back(number);
         if (random() % 10 == 0) {
            order.push_back(number);
            ++repeated;
         }
      }
      const size_t reach = 1 + random() % 30;
      for (size_t at = 0; at + 1 < order.size(); ++at) {
         std::swap(order[at], order[std::min(at + random() % reach, order.size() - 1)]);
      }
      Receiver receiver;
      uint64_t complete = 0;
      for (const uint32_t number : order) {
         complete += receiver.Take(Nth(number)) >= 0 ? 1 : 0;
      }
      receiver->Finish(uint64_t{3} * frames, frames);
      const StreamCounts &counts = receiver->Counts();
      EXPECT_EQ(counts.datagrams, order.size()) << seed;
      EXPECT_EQ(counts.datagramsLost, lost) << seed;
      EXPECT_EQ(counts.datagramsDuplicated, repeated) << seed;
      EXPECT_EQ(counts.datagramsMalformed, 0U) << seed;
      EXPECT_EQ(counts.framesComplete, complete) << seed;
      EXPECT_EQ(counts.framesComplete + counts.framesLost, frames) << seed;
   }
}

} // namespace
} // namespace mavr::redirect
