#include "osal/simulated/ToneGenerator.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace osal {

ToneGenerator::ToneGenerator(double toneHz, double level, int32_t sampleRate)
    : mCyclesPerSample(toneHz / sampleRate)
    , mAmplitude(level * 32767) {}

// One sine for each piece, and a rotation for each sample: over a piece the error stays below 1e-12.
void ToneGenerator::Fill(uint64_t position, size_t count, char *bytes) const {
   const double cycles = mCyclesPerSample * static_cast<double>(position);
   std::complex<double> point = std::polar(mAmplitude, 2 * std::numbers::pi * (cycles - std::floor(cycles)));
   const std::complex<double> turn = std::polar(1.0, 2 * std::numbers::pi * mCyclesPerSample);
   for (size_t i = 0; i < count; ++i) {
      const auto sample = static_cast<uint16_t>(std::lrint(point.imag()));
      bytes[2 * i] = static_cast<char>(sample & 0xFF);
      bytes[2 * i + 1] = static_cast<char>(sample >> 8);
      point = {point.real() * turn.real() - point.imag() * turn.imag(),
               point.real() * turn.imag() + point.imag() * turn.real()};
   }
}

} // namespace osal
