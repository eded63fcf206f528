// 'mavr redirect' on the devices of a PipeWire daemon.

#include "tests/kit/PrivatePipewire.h"
#include "tests/kit/Process.h"
#include "tests/kit/TempDir.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

using kit::PrivatePipewire;
using std::chrono::seconds;

class PipewireRedirect : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
   }

   // The report, after the exit status was looked at.
   nlohmann::json Redirect(const PrivatePipewire &daemon, const std::vector<std::string> &options) {
      std::vector<std::string> arguments = {MAVR_TOOL, "redirect", "--seconds", "2", "--out", mFolder / "report"};
      arguments.insert(arguments.end(), options.begin(), options.end());
      std::vector<std::string> environment = daemon.Environment();
      for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME"}) {
         environment.push_back(std::string(name) + "=" + mFolder.Path());
      }
      kit::Process tool(arguments, environment, mFolder / "errors");
      const auto status = tool.Wait(seconds(90));
      EXPECT_EQ(status, 0) << kit::ReadFile(mFolder / "errors");
      return nlohmann::json::parse(kit::ReadFile(mFolder / "report/report.json"), nullptr, false);
   }

   const kit::TempDir mFolder;
};

TEST_F(PipewireRedirect, PicturesAndSoundArriveAndAreAccountedFor) {
   const PrivatePipewire daemon;
   const kit::VirtualCamera camera(daemon, "cam", {"--description", "Desk Camera", "--sizes", "1280x720"});
   const kit::VirtualMicrophone microphone(daemon, "mic", {"--description", "Desk Microphone"});
   for (const bool isReliable : {false, true}) {
      SCOPED_TRACE(isReliable);
      const auto report = Redirect(daemon, isReliable ? std::vector<std::string>{"--reliable-video", "--loss", "10"}
                                                      : std::vector<std::string>{"--loss", "10"});
      ASSERT_TRUE(report.is_object());
      EXPECT_TRUE(report["complete"].get<bool>());
      EXPECT_TRUE(report["accountAgrees"].get<bool>());
      const auto &video = report["video"];
      EXPECT_EQ(video["device"], "Desk Camera");
      // How many come in two seconds is the machine's affair; where each of them went is ours.
      EXPECT_GT(video["framesSent"], 0);
      EXPECT_EQ(video["framesComplete"].get<int>() + video["framesLost"].get<int>(), video["framesSent"].get<int>());
      EXPECT_EQ(video["datagramsLost"], video["datagramsDropped"]);
      if (isReliable) {
         EXPECT_EQ(video["datagramsLost"], 0);
      }
      EXPECT_TRUE(video["numbersInPictures"].is_null()) << "this camera paints none";
      EXPECT_GT(report["audio"]["chunksComplete"], 0);
      EXPECT_EQ(report["audio"]["chunksLost"], 0);
   }
}

} // namespace
