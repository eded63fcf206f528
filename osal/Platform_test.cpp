#include "osal/Platform.h"

#include "osal/unavailable/UnavailableCapture.h"
#include "osal/unavailable/UnavailableDevices.h"
#include "osal/unavailable/UnavailablePreferences.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

namespace osal {
namespace {

constexpr DeviceType kTypes[] = {DeviceType::BuiltInWideAngleCamera, DeviceType::ExternalUnknown};

TEST(Platform, AnUnknownBackendNameFailsEveryCallAndNamesTheValue) {
   setenv("MAVR_OSAL", "Simulated", 1);
   Devices &devices = Platform::devices();
   EXPECT_EQ(devices.name(), "none");

   CaptureDeviceList cameras(3);
   const Status cameraStatus =
      devices.discoverySession(kTypes, MediaType::Video, DevicePosition::Unspecified, &cameras);
   EXPECT_FALSE(cameraStatus.ok());
   EXPECT_EQ(cameraStatus.reason, "MAVR_OSAL is \"Simulated\"; known values are \"native\" and \"simulated\"");
   EXPECT_TRUE(cameras.empty());

   std::unique_ptr<AudioHardware> hardware;
   EXPECT_EQ(devices.audioHardware(&hardware).reason, cameraStatus.reason);
   EXPECT_EQ(hardware, nullptr);

   const std::vector<Finding> findings = devices.diagnose();
   ASSERT_EQ(findings.size(), 1u);
   EXPECT_EQ(findings[0].verdict, Finding::Verdict::Failure);
   EXPECT_EQ(findings[0].result, cameraStatus.reason);
   EXPECT_FALSE(findings[0].advice.empty());
}

TEST(Platform, TheEnvironmentIsLookedAtOnce) {
   setenv("MAVR_OSAL", "one", 1);
   Devices &first = Platform::devices();
   setenv("MAVR_OSAL", "two", 1);
   EXPECT_EQ(&Platform::devices(), &first);
   EXPECT_NE(first.diagnose()[0].result.find("\"one\""), std::string::npos);
}

TEST(Platform, CaptureOfAnUnknownBackendFailsEveryCallForADeviceAndNamesTheValue) {
   setenv("MAVR_OSAL", "none", 1);
   Capture &capture = Platform::capture();
   EXPECT_EQ(&Platform::capture(), &capture);
   const std::string why = "MAVR_OSAL is \"none\"; known values are \"native\" and \"simulated\"";
   std::shared_ptr<const CaptureDevice> device;
   EXPECT_EQ(capture.deviceWithUniqueID("id", MediaType::Video, &device).reason, why);
   EXPECT_EQ(capture.defaultDeviceWithMediaType(MediaType::Audio, &device).reason, why);
   EXPECT_EQ(device, nullptr);
   std::shared_ptr<CaptureDeviceInput> input;
   EXPECT_FALSE(capture.deviceInputWithDevice(device, MediaType::Video, &input).ok());
   const auto session = capture.makeSession();
   ASSERT_NE(session, nullptr);
   EXPECT_FALSE(session->canAddInput(input));
   EXPECT_TRUE(session->canAddOutput(capture.makeVideoDataOutput()));
   EXPECT_TRUE(session->startRunning().ok());
   EXPECT_FALSE(session->health().ok());
}

TEST(Platform, SimulatedCaptureHasTheDevicesOfTheSimulatedListing) {
   setenv("MAVR_OSAL", "simulated", 1);
   unsetenv("MAVR_SIMULATION");
   std::shared_ptr<const CaptureDevice> device;
   ASSERT_TRUE(Platform::capture().defaultDeviceWithMediaType(MediaType::Video, &device).ok());
   EXPECT_EQ(device->uniqueID(), "sim-cam-1");
   CaptureDeviceList cameras;
   ASSERT_TRUE(
      Platform::devices().discoverySession(kTypes, MediaType::Video, DevicePosition::Unspecified, &cameras).ok());
   std::shared_ptr<CaptureDeviceInput> input;
   EXPECT_TRUE(Platform::capture().deviceInputWithDevice(cameras.at(2), MediaType::Video, &input).ok());
}

TEST(Platform, ScopedCaptureNests) {
   const auto outer = MakeUnavailableCapture(Status::Error(1, "outer"));
   const auto inner = MakeUnavailableCapture(Status::Error(2, "inner"));
   const ScopedCapture outerInForce(*outer);
   {
      const ScopedCapture innerInForce(*inner);
      EXPECT_EQ(&Platform::capture(), inner.get());
   }
   EXPECT_EQ(&Platform::capture(), outer.get());
}

TEST(Platform, ScopedDevicesNest) {
   const auto outer = MakeUnavailableDevices(Status::Error(1, "outer"), "");
   const auto inner = MakeUnavailableDevices(Status::Error(2, "inner"), "");
   const ScopedDevices outerInForce(*outer);
   {
      const ScopedDevices innerInForce(*inner);
      EXPECT_EQ(&Platform::devices(), inner.get());
   }
   EXPECT_EQ(&Platform::devices(), outer.get());
}

TEST(Platform, ScopedPreferencesNest) {
   const ScopedPreferences outer(
      [](std::string_view id) { return MakeUnavailablePreferences(Status::Error(1, "outer " + std::string(id))); });
   {
      const ScopedPreferences inner(
         [](std::string_view) { return MakeUnavailablePreferences(Status::Error(2, "inner")); });
      EXPECT_EQ(Platform::openPreferences("d")->takeTrouble().reason, "inner");
   }
   EXPECT_EQ(Platform::openPreferences("d")->takeTrouble().reason, "outer d");
}

TEST(UnavailablePreferences, KeepNothingAndSayWhyOnce) {
   const auto preferences = MakeUnavailablePreferences(Status::Error(ENOENT, "no home"));
   EXPECT_EQ(preferences->setAppValue("key", int64_t{1}).reason, "no home");
   bool found = true;
   EXPECT_EQ(preferences->getAppIntegerValue("key", &found), 0);
   EXPECT_FALSE(found);
   found = true;
   EXPECT_FALSE(preferences->getAppBooleanValue("key", &found));
   EXPECT_FALSE(found);
   EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
   EXPECT_EQ(preferences->takeTrouble().reason, "no home");
   EXPECT_TRUE(preferences->takeTrouble().ok());
   EXPECT_FALSE(preferences->appSynchronize().ok());
   EXPECT_EQ(preferences->location(), "(none)");
}

} // namespace
} // namespace osal
