#pragma once

#include <cstdint>

/// What a plugin is to a host's session: the owner of the application's endpoints.
///
/// Owner: the registry of the plugin entries, from CreatePluginInstance to the unload with the same context. Threads:
/// host-serialised. Life cycle: made at load, deleted at unload; its endpoints go with it.
class PluginInstance {
public:
   PluginInstance() = default;
   PluginInstance(const PluginInstance &) = delete;
   PluginInstance &operator=(const PluginInstance &) = delete;
   virtual ~PluginInstance() = default;
};

/// Makes the plugin for the agent (`server`) or the client side of the session that the host knows by `context`. Null
/// when there is none.
using PluginFactory = PluginInstance *(*)(bool server, uint64_t context);
