#include "osal/unavailable/UnavailableCapture.h"

#include "osal/common/BasicCapture.h"

#include <utility>

namespace osal {
namespace {

class UnavailableOpener final : public StreamOpener {
public:
   explicit UnavailableOpener(Status why)
       : mWhy(std::move(why)) {}
   std::string_view Backend() const override { return "none"; }
   Status Open(const StreamRequest &, std::unique_ptr<CaptureStream> *stream) override {
      stream->reset();
      return mWhy;
   }

private:
   const Status mWhy;
};

class UnavailableCapture final : public BasicCapture {
public:
   explicit UnavailableCapture(Status why)
       : BasicCapture(std::make_shared<UnavailableOpener>(why))
       , mWhy(std::move(why)) {}

protected:
   Status FindDevice(std::string_view, MediaType, std::shared_ptr<const CaptureDevice> *) override { return mWhy; }
   Status FindDefault(MediaType, std::shared_ptr<const CaptureDevice> *) override { return mWhy; }
   Status CheckAccess(const CaptureDevice &, MediaType) override { return mWhy; }

private:
   const Status mWhy;
};

} // namespace

std::unique_ptr<Capture> MakeUnavailableCapture(Status why) {
   return std::make_unique<UnavailableCapture>(std::move(why));
}

} // namespace osal
