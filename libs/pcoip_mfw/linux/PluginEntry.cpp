#include "libs/pcoip_mfw/linux/PluginEntry.h"

#include "lib/log/Log.h"
#include "libs/pcoip_mfw/linux/linux_pcoip_mfw.h"
#include "libs/pcoip_mfw/mfwSession.h"

#include "osal/HostFacts.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

namespace {

constexpr int kLeastRelease = 12;
constexpr size_t kReleaseBytes = 32;

PluginFactory gFactory = &CreatePluginInstance;
ReleaseReader gReadRelease = &osal::readSystemControl;

using Instances = std::map<uint64_t, PluginInstance *>;

// Made by the first load and never destroyed: what a host has not unloaded by the end of the process stays.
Instances &pluginInstances() {
   static auto *const instances = new Instances;
   return *instances;
}

// Required: a context that is there already keeps its instance, and the new one is dropped without being deleted.
void CommonLoad(const PcoipHostTable *table, uint64_t *context, bool server) {
   mfwServer.store(server);
   uint64_t word = 0;
   (void)mfw::Init(table, &word); // required: a plugin is made all the same, for context 0
   if (context != nullptr) {
      *context = word;
   }
   Log_Info("Creating new plugin instance.\n");
   PluginInstance *const instance = gFactory(server, word);
   Log_Info("Created new plugin instance, storing reference.\n");
   pluginInstances().emplace(word, instance);
   Log_Info("Reference to new plugin instance stored.\n");
}

void CommonUnload(uint64_t context) {
   Instances &instances = pluginInstances();
   const auto found = instances.find(context);
   if (found == instances.end()) {
      Log_Info("Unable to locate plugin instance for context.\n");
      return;
   }
   Log_Info("Deleting plugin instance.\n");
   delete found->second;
   instances.erase(found);
   mfw::Exit();
}

bool PlatformIsSupported() {
   std::array<char, kReleaseBytes> release{};
   return SupportsRelease(gReadRelease("kern.osrelease", release.data(), release.size()) ? release.data() : nullptr);
}

} // namespace

int32_t AgentPluginLoad(const PcoipHostTable *table, void * /*ignored*/, uint64_t *context) {
   MfwLog_Init();
   Log_Info("Agent plugin loading.\n");
   CommonLoad(table, context, true);
   return 1;
}

int32_t ClientPluginLoad(const PcoipHostTable *table, void * /*ignored*/, uint64_t *context) {
   MfwLog_Init();
   if (!PlatformIsSupported()) {
      Log_Info("MAVR is not supported on this platform release.\n");
      return 0;
   }
   Log_Info("Client plugin loading.\n");
   CommonLoad(table, context, false);
   return 1;
}

int32_t AgentPluginUnload(uint64_t context) {
   MfwLog_TearDown();
   Log_Info("Agent plugin unloading.\n");
   CommonUnload(context);
   return 1;
}

int32_t ClientPluginUnload(uint64_t context) {
   MfwLog_TearDown();
   Log_Info("Client plugin unloading.\n");
   CommonUnload(context);
   return 1;
}

PluginInstance *CreatePluginInstance(bool /*server*/, uint64_t /*context*/) {
   return nullptr;
}

bool SupportsRelease(const char *text) {
   const char *const point = text != nullptr ? std::strchr(text, '.') : nullptr;
   return point == nullptr || std::strtol(std::string(text, point).c_str(), nullptr, 10) >= kLeastRelease;
}

ScopedPluginFactory::ScopedPluginFactory(PluginFactory factory)
    : mFormer(std::exchange(gFactory, factory)) {}

ScopedPluginFactory::~ScopedPluginFactory() {
   gFactory = mFormer;
}

ScopedReleaseReader::ScopedReleaseReader(ReleaseReader reader)
    : mFormer(std::exchange(gReadRelease, reader)) {}

ScopedReleaseReader::~ScopedReleaseReader() {
   gReadRelease = mFormer;
}
