#pragma once

#include "osal/Capture.h"
#include "tests/conformance/DevicesConformance.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace conformance {

/// One capture backend in a world that the suite controls. Owner: the test case.
class CaptureBackend {
public:
   virtual ~CaptureBackend() = default;
   /// Plugs and unplugs until exactly `scene` is there, and returns when it can be opened. The first camera and the
   /// first input are the defaults. Cameras deliver 10 frames a second or more, in any of their sizes that is asked
   /// for; microphones deliver a sine of ToneHz and ToneLevel.
   virtual void Show(const Scene &scene) = 0;
   /// Returns when threads that what was let go of had borrowed from the system are gone; those of its own are.
   virtual void Settle() {}
   [[nodiscard]] virtual osal::Capture &Capture() = 0;
   [[nodiscard]] virtual double ToneHz() const = 0;
   [[nodiscard]] virtual double ToneLevel() const = 0; ///< amplitude, 1 is full scale
};

struct CaptureCase {
   std::string name;
   std::function<std::unique_ptr<CaptureBackend>()> make; ///< null when it can't run here: the test skips
   std::string whyNot = {};                               ///< what is missing then
   friend std::ostream &operator<<(std::ostream &out, const CaptureCase &it) { return out << it.name; }
};

/// What every backend of osal::Capture promises. Instantiate it with one CaptureCase for each backend.
class CaptureConformance : public testing::TestWithParam<CaptureCase> {
protected:
   void SetUp() override;

   /// An input for a device of the scene that SetUp shows; null, with a failure, if it can't be had.
   std::shared_ptr<osal::CaptureDeviceInput> Input(const std::string &uniqueId, osal::MediaType kind);
   osal::Capture &Capture() { return mBackend->Capture(); }
   /// Threads of this process while nothing runs.
   size_t Threads();

   std::unique_ptr<CaptureBackend> mBackend;
};

} // namespace conformance
