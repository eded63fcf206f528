#include "osal/pipewire/PipewireFormats.h"

#include <spa/param/format.h>
#include <spa/param/video/format.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

namespace osal {
namespace {

/// Builds one EnumFormat object, property by property.
class FormatPod {
public:
   FormatPod() {
      spa_pod_builder_init(&mBuilder, mMemory, sizeof(mMemory));
      spa_pod_builder_push_object(&mBuilder, &mObject, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
   }
   /// A raw video format, which most tests begin with.
   static std::unique_ptr<FormatPod> Raw() {
      auto pod = std::make_unique<FormatPod>();
      pod->Id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video).Id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
      return pod;
   }
   FormatPod &Id(uint32_t key, uint32_t value) {
      spa_pod_builder_prop(&mBuilder, key, 0);
      spa_pod_builder_id(&mBuilder, value);
      return *this;
   }
   FormatPod &Ids(uint32_t key, uint32_t choice, std::initializer_list<uint32_t> values) {
      return Choice(key, choice, [&] {
         for (const uint32_t value : values) {
            spa_pod_builder_id(&mBuilder, value);
         }
      });
   }
   FormatPod &Size(uint32_t width, uint32_t height) {
      spa_pod_builder_prop(&mBuilder, SPA_FORMAT_VIDEO_size, 0);
      spa_pod_builder_rectangle(&mBuilder, width, height);
      return *this;
   }
   FormatPod &Sizes(uint32_t choice, std::initializer_list<spa_rectangle> values) {
      return Choice(SPA_FORMAT_VIDEO_size, choice, [&] {
         for (const spa_rectangle &value : values) {
            spa_pod_builder_rectangle(&mBuilder, value.width, value.height);
         }
      });
   }
   FormatPod &Rates(uint32_t choice, std::initializer_list<spa_fraction> values) {
      return Choice(SPA_FORMAT_VIDEO_framerate, choice, [&] {
         for (const spa_fraction &value : values) {
            spa_pod_builder_fraction(&mBuilder, value.num, value.denom);
         }
      });
   }
   FormatPod &Text(uint32_t key, const char *text) {
      spa_pod_builder_prop(&mBuilder, key, 0);
      spa_pod_builder_string(&mBuilder, text);
      return *this;
   }
   spa_pod *Done() { return static_cast<spa_pod *>(spa_pod_builder_pop(&mBuilder, &mObject)); }

private:
   FormatPod &Choice(uint32_t key, uint32_t choice, const std::function<void()> &values) {
      spa_pod_frame frame{};
      spa_pod_builder_prop(&mBuilder, key, 0);
      spa_pod_builder_push_choice(&mBuilder, &frame, choice, 0);
      values();
      spa_pod_builder_pop(&mBuilder, &frame);
      return *this;
   }

   alignas(8) uint8_t mMemory[4096]{};
   spa_pod_builder mBuilder{};
   spa_pod_frame mObject{};
};

/// "420v 640x480 15-30; ..."
std::string Shown(const std::vector<CaptureDeviceFormat> &formats) {
   std::string text;
   for (const CaptureDeviceFormat &format : formats) {
      for (int shift = 24; shift >= 0; shift -= 8) {
         text += static_cast<char>((format.mediaSubType >> shift) & 0xFF);
      }
      text += " " + std::to_string(format.dimensions.width) + "x" + std::to_string(format.dimensions.height) + " " +
              std::to_string(static_cast<int>(format.minFrameRate)) + "-" +
              std::to_string(static_cast<int>(format.maxFrameRate)) + "; ";
   }
   return text;
}

std::string Read(const spa_pod *pod) {
   std::vector<CaptureDeviceFormat> formats;
   AppendFormats(pod, &formats);
   return Shown(formats);
}

TEST(PipewireFormats, APlainFormatIsOneEntry) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
                     .Size(640, 480)
                     .Rates(SPA_CHOICE_None, {{30, 1}})
                     .Done()),
             "420v 640x480 30-30; ");
}

TEST(PipewireFormats, AnEnumIsItsAlternativesWithoutTheDefaultInFront) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Ids(SPA_FORMAT_VIDEO_format, SPA_CHOICE_Enum,
                           {SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_NV12, SPA_VIDEO_FORMAT_YUY2})
                     .Sizes(SPA_CHOICE_Enum, {{640, 480}, {1280, 720}, {640, 480}})
                     .Rates(SPA_CHOICE_Enum, {{30, 1}, {30, 1}, {15, 1}, {5, 1}})
                     .Done()),
             "420v 1280x720 5-30; 420v 640x480 5-30; yuvs 1280x720 5-30; yuvs 640x480 5-30; ");
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Ids(SPA_FORMAT_VIDEO_format, SPA_CHOICE_Enum, {SPA_VIDEO_FORMAT_NV12})
                     .Sizes(SPA_CHOICE_Enum, {{640, 480}})
                     .Done()),
             "420v 640x480 0-0; ")
      << "an Enum that holds only the default";
}

TEST(PipewireFormats, ARangeIsItsDefaultAndItsMaximum) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_I420)
                     .Sizes(SPA_CHOICE_Range, {{320, 240}, {16, 16}, {1920, 1080}})
                     .Rates(SPA_CHOICE_Range, {{25, 1}, {1, 1}, {60, 1}})
                     .Done()),
             "y420 320x240 1-60; y420 1920x1080 1-60; ");
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_I420)
                     .Sizes(SPA_CHOICE_Step, {{320, 240}, {16, 16}, {640, 480}, {8, 8}})
                     .Done()),
             "y420 320x240 0-0; y420 640x480 0-0; ");
}

TEST(PipewireFormats, TheMaximumOfARangeWithoutLimitIsNoSize) {
   for (const spa_rectangle maximum :
        {spa_rectangle{INT32_MAX, INT32_MAX}, {16385, 16384}, {16384, 16385}, {16385, 240}, {320, 16385}}) {
      EXPECT_EQ(Read(FormatPod::Raw()
                        ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_BGRx)
                        .Sizes(SPA_CHOICE_Range, {{320, 240}, {1, 1}, maximum})
                        .Done()),
                "BGRx 320x240 0-0; ")
         << maximum.width << "x" << maximum.height;
   }
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_BGRx)
                     .Sizes(SPA_CHOICE_Range, {{320, 240}, {1, 1}, {16384, 16384}})
                     .Done()),
             "BGRx 320x240 0-0; BGRx 16384x16384 0-0; ");
}

TEST(PipewireFormats, SizesThatAreNoneAreLeftOut) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
                     .Sizes(SPA_CHOICE_Enum, {{0, 0},
                                              {0, 480},
                                              {640, 0},
                                              {0x80000000u, 480},
                                              {640, 0xFFFFFFFFu},
                                              {2, 2},
                                              {2147483647u, 1},
                                              {1, 2147483647u}})
                     .Done()),
             "420v 2x2 0-0; 420v 2147483647x1 0-0; 420v 1x2147483647 0-0; ");
}

TEST(PipewireFormats, ARateWithoutDenominatorDoesNotCount) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
                     .Size(2, 2)
                     .Rates(SPA_CHOICE_Enum, {{30, 0}, {30, 0}, {24, 1}})
                     .Done()),
             "420v 2x2 24-24; ");
}

TEST(PipewireFormats, CompressedFormatsHaveNoPixelFormat) {
   const std::pair<uint32_t, const char *> cases[] = {
      {SPA_MEDIA_SUBTYPE_mjpg, "jpeg"}, {SPA_MEDIA_SUBTYPE_h264, "avc1"},  {SPA_MEDIA_SUBTYPE_vp8, "vp08"},
      {SPA_MEDIA_SUBTYPE_vp9, "vp09"},  {SPA_MEDIA_SUBTYPE_mpeg4, "mp4v"}, {SPA_MEDIA_SUBTYPE_h263, "h263"},
      {SPA_MEDIA_SUBTYPE_dv, "dvc "},   {SPA_MEDIA_SUBTYPE_bayer, "BAYR"}, {SPA_MEDIA_SUBTYPE_xvid, "????"}};
   for (const auto &[subtype, code] : cases) {
      FormatPod pod;
      pod.Id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video).Id(SPA_FORMAT_mediaSubtype, subtype).Size(640, 480);
      EXPECT_EQ(Read(pod.Done()), std::string(code) + " 640x480 0-0; ");
   }
   FormatPod image;
   image.Id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_image).Id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_jpeg).Size(8, 8);
   EXPECT_EQ(Read(image.Done()), "jpeg 8x8 0-0; ");
}

TEST(PipewireFormats, EveryPixelFormatHasItsCode) {
   const std::pair<uint32_t, const char *> cases[] = {
      {SPA_VIDEO_FORMAT_NV12, "420v"},    {SPA_VIDEO_FORMAT_NV21, "NV21"},
      {SPA_VIDEO_FORMAT_NV16, "422v"},    {SPA_VIDEO_FORMAT_NV24, "444v"},
      {SPA_VIDEO_FORMAT_NV61, "NV61"},    {SPA_VIDEO_FORMAT_P010_10LE, "x420"},
      {SPA_VIDEO_FORMAT_GRAY8, "L008"},   {SPA_VIDEO_FORMAT_GRAY16_LE, "L016"},
      {SPA_VIDEO_FORMAT_AYUV, "AYUV"},    {SPA_VIDEO_FORMAT_v308, "v308"},
      {SPA_VIDEO_FORMAT_I420, "y420"},    {SPA_VIDEO_FORMAT_YV12, "YV12"},
      {SPA_VIDEO_FORMAT_Y42B, "Y42B"},    {SPA_VIDEO_FORMAT_Y444, "Y444"},
      {SPA_VIDEO_FORMAT_YUY2, "yuvs"},    {SPA_VIDEO_FORMAT_UYVY, "2vuy"},
      {SPA_VIDEO_FORMAT_YVYU, "YVYU"},    {SPA_VIDEO_FORMAT_VYUY, "VYUY"},
      {SPA_VIDEO_FORMAT_v210, "v210"},    {SPA_VIDEO_FORMAT_BGRx, "BGRx"},
      {SPA_VIDEO_FORMAT_RGBx, "RGBx"},    {SPA_VIDEO_FORMAT_xRGB, "xRGB"},
      {SPA_VIDEO_FORMAT_xBGR, "xBGR"},    {SPA_VIDEO_FORMAT_BGRA, "BGRA"},
      {SPA_VIDEO_FORMAT_RGBA, "RGBA"},    {SPA_VIDEO_FORMAT_ARGB, "ARGB"},
      {SPA_VIDEO_FORMAT_ABGR, "ABGR"},    {SPA_VIDEO_FORMAT_RGB, "RGB3"},
      {SPA_VIDEO_FORMAT_BGR, "BGR3"},     {SPA_VIDEO_FORMAT_A420, "????"},
      {SPA_VIDEO_FORMAT_UNKNOWN, "????"}, {123456789, "????"}};
   for (const auto &[format, code] : cases) {
      EXPECT_EQ(Read(FormatPod::Raw()->Id(SPA_FORMAT_VIDEO_format, format).Size(2, 2).Done()),
                std::string(code) + " 2x2 0-0; ")
         << format;
   }
}

TEST(PipewireFormats, WhatIsNoVideoFormatGivesNothing) {
   EXPECT_EQ(Read(nullptr), "");
   spa_pod_int number{{sizeof(int32_t), SPA_TYPE_Int}, 5, 0};
   EXPECT_EQ(Read(&number.pod), "");
   EXPECT_EQ(Read(FormatPod().Done()), "") << "an empty object";
   EXPECT_EQ(Read(FormatPod::Raw()->Done()), "") << "neither pixel format nor size";
   EXPECT_EQ(Read(FormatPod::Raw()->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12).Done()), "") << "no size";
   EXPECT_EQ(Read(FormatPod::Raw()->Size(640, 480).Done()), "") << "no pixel format";
   FormatPod audio;
   audio.Id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_audio)
      .Id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw)
      .Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
      .Size(640, 480);
   EXPECT_EQ(Read(audio.Done()), "");
}

TEST(PipewireFormats, PropertiesOfAnotherTypeAreIgnored) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Text(SPA_FORMAT_VIDEO_format, "NV12")
                     .Text(SPA_FORMAT_VIDEO_size, "640x480")
                     .Text(SPA_FORMAT_VIDEO_framerate, "30/1")
                     .Done()),
             "");
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
                     .Ids(SPA_FORMAT_VIDEO_size, SPA_CHOICE_Enum, {1, 2, 3})
                     .Done()),
             "");
}

TEST(PipewireFormats, EmptyAndShortChoicesAreHarmless) {
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Ids(SPA_FORMAT_VIDEO_format, SPA_CHOICE_Enum, {})
                     .Sizes(SPA_CHOICE_Range, {})
                     .Rates(SPA_CHOICE_Range, {})
                     .Done()),
             "");
   EXPECT_EQ(Read(FormatPod::Raw()
                     ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
                     .Sizes(SPA_CHOICE_Range, {{640, 480}, {1, 1}})
                     .Done()),
             "420v 640x480 0-0; 420v 1x1 0-0; ")
      << "a Range without its maximum: what there is";
}

TEST(PipewireFormats, DamagedSizesInsideAnObjectNeverReadBehindIt) {
   // Each 32-bit word of a good object is replaced by hostile values; the copy is exactly as long as the object says,
   // so that a sanitizer sees any step outside.
   auto good = FormatPod::Raw();
   const spa_pod *const original =
      good->Ids(SPA_FORMAT_VIDEO_format, SPA_CHOICE_Enum, {SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_NV12})
         .Sizes(SPA_CHOICE_Range, {{640, 480}, {1, 1}, {1280, 720}})
         .Rates(SPA_CHOICE_Enum, {{30, 1}, {30, 1}, {15, 1}})
         .Done();
   const size_t bytes = sizeof(spa_pod) + original->size;
   for (size_t at = 2 * sizeof(uint32_t); at + sizeof(uint32_t) <= bytes; at += sizeof(uint32_t)) {
      for (const uint32_t hostile : {0u, 1u, 7u, 15u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
         const auto copy = std::make_unique<uint64_t[]>((bytes + 7) / 8);
         std::memcpy(copy.get(), original, bytes);
         std::memcpy(reinterpret_cast<char *>(copy.get()) + at, &hostile, sizeof(hostile));
         std::vector<CaptureDeviceFormat> formats;
         AppendFormats(reinterpret_cast<const spa_pod *>(copy.get()), &formats);
         EXPECT_LE(formats.size(), 64u) << "word " << at;
      }
   }
}

TEST(PipewireFormats, SeveralObjectsAddUpAndDoublesGo) {
   std::vector<CaptureDeviceFormat> formats;
   for (const uint32_t width : {640u, 1280u, 640u}) {
      AppendFormats(FormatPod::Raw()->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12).Size(width, 480).Done(),
                    &formats);
   }
   AppendFormats(FormatPod::Raw()
                    ->Id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_NV12)
                    .Size(640, 480)
                    .Rates(SPA_CHOICE_None, {{5, 1}})
                    .Done(),
                 &formats);
   EXPECT_EQ(formats.size(), 4u);
   RemoveDoubles(&formats);
   EXPECT_EQ(Shown(formats), "420v 640x480 0-0; 420v 1280x480 0-0; 420v 640x480 5-5; ");
}

} // namespace
} // namespace osal
