#include "libs/pcoip_mfw/mfwSession.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/common/corestring.h"
#include "lib/mfw/common/coresync.h"
#include "lib/mfw/common/threadWrapper.h"
#include "libs/pcoip_mfw/ChannelRules.h"
#include "libs/pcoip_mfw/pcoip_channel.h"

#include "osal/SchedulePoint.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <vector>

using CORE::corelogger;

constinit std::atomic<const PcoipHostTable *> mfwHost{nullptr};
constinit std::atomic<bool> mfwServer{false};
constinit std::atomic<bool> mfwConnected{false};

namespace {

uint64_t mfwContext = 0;

struct Entry {
   const pcoip_mfw *endpoint;
   pcoip_channel *channel;
   uint64_t number; // grows with each endpoint that is made
};

struct Endpoints {
   CORE::corecritsec mfwEndpointsLock;
   std::vector<Entry> mfwEndpoints MAVR_GUARDED_BY(mfwEndpointsLock); // in order of creation
   uint64_t lastNumber MAVR_GUARDED_BY(mfwEndpointsLock) = 0;
};

// Made by the first endpoint, also by one that is made before main, and never destroyed.
Endpoints &All() {
   static auto *const endpoints = new Endpoints;
   return *endpoints;
}

bool HasOperations(const PcoipHostTable &table) {
   return table.pcoip_register_connect_callback != nullptr && table.pcoip_unregister_connect_callback != nullptr &&
          table.pcoip_vchan_open != nullptr && table.pcoip_vchan_close != nullptr &&
          table.pcoip_vchan_send != nullptr && table.pcoip_vchan_recv != nullptr &&
          table.pcoip_vchan_pending != nullptr && table.pcoip_get_connection_state != nullptr &&
          table.pcoip_vchan_get_max_dgram_size != nullptr && table.pcoip_vchan_get_uchan_handle != nullptr &&
          table.pcoip_vchan_get_max_udgram_size != nullptr && table.pcoip_vchan_usend != nullptr &&
          table.pcoip_vchan_urecv != nullptr && table.pcoip_vchan_upending != nullptr;
}

} // namespace

// ---- Set-up ---------------------------------------------------------------------------------------------------------

// The table is in its place before the host can call back.
bool mfw::Init(const PcoipHostTable *table, uint64_t *context) {
   if (context != nullptr) {
      *context = 0;
   }
   if (mfwHost.load() != nullptr) {
      return false;
   }
   if (table == nullptr || !HasOperations(*table)) {
      corelogger::LogError("The host's table lacks an operation (0x%p)", static_cast<const void *>(table));
      return false;
   }
   mfwHost.store(table);
   if (const int32_t error = table->pcoip_register_connect_callback(0, &ConnectCallback, nullptr, &mfwContext);
       error != 0) {
      mfwHost.store(nullptr);
      corelogger::LogError("Failed to register local connection callback (err=%u)", static_cast<uint32_t>(error));
      return false;
   }
   if (table->pcoip_get_connection_state() == 1) {
      mfwConnected.store(true);
      corelogger::LogDebug("pcoip already connected at register");
      pcoipRunThread(nullptr, false);
   }
   if (context != nullptr) {
      *context = mfwContext;
   }
   corelogger::LogDebug("pcoip_mfw init ok, server=%u", mfwServer.load() ? 1U : 0U);
   return true;
}

void mfw::Exit() {
   if (const PcoipHostTable *const host = mfwHost.load(); host != nullptr) {
      corelogger::LogDebug("pcoip_mfw exit called");
      host->pcoip_unregister_connect_callback(mfwContext);
   }
}

// ---- The session ----------------------------------------------------------------------------------------------------

namespace {

enum ConnectEvent : uint32_t { SessionChanged = 0, RemoteOpened = 1 };

// A name from the host as logs show it; as it came when there is no memory: nothing is thrown to the host.
class Shown {
public:
   explicit Shown(const char *name)
       : mName(name) {
      try {
         mShown = RewriteChannelName(name);
         mName = mShown.Text();
      } catch (const CORE::coreException &) {
         mShown.Release();
      }
   }
   [[nodiscard]] const char *Text() const { return mName; }

private:
   CORE::corestring mShown;
   const char *mName;
};

void OnSession(const void *data) {
   uint32_t state = 0;
   std::memcpy(&state, data, sizeof state);
   mfwConnected.store(state == 1);
   if (state != 1) {
      corelogger::LogDebug("pcoip disconnected");
      return;
   }
   corelogger::LogDebug("pcoip connected");
   mfw::pcoipRunThread(nullptr, false);
}

void OnRemoteOpen(const void *data) {
   PcoipRemoteOpen request;
   std::memcpy(&request, data, sizeof request);
   std::array<char, sizeof request.name + 1> name{}; // ends in a zero, whatever the host says
   std::memcpy(name.data(), request.name, sizeof request.name);
   corelogger::LogDebug("pcoip connected channel %s", Shown(name.data()).Text());
   mfw::pcoipRunThread(name.data(), (request.flags & 1) != 0);
}

} // namespace

void mfw::ConnectCallback(uint64_t /*a*/, uint64_t /*b*/, uint32_t event, const void *data) {
   if (data == nullptr) {
      corelogger::LogTrace("ConnectCallback bad context");
   } else if (event == SessionChanged) {
      OnSession(data);
   } else if (event == RemoteOpened) {
      OnRemoteOpen(data);
   }
}

// ---- Starting channels ----------------------------------------------------------------------------------------------

namespace {

bool StartThread(pcoip_channel &channel) {
   corelogger::LogDebug("[pcoipRunThread] Adding channel %s to pcoipChannelThread queue. (%s)", channel.ShownName(),
                        LossyText(channel.IsLossy()));
   channel.AddRef(); // the thread's
   auto *const thread =
      new (std::nothrow) CORE::corerun("vchanRecvThread", &pcoip_channel::channelThread, &channel, nullptr, nullptr, 3);
   const bool started = thread != nullptr && thread->Start();
   if (thread != nullptr) {
      thread->Release();
   }
   return started;
}

// One walk over the endpoints that ends at a channel whose thread did not start, so that it can be closed without the
// list's lock, and goes on behind it when called again.
class ChannelStarts {
public:
   ChannelStarts(const char *name, bool lossy)
       : mName(name)
       , mLossy(lossy) {}

   /// The next channel that could not be started, with the reference of the thread it did not get; null at the end.
   [[nodiscard]] ChannelRef UntilFailure() {
      Endpoints &all = All();
      const CORE::coresync hold(all.mfwEndpointsLock);
      for (const Entry &entry : all.mfwEndpoints) {
         if (mOver || entry.number <= mLast || !IsMeant(*entry.channel)) {
            continue;
         }
         mLast = entry.number;
         mOver = mName != nullptr;
         if (!StartThread(*entry.channel)) {
            return ChannelRef(entry.channel);
         }
      }
      mOver = true;
      return nullptr;
   }

private:
   bool IsMeant(pcoip_channel &channel) {
      if (mName == nullptr) {
         return channel.IsStarted() && mfwServer.load();
      }
      if (!MeansChannel(mName, channel.Name())) {
         return false;
      }
      if (!mfwServer.load()) {
         channel.SetLossy(mLossy);
         corelogger::LogDebug("[pcoipRunThread] setting lossy value for channel %s", channel.ShownName());
      }
      mOver = !channel.IsStarted(); // of several channels with a name the first counts
      return channel.IsStarted();
   }

   const char *const mName; // null: all
   const bool mLossy;
   bool mOver = false;
   uint64_t mLast = 0; // number of the last endpoint that was meant
};

} // namespace

void mfw::pcoipRunThread(const char *name, bool lossy) {
   if (name != nullptr && *name != '\0') {
      corelogger::LogDebug("[pcoipRunThread] for channel %s. (%s)", Shown(name).Text(), LossyText(lossy));
   } else {
      corelogger::LogDebug("pcoipRunThread at pcoip connect");
   }
   ChannelStarts starts(name, lossy);
   while (const ChannelRef channel = starts.UntilFailure()) {
      corelogger::LogError("ChannelThread FAILED to start for channel %s", channel->ShownName());
      osal::schedulePoint();
      channel->CloseLocked();
   }
}

// ---- The list -------------------------------------------------------------------------------------------------------

void mfw::ForEachChannel(const std::function<void(const pcoip_channel &)> &visit) {
   Endpoints &all = All();
   const CORE::coresync hold(all.mfwEndpointsLock);
   for (const Entry &entry : all.mfwEndpoints) {
      visit(*entry.channel);
   }
}

void mfw::AddEndpoint(const pcoip_mfw &endpoint, pcoip_channel &channel) {
   Endpoints &all = All();
   const CORE::coresync hold(all.mfwEndpointsLock);
   all.mfwEndpoints.push_back({&endpoint, &channel, all.lastNumber + 1});
   ++all.lastNumber;
}

void mfw::RemoveEndpoint(const pcoip_mfw &endpoint) {
   Endpoints &all = All();
   const CORE::coresync hold(all.mfwEndpointsLock);
   const auto found = std::find_if(all.mfwEndpoints.begin(), all.mfwEndpoints.end(),
                                   [&endpoint](const Entry &entry) { return entry.endpoint == &endpoint; });
   if (found != all.mfwEndpoints.end()) {
      all.mfwEndpoints.erase(found);
   }
}
