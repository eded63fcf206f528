#include "osal/posix/PosixPreferences.h"
#include "tests/conformance/PreferencesConformance.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/TempDir.h"

namespace conformance {
namespace {

template <typename Backend>
PreferenceCase Case(const char *name) {
   return {name, [] {
              return std::make_unique<Backend>();
           }};
}

class InMemory final : public PreferenceBackend {
public:
   std::unique_ptr<osal::Preferences> Open(std::string_view applicationId) override {
      return osal::Platform::openPreferences(applicationId);
   }

private:
   kit::FakePreferences mStore;
};

class Posix final : public PreferenceBackend {
public:
   std::unique_ptr<osal::Preferences> Open(std::string_view applicationId) override {
      return osal::MakePosixPreferences(mFolder / (std::string(applicationId) + ".plist"));
   }

private:
   kit::TempDir mFolder;
};
INSTANTIATE_TEST_SUITE_P(Backends, PreferencesConformance,
                         testing::Values(Case<InMemory>("memory"), Case<Posix>("posix")),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
