#include "tests/conformance/PreferencesConformance.h"
#include "tests/kit/FakePreferences.h"

namespace conformance {
namespace {

class InMemory final : public PreferenceBackend {
public:
   std::unique_ptr<osal::Preferences> Open(std::string_view applicationId) override {
      return osal::Platform::openPreferences(applicationId);
   }

private:
   kit::FakePreferences mStore;
};

INSTANTIATE_TEST_SUITE_P(Backends, PreferencesConformance,
                         testing::Values(PreferenceCase{"memory",
                                                        [] {
                                                           return std::make_unique<InMemory>();
                                                        }}),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
