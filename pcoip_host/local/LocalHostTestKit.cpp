#include "pcoip_host/local/LocalHostTestKit.h"

#include <algorithm>
#include <utility>

namespace pcoip_host::testkit {
namespace {

std::array<Plugin *, 2> gPlugins{};

LocalHostOptions Following(LocalHostOptions options) {
   options.role = LocalRendezvous::Role::kFollowing;
   return options;
}

} // namespace

Plugin::Plugin(LocalHost *host, size_t place)
    : mHost(host)
    , mTable(host->table())
    , mPlace(place) {
   gPlugins[place] = this;
   mTable.pcoip_register_connect_callback(0, place == 0 ? ConnectCallback<0> : ConnectCallback<1>, nullptr, &mContext);
   if (mTable.pcoip_get_connection_state() == 1) {
      Note("connected");
   }
   static_cast<void>(mHost->connect());
}

Plugin::~Plugin() {
   mTable.pcoip_unregister_connect_callback(mContext);
   for (const uint32_t handle : mOpened) {
      mTable.pcoip_vchan_close(handle, 0, 0);
   }
   gPlugins[mPlace] = nullptr;
}

template <size_t Place>
void Plugin::ConnectCallback(uint64_t, uint64_t, uint32_t event, const void *data) {
   gPlugins[Place]->ConnectEvent(event, data);
}

void Plugin::ConnectEvent(uint32_t event, const void *data) {
   if (event == 0) {
      Note(*static_cast<const uint32_t *>(data) == 1 ? "connected" : "disconnected");
      return;
   }
   const auto &request = *static_cast<const PcoipRemoteOpen *>(data);
   std::function<void(const PcoipRemoteOpen &)> action;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      action = mOnRemoteOpen;
   }
   if (action) {
      action(request);
   }
   Note(std::string("asked ") + request.name + (request.flags == 1 ? " lossy" : " reliable"));
}

void Plugin::ChannelEvent(void *userData, uint32_t handle, uint32_t event, const void *data) {
   auto *const self = static_cast<Plugin *>(userData);
   std::string text = std::to_string(handle);
   switch (event) {
   case 0:
      text += " opened " + std::to_string(*static_cast<const uint32_t *>(data));
      break;
   case 1:
      text += " rejected";
      break;
   case 3: {
      text += " closed";
      std::function<void(uint32_t)> action;
      {
         const std::lock_guard<std::mutex> hold(self->mLock);
         action = self->mOnClosed;
      }
      if (action) {
         action(handle);
      }
      break;
   }
   default:
      text += " event " + std::to_string(event);
   }
   self->Note(text);
}

void Plugin::Note(const std::string &event) {
   const std::lock_guard<std::mutex> hold(mLock);
   mEvents.push_back(event);
   mChanged.notify_all();
}

void Plugin::OnRemoteOpen(std::function<void(const PcoipRemoteOpen &)> action) {
   const std::lock_guard<std::mutex> hold(mLock);
   mOnRemoteOpen = std::move(action);
}

void Plugin::OnClosed(std::function<void(uint32_t)> action) {
   const std::lock_guard<std::mutex> hold(mLock);
   mOnClosed = std::move(action);
}

uint32_t Plugin::Open(const std::string &name, bool lossy) {
   uint32_t handle = kPcoipNoHandle;
   const Name padded(name);
   mLastResult =
      mTable.pcoip_vchan_open(padded.bytes.data(), lossy ? 2 : 0, lossy ? 0x202 : 2, 0, ChannelEvent, this, &handle);
   if (mLastResult == 0) {
      const std::lock_guard<std::mutex> hold(mLock);
      mOpened.push_back(handle);
   }
   return handle;
}

int32_t Plugin::Send(uint32_t handle, const std::string &text, uint32_t timeoutMs) {
   return mTable.pcoip_vchan_send(handle, text.data(), static_cast<uint32_t>(text.size()), timeoutMs);
}

int32_t Plugin::SendLossy(uint32_t handle, const std::string &text, uint32_t timeoutMs) {
   return mTable.pcoip_vchan_usend(handle, text.data(), static_cast<uint32_t>(text.size()), timeoutMs);
}

std::string Plugin::Receive(uint32_t handle, int32_t timeoutMs) {
   std::string text(65536, '?');
   uint32_t size = 0;
   const int32_t result = mTable.pcoip_vchan_recv(handle, text.data(), 65536, &size, timeoutMs);
   return result == 0 ? text.substr(0, size) : "<" + std::to_string(result) + ">";
}

uint32_t Plugin::Pending(uint32_t handle) {
   uint32_t count = 0;
   mLastResult = mTable.pcoip_vchan_pending(handle, &count);
   return count;
}

uint32_t Plugin::Lossy(uint32_t handle) {
   uint32_t lossy = kPcoipNoHandle;
   mLastResult = mTable.pcoip_vchan_get_uchan_handle(handle, &lossy);
   return lossy;
}

std::vector<std::string> Plugin::Events() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mEvents;
}

size_t Plugin::Count(const std::string &event) const {
   const std::lock_guard<std::mutex> hold(mLock);
   return static_cast<size_t>(std::count(mEvents.begin(), mEvents.end(), event));
}

void Plugin::Await(const std::string &event) {
   std::unique_lock<std::mutex> lock(mLock);
   mChanged.wait(lock, [&] { return std::count(mEvents.begin(), mEvents.end(), event) > 0; });
}

Session::Session(LocalHostOptions options)
    : Session(MakeSocketPair().value(), options, Following(options)) {}

Session::Session(SocketPair pair, LocalHostOptions firstOptions, LocalHostOptions secondOptions)
    : firstHost(LocalHost::Create(std::move(pair.first), firstOptions))
    , secondHost(LocalHost::Create(std::move(pair.second), secondOptions))
    , first(firstHost.get(), 0)
    , second(secondHost.get(), 1) {
   first.Await("connected");
   second.Await("connected");
}

Session::~Session() {
   firstHost.reset();
   secondHost.reset();
}

Session::Ends Session::OpenBoth(const std::string &name, bool lossy) {
   const Ends ends{first.Open(name, lossy), second.Open(name, lossy)};
   first.Await(std::to_string(ends.first) + " opened 1");
   second.Await(std::to_string(ends.second) + " opened 1");
   return ends;
}

} // namespace pcoip_host::testkit
