// Datagrams of any bytes against the receiving side of 'mavr redirect'. The input is a run of datagrams, each behind
// its length (2 bytes, highest first).

#include "tools/mavr/redirect/MediaReassembly.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace mavr::redirect;

namespace {

void Check(bool holds) {
   if (!holds) {
      std::abort();
   }
}

void CheckHeader(const uint8_t *datagram, size_t size) {
   const auto piece = UnpackMedia(datagram, size);
   if (!piece) {
      return;
   }
   Check(piece->payload == datagram + MediaHeader::kSize);
   Check(piece->header.PayloadSize() == size - MediaHeader::kSize);
   Check(piece->header.Offset() + piece->header.PayloadSize() <= piece->header.frameSize);
   uint8_t again[MediaHeader::kSize];
   PackMedia(piece->header, again);
   Check(std::memcmp(again, datagram, sizeof again) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   MediaReassembly reassembly(Stream::kVideo, 4096);
   uint64_t taken = 0;
   uint64_t complete = 0;
   for (size_t at = 0; at + 2 <= size; ++taken) {
      const size_t length = std::min<size_t>(size_t{data[at]} << 8 | data[at + 1], size - at - 2);
      // A copy of its own, so that a step beyond its end is seen.
      const std::vector<uint8_t> datagram(data + at + 2, data + at + 2 + length);
      at += 2 + length;
      CheckHeader(datagram.data(), datagram.size());
      if (const auto frame = reassembly.Take(datagram.data(), datagram.size())) {
         ++complete;
         uint8_t sum = 0;
         for (size_t i = 0; i < frame->header.frameSize; ++i) {
            sum = static_cast<uint8_t>(sum + frame->data[i]);
         }
         static_cast<void>(sum);
      }
   }
   reassembly.Finish(0, 0);
   const StreamCounts &counts = reassembly.Counts();
   Check(counts.datagrams + counts.datagramsMalformed == taken);
   Check(counts.framesComplete == complete);
   Check(counts.datagramsDuplicated + counts.datagramsLate <= counts.datagrams);
   return 0;
}
