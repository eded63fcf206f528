#pragma once

#include <cstdint>

/// How often a simulated host does what a good one does not: percent of the calls, or of the steps, named.
struct HostWeather {
   // Of calls of the plugin.
   uint32_t failOpen = 0;      ///< pcoip_vchan_open
   uint32_t failSizes = 0;     ///< each question that follows the opening; half of the failures are a size of 0
   uint32_t failSend = 0;      ///< pcoip_vchan_send and usend
   uint32_t dropLossy = 0;     ///< pcoip_vchan_usend says that it dropped the datagram
   uint32_t failReceive = 0;   ///< a receive that has a datagram
   uint32_t oversize = 0;      ///< a receive says that it has returned more than was offered
   uint32_t lieOnPending = 0;  ///< pending counts are any number
   uint32_t callFromClose = 0; ///< the close calls back before it returns

   // Of datagrams from the other side.
   uint32_t loseLossy = 0;
   uint32_t repeatLossy = 0;
   uint32_t reorderLossy = 0;

   // Of steps.
   uint32_t rejectOpen = 0;
   uint32_t closeByHost = 0;
   uint32_t wrongHandle = 0;  ///< an event with another channel's handle, one of nobody, or none
   uint32_t lateEvent = 0;    ///< an event for a channel that is closed, or gone
   uint32_t repeatEvent = 0;  ///< an event that has come before
   uint32_t sessionNoise = 0; ///< the session is reported again, is reported lost, or unknown channels are asked for

   [[nodiscard]] static HostWeather Calm() { return {}; }
   [[nodiscard]] static HostWeather Storm() {
      return {.failOpen = 10,
              .failSizes = 5,
              .failSend = 4,
              .dropLossy = 20,
              .failReceive = 2,
              .oversize = 2,
              .lieOnPending = 10,
              .callFromClose = 30,
              .loseLossy = 20,
              .repeatLossy = 10,
              .reorderLossy = 20,
              .rejectOpen = 10,
              .closeByHost = 5,
              .wrongHandle = 5,
              .lateEvent = 10,
              .repeatEvent = 5,
              .sessionNoise = 8};
   }
};
