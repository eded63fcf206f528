#include "osal/simulated/SimulationFile.h"

#include "osal/simulated/PositionedJson.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <utility>

namespace osal {
namespace {

constexpr double kLargestSide = 16384;
constexpr double kHighestRate = 1000;
constexpr double kHighestTone = 96000;
constexpr double kMostStreams = 64;
constexpr size_t kMostWarnings = 20;
constexpr size_t kLongestShownKey = 64;

/// What all parts of one reading share: the text, for places, and the first mistake, after which nothing more is read.
struct Reading {
   std::string_view text;
   Status mistake;
   std::vector<std::string> warnings;

   void Mistake(size_t offset, const std::string &why) {
      if (mistake.ok()) {
         mistake = Status::Error(EINVAL, JsonPlace(text, offset) + ": " + why);
      }
   }
   /// A file full of mistakes gets no more than some warnings: each costs a walk through the text for its place.
   void Warn(size_t offset, const std::string &what) {
      if (warnings.size() < kMostWarnings) {
         warnings.push_back(JsonPlace(text, offset) + ": " + what);
      }
   }
};

/// A number as people write it: "0", "1000", "-2147483648", "0.5".
std::string Show(double number) {
   std::string text = std::to_string(number);
   text.erase(text.find_last_not_of('0') + 1);
   if (text.back() == '.') {
      text.pop_back();
   }
   return text;
}

/// One object of the file. Each read takes a key; Finish complains about keys that nobody took.
class ObjectReader {
public:
   ObjectReader(Reading &reading, const JsonNode &node, std::string path)
       : mReading(reading)
       , mPath(std::move(path))
       , mMembers(std::get_if<JsonNode::Object>(&node.value))
       , mOffset(node.offset) {
      if (mMembers == nullptr) {
         mReading.Mistake(node.offset, (mPath.empty() ? "the file" : mPath) + " must be an object, { ... }");
      }
   }

   size_t Offset() const { return mOffset; }

   /// The value of `key`, or null. Of a key that is given twice the last one counts.
   const JsonNode *Take(const char *key) {
      if (mMembers == nullptr || !mReading.mistake.ok()) {
         return nullptr;
      }
      mKnown.insert(key);
      const JsonNode *found = nullptr;
      for (const auto &[name, value] : *mMembers) {
         if (std::get<std::string>(name.value) == key) {
            if (found != nullptr) {
               mReading.Warn(name.offset, Path(key) + " is given twice; the last one counts");
            }
            found = &value;
         }
      }
      return found;
   }

   void Text(const char *key, std::string *out) {
      if (const JsonNode *const node = Take(key)) {
         if (const auto *const text = std::get_if<std::string>(&node->value)) {
            *out = *text;
         } else {
            mReading.Mistake(node->offset, Path(key) + " must be a text");
         }
      }
   }

   void RequiredText(const char *key, std::string *out) {
      Text(key, out);
      if (mMembers != nullptr && mReading.mistake.ok() && !HasTaken(key)) {
         mReading.Mistake(mOffset, Path(key) + " is missing");
      }
   }

   void Flag(const char *key, bool *out) {
      if (const JsonNode *const node = Take(key)) {
         if (const auto *const flag = std::get_if<bool>(&node->value)) {
            *out = *flag;
         } else {
            mReading.Mistake(node->offset, Path(key) + " must be true or false");
         }
      }
   }

   void Number(const char *key, double least, double most, double *out) { Read(key, least, most, "a number", out); }

   template <typename T>
   void Whole(const char *key, double least, double most, T *out) {
      double value = static_cast<double>(*out);
      Read(key, least, most, "a whole number", &value);
      *out = static_cast<T>(value);
   }
   void ErrorNumber(const char *key, int32_t *out) {
      Whole(key, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(), out);
   }
   void Count(const char *key, uint32_t *out) { Whole(key, 0, std::numeric_limits<uint32_t>::max(), out); }

   template <typename T>
   void Choice(const char *key, const std::vector<std::pair<const char *, T>> &choices, T *out) {
      const JsonNode *const node = Take(key);
      if (node == nullptr) {
         return;
      }
      const auto *const text = std::get_if<std::string>(&node->value);
      std::string known;
      for (const auto &[name, value] : choices) {
         if (text != nullptr && *text == name) {
            *out = value;
            return;
         }
         known += (known.empty() ? "\"" : ", \"") + std::string(name) + "\"";
      }
      mReading.Mistake(node->offset, Path(key) + " must be one of " + known);
   }

   void FourCharacters(const char *key, uint32_t *out) {
      const JsonNode *const node = Take(key);
      if (node == nullptr) {
         return;
      }
      const auto *const text = std::get_if<std::string>(&node->value);
      if (text == nullptr || text->size() != 4 ||
          !std::all_of(text->begin(), text->end(), [](char c) { return c >= 0x20 && c < 0x7F; })) {
         mReading.Mistake(node->offset, Path(key) + " must be a text of four ASCII characters such as \"420f\"");
         return;
      }
      uint32_t code = 0;
      for (const char c : *text) {
         code = (code << 8) | static_cast<unsigned char>(c);
      }
      *out = code;
   }

   template <typename ReadOne>
   void List(const char *key, ReadOne readOne) {
      const JsonNode *const node = Take(key);
      if (node == nullptr) {
         return;
      }
      const auto *const entries = std::get_if<JsonNode::Array>(&node->value);
      if (entries == nullptr) {
         mReading.Mistake(node->offset, Path(key) + " must be a list, [ ... ]");
         return;
      }
      for (size_t i = 0; i < entries->size() && mReading.mistake.ok(); ++i) {
         ObjectReader entry(mReading, (*entries)[i], Path(key) + "[" + std::to_string(i) + "]");
         readOne(entry);
         entry.Finish();
      }
   }

   template <typename ReadIt>
   void Member(const char *key, ReadIt readIt) {
      if (const JsonNode *const node = Take(key)) {
         ObjectReader member(mReading, *node, Path(key));
         readIt(member);
         member.Finish();
      }
   }

   void Mistake(const std::string &why) { mReading.Mistake(mOffset, why); }
   std::string Path(const char *key) const { return mPath.empty() ? key : mPath + "." + key; }

   void Finish() {
      if (mMembers == nullptr || !mReading.mistake.ok()) {
         return;
      }
      for (const auto &[name, value] : *mMembers) {
         const auto &key = std::get<std::string>(name.value);
         if (mKnown.count(key) == 0) {
            mReading.Warn(name.offset, "unknown key \"" + key.substr(0, kLongestShownKey) + "\"" +
                                          (mPath.empty() ? "" : " in " + mPath));
         }
      }
   }

private:
   bool HasTaken(const char *key) const {
      return std::any_of(mMembers->begin(), mMembers->end(),
                         [&](const auto &member) { return std::get<std::string>(member.first.value) == key; });
   }

   void Read(const char *key, double least, double most, const char *kind, double *out) {
      const JsonNode *const node = Take(key);
      if (node == nullptr) {
         return;
      }
      const auto *const number = std::get_if<double>(&node->value);
      const bool whole = std::string_view(kind) == "a whole number";
      if (number == nullptr || !(*number >= least && *number <= most) || (whole && std::floor(*number) != *number)) {
         mReading.Mistake(node->offset, Path(key) + " must be " + kind + " from " + Show(least) + " to " + Show(most));
         return;
      }
      *out = *number;
   }

   Reading &mReading;
   const std::string mPath;
   const JsonNode::Object *const mMembers;
   const size_t mOffset;
   std::set<std::string, std::less<>> mKnown;
};

CaptureDeviceFormat ReadFormat(ObjectReader &in) {
   CaptureDeviceFormat format{FourCC("420f"), {1280, 720}, 1, 30};
   in.FourCharacters("pixelFormat", &format.mediaSubType);
   in.Whole("width", 0, kLargestSide, &format.dimensions.width);
   in.Whole("height", 0, kLargestSide, &format.dimensions.height);
   double least = -1;
   in.Number("minFrameRate", 0, kHighestRate, &least);
   in.Number("maxFrameRate", 0, kHighestRate, &format.maxFrameRate);
   format.minFrameRate = least >= 0 ? least : std::min(1.0, format.maxFrameRate);
   if (format.minFrameRate > format.maxFrameRate) {
      in.Mistake(in.Path("minFrameRate") + " must not be above maxFrameRate, " + Show(format.maxFrameRate));
   }
   return format;
}

SimulatedCamera ReadCamera(ObjectReader &in) {
   SimulatedCamera camera;
   camera.formats = {{FourCC("420f"), {640, 480}, 1, 30}, {FourCC("420f"), {1280, 720}, 1, 30}};
   in.RequiredText("name", &camera.name);
   in.RequiredText("uniqueId", &camera.uniqueId);
   std::vector<CaptureDeviceFormat> formats;
   in.List("formats", [&](ObjectReader &entry) { formats.push_back(ReadFormat(entry)); });
   if (in.Take("formats") != nullptr) {
      camera.formats = std::move(formats);
   }
   in.Choice<SimulatedPattern>("pattern",
                               {{"bars", SimulatedPattern::Bars},
                                {"gradient", SimulatedPattern::Gradient},
                                {"noise", SimulatedPattern::Noise},
                                {"counter", SimulatedPattern::Counter}},
                               &camera.pattern);
   in.Flag("default", &camera.isDefault);
   in.Member("fail", [&](ObjectReader &fail) {
      fail.ErrorNumber("input", &camera.fail.input);
      fail.Count("unplugAfterFrames", &camera.fail.unplugAfterFrames);
      fail.Count("resizeAfterFrames", &camera.fail.resizeAfterFrames);
      fail.Count("lockEvery", &camera.fail.lockEvery);
   });
   return camera;
}

SimulatedMicrophone ReadMicrophone(ObjectReader &in) {
   SimulatedMicrophone microphone;
   in.RequiredText("name", &microphone.name);
   in.RequiredText("uniqueId", &microphone.uniqueId);
   in.Whole("inputStreams", 0, kMostStreams, &microphone.inputStreams);
   in.Number("toneHz", 0, kHighestTone, &microphone.toneHz);
   in.Number("level", 0, 1, &microphone.level);
   in.Flag("default", &microphone.isDefault);
   in.Member("fail", [&](ObjectReader &fail) {
      fail.ErrorNumber("streams", &microphone.fail.streams);
      fail.ErrorNumber("name", &microphone.fail.name);
      fail.ErrorNumber("uid", &microphone.fail.uid);
      fail.Count("unplugAfterBuffers", &microphone.fail.unplugAfterBuffers);
   });
   return microphone;
}

template <typename Device>
void WarnOfSeveralDefaults(const char *list, const std::vector<Device> &devices, Reading *reading) {
   const auto defaults =
      std::count_if(devices.begin(), devices.end(), [](const Device &device) { return device.isDefault; });
   if (defaults > 1) {
      reading->Warn(0, std::to_string(defaults) + " " + list + " are the default; the first of them counts");
   }
}

} // namespace

Status ParseSimulation(std::string_view text, Simulation *simulation) {
   JsonNode root;
   if (Status status = ParseJson(text, &root); !status.ok()) {
      return status;
   }
   Reading reading{text, {}, {}};
   Simulation result;
   ObjectReader file(reading, root, "");
   file.List("cameras", [&](ObjectReader &entry) { result.cameras.push_back(ReadCamera(entry)); });
   file.List("microphones", [&](ObjectReader &entry) { result.microphones.push_back(ReadMicrophone(entry)); });
   file.Member("audioHardware", [&](ObjectReader &hardware) {
      hardware.Member("fail", [&](ObjectReader &fail) {
         fail.ErrorNumber("size", &result.audioHardwareFail.size);
         fail.ErrorNumber("ids", &result.audioHardwareFail.ids);
      });
   });
   file.Choice<SimulatedClock>("clock", {{"real", SimulatedClock::Real}, {"fast", SimulatedClock::Fast}},
                               &result.clock);
   file.Finish();
   if (!reading.mistake.ok()) {
      return reading.mistake;
   }
   WarnOfSeveralDefaults("cameras", result.cameras, &reading);
   WarnOfSeveralDefaults("microphones", result.microphones, &reading);
   result.warnings = std::move(reading.warnings);
   *simulation = std::move(result);
   return Status::Ok();
}

} // namespace osal
