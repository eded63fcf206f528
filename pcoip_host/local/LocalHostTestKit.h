#pragma once

#include "pcoip_host/local/LocalHost.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace pcoip_host::testkit {

/// A name as the table's functions take it: 32 bytes, padded.
struct Name {
   explicit Name(const std::string &text) { text.copy(bytes.data(), bytes.size()); }
   std::array<char, kPcoipNameBytes> bytes{};
};

/// The plugin of one side: it writes down every event, and answers as a test tells it. One per place (0 or 1) at a
/// time, since connect callbacks bring no word of their own.
///
/// Owner: the test. Threads: any. Life cycle: constructed (registers, connects) -> destroyed after its host, or with no
/// event on its way.
class Plugin {
public:
   Plugin(LocalHost *host, size_t place);
   ~Plugin();
   Plugin(const Plugin &) = delete;
   Plugin &operator=(const Plugin &) = delete;

   /// What is done on the host's thread when the other side asks for a channel.
   void OnRemoteOpen(std::function<void(const PcoipRemoteOpen &)> action);
   /// On event 3 of a channel.
   void OnClosed(std::function<void(uint32_t handle)> action);

   /// Opens and gives the handle; kPcoipNoHandle with the result in LastResult.
   uint32_t Open(const std::string &name, bool lossy = false);
   [[nodiscard]] int32_t LastResult() const { return mLastResult; }
   int32_t Close(uint32_t handle) { return mTable.pcoip_vchan_close(handle, 1, 0); }
   int32_t Send(uint32_t handle, const std::string &text, uint32_t timeoutMs = 1000);
   int32_t SendLossy(uint32_t handle, const std::string &text, uint32_t timeoutMs = 1000);
   /// The next datagram; "<result>" in brackets when there is none.
   std::string Receive(uint32_t handle, int32_t timeoutMs = -1);
   [[nodiscard]] uint32_t Pending(uint32_t handle);
   [[nodiscard]] uint32_t Lossy(uint32_t handle);

   /// Texts such as "connected", "asked video lossy", "1 opened 1", in order.
   [[nodiscard]] std::vector<std::string> Events() const;
   /// Waits, without a limit, until the event is there.
   void Await(const std::string &event);
   [[nodiscard]] size_t Count(const std::string &event) const;

   [[nodiscard]] const PcoipHostTable &Table() const { return mTable; }

private:
   static void ChannelEvent(void *userData, uint32_t handle, uint32_t event, const void *data);
   void ConnectEvent(uint32_t event, const void *data);
   void Note(const std::string &event);
   template <size_t Place>
   static void ConnectCallback(uint64_t, uint64_t, uint32_t event, const void *data);

   LocalHost *const mHost;
   const PcoipHostTable &mTable;
   const size_t mPlace;
   uint64_t mContext = 0;
   std::atomic<int32_t> mLastResult{0};
   mutable std::mutex mLock;
   std::condition_variable mChanged;
   std::vector<std::string> mEvents;
   std::vector<uint32_t> mOpened;
   std::function<void(const PcoipRemoteOpen &)> mOnRemoteOpen;
   std::function<void(uint32_t)> mOnClosed;
};

/// Two hosts in one process with their plugins, connected.
struct Session {
   explicit Session(LocalHostOptions options = {});
   Session(SocketPair pair, LocalHostOptions first, LocalHostOptions second);
   ~Session();
   Session(const Session &) = delete;
   Session &operator=(const Session &) = delete;

   /// Opens the name on both sides and waits until it is open.
   struct Ends {
      uint32_t first;
      uint32_t second;
   };
   Ends OpenBoth(const std::string &name, bool lossy = false);

   std::unique_ptr<LocalHost> firstHost;
   std::unique_ptr<LocalHost> secondHost;
   Plugin first;
   Plugin second;
};

} // namespace pcoip_host::testkit
