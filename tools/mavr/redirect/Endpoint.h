#pragma once

#include "libs/pcoip_mfw/pcoip_mfw.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace mavr::redirect {

/// The channels of a redirection, by name and priority.
inline constexpr const char *kControlChannel = "mavr.control";
inline constexpr const char *kVideoChannel = "mavr.video";
inline constexpr const char *kAudioChannel = "mavr.audio";
inline constexpr uint32_t kControlPriority = 2;
inline constexpr uint32_t kVideoPriority = 1;
inline constexpr uint32_t kAudioPriority = 2;

/// A virtual channel's end whose events are functions.
///
/// Owner: a side. Threads: the functions run on the channel's threads, as pcoip_mfw says; the rest on any. Locks: none.
/// Life cycle: as pcoip_mfw; once the destructor has returned, no function runs.
class Endpoint final : public pcoip_mfw {
public:
   struct Events {
      std::function<void(bool isOpen)> onState;
      std::function<void(const uint8_t *datagram, uint32_t size)> onData; ///< reliable and lossy ones
   };

   Endpoint(const char *name, uint32_t priority, Events events)
       : pcoip_mfw(name, priority)
       , mEvents(std::move(events)) {}
   ~Endpoint() override { EndCallbacks(); }

   void ChannelState(uint32_t session, uint32_t state) override {
      mSession = session;
      mEvents.onState(state == 1);
   }
   void GotData(uint32_t /*session*/, uint8_t *data, uint32_t size) override { mEvents.onData(data, size); }
   void GotDataLossy(uint32_t /*session*/, uint8_t *data, uint32_t size) override { mEvents.onData(data, size); }

   [[nodiscard]] bool Send(const void *data, uint32_t size) { return SendData(mSession, data, size); }
   [[nodiscard]] bool SendLossy(const void *data, uint32_t size) { return SendDataLossy(mSession, data, size); }

private:
   const Events mEvents;
   std::atomic<uint32_t> mSession{0};
};

} // namespace mavr::redirect
