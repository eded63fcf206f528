#include "osal/pipewire/PipewireFormats.h"

#include <spa/param/format.h>
#include <spa/param/video/format.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>
#include <tuple>
#include <utility>

namespace osal {
namespace {

constexpr uint32_t kUnknownCode = FourCC("????");
constexpr uint32_t kLargestRangeSide = 16384;

struct CodeOf {
   uint32_t id;
   uint32_t code;
};

constexpr CodeOf kRawCodes[] = {
   {SPA_VIDEO_FORMAT_NV12, FourCC("420v")},  {SPA_VIDEO_FORMAT_NV21, FourCC("NV21")},
   {SPA_VIDEO_FORMAT_NV16, FourCC("422v")},  {SPA_VIDEO_FORMAT_NV24, FourCC("444v")},
   {SPA_VIDEO_FORMAT_NV61, FourCC("NV61")},  {SPA_VIDEO_FORMAT_P010_10LE, FourCC("x420")},
   {SPA_VIDEO_FORMAT_GRAY8, FourCC("L008")}, {SPA_VIDEO_FORMAT_GRAY16_LE, FourCC("L016")},
   {SPA_VIDEO_FORMAT_AYUV, FourCC("AYUV")},  {SPA_VIDEO_FORMAT_v308, FourCC("v308")},
   {SPA_VIDEO_FORMAT_I420, FourCC("y420")},  {SPA_VIDEO_FORMAT_YV12, FourCC("YV12")},
   {SPA_VIDEO_FORMAT_Y42B, FourCC("Y42B")},  {SPA_VIDEO_FORMAT_Y444, FourCC("Y444")},
   {SPA_VIDEO_FORMAT_YUY2, FourCC("yuvs")},  {SPA_VIDEO_FORMAT_UYVY, FourCC("2vuy")},
   {SPA_VIDEO_FORMAT_YVYU, FourCC("YVYU")},  {SPA_VIDEO_FORMAT_VYUY, FourCC("VYUY")},
   {SPA_VIDEO_FORMAT_v210, FourCC("v210")},  {SPA_VIDEO_FORMAT_BGRx, FourCC("BGRx")},
   {SPA_VIDEO_FORMAT_RGBx, FourCC("RGBx")},  {SPA_VIDEO_FORMAT_xRGB, FourCC("xRGB")},
   {SPA_VIDEO_FORMAT_xBGR, FourCC("xBGR")},  {SPA_VIDEO_FORMAT_BGRA, FourCC("BGRA")},
   {SPA_VIDEO_FORMAT_RGBA, FourCC("RGBA")},  {SPA_VIDEO_FORMAT_ARGB, FourCC("ARGB")},
   {SPA_VIDEO_FORMAT_ABGR, FourCC("ABGR")},  {SPA_VIDEO_FORMAT_RGB, FourCC("RGB3")},
   {SPA_VIDEO_FORMAT_BGR, FourCC("BGR3")},
};

constexpr CodeOf kEncodedCodes[] = {
   {SPA_MEDIA_SUBTYPE_mjpg, FourCC("jpeg")},  {SPA_MEDIA_SUBTYPE_jpeg, FourCC("jpeg")},
   {SPA_MEDIA_SUBTYPE_h264, FourCC("avc1")},  {SPA_MEDIA_SUBTYPE_vp8, FourCC("vp08")},
   {SPA_MEDIA_SUBTYPE_vp9, FourCC("vp09")},   {SPA_MEDIA_SUBTYPE_mpeg4, FourCC("mp4v")},
   {SPA_MEDIA_SUBTYPE_h263, FourCC("h263")},  {SPA_MEDIA_SUBTYPE_dv, FourCC("dvc ")},
   {SPA_MEDIA_SUBTYPE_bayer, FourCC("BAYR")},
};

template <size_t N>
uint32_t FindCode(const CodeOf (&table)[N], uint32_t id) {
   const auto *const found =
      std::find_if(std::begin(table), std::end(table), [id](const CodeOf &entry) { return entry.id == id; });
   return found == std::end(table) ? kUnknownCode : found->code;
}

/// The values of one property: a plain value, or a choice with all that stands in it.
template <class Value>
struct Values {
   uint32_t choice = SPA_CHOICE_None;
   std::vector<Value> values;
};

/// Reads a property whose values have the type `type`; empty for any other type or a size that does not fit.
template <class Value>
Values<Value> ReadValues(const spa_pod &pod, uint32_t type) {
   Values<Value> result;
   const spa_pod *child = &pod;
   size_t bytes = pod.size;
   if (pod.type == SPA_TYPE_Choice) {
      if (pod.size < sizeof(spa_pod_choice_body)) {
         return result;
      }
      const auto *const body = static_cast<const spa_pod_choice_body *>(SPA_POD_BODY_CONST(&pod));
      result.choice = body->type;
      child = &body->child;
      bytes = pod.size - sizeof(spa_pod_choice_body);
   }
   if (child->type != type || child->size != sizeof(Value)) {
      return result;
   }
   const auto *const first = static_cast<const char *>(SPA_POD_BODY_CONST(child));
   result.values.resize(result.choice == SPA_CHOICE_None ? std::min<size_t>(bytes / sizeof(Value), 1)
                                                         : bytes / sizeof(Value));
   if (!result.values.empty()) {
      std::memcpy(result.values.data(), first, result.values.size() * sizeof(Value));
   }
   return result;
}

/// What stands behind the default of an Enum; the default alone if nothing does.
template <class Value>
std::vector<Value> Alternatives(Values<Value> read) {
   if (read.choice == SPA_CHOICE_Enum && read.values.size() > 1) {
      read.values.erase(read.values.begin());
   }
   return std::move(read.values);
}

bool IsBounded(const Values<spa_rectangle> &read) {
   return read.choice == SPA_CHOICE_Range || read.choice == SPA_CHOICE_Step;
}

std::vector<VideoDimensions> ReadSizes(const spa_pod &pod) {
   constexpr uint32_t kMost = std::numeric_limits<int32_t>::max();
   auto read = ReadValues<spa_rectangle>(pod, SPA_TYPE_Rectangle);
   if (IsBounded(read) && read.values.size() >= 3) {
      const spa_rectangle maximum = read.values[2];
      read.values.resize(1);
      if (maximum.width <= kLargestRangeSide && maximum.height <= kLargestRangeSide) {
         read.values.push_back(maximum);
      }
   }
   std::vector<VideoDimensions> sizes;
   for (const spa_rectangle &size : Alternatives(std::move(read))) {
      if (size.width > 0 && size.height > 0 && size.width <= kMost && size.height <= kMost) {
         sizes.push_back({static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)});
      }
   }
   return sizes;
}

std::pair<double, double> ReadRates(const spa_pod &pod) {
   auto read = ReadValues<spa_fraction>(pod, SPA_TYPE_Fraction);
   if ((read.choice == SPA_CHOICE_Range || read.choice == SPA_CHOICE_Step) && read.values.size() >= 3) {
      read.values = {read.values[1], read.values[2]};
   }
   std::pair<double, double> rates{0, 0};
   bool isFirst = true;
   for (const spa_fraction &rate : Alternatives(std::move(read))) {
      if (rate.denom == 0) {
         continue;
      }
      const double value = static_cast<double>(rate.num) / rate.denom;
      rates.first = isFirst ? value : std::min(rates.first, value);
      rates.second = std::max(rates.second, value);
      isFirst = false;
   }
   return rates;
}

/// One EnumFormat object taken apart.
struct FormatObject {
   uint32_t mediaType = SPA_MEDIA_TYPE_unknown;
   uint32_t mediaSubtype = SPA_MEDIA_SUBTYPE_unknown;
   std::vector<uint32_t> pixelFormats;
   std::vector<VideoDimensions> sizes;
   std::pair<double, double> rates{0, 0};
};

uint32_t ReadId(const spa_pod &pod) {
   const auto read = ReadValues<uint32_t>(pod, SPA_TYPE_Id);
   return read.values.empty() ? 0 : read.values.front();
}

FormatObject ReadObject(const spa_pod_object *object) {
   FormatObject result;
   const spa_pod_prop *property = nullptr;
   SPA_POD_OBJECT_FOREACH(object, property) {
      switch (property->key) {
      case SPA_FORMAT_mediaType:
         result.mediaType = ReadId(property->value);
         break;
      case SPA_FORMAT_mediaSubtype:
         result.mediaSubtype = ReadId(property->value);
         break;
      case SPA_FORMAT_VIDEO_format:
         result.pixelFormats = Alternatives(ReadValues<uint32_t>(property->value, SPA_TYPE_Id));
         break;
      case SPA_FORMAT_VIDEO_size:
         result.sizes = ReadSizes(property->value);
         break;
      case SPA_FORMAT_VIDEO_framerate:
         result.rates = ReadRates(property->value);
         break;
      default:
         break;
      }
   }
   return result;
}

std::vector<uint32_t> CodesOf(const FormatObject &object) {
   if (object.mediaSubtype != SPA_MEDIA_SUBTYPE_raw) {
      return {FindCode(kEncodedCodes, object.mediaSubtype)};
   }
   std::vector<uint32_t> codes;
   for (const uint32_t id : object.pixelFormats) {
      codes.push_back(FindCode(kRawCodes, id));
   }
   return codes;
}

} // namespace

void AppendFormats(const spa_pod *param, std::vector<CaptureDeviceFormat> *formats) {
   if (param == nullptr || !spa_pod_is_object(param)) {
      return;
   }
   const FormatObject object = ReadObject(reinterpret_cast<const spa_pod_object *>(param));
   if (object.mediaType != SPA_MEDIA_TYPE_video && object.mediaType != SPA_MEDIA_TYPE_image) {
      return;
   }
   for (const uint32_t code : CodesOf(object)) {
      for (const VideoDimensions &size : object.sizes) {
         formats->push_back({code, size, object.rates.first, object.rates.second});
      }
   }
}

void RemoveDoubles(std::vector<CaptureDeviceFormat> *formats) {
   std::set<std::tuple<uint32_t, int32_t, int32_t, double, double>> seen;
   std::erase_if(*formats, [&seen](const CaptureDeviceFormat &format) {
      return !seen
                 .emplace(format.mediaSubType, format.dimensions.width, format.dimensions.height, format.minFrameRate,
                          format.maxFrameRate)
                 .second;
   });
}

} // namespace osal
