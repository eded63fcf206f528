#pragma once

#include "libs/pcoip_mfw/pcoip_channel.h"

#include <cstdint>

namespace CORE {
class PropertyBag;
}

/// An endpoint: what an application derives from to own one named virtual channel. docs/virtual-channels.md is its
/// manual.
///
///     class Microphone final : public pcoip_mfw {
///     public:
///        Microphone() : pcoip_mfw("microphone", 2) {}
///        ~Microphone() override { EndCallbacks(); } // before its own members go
///        void ChannelState(uint32_t session, uint32_t state) override;
///        void GotData(uint32_t session, uint8_t *data, uint32_t size) override;
///     };
///
/// On the agent side Start opens the channel as soon as a session is connected; on the client side it says that the
/// channel may be opened, which then happens when the other side asks for it by name.
///
/// | Call              | not started        | started, not open | open       | closed by the host |
/// |-------------------|--------------------|-------------------|------------|--------------------|
/// | Start             | starts             | true, nothing     | true, nothing | true, nothing   |
/// | Stop              | nothing            | stops             | stops      | stops              |
/// | SetGotDataOptions | stores             | refused, logged   | refused, logged | refused, logged |
/// | SendData          | false              | false             | sends      | false              |
///
/// Owner: the application. Threads: any thread, all methods; callbacks as said below. Locks: its channel's. Life cycle:
/// constructed -> (SetGotDataOptions -> Start -> Stop)* -> destroyed; it may be destroyed in any state, also within
/// one of its own callbacks but ChannelEvent. The destructor waits for callbacks that are running on other threads, so
/// whoever destroys it holds no lock that they take.
class pcoip_mfw {
public:
   /// A channel named `name`, which is copied; priority 0 is low, 1 medium, 2 high. "__dummy__" makes an endpoint
   /// without a channel.
   pcoip_mfw(const char *name, uint32_t priority);
   /// `openParam` goes to the host with the opening.
   pcoip_mfw(const char *name, uint32_t openParam, uint32_t priority);
   pcoip_mfw(const pcoip_mfw &) = delete;
   pcoip_mfw &operator=(const pcoip_mfw &) = delete;

   // ---- In the order of their slots ----

   virtual ~pcoip_mfw();
   /// Closes the channel and keeps it closed. No ChannelState tells about it; GotData may be running on another thread,
   /// and come for what has been received already, until the channel's threads have ended.
   virtual void Stop();
   /// The channel is open (state 1), or was closed by the host or a failure (0): once for each time it opened, and not
   /// at all when Stop or the destructor closed it. On the thread that brought it about, without a lock.
   virtual void ChannelState(uint32_t session, uint32_t state) = 0;
   /// A reliable datagram. `data` begins with recvHeader bytes of room, behind which lie `size` bytes of datagram and
   /// then recvTrailer bytes of room; all of it may be written until the call returns. On the channel's reading thread;
   /// an exception closes the channel.
   virtual void GotData(uint32_t session, uint8_t *data, uint32_t size) = 0;
   /// A lossy one, on the channel's second reading thread.
   virtual void GotDataLossy(uint32_t session, uint8_t *data, uint32_t size);
   /// An event of the application's own. On the host's thread, with the channel's lock held: it must not wait.
   virtual void ChannelEvent(uint32_t session, uint32_t code);

   // ---- For the application ----

   /// `sendTimeout` goes with each send; its meaning is the host's. On the client side `lossy` means nothing: the other
   /// side says it. False, logged, when there is no channel or the channel could not be set up.
   [[nodiscard]] bool Start(bool lossy, uint32_t sendTimeout);
   /// Sends, cut into datagrams of at most GetMaxDatagramSize. `session` is that of ChannelState. False: not open, not
   /// this session, dropped (lossy only), or failed, after which the channel is closed. Any thread but inside
   /// ChannelEvent.
   [[nodiscard]] bool SendData(uint32_t session, const void *data, uint32_t size);
   [[nodiscard]] bool SendDataLossy(uint32_t session, const void *data, uint32_t size);
   /// The room that GotData has in front of and behind the data, from the next Start on.
   void SetGotDataOptions(uint32_t recvHeader, uint32_t recvTrailer);
   /// 0 before the first opening. With `lossy` and a lossy channel that of lossy datagrams.
   [[nodiscard]] uint32_t GetMaxDatagramSize(bool lossy) const;
   [[nodiscard]] bool IsStarted() const;
   /// What the host said at the opening.
   [[nodiscard]] uint32_t GetCapability() const;
   /// Adds one bag for each endpoint, in order of creation, under its channel's name: "name", "type" ("InProc"),
   /// "started", "state", "prio", "lossy".
   static void GetChannelsInfo(CORE::PropertyBag &out);

   [[nodiscard]] pcoip_channel *Channel() const { return mChannel; } ///< null for "__dummy__"

protected:
   /// To be called first in the destructor of a class that overrides callbacks. On return none of them is running on
   /// another thread, and none comes any more; the channel is stopped and closed. Otherwise a reader could call into
   /// what the derived destructor has taken down already. Later calls do nothing.
   void EndCallbacks();

private:
   [[nodiscard]] bool SendAs(uint32_t session, const void *data, uint32_t size, bool lossy);
   bool SendRefused(int32_t state, uint32_t session, uint32_t size) const;

   pcoip_channel *mChannel = nullptr; // owned by a reference
   bool mEnded = false;               // EndCallbacks has run
};

/// The endpoint that stands in for one that is gone: its callbacks do nothing. Never destroyed: threads may end while
/// the process does.
[[nodiscard]] pcoip_mfw &mfwDummy();
