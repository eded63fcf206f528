#pragma once

#include "libs/pcoip_mfw/PcoipHostTable.h"
#include "libs/pcoip_mfw/linux/PluginInstance.h"

#include <cstdint>

/// The load and unload entries of a virtual-channel plugin, and the registry of what they made.
///
/// They are no exports of the library: a host that uses it as a plugin finds them by a route of its own.
/// Owner: the process. Threads: host-serialised. Locks: none. Life cycle: load -> unload with the context that the load
/// wrote, any number of times; the log stays up, the settings are closed by the first unload. Out of memory:
/// std::bad_alloc.

/// Sets the library up, registers with the host of `table`, makes the plugin, and writes the context word, 0 when the
/// registration failed. The second argument means nothing. Always 1.
int32_t AgentPluginLoad(const PcoipHostTable *table, void *ignored, uint64_t *context);
/// The same for the client side; 0, logged, on a release of the platform that is too old.
int32_t ClientPluginLoad(const PcoipHostTable *table, void *ignored, uint64_t *context);
/// Closes the settings, deletes the plugin of `context` and leaves the host. A context that is not loaded is logged.
/// Always 1.
int32_t AgentPluginUnload(uint64_t context);
int32_t ClientPluginUnload(uint64_t context);

/// The factory of this library: it has no plugin, and returns null whatever it is given.
[[nodiscard]] PluginInstance *CreatePluginInstance(bool server, uint64_t context);

/// Whether the kernel release `text` ("22.4.0") is one that the client side supports: its number before the first
/// point is at least 12. A text without a point counts as supported, and so does null, a release that can't be read.
[[nodiscard]] bool SupportsRelease(const char *text);

/// Puts another factory in the place of CreatePluginInstance for its lifetime. For tests, and for programs that carry
/// a plugin of their own.
class ScopedPluginFactory {
public:
   explicit ScopedPluginFactory(PluginFactory factory);
   ~ScopedPluginFactory();
   ScopedPluginFactory(const ScopedPluginFactory &) = delete;
   ScopedPluginFactory &operator=(const ScopedPluginFactory &) = delete;

private:
   const PluginFactory mFormer;
};

/// How the kernel release is read: osal::readSystemControl. A test puts another in its place for its lifetime.
using ReleaseReader = bool (*)(const char *name, char *buffer, size_t size);
/// The scope of a test in which the kernel release is read by `reader`.
class ScopedReleaseReader {
public:
   explicit ScopedReleaseReader(ReleaseReader reader);
   ~ScopedReleaseReader();
   ScopedReleaseReader(const ScopedReleaseReader &) = delete;
   ScopedReleaseReader &operator=(const ScopedReleaseReader &) = delete;

private:
   const ReleaseReader mFormer;
};
