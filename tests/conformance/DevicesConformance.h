#pragma once

#include "osal/Devices.h"

#include <gtest/gtest.h>

#include <functional>
#include <iosfwd>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace conformance {

/// What a scene shows: the suite asks a backend to build it and then looks for exactly this.
struct SceneCamera {
   std::string name;
   std::string uniqueId;
   std::vector<osal::VideoDimensions> sizes; ///< at least these are among the formats
};
struct SceneMicrophone {
   std::string name;
   std::string uniqueId;
   bool isInput = true;
};
struct Scene {
   std::vector<SceneCamera> cameras;
   std::vector<SceneMicrophone> microphones;
};

/// One device backend in a world that the suite controls. Owner: the test case.
class DeviceBackend {
public:
   virtual ~DeviceBackend() = default;
   /// Plugs and unplugs until exactly `scene` is there, and returns when it can be listed.
   virtual void Show(const Scene &scene) = 0;
   [[nodiscard]] virtual osal::Devices &Devices() = 0;
   /// Whether devices are listed in the order of the scene; else the suite compares them sorted.
   [[nodiscard]] virtual bool KeepsOrder() const { return true; }
};

struct DeviceCase {
   std::string name;
   std::function<std::unique_ptr<DeviceBackend>()> make; ///< null when it can't run here: the test skips
   std::string whyNot = {};                              ///< what is missing then
   friend std::ostream &operator<<(std::ostream &out, const DeviceCase &it) { return out << it.name; }
};

/// What every backend of osal::Devices promises about listing. Instantiate it with one DeviceCase for each backend.
class DevicesConformance : public testing::TestWithParam<DeviceCase> {
protected:
   void SetUp() override {
      mBackend = GetParam().make();
      if (mBackend == nullptr) {
         GTEST_SKIP() << GetParam().whyNot;
      }
   }

   std::unique_ptr<DeviceBackend> mBackend;
};

} // namespace conformance
