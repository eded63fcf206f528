#pragma once

#include <cstddef>
#include <cstdint>

/// What a PCoIP host gives to a plugin at load: its operations, each at a fixed place in a table of pointers.
///
/// The host owns the table, and keeps it until the plugin is unloaded. Only the entries named here are called; a host
/// may leave the others null. Handles are words of the host's choice, kPcoipNoHandle is none. A call with a handle that
/// is closed, or none, fails at once. Results are 0 for success; every other value is the host's own, apart from
/// kPcoipDropped. Threads: any thread, unless said otherwise. No call waits for a callback to return: the plugin may
/// hold a lock that the callback takes.

constexpr uint32_t kPcoipNoHandle = 0xFFFFFFFF;
/// A lossy send that the host let fall: no failure.
constexpr int32_t kPcoipDropped = -505;
/// A receive with this limit waits until there is a datagram, or the channel is closed.
constexpr int32_t kPcoipNoTimeout = -1;
/// Bytes of a channel's name, which is padded with zeros: at most 31 characters.
constexpr size_t kPcoipNameBytes = 32;

/// `event` 0: the session came or went, `data` is a uint32_t, 1 when connected. 1: the remote end asks for a channel by
/// name, `data` is a PcoipRemoteOpen. The first two words are the host's own.
using PcoipConnectCallback = void (*)(uint64_t, uint64_t, uint32_t event, const void *data);
/// What happened to the channel of `handle`; `data` depends on the event, and may be null. Called on the host's thread.
using PcoipChannelCallback = void (*)(void *userData, uint32_t handle, uint32_t event, const void *data);

/// The remote end asks for a channel.
struct PcoipRemoteOpen {
   char name[40];  // ends with a zero
   uint32_t flags; // bit 0: lossy
};
static_assert(offsetof(PcoipRemoteOpen, flags) == 40);

/// The operations, as the head of this file says.
struct PcoipHostTable {
   void *unused0;
   /// The first and the third argument are 0. Writes the word that identifies this plugin to the host, before any
   /// callback comes.
   int32_t (*pcoip_register_connect_callback)(uint32_t, PcoipConnectCallback callback, void *,
                                              uint64_t *outContext); // 1
   int32_t (*pcoip_unregister_connect_callback)(uint64_t context);   // 2
   /// `name` has kPcoipNameBytes. `mode` is 0 for reliable and 2 for reliable with a lossy twin; `priority` is 1, 2, 4
   /// for low, medium, high, and 0x101, 0x202, 0x404 with the twin. `openParam` is the host's. Writes the handle; the
   /// channel is open only with event 0 of the callback.
   int32_t (*pcoip_vchan_open)(const char *name, uint32_t mode, uint32_t priority, uint32_t openParam,
                               PcoipChannelCallback callback, void *userData, uint32_t *outHandle); // 3
   void *unused4;
   /// Ends waiting receives of both handles. `started`: 1 when this side still wants the channel. The last is 0.
   int32_t (*pcoip_vchan_close)(uint32_t handle, uint32_t started, uint32_t); // 5
   /// One datagram, of at most the maximal size.
   int32_t (*pcoip_vchan_send)(uint32_t handle, const void *data, uint32_t size, uint32_t timeoutMs); // 6
   void *unused7;
   /// One datagram. More than `capacity` bytes never come.
   int32_t (*pcoip_vchan_recv)(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize,
                               int32_t timeoutMs); // 8
   void *unused9;
   /// Datagrams that can be received without a wait.
   int32_t (*pcoip_vchan_pending)(uint32_t handle, uint32_t *outCount); // 10
   void *unused11;
   void *unused12;
   int32_t (*pcoip_get_connection_state)(); // 13: 1 when connected
   void *unused14;
   int32_t (*pcoip_vchan_get_max_dgram_size)(uint32_t *outSize); // 15
   void *unused16;
   void *unused17;
   void *unused18;
   /// The lossy twin of a reliable handle.
   int32_t (*pcoip_vchan_get_uchan_handle)(uint32_t handle, uint32_t *outLossyHandle);                      // 19
   int32_t (*pcoip_vchan_get_max_udgram_size)(uint32_t lossyHandle, uint32_t *outSize);                     // 20
   int32_t (*pcoip_vchan_usend)(uint32_t lossyHandle, const void *data, uint32_t size, uint32_t timeoutMs); // 21
   int32_t (*pcoip_vchan_urecv)(uint32_t lossyHandle, void *buffer, uint32_t capacity, uint32_t *outSize,
                                int32_t timeoutMs);                           // 22
   int32_t (*pcoip_vchan_upending)(uint32_t lossyHandle, uint32_t *outCount); // 23
};

/// The place of an entry in the table is what the host and the plugin agree on.
#define PCOIP_ENTRY_AT(entry, place) static_assert(offsetof(PcoipHostTable, entry) == (place) * sizeof(void *))
PCOIP_ENTRY_AT(pcoip_register_connect_callback, 1);
PCOIP_ENTRY_AT(pcoip_unregister_connect_callback, 2);
PCOIP_ENTRY_AT(pcoip_vchan_open, 3);
PCOIP_ENTRY_AT(pcoip_vchan_close, 5);
PCOIP_ENTRY_AT(pcoip_vchan_send, 6);
PCOIP_ENTRY_AT(pcoip_vchan_recv, 8);
PCOIP_ENTRY_AT(pcoip_vchan_pending, 10);
PCOIP_ENTRY_AT(pcoip_get_connection_state, 13);
PCOIP_ENTRY_AT(pcoip_vchan_get_max_dgram_size, 15);
PCOIP_ENTRY_AT(pcoip_vchan_get_uchan_handle, 19);
PCOIP_ENTRY_AT(pcoip_vchan_get_max_udgram_size, 20);
PCOIP_ENTRY_AT(pcoip_vchan_usend, 21);
PCOIP_ENTRY_AT(pcoip_vchan_urecv, 22);
PCOIP_ENTRY_AT(pcoip_vchan_upending, 23);
#undef PCOIP_ENTRY_AT
