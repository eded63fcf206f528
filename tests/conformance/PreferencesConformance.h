#pragma once

#include "osal/Preferences.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace conformance {

/// One preference backend: a store of its own, in which domains can be opened again and again. Owner: the test case.
class PreferenceBackend {
public:
   virtual ~PreferenceBackend() = default;
   [[nodiscard]] virtual std::unique_ptr<osal::Preferences> Open(std::string_view applicationId) = 0;
};

struct PreferenceCase {
   std::string name;
   std::function<std::unique_ptr<PreferenceBackend>()> make;
   friend std::ostream &operator<<(std::ostream &out, const PreferenceCase &it) { return out << it.name; }
};

/// What every backend of osal::Preferences promises. Instantiate it with one PreferenceCase for each backend.
class PreferencesConformance : public testing::TestWithParam<PreferenceCase> {
protected:
   std::unique_ptr<osal::Preferences> Open(std::string_view applicationId = "com.corvane.test") {
      return mBackend->Open(applicationId);
   }

   const std::unique_ptr<PreferenceBackend> mBackend = GetParam().make();
};

} // namespace conformance
