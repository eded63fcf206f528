#include "tools/mavr/redirect/MediaDatagram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

namespace mavr::redirect {
namespace {

MediaHeader Example() {
   MediaHeader header;
   header.stream = Stream::kVideo;
   header.sequence = 258;
   header.frame = 7;
   header.fragment = 2;
   header.fragmentCount = 3;
   header.frameSize = 10;
   header.fragmentSize = 4;
   header.captureNs = 0x0102030405060708;
   header.sendNs = 0x1112131415161718;
   header.mediaMs = 1234;
   return header;
}

const std::vector<uint8_t> kExample = {
   0x4D, 0x4D, 0x01, 0x01,                         // mark, version, stream
   0x00, 0x00, 0x01, 0x02,                         // sequence
   0x00, 0x00, 0x00, 0x07,                         // frame
   0x00, 0x02, 0x00, 0x03,                         // fragment, fragment count
   0x00, 0x00, 0x00, 0x0A,                         // frame size
   0x00, 0x00, 0x00, 0x04,                         // fragment size
   0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // capture
   0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, // send
   0x00, 0x00, 0x04, 0xD2,                         // media time
   0x00, 0x00, 0x00, 0x00,                         // nothing yet
   'i',  'j',                                      // bytes 8 and 9 of the frame
};

TEST(MediaDatagram, IsTheBytesOfItsPage) {
   std::array<uint8_t, MediaHeader::kSize> packed{};
   PackMedia(Example(), packed.data());
   EXPECT_TRUE(std::equal(packed.begin(), packed.end(), kExample.begin()));
   const auto piece = UnpackMedia(kExample.data(), kExample.size());
   ASSERT_TRUE(piece.has_value());
   EXPECT_EQ(piece->header, Example());
   EXPECT_EQ(piece->payload, kExample.data() + 48);
   EXPECT_EQ(piece->header.Offset(), 8U);
   EXPECT_EQ(piece->header.PayloadSize(), 2U);
}

TEST(MediaDatagram, EveryLengthButItsOwnIsRefused) {
   std::vector<uint8_t> bytes = kExample;
   bytes.push_back(0);
   for (size_t size = 0; size <= bytes.size(); ++size) {
      EXPECT_EQ(UnpackMedia(bytes.data(), size).has_value(), size == kExample.size()) << size;
   }
}

TEST(MediaDatagram, ContradictionsAreRefused) {
   struct {
      const char *what;
      size_t at;
      uint8_t value;
   } const spoils[] = {
      {"mark", 0, 'X'},
      {"mark", 1, 'X'},
      {"version 2", 2, 2},
      {"stream 0", 3, 0},
      {"stream 3", 3, 3},
      {"fragment behind the last", 13, 3},
      {"more fragments than the size gives", 15, 4},
      {"fewer fragments than the size gives", 15, 2},
      {"an empty frame", 19, 0},
      {"a frame of another number of fragments", 19, 13},
      {"a last fragment of another size", 19, 11},
      {"fragments of no size", 23, 0},
      {"a fragment larger than the frame", 23, 11},
      {"a size near 2^32", 16, 0xFF},
      {"a fragment size near 2^32", 20, 0xFF},
      {"bytes that mean nothing", 44, 1},
      {"bytes that mean nothing", 47, 1},
   };
   for (const auto &spoil : spoils) {
      std::vector<uint8_t> bytes = kExample;
      bytes[spoil.at] = spoil.value;
      EXPECT_FALSE(UnpackMedia(bytes.data(), bytes.size()).has_value()) << spoil.what;
   }
}

TEST(MediaDatagram, FramesAreCutIntoEqualFragmentsThatFit) {
   struct {
      uint32_t frame;
      uint32_t datagram;
      uint16_t count;
      uint32_t size;
   } const rows[] = {
      {460'800, 61'440, 8, 57'600}, // 640x480
      {460'800, 1200, 400, 1152},
      {1, 49, 1, 1},
      {1, 1200, 1, 1},
      {1152, 1200, 1, 1152},
      {1153, 1200, 2, 577},
      {10, 52, 3, 4},
      {16, 63, 2, 8},
      {10, 56, 2, 5},
      {65'535, 49, 65'535, 1},
      {65'536, 49, 0, 0}, // more fragments than have a number
      {0, 1200, 0, 0},
      {10, 48, 0, 0},
      {10, 0, 0, 0},
      {UINT32_MAX, UINT32_MAX, 2, 0x80000000},
   };
   for (const auto &row : rows) {
      const Cut cut = CutFrame(row.frame, row.datagram);
      EXPECT_EQ(cut.fragmentCount, row.count) << row.frame << " in " << row.datagram;
      EXPECT_EQ(cut.fragmentSize, row.size) << row.frame << " in " << row.datagram;
   }
}

TEST(MediaDatagram, EveryCutIsOneThatIsReadAgain) {
   for (uint32_t frame = 1; frame < 400; ++frame) {
      for (uint32_t datagram = 49; datagram < 120; ++datagram) {
         const Cut cut = CutFrame(frame, datagram);
         size_t covered = 0;
         for (uint16_t fragment = 0; fragment < cut.fragmentCount; ++fragment) {
            MediaHeader header;
            header.frameSize = frame;
            header.fragmentSize = cut.fragmentSize;
            header.fragmentCount = cut.fragmentCount;
            header.fragment = fragment;
            std::vector<uint8_t> bytes(MediaHeader::kSize + header.PayloadSize());
            ASSERT_LE(bytes.size(), datagram);
            PackMedia(header, bytes.data());
            ASSERT_TRUE(UnpackMedia(bytes.data(), bytes.size()).has_value()) << frame << " in " << datagram;
            ASSERT_EQ(header.Offset(), covered);
            covered += header.PayloadSize();
         }
         ASSERT_EQ(covered, frame);
      }
   }
}

} // namespace
} // namespace mavr::redirect
