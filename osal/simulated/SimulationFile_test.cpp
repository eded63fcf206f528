#include "osal/simulated/SimulationFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace osal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

Simulation Parsed(const std::string &text) {
   Simulation simulation;
   const Status status = ParseSimulation(text, &simulation);
   EXPECT_TRUE(status.ok()) << status.reason;
   return simulation;
}

std::string Complaint(const std::string &text) {
   Simulation simulation;
   simulation.clock = SimulatedClock::Fast;
   const Status status = ParseSimulation(text, &simulation);
   EXPECT_FALSE(status.ok()) << text;
   EXPECT_EQ(simulation.clock, SimulatedClock::Fast) << "a failure leaves the result alone";
   return status.reason;
}

std::string CameraWith(const std::string &member) {
   return R"({"cameras":[{"name":"a","uniqueId":"b",)" + member + "}]}";
}

TEST(SimulationFile, EveryKeyIsRead) {
   const Simulation simulation = Parsed(R"(
{
  "cameras": [
    { "name": "Desk Camera", "uniqueId": "sim-cam-1",
      "formats": [ { "pixelFormat": "yuvs", "width": 1281, "height": 721, "minFrameRate": 5, "maxFrameRate": 29.97 } ],
      "pattern": "gradient",      // a comment
      "default": true,
      "fail": { "input": -11852, "unplugAfterFrames": 7, "resizeAfterFrames": 8, "lockEvery": 9 } }
  ],
  "microphones": [
    { "name": "Desk Microphone", "uniqueId": "sim-mic-1", "inputStreams": 2,
      "toneHz": 997.5, "level": 0.25, "default": true,
      "fail": { "streams": 1, "name": 2, "uid": -3, "unplugAfterBuffers": 4 } }
  ],
  "audioHardware": { "fail": { "size": 560947818, "ids": -50 } },
  /* another
     comment */
  "clock": "fast"
})");
   ASSERT_EQ(simulation.cameras.size(), 1u);
   const SimulatedCamera &camera = simulation.cameras[0];
   EXPECT_EQ(camera.name, "Desk Camera");
   EXPECT_EQ(camera.uniqueId, "sim-cam-1");
   ASSERT_EQ(camera.formats.size(), 1u);
   EXPECT_EQ(camera.formats[0].mediaSubType, 0x79757673u);
   EXPECT_EQ(camera.formats[0].dimensions, (VideoDimensions{1281, 721}));
   EXPECT_EQ(camera.formats[0].minFrameRate, 5);
   EXPECT_EQ(camera.formats[0].maxFrameRate, 29.97);
   EXPECT_EQ(camera.pattern, SimulatedPattern::Gradient);
   EXPECT_TRUE(camera.isDefault);
   EXPECT_EQ(camera.fail.input, -11852);
   EXPECT_EQ(camera.fail.unplugAfterFrames, 7u);
   EXPECT_EQ(camera.fail.resizeAfterFrames, 8u);
   EXPECT_EQ(camera.fail.lockEvery, 9u);
   ASSERT_EQ(simulation.microphones.size(), 1u);
   const SimulatedMicrophone &microphone = simulation.microphones[0];
   EXPECT_EQ(microphone.name, "Desk Microphone");
   EXPECT_EQ(microphone.uniqueId, "sim-mic-1");
   EXPECT_EQ(microphone.inputStreams, 2u);
   EXPECT_EQ(microphone.toneHz, 997.5);
   EXPECT_EQ(microphone.level, 0.25);
   EXPECT_TRUE(microphone.isDefault);
   EXPECT_EQ(microphone.fail.streams, 1);
   EXPECT_EQ(microphone.fail.name, 2);
   EXPECT_EQ(microphone.fail.uid, -3);
   EXPECT_EQ(microphone.fail.unplugAfterBuffers, 4u);
   EXPECT_EQ(simulation.audioHardwareFail.size, 560947818);
   EXPECT_EQ(simulation.audioHardwareFail.ids, -50);
   EXPECT_EQ(simulation.clock, SimulatedClock::Fast);
   EXPECT_THAT(simulation.warnings, IsEmpty());
}

TEST(SimulationFile, EveryKeyButNameAndUniqueIdMayBeLeftOut) {
   const Simulation simulation =
      Parsed(R"({"cameras":[{"name":"c","uniqueId":"1"}],"microphones":[{"name":"m","uniqueId":"2"}]})");
   const SimulatedCamera &camera = simulation.cameras.at(0);
   ASSERT_EQ(camera.formats.size(), 2u);
   EXPECT_EQ(camera.formats[0].mediaSubType, 0x34323066u);
   EXPECT_EQ(camera.formats[0].dimensions, (VideoDimensions{640, 480}));
   EXPECT_EQ(camera.formats[1].dimensions, (VideoDimensions{1280, 720}));
   EXPECT_EQ(camera.pattern, SimulatedPattern::Counter);
   EXPECT_FALSE(camera.isDefault);
   EXPECT_EQ(camera.fail.input, 0);
   EXPECT_EQ(camera.fail.unplugAfterFrames, 0u);
   const SimulatedMicrophone &microphone = simulation.microphones.at(0);
   EXPECT_EQ(microphone.inputStreams, 1u);
   EXPECT_EQ(microphone.toneHz, 440);
   EXPECT_EQ(microphone.level, 0.5);
   EXPECT_EQ(microphone.fail.streams, 0);
   EXPECT_EQ(simulation.audioHardwareFail.size, 0);
   EXPECT_EQ(simulation.clock, SimulatedClock::Real);
}

TEST(SimulationFile, AnEmptyFormatHasDefaultsToo) {
   const Simulation simulation = Parsed(CameraWith(R"("formats":[{}, {"maxFrameRate":0.5}])"));
   ASSERT_EQ(simulation.cameras[0].formats.size(), 2u);
   EXPECT_EQ(simulation.cameras[0].formats[0].mediaSubType, FourCC("420f"));
   EXPECT_EQ(simulation.cameras[0].formats[0].dimensions, (VideoDimensions{1280, 720}));
   EXPECT_EQ(simulation.cameras[0].formats[0].minFrameRate, 1);
   EXPECT_EQ(simulation.cameras[0].formats[0].maxFrameRate, 30);
   EXPECT_EQ(simulation.cameras[0].formats[1].minFrameRate, 0.5) << "the default follows a low maximum";
   EXPECT_THAT(Parsed(CameraWith(R"("formats":[])")).cameras[0].formats, IsEmpty());
}

TEST(SimulationFile, AnEmptyObjectIsAMachineWithoutDevices) {
   const Simulation simulation = Parsed("{}");
   EXPECT_THAT(simulation.cameras, IsEmpty());
   EXPECT_THAT(simulation.microphones, IsEmpty());
   EXPECT_THAT(Parsed("\xEF\xBB\xBF{ } // with a byte order mark").cameras, IsEmpty());
}

TEST(SimulationFile, TextsAreUtf8OfAnyLengthEmptyToo) {
   const std::string longName(100'000, 'n');
   const Simulation simulation = Parsed(R"({"cameras":[{"name":"","uniqueId":""},{"name":")" + longName +
                                        "\",\"uniqueId\":\"\xC3\xA9\xF0\x9F\x93\xB7\"}]}");
   EXPECT_EQ(simulation.cameras[0].name, "");
   EXPECT_EQ(simulation.cameras[0].uniqueId, "");
   EXPECT_EQ(simulation.cameras[1].name, longName);
   EXPECT_EQ(simulation.cameras[1].uniqueId, "\xC3\xA9\xF0\x9F\x93\xB7");
}

TEST(SimulationFile, DoubledUniqueIdsAreTolerated) {
   const Simulation simulation = Parsed(R"({"cameras":[{"name":"a","uniqueId":"x"},{"name":"b","uniqueId":"x"}]})");
   EXPECT_EQ(simulation.cameras.size(), 2u);
   EXPECT_THAT(simulation.warnings, IsEmpty());
}

TEST(SimulationFile, UnknownAndDoubledKeysAreToleratedWithAWarning) {
   const Simulation simulation =
      Parsed("{\n  \"cameras\": [ { \"name\": \"a\", \"uniqueId\": \"b\",\n"
             "    \"patern\": 1, \"default\": false, \"default\": true } ],\n  \"x\": {}\n}");
   EXPECT_THAT(simulation.warnings, ElementsAre("3:36: cameras[0].default is given twice; the last one counts",
                                                "3:5: unknown key \"patern\" in cameras[0]", "4:3: unknown key \"x\""));
   EXPECT_TRUE(simulation.cameras[0].isDefault);
}

TEST(SimulationFile, SeveralDefaultsGetAWarning) {
   const Simulation simulation =
      Parsed(R"({"cameras":[{"name":"a","uniqueId":"1","default":true},{"name":"b","uniqueId":"2","default":true}]})");
   EXPECT_THAT(simulation.warnings, ElementsAre("1:1: 2 cameras are the default; the first of them counts"));
}

TEST(SimulationFile, AFileFullOfUnknownKeysGetsTwentyWarnings) {
   std::string text = "{";
   for (int i = 0; i < 50'000; ++i) {
      text += "\"k" + std::to_string(i) + "\":0,\n";
   }
   text.resize(text.size() - 2);
   EXPECT_EQ(Parsed(text + "}").warnings.size(), 20u);
}

TEST(SimulationFile, AMistakeIsToldWithItsPlaceAndReason) {
   EXPECT_EQ(Complaint("{\n  \"cameras\": [\n    { \"uniqueId\": \"b\" } ] }"), "3:5: cameras[0].name is missing");
   EXPECT_EQ(Complaint("{ \"microphones\": [ { \"name\": \"a\" } ] }"), "1:20: microphones[0].uniqueId is missing");
   EXPECT_EQ(Complaint("[]"), "1:1: the file must be an object, { ... }");
   EXPECT_EQ(Complaint("\xEF\xBB\xBF []"), "1:2: the file must be an object, { ... }");
   EXPECT_EQ(Complaint("{\"cameras\": {}}"), "1:13: cameras must be a list, [ ... ]");
   EXPECT_EQ(Complaint("{\"cameras\": [ 3 ]}"), "1:15: cameras[0] must be an object, { ... }");
   EXPECT_EQ(Complaint("{\"clock\": /* here: */ \"slow\"}"), "1:23: clock must be one of \"real\", \"fast\"");
   EXPECT_EQ(Complaint("{\"audioHardware\":\n{\"fail\": { \"size\": 2147483648 } }}"),
             "2:20: audioHardware.fail.size must be a whole number from -2147483648 to 2147483647");
   // Columns are characters, not bytes.
   EXPECT_EQ(Complaint("{\"cameras\":[{\"name\":\"\xC3\xA9\xC3\xA9\",\"uniqueId\":null}]}"),
             "1:37: cameras[0].uniqueId must be a text");
}

TEST(SimulationFile, EachKeyRefusesWhatItCannotBe) {
   // A ^ marks the place that the complaint has to name.
   const std::pair<std::string, const char *> cases[] = {
      {R"("formats":[{"width":^-1}])", "cameras[0].formats[0].width must be a whole number from 0 to 16384"},
      {R"("formats":[{"width":^16385}])", "cameras[0].formats[0].width must be a whole number from 0 to 16384"},
      {R"("formats":[{"height":^1.5}])", "cameras[0].formats[0].height must be a whole number from 0 to 16384"},
      {R"("formats":[{"height":^"1"}])", "cameras[0].formats[0].height must be a whole number from 0 to 16384"},
      {R"("formats":[{"maxFrameRate":^1001}])", "cameras[0].formats[0].maxFrameRate must be a number from 0 to 1000"},
      {R"("formats":[{},^{"minFrameRate":31}])",
       "cameras[0].formats[1].minFrameRate must not be above maxFrameRate, 30"},
      {R"("formats":[{"pixelFormat":^"420"}])",
       "cameras[0].formats[0].pixelFormat must be a text of four ASCII characters such as \"420f\""},
      {R"("formats":[{"pixelFormat":^"42\u001f0"}])",
       "cameras[0].formats[0].pixelFormat must be a text of four ASCII characters such as \"420f\""},
      {R"("formats":[{"pixelFormat":^"42é"}])",
       "cameras[0].formats[0].pixelFormat must be a text of four ASCII characters such as \"420f\""},
      {R"("formats":[{"pixelFormat":^875704422}])",
       "cameras[0].formats[0].pixelFormat must be a text of four ASCII characters such as \"420f\""},
      {R"("pattern":^"dots")", "cameras[0].pattern must be one of \"bars\", \"gradient\", \"noise\", \"counter\""},
      {R"("default":^1)", "cameras[0].default must be true or false"},
      {R"("fail":{"lockEvery":^-1})", "cameras[0].fail.lockEvery must be a whole number from 0 to 4294967295"},
      {R"("fail":^true)", "cameras[0].fail must be an object, { ... }"},
   };
   for (const auto &[marked, complaint] : cases) {
      std::string text = CameraWith(marked);
      const size_t offset = text.find('^');
      text.erase(offset, 1);
      EXPECT_EQ(Complaint(text), "1:" + std::to_string(offset + 1) + ": " + complaint);
   }
   EXPECT_THAT(Complaint(R"({"microphones":[{"name":"","uniqueId":"","level":1.01}]})"),
               HasSubstr(": microphones[0].level must be a number from 0 to 1"));
   EXPECT_THAT(Complaint(R"({"microphones":[{"name":"","uniqueId":"","toneHz":-1}]})"),
               HasSubstr(": microphones[0].toneHz must be a number from 0 to 96000"));
   EXPECT_THAT(Complaint(R"({"microphones":[{"name":"","uniqueId":"","inputStreams":65}]})"),
               HasSubstr(": microphones[0].inputStreams must be a whole number from 0 to 64"));
}

TEST(SimulationFile, SyntaxErrorsAreToldWithTheirPlace) {
   EXPECT_EQ(Complaint(""), "1:1: the file is empty");
   EXPECT_EQ(Complaint(" \n "), "1:1: the file is empty");
   EXPECT_THAT(Complaint("{\n  \"cameras\" [] }"), StartsWith("2:13: syntax error"));
   EXPECT_THAT(Complaint("{} x"), StartsWith("1:4: syntax error"));
   EXPECT_THAT(Complaint("{\"a\": 1e999}"), HasSubstr("number overflow"));
   EXPECT_THAT(Complaint("{\"a\": \"\xFF\"}"), HasSubstr("invalid string: ill-formed UTF-8 byte"));
   EXPECT_THAT(Complaint("{\"a\": \"\\ud800\"}"), HasSubstr("surrogate"));
   EXPECT_THAT(Complaint("{\"a\": 1, }"), HasSubstr("syntax error"));
   EXPECT_THAT(Complaint("{ /* never closed"), HasSubstr("syntax error"));
   EXPECT_THAT(Complaint(std::string("{\0}", 3)), HasSubstr("syntax error"));
   EXPECT_LT(Complaint("{\"" + std::string(1'000'000, 'x')).size(), 250u) << "a reason stays a line";
   EXPECT_EQ(Complaint("[" + std::string(1000, '7') + "]"), "1:1001: number overflow parsing");
}

TEST(SimulationFile, EveryTruncationOfAFileIsRefused) {
   const std::string whole = CameraWith(R"("formats":[{"width":640}],"default":true,"pattern":"bars")");
   for (size_t length = 0; length < whole.size(); ++length) {
      Simulation simulation;
      EXPECT_FALSE(ParseSimulation(whole.substr(0, length), &simulation).ok()) << length;
   }
}

TEST(SimulationFile, HostileDepthAndNumberOfValuesAreRefused) {
   EXPECT_EQ(Complaint(std::string(1'000'000, '[')), "1:33: nested deeper than 32 levels");
   std::string many = "{\"a\":[";
   for (int i = 0; i < 1'000'100; ++i) {
      many += "0,";
   }
   EXPECT_THAT(Complaint(many + "0]}"), HasSubstr("more than 1000000 values"));
}

TEST(BuiltInSimulation, HasTheDevicesThatEveryDemoNeeds) {
   const Simulation simulation = BuiltInSimulation();
   ASSERT_EQ(simulation.cameras.size(), 3u);
   EXPECT_EQ(simulation.cameras[1].name, simulation.cameras[2].name);
   EXPECT_NE(simulation.cameras[0].name, simulation.cameras[1].name);
   for (const SimulatedCamera &camera : simulation.cameras) {
      EXPECT_GE(camera.formats.size(), 2u) << camera.uniqueId;
   }
   ASSERT_EQ(simulation.microphones.size(), 3u);
   EXPECT_EQ(simulation.microphones[0].name, simulation.microphones[1].name);
   EXPECT_EQ(simulation.microphones[0].inputStreams, 1u);
   EXPECT_EQ(simulation.microphones[1].inputStreams, 1u);
   EXPECT_EQ(simulation.microphones[2].inputStreams, 0u);
}

} // namespace
} // namespace osal
