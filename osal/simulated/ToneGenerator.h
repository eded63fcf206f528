#pragma once

#include <cstddef>
#include <cstdint>

namespace osal {

/// A sine in signed 16-bit little-endian mono samples, a function of the sample's position alone: two pieces that
/// follow each other join without a click, wherever they are cut.
///
/// A plain value; any thread. A tone above half the sample rate comes out as its mirror image.
class ToneGenerator {
public:
   /// `level` is the amplitude, 1 is full scale (32767).
   ToneGenerator(double toneHz, double level, int32_t sampleRate);

   static constexpr size_t kBytesPerSample = 2;
   /// Samples `position` to `position + count - 1`, counted from the start of the tone, at phase 0.
   void Fill(uint64_t position, size_t count, char *bytes) const;

private:
   double mCyclesPerSample;
   double mAmplitude;
};

} // namespace osal
