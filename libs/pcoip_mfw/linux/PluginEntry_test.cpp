#include "libs/pcoip_mfw/linux/PluginEntry.h"

#include "lib/log/Log.h"
#include "lib/mfw/common/logger.h"
#include "libs/pcoip_mfw/ChannelTestKit.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/TempDir.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

// ---- The platform gate ----------------------------------------------------------------------------------------------

TEST(SupportsRelease, ComparesTheNumberBeforeTheFirstPoint) {
   EXPECT_FALSE(SupportsRelease("11.4.2"));
   EXPECT_TRUE(SupportsRelease("12.0.0"));
   EXPECT_TRUE(SupportsRelease("22.6.0"));
   EXPECT_FALSE(SupportsRelease("11.99"));
   EXPECT_FALSE(SupportsRelease("0.1"));
   EXPECT_FALSE(SupportsRelease("-5.1"));
   EXPECT_TRUE(SupportsRelease("12."));
}

TEST(SupportsRelease, TextWithoutANumberIsZero) {
   EXPECT_FALSE(SupportsRelease("beta.1"));
   EXPECT_FALSE(SupportsRelease("."));
}

TEST(SupportsRelease, TextWithoutAPointOrNoneAtAllIsSupported) {
   EXPECT_TRUE(SupportsRelease("11"));
   EXPECT_TRUE(SupportsRelease(""));
   EXPECT_TRUE(SupportsRelease("unknown"));
   EXPECT_TRUE(SupportsRelease(nullptr));
}

// ---- Loading and unloading ------------------------------------------------------------------------------------------

struct Made {
   bool server;
   uint64_t context;
};
std::vector<Made> gMade;
int gDeleted = 0;
const char *gRelease = nullptr;
std::string gAsked;

class CountedInstance final : public PluginInstance {
public:
   ~CountedInstance() override { ++gDeleted; }
};

PluginInstance *MakeCounted(bool server, uint64_t context) {
   gMade.push_back({server, context});
   return new CountedInstance;
}

bool ReadRelease(const char *name, char *buffer, size_t size) {
   gAsked = name;
   if (gRelease == nullptr || size != 32) {
      return false;
   }
   std::strcpy(buffer, gRelease);
   return true;
}

class PluginTest : public testing::Test {
protected:
   PluginTest() {
      setenv("XDG_STATE_HOME", (mDir / "state").c_str(), 1);
      setenv("XDG_CONFIG_HOME", (mDir / "config").c_str(), 1);
      gMade.clear();
      gDeleted = 0;
      gRelease = nullptr;
      gAsked.clear();
   }
   ~PluginTest() override {
      logger::Release();
      ConfigSettings::Shutdown();
      Log_Stop();
   }

   [[nodiscard]] std::string Log() const {
      std::string log;
      std::error_code none;
      for (const auto &entry : std::filesystem::directory_iterator(mDir / "state/Logs/Corvane", none)) {
         log += kit::ReadFile(entry.path());
      }
      return log;
   }
   /// How often a message of the log library at level "info" has come.
   [[nodiscard]] int Count(const char *text) const {
      std::string line = std::string(" ") + text; // behind the thread's name; ends in its line feed
      const std::string log = Log();
      int count = 0;
      for (size_t at = log.find(line); at != std::string::npos; at = log.find(line, at + 1)) {
         const size_t start = log.rfind('\n', at) + 1;
         count += log.find("In(05)", start) < at ? 1 : 0;
      }
      return count;
   }

   const kit::TempDir mDir;
   kit::FakePreferences mSettings;
   kit::ObedientHost host;
   const ScopedPluginFactory mFactory{&MakeCounted};
   const ScopedReleaseReader mReleaseReader{&ReadRelease};
   uint64_t context = 1;
};

TEST_F(PluginTest, AgentIsLoadedAndUnloaded) {
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(context, 77U);
   EXPECT_TRUE(mfwServer.load());
   ASSERT_EQ(gMade.size(), 1U);
   EXPECT_TRUE(gMade[0].server);
   EXPECT_EQ(gMade[0].context, 77U);
   EXPECT_TRUE(gAsked.empty()) << "the agent does not look at the release";
   EXPECT_EQ(Count("Agent plugin loading.\n"), 1) << Log();
   EXPECT_EQ(Count("Creating new plugin instance.\n"), 1) << Log();
   EXPECT_EQ(Count("Created new plugin instance, storing reference.\n"), 1) << Log();
   EXPECT_EQ(Count("Reference to new plugin instance stored.\n"), 1) << Log();
   EXPECT_TRUE(ConfigSettings::IsInitialised());

   EXPECT_EQ(AgentPluginUnload(context), 1);
   EXPECT_EQ(Count("Agent plugin unloading.\n"), 1) << Log();
   EXPECT_EQ(Count("Deleting plugin instance.\n"), 1) << Log();
   EXPECT_EQ(gDeleted, 1);
   EXPECT_EQ(host.Unregistered(), std::vector<uint64_t>{77});
   EXPECT_FALSE(ConfigSettings::IsInitialised());
}

TEST_F(PluginTest, LinesComeInTheOrderOfTheirSteps) {
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(AgentPluginUnload(context), 1);
   EXPECT_EQ(AgentPluginUnload(context), 1);
   const std::string log = Log();
   size_t at = 0;
   for (const char *const text :
        {"Redirected MFW log output", "Agent plugin loading.\n", "pcoip_mfw init ok", "Creating new plugin instance.\n",
         "Created new plugin instance, storing reference.\n", "Reference to new plugin instance stored.\n",
         "Agent plugin unloading.\n", "Deleting plugin instance.\n", "pcoip_mfw exit called",
         "Agent plugin unloading.\n", "Unable to locate plugin instance for context.\n"}) {
      const size_t found = log.find(text, at);
      ASSERT_NE(found, std::string::npos) << text << " in " << log;
      at = found + 1;
   }
}

TEST_F(PluginTest, ClientIsLoadedAndUnloaded) {
   gRelease = "12.0.0";
   EXPECT_EQ(ClientPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(gAsked, "kern.osrelease");
   EXPECT_EQ(context, 77U);
   EXPECT_FALSE(mfwServer.load());
   ASSERT_EQ(gMade.size(), 1U);
   EXPECT_FALSE(gMade[0].server);
   EXPECT_EQ(Count("Client plugin loading.\n"), 1) << Log();
   EXPECT_EQ(ClientPluginUnload(context), 1);
   EXPECT_EQ(Count("Client plugin unloading.\n"), 1) << Log();
   EXPECT_EQ(gDeleted, 1);
}

TEST_F(PluginTest, ClientIsRefusedOnAnOldReleaseWithOneLine) {
   gRelease = "11.4.2";
   EXPECT_EQ(ClientPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 0);
   EXPECT_EQ(Count("MAVR is not supported on this platform release.\n"), 1) << Log();
   EXPECT_EQ(Count("Client plugin loading.\n"), 0) << Log();
   EXPECT_EQ(context, 1U) << "nothing else done";
   EXPECT_TRUE(gMade.empty());
   EXPECT_EQ(mfwHost.load(), nullptr);
}

TEST_F(PluginTest, ReleaseThatCannotBeReadIsSupported) {
   EXPECT_EQ(ClientPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(ClientPluginUnload(context), 1);
}

TEST_F(PluginTest, UnloadOfAContextTwiceSaysSoTheSecondTime) {
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(AgentPluginUnload(context), 1);
   EXPECT_EQ(Count("Unable to locate plugin instance for context.\n"), 0) << Log();
   EXPECT_EQ(AgentPluginUnload(context), 1);
   EXPECT_EQ(Count("Unable to locate plugin instance for context.\n"), 1) << Log();
   EXPECT_EQ(gDeleted, 1);
   EXPECT_EQ(host.Unregistered().size(), 1U) << "an unknown context does not leave the host";
}

// Required: the second load gets no registration, so its plugin is that of context 0.
TEST_F(PluginTest, SecondLoadMakesAPluginForContextZero) {
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   uint64_t second = 5;
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &second), 1);
   EXPECT_EQ(second, 0U);
   ASSERT_EQ(gMade.size(), 2U);
   EXPECT_EQ(gMade[1].context, 0U);
   EXPECT_EQ(AgentPluginUnload(0), 1);
   EXPECT_EQ(AgentPluginUnload(77), 1);
   EXPECT_EQ(gDeleted, 2);
}

CountedInstance *gDropped = nullptr;

// Required: it is dropped without being deleted.
TEST_F(PluginTest, PluginForAContextThatHasOneIsDropped) {
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, nullptr), 1);
   const ScopedPluginFactory keeping([](bool, uint64_t) -> PluginInstance * { return gDropped = new CountedInstance; });
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, nullptr), 1);
   EXPECT_EQ(Count("Reference to new plugin instance stored.\n"), 3) << "in both cases: " << Log();
   EXPECT_EQ(AgentPluginUnload(0), 1);
   EXPECT_EQ(gDeleted, 1) << "the first of that context";
   delete gDropped;
   EXPECT_EQ(AgentPluginUnload(77), 1);
}

TEST_F(PluginTest, FactoryOfThisLibraryHasNoPlugin) {
   EXPECT_EQ(CreatePluginInstance(true, 1), nullptr);
   EXPECT_EQ(CreatePluginInstance(false, 0), nullptr);
   const ScopedPluginFactory own(&CreatePluginInstance);
   EXPECT_EQ(AgentPluginLoad(&kit::ObedientHost::Table(), nullptr, &context), 1);
   EXPECT_EQ(AgentPluginUnload(context), 1);
   EXPECT_EQ(Count("Deleting plugin instance.\n"), 1) << Log();
   EXPECT_EQ(AgentPluginUnload(context), 1);
   EXPECT_EQ(Count("Unable to locate plugin instance for context.\n"), 1) << "it was registered, as null: " << Log();
}

TEST_F(PluginTest, HostWithoutATableIsLoadedWithoutAContext) {
   EXPECT_EQ(AgentPluginLoad(nullptr, nullptr, &context), 1);
   EXPECT_EQ(context, 0U);
   EXPECT_EQ(AgentPluginUnload(0), 1);
}

} // namespace
