#include "pcoip_host/local/LocalHostTable.h"

#include "pcoip_host/local/LocalHost.h"

#include "libs/utils/UseGate.h"

#include <array>
#include <atomic>
#include <utility>

namespace pcoip_host::tables {
namespace {

struct Place {
   std::atomic<bool> isTaken{false};
   UseGate gate;
   LocalHost *host = nullptr;
};
std::array<Place, LocalHost::kMostHosts> gPlaces;

template <typename Operation>
int32_t InHost(size_t place, int32_t without, const Operation &operation) {
   const UseGate::Stay stay(gPlaces[place].gate);
   return stay ? operation(*gPlaces[place].host) : without;
}

template <size_t P>
struct Entries {
   static int32_t RegisterConnect(uint32_t, PcoipConnectCallback callback, void *, uint64_t *outContext) {
      return InHost(P, kNotConnected,
                    [&](LocalHost &host) { return host.RegisterConnectCallback(callback, outContext); });
   }
   static int32_t UnregisterConnect(uint64_t context) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.UnregisterConnectCallback(context); });
   }
   static int32_t Open(const char *name, uint32_t mode, uint32_t priority, uint32_t, PcoipChannelCallback callback,
                       void *userData, uint32_t *outHandle) {
      return InHost(P, kNotConnected,
                    [&](LocalHost &host) { return host.Open(name, mode, priority, callback, userData, outHandle); });
   }
   static int32_t Close(uint32_t handle, uint32_t, uint32_t) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.Close(handle); });
   }
   static int32_t Send(uint32_t handle, const void *data, uint32_t size, uint32_t timeoutMs) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.Send(handle, data, size, timeoutMs); });
   }
   static int32_t SendLossy(uint32_t handle, const void *data, uint32_t size, uint32_t timeoutMs) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.SendLossy(handle, data, size, timeoutMs); });
   }
   // Reliable and lossy handles are told apart by their number.
   static int32_t Receive(uint32_t handle, void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeoutMs) {
      return InHost(P, kNotConnected,
                    [&](LocalHost &host) { return host.Receive(handle, buffer, capacity, outSize, timeoutMs); });
   }
   static int32_t Pending(uint32_t handle, uint32_t *outCount) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.Pending(handle, outCount); });
   }
   static int32_t ConnectionState() {
      return InHost(P, 0, [](LocalHost &host) { return host.ConnectionState(); });
   }
   static int32_t LargestDatagram(uint32_t *outSize) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.LargestDatagram(outSize); });
   }
   static int32_t LossyHandle(uint32_t handle, uint32_t *outLossyHandle) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.LossyHandle(handle, outLossyHandle); });
   }
   static int32_t LargestLossyDatagram(uint32_t handle, uint32_t *outSize) {
      return InHost(P, kNotConnected, [&](LocalHost &host) { return host.LargestLossyDatagram(handle, outSize); });
   }

   static constexpr PcoipHostTable Table() {
      PcoipHostTable table{};
      table.pcoip_register_connect_callback = RegisterConnect;
      table.pcoip_unregister_connect_callback = UnregisterConnect;
      table.pcoip_vchan_open = Open;
      table.pcoip_vchan_close = Close;
      table.pcoip_vchan_send = Send;
      table.pcoip_vchan_recv = Receive;
      table.pcoip_vchan_pending = Pending;
      table.pcoip_get_connection_state = ConnectionState;
      table.pcoip_vchan_get_max_dgram_size = LargestDatagram;
      table.pcoip_vchan_get_uchan_handle = LossyHandle;
      table.pcoip_vchan_get_max_udgram_size = LargestLossyDatagram;
      table.pcoip_vchan_usend = SendLossy;
      table.pcoip_vchan_urecv = Receive;
      table.pcoip_vchan_upending = Pending;
      return table;
   }
};

template <size_t... P>
constexpr std::array<PcoipHostTable, sizeof...(P)> AllTables(std::index_sequence<P...>) {
   return {Entries<P>::Table()...};
}
constexpr std::array<PcoipHostTable, LocalHost::kMostHosts> kTables =
   AllTables(std::make_index_sequence<LocalHost::kMostHosts>());

} // namespace

std::optional<size_t> Claim() {
   for (size_t place = 0; place < gPlaces.size(); ++place) {
      if (!gPlaces[place].isTaken.exchange(true)) {
         return place;
      }
   }
   return std::nullopt;
}

void Publish(size_t place, LocalHost *host) {
   gPlaces[place].host = host;
   gPlaces[place].gate.Open();
}

void Withdraw(size_t place) {
   gPlaces[place].gate.CloseAndDrain();
   gPlaces[place].host = nullptr;
   gPlaces[place].isTaken = false;
}

const PcoipHostTable &Of(size_t place) {
   return kTables[place];
}

} // namespace pcoip_host::tables
