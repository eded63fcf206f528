#include "osal/unavailable/UnavailableDevices.h"

#include <utility>

namespace osal {
namespace {

class UnavailableDevices final : public Devices {
public:
   UnavailableDevices(Status why, std::string advice)
       : mWhy(std::move(why))
       , mAdvice(std::move(advice)) {}

   std::string name() const override { return "none"; }

   Status discoverySession(std::span<const DeviceType>, MediaType, DevicePosition,
                           CaptureDeviceList *devices) override {
      devices->clear();
      return mWhy;
   }

   Status audioHardware(std::unique_ptr<AudioHardware> *hardware) override {
      hardware->reset();
      return mWhy;
   }

   std::vector<Finding> diagnose() override { return {{Finding::Verdict::Failure, "platform", mWhy.reason, mAdvice}}; }

private:
   const Status mWhy;
   const std::string mAdvice;
};

} // namespace

std::unique_ptr<Devices> MakeUnavailableDevices(Status why, std::string advice) {
   return std::make_unique<UnavailableDevices>(std::move(why), std::move(advice));
}

} // namespace osal
