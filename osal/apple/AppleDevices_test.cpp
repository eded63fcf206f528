#include "osal/apple/AppleDevices.h"

#include "osal/apple/fakes/Fakes.h"

#include <gmock/gmock.h>

namespace osal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DeviceType kBoth[] = {DeviceType::BuiltInWideAngleCamera, DeviceType::ExternalUnknown};

class AppleDevicesTest : public testing::Test {
protected:
   ~AppleDevicesTest() override {
      fakes::ShowDevices({}, {});
      fakes::RaiseAtDevices(false);
      fakes::SetAccess(true, fakes::Access::Authorized);
      fakes::SetAccess(false, fakes::Access::Authorized);
   }

   std::vector<std::string> Listed(std::span<const DeviceType> types,
                                   DevicePosition position = DevicePosition::Unspecified) {
      CaptureDeviceList cameras;
      EXPECT_TRUE(mDevices->discoverySession(types, MediaType::Video, position, &cameras).ok());
      std::vector<std::string> ids;
      for (const auto &camera : cameras) {
         ids.push_back(camera->uniqueID());
      }
      return ids;
   }

   const std::unique_ptr<Devices> mDevices = MakeAppleDevices();
};

TEST_F(AppleDevicesTest, ItIsNamedAfterTheFramework) {
   EXPECT_EQ(mDevices->name(), "avfoundation");
}

TEST_F(AppleDevicesTest, OnlyTheAskedTypesAndPositionAreListed) {
   fakes::ShowDevices({{"Built-in", "one"}, {"On the desk", "two", {{}}, true}}, {});
   EXPECT_THAT(Listed(kBoth), ElementsAre("one", "two"));
   EXPECT_THAT(Listed(std::span(kBoth).subspan(0, 1)), ElementsAre("one"));
   EXPECT_THAT(Listed(std::span(kBoth).subspan(1, 1)), ElementsAre("two"));
   EXPECT_THAT(Listed({}), IsEmpty());
   EXPECT_THAT(Listed(kBoth, DevicePosition::Front), IsEmpty());
}

TEST_F(AppleDevicesTest, AFormatComesOnceForEachOfItsRatesAndOnceWithoutAny) {
   fakes::ShowDevices({{"Camera", "cam", {{0x34323076, 640, 480, {{1, 30}, {60, 60}}}, {0x32767579, 1920, 1080, {}}}}},
                      {});
   CaptureDeviceList cameras;
   ASSERT_TRUE(mDevices->discoverySession(kBoth, MediaType::Video, DevicePosition::Unspecified, &cameras).ok());
   const std::vector<CaptureDeviceFormat> formats = cameras.at(0)->formats();
   ASSERT_EQ(formats.size(), 3u);
   EXPECT_EQ(formats[0].mediaSubType, FourCC("420v"));
   EXPECT_EQ(formats[0].dimensions, (VideoDimensions{640, 480}));
   EXPECT_EQ(formats[0].minFrameRate, 1);
   EXPECT_EQ(formats[0].maxFrameRate, 30);
   EXPECT_EQ(formats[1].dimensions, (VideoDimensions{640, 480}));
   EXPECT_EQ(formats[1].minFrameRate, 60);
   EXPECT_EQ(formats[2].mediaSubType, FourCC("2vuy"));
   EXPECT_EQ(formats[2].dimensions, (VideoDimensions{1920, 1080}));
   EXPECT_EQ(formats[2].maxFrameRate, 0);
}

TEST_F(AppleDevicesTest, WhatTheFrameworkRaisesIsAStatusAndNoList) {
   fakes::ShowDevices({{"Camera", "cam"}}, {});
   fakes::RaiseAtDevices(true);
   CaptureDeviceList cameras(2);
   const Status status = mDevices->discoverySession(kBoth, MediaType::Video, DevicePosition::Unspecified, &cameras);
   EXPECT_NE(status.code, 0);
   EXPECT_EQ(status.reason, "the cameras cannot be listed: the camera service has died");
   EXPECT_THAT(cameras, IsEmpty());

   const std::vector<Finding> findings = mDevices->diagnose();
   EXPECT_EQ(findings.back().verdict, Finding::Verdict::Failure);
   EXPECT_EQ(findings.back().result, "AVFoundation fails: the cameras cannot be listed: the camera service has died.");
}

TEST_F(AppleDevicesTest, DiagnoseTellsWhatTheUserHasAllowed) {
   using Verdict = Finding::Verdict;
   const std::pair<fakes::Access, Verdict> cases[] = {{fakes::Access::Authorized, Verdict::Ok},
                                                      {fakes::Access::NotDetermined, Verdict::Warning},
                                                      {fakes::Access::Denied, Verdict::Failure},
                                                      {fakes::Access::Restricted, Verdict::Failure}};
   for (const auto &[access, verdict] : cases) {
      fakes::SetAccess(true, access);
      fakes::SetAccess(false, fakes::Access::Authorized);
      std::vector<Finding> findings = mDevices->diagnose();
      ASSERT_EQ(findings.size(), 3u);
      EXPECT_EQ(findings[0].check, "camera access");
      EXPECT_EQ(findings[0].verdict, verdict);
      EXPECT_EQ(findings[0].advice.empty(), verdict == Verdict::Ok);
      EXPECT_EQ(findings[1].verdict, Verdict::Ok);
      fakes::SetAccess(true, fakes::Access::Authorized);
      fakes::SetAccess(false, access);
      findings = mDevices->diagnose();
      EXPECT_EQ(findings[0].verdict, Verdict::Ok);
      EXPECT_EQ(findings[1].check, "microphone access");
      EXPECT_EQ(findings[1].verdict, verdict);
   }
}

TEST_F(AppleDevicesTest, DiagnoseCountsCameras) {
   EXPECT_EQ(mDevices->diagnose().back().result, "AVFoundation lists 0 cameras.");
   fakes::ShowDevices({{"Camera", "cam"}}, {});
   EXPECT_EQ(mDevices->diagnose().back().result, "AVFoundation lists 1 camera.");
   EXPECT_EQ(mDevices->diagnose().back().advice, "");
}

} // namespace
} // namespace osal
