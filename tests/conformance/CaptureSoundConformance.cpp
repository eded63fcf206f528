#include "tests/conformance/CaptureConformance.h"
#include "tests/conformance/CaptureRig.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

// The part of the suite that deals with sound, and with several sessions at a time.
namespace conformance {
namespace {

using osal::FourCC;
using osal::MediaType;

void AppendSamples(osal::SampleBuffer &buffer, std::vector<int16_t> *samples) {
   ASSERT_EQ(buffer.imageBuffer(), nullptr);
   size_t length = 1;
   const char *data = nullptr;
   ASSERT_EQ(buffer.dataBuffer()->getDataPointer(0, &length, &data), 0);
   ASSERT_EQ(length % 2, 0u);
   for (size_t i = 0; i < length; i += 2) {
      const auto low = static_cast<uint8_t>(data[i]);
      const auto high = static_cast<uint8_t>(data[i + 1]);
      samples->push_back(static_cast<int16_t>(low | high << 8));
   }
}

/// Amplitude of the part of `samples` that has this frequency, 1 is full scale.
double AmplitudeAt(const std::vector<int16_t> &samples, double hz) {
   std::complex<double> sum = 0;
   double weights = 0;
   for (size_t i = 0; i < samples.size(); ++i) {
      const double place = (static_cast<double>(i) + 0.5) / static_cast<double>(samples.size());
      const double weight = 1 - std::cos(2 * std::numbers::pi * place);
      sum += weight * samples[i] * std::polar(1.0, -2 * std::numbers::pi * hz * static_cast<double>(i) / kRate);
      weights += weight;
   }
   return 2 * std::abs(sum) / weights / 32767;
}

/// How much of a tone, and of what it must not be, some samples hold.
struct Spectrum {
   Spectrum(const std::vector<int16_t> &samples, double hz)
       : tone(AmplitudeAt(samples, hz))
       , rest(std::max({AmplitudeAt(samples, hz * 1.5), AmplitudeAt(samples, hz * 2), AmplitudeAt(samples, 0)})) {}
   [[nodiscard]] bool IsTone(double level) const {
      return std::abs(tone - level) < level * 0.02 && rest < level * 0.01;
   }

   double tone;
   double rest;
};

// A sound server on a machine that is too busy for it loses pieces now and then; what is read wrong is wrong each time.
TEST_P(CaptureConformance, SamplesAreTheToneAtItsFrequencyAndLevel) {
   Rig rig(Capture(), Input(kMicrophone, MediaType::Audio), MediaType::Audio);
   constexpr size_t kSkipped = kRate / 10; // a real source may begin with silence
   constexpr size_t kWindow = kRate / 4;
   constexpr int kAttempts = 40;
   std::vector<int16_t> samples;
   std::atomic<int> windows = 0;
   std::atomic<bool> isTone = false;
   Spectrum last({}, 1);
   rig.collector.inspect = [&](osal::SampleBuffer &buffer) {
      AppendSamples(buffer, &samples);
      if (!isTone && samples.size() >= kSkipped + kWindow) {
         last = Spectrum({samples.begin() + kSkipped, samples.begin() + kSkipped + kWindow}, mBackend->ToneHz());
         samples.erase(samples.begin(), samples.begin() + kWindow);
         isTone = last.IsTone(mBackend->ToneLevel());
         ++windows;
      }
   };
   ASSERT_TRUE(rig.session->startRunning().ok());
   while (!isTone && windows < kAttempts && rig.collector.AwaitMore(1)) {
   }
   rig.session->stopRunning();
   EXPECT_TRUE(isTone) << last.tone << " of the tone where " << mBackend->ToneLevel() << " is right, " << last.rest
                       << " of what it is not, in the last of " << windows;
}

TEST_P(CaptureConformance, ADataPointerPastTheEndFailsWithNothing) {
   Rig rig(Capture(), Input(kMicrophone, MediaType::Audio), MediaType::Audio);
   rig.collector.LetGo(1);
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(1));
   const auto buffer = rig.collector.Kept().front();
   size_t length = 0;
   const char *data = nullptr;
   ASSERT_EQ(buffer->dataBuffer()->getDataPointer(0, &length, &data), 0);
   ASSERT_GT(length, 2u);
   size_t rest = 0;
   const char *further = nullptr;
   EXPECT_EQ(buffer->dataBuffer()->getDataPointer(2, &rest, &further), 0);
   EXPECT_EQ(rest, length - 2);
   EXPECT_EQ(further, data + 2);
   EXPECT_NE(buffer->dataBuffer()->getDataPointer(length + 1, &rest, &further), 0);
   EXPECT_EQ(rest, 0u);
   EXPECT_EQ(further, nullptr);
}

TEST_P(CaptureConformance, TwoSessionsRunSideBySide) {
   Rig first(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   Rig second(Capture(), Input(kOtherCamera, MediaType::Video), MediaType::Video);
   Rig third(Capture(), Input(kMicrophone, MediaType::Audio), MediaType::Audio);
   for (Rig *const rig : {&first, &second, &third}) {
      ASSERT_TRUE(rig->session->startRunning().ok());
   }
   for (Rig *const rig : {&first, &second, &third}) {
      ASSERT_TRUE(rig->collector.AwaitMore(3));
   }
   first.session->stopRunning();
   EXPECT_TRUE(second.collector.AwaitMore(3));
   EXPECT_TRUE(third.collector.AwaitMore(3));
   EXPECT_NE(first.collector.Connection(), second.collector.Connection());
}

TEST_P(CaptureConformance, OneSessionServesBothKinds) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   Collector sound;
   const auto output = Capture().makeAudioDataOutput();
   output->setAudioSettings({FourCC("lpcm"), kRate, 1, 16, false, false});
   output->setSampleBufferDelegate(&sound, Capture().makeSerialQueue("Sound"));
   const auto input = Input(kMicrophone, MediaType::Audio);
   ASSERT_TRUE(rig.session->canAddInput(input));
   rig.session->addInput(input);
   ASSERT_TRUE(rig.session->canAddOutput(output));
   rig.session->addOutput(output);
   ASSERT_TRUE(rig.session->startRunning().ok());
   EXPECT_TRUE(sound.Await(3));
   EXPECT_TRUE(rig.collector.Await(3));
   EXPECT_EQ(sound.Connection(), output->connectionWithMediaType(MediaType::Audio).get());
   EXPECT_FALSE(output->connectionWithMediaType(MediaType::Audio)->isVideoMaxFrameDurationSupported());
   rig.session->removeOutput(rig.output);
   rig.session->removeInput(rig.input);
   EXPECT_TRUE(sound.AwaitMore(3)) << "the other kind goes on";
   rig.session->stopRunning();
}

} // namespace
} // namespace conformance
