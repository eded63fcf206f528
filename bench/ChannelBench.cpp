// Datagrams of 1200 bytes that an endpoint receives and sends back, all on its reading thread: over a host that is a
// ring in memory, beside the bare copies in and out and ZeroMQ inproc; and over a host that is a socket pair, beside
// the bare socket. Each case keeps as many datagrams under way as one read buffer holds.

#include "bench/Harness.h"

#include "lib/mfw/common/logger.h"
#include "libs/pcoip_mfw/mfwSession.h"
#include "libs/pcoip_mfw/pcoip_mfw.h"

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.h>

#include <array>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <mutex>

namespace {

constexpr uint32_t kDatagramBytes = 1200;
constexpr uint32_t kUnderWay = 27;
constexpr uint32_t kHandle = 1;
// About 20 ms.
constexpr uint64_t kMemoryTimes = 400'000;
constexpr uint64_t kSocketTimes = 10'000;

using Datagram = std::array<uint8_t, kDatagramBytes>;

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// The same number, but for the compiler: all copies are then the system library's.
uint32_t Unknown(uint32_t number) {
   benchmark::DoNotOptimize(number);
   return number;
}

double CpuNanoseconds() {
   timespec now{};
   clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
   return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// ---- What a host's datagrams travel through. One thread -------------------------------------------------------------

class MemoryMedium {
public:
   void Put(const void *data, uint32_t size) {
      std::memcpy(mSlots[mPut].bytes.data(), data, size);
      mPut = mPut + 1 < kUnderWay ? mPut + 1 : 0;
   }
   void Take(void *data, uint32_t size) {
      std::memcpy(data, mSlots[mTaken].bytes.data(), size);
      mTaken = mTaken + 1 < kUnderWay ? mTaken + 1 : 0;
   }

private:
   // Another stride than that of the read buffer: the same one would make every copy as fast, or as slow, as the low
   // bits of two addresses have it.
   struct alignas(64) Slot {
      Datagram bytes;
      std::array<uint8_t, 100> rest;
   };

   std::array<Slot, kUnderWay> mSlots{};
   uint32_t mPut = 0;
   uint32_t mTaken = 0;
};

class SocketMedium {
public:
   SocketMedium(const SocketMedium &) = delete;
   SocketMedium &operator=(const SocketMedium &) = delete;
   SocketMedium() { Require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, mEnds.data()) == 0); }
   ~SocketMedium() {
      close(mEnds[0]);
      close(mEnds[1]);
   }
   void Put(const void *data, uint32_t size) { Require(send(mEnds[0], data, size, 0) == static_cast<ssize_t>(size)); }
   void Take(void *data, uint32_t size) { Require(recv(mEnds[1], data, size, 0) == static_cast<ssize_t>(size)); }

private:
   std::array<int, 2> mEnds{};
};

/// A host with one channel over a medium. Its reader goes on for as many datagrams as it is told, and rests then.
template <class Medium>
class MediumHost {
public:
   explicit MediumHost(Medium &medium)
       : mMedium(medium) {
      sHost = this;
   }

   /// Nanoseconds of one datagram, of the processor, on the reader's own watch: waking it is not what is measured.
   double Run(uint64_t times) {
      std::unique_lock<std::mutex> hold(mLock);
      mGranted = times;
      mChanged.notify_all();
      mChanged.wait(hold, [this] { return mGranted == 0 && mResting; });
      return (mEnd - mBegin) / static_cast<double>(times);
   }
   void AwaitReader() {
      std::unique_lock<std::mutex> hold(mLock);
      mChanged.wait(hold, [this] { return mResting; });
   }
   void TellOpened() { mCallback(mUserData, kHandle, pcoip_channel::Opened, nullptr); }
   void AwaitAsked() {
      std::unique_lock<std::mutex> hold(mLock);
      mChanged.wait(hold, [this] { return mCallback != nullptr; });
   }

   static const PcoipHostTable kTable;

private:
   static int32_t Register(uint32_t, PcoipConnectCallback, void *, uint64_t *context) {
      *context = 1;
      return 0;
   }
   static int32_t Unregister(uint64_t) { return 0; }
   static int32_t Open(const char *, uint32_t, uint32_t, uint32_t, PcoipChannelCallback callback, void *userData,
                       uint32_t *handle) {
      const std::lock_guard<std::mutex> hold(sHost->mLock);
      *handle = kHandle;
      sHost->mUserData = userData;
      sHost->mCallback = callback;
      sHost->mChanged.notify_all();
      return 0;
   }
   static int32_t Close(uint32_t, uint32_t, uint32_t) {
      const std::lock_guard<std::mutex> hold(sHost->mLock);
      sHost->mClosed = true;
      sHost->mChanged.notify_all();
      return 0;
   }
   static int32_t Send(uint32_t, const void *data, uint32_t size, uint32_t) {
      sHost->mMedium.Put(data, size);
      return 0;
   }
   static int32_t Receive(uint32_t, void *buffer, uint32_t, uint32_t *size, int32_t) {
      if (sHost->mLeft == 0 && !sHost->Rest()) {
         return -1;
      }
      --sHost->mLeft;
      sHost->mMedium.Take(buffer, sHost->mSize);
      *size = sHost->mSize;
      return 0;
   }
   static int32_t Pending(uint32_t, uint32_t *count) {
      *count = kUnderWay - 1; // what it receives it has sent back by the next receive
      return 0;
   }
   static int32_t Connected() { return 1; }
   static int32_t Size(uint32_t *size) {
      *size = kDatagramBytes;
      return 0;
   }
   static int32_t NoLossy(uint32_t, uint32_t *) { return -1; }

   /// Waits for leave to go on; false when closed.
   bool Rest() {
      mEnd = CpuNanoseconds();
      std::unique_lock<std::mutex> hold(mLock);
      mResting = true;
      mChanged.notify_all();
      mChanged.wait(hold, [this] { return mGranted != 0 || mClosed; });
      mResting = false;
      mLeft = mGranted;
      mGranted = 0;
      mBegin = CpuNanoseconds();
      return !mClosed;
   }

   static MediumHost *sHost;

   Medium &mMedium;
   uint32_t mSize = Unknown(kDatagramBytes);
   uint64_t mLeft = 0; // the reader's
   std::mutex mLock;
   double mBegin = 0;
   double mEnd = 0;
   std::condition_variable mChanged;
   uint64_t mGranted = 0;
   bool mResting = false;
   bool mClosed = false;
   PcoipChannelCallback mCallback = nullptr;
   void *mUserData = nullptr;
};

template <class Medium>
MediumHost<Medium> *MediumHost<Medium>::sHost = nullptr;

template <class Medium>
const PcoipHostTable MediumHost<Medium>::kTable = [] {
   PcoipHostTable table{};
   table.pcoip_register_connect_callback = &Register;
   table.pcoip_unregister_connect_callback = &Unregister;
   table.pcoip_vchan_open = &Open;
   table.pcoip_vchan_close = &Close;
   table.pcoip_vchan_send = &Send;
   table.pcoip_vchan_recv = &Receive;
   table.pcoip_vchan_pending = &Pending;
   table.pcoip_get_connection_state = &Connected;
   table.pcoip_vchan_get_max_dgram_size = &Size;
   table.pcoip_vchan_get_uchan_handle = &NoLossy;
   table.pcoip_vchan_get_max_udgram_size = &NoLossy;
   table.pcoip_vchan_usend = &Send;
   table.pcoip_vchan_urecv = &Receive;
   table.pcoip_vchan_upending = &Pending;
   return table;
}();

class Echo final : public pcoip_mfw {
public:
   Echo()
       : pcoip_mfw("echo", 1) {}
   ~Echo() override { EndCallbacks(); }
   void ChannelState(uint32_t /*session*/, uint32_t /*state*/) override {}
   // Datagrams of one batch lie behind each other.
   void GotData(uint32_t session, uint8_t *data, uint32_t size) override {
      if (mBytes == 0) {
         mFirst = data;
      }
      mBytes += size;
      if (mBytes == kUnderWay * kDatagramBytes) {
         Require(data == mFirst + mBytes - size && SendData(session, mFirst, mBytes));
         mBytes = 0;
      }
   }

private:
   const uint8_t *mFirst = nullptr;
   uint32_t mBytes = 0;
};

/// An echo over a medium, which is full of datagrams.
template <class Medium>
class EchoOver {
public:
   explicit EchoOver(Medium &medium)
       : mHost(medium) {
      const Datagram datagram{};
      for (uint32_t i = 0; i < kUnderWay; ++i) {
         medium.Put(datagram.data(), kDatagramBytes);
      }
      mfwServer.store(true);
      mfwHost.store(nullptr);
      Require(mfw::Init(&MediumHost<Medium>::kTable, nullptr));
      Require(mEcho.Start(false, 1));
      mHost.AwaitAsked();
      mHost.TellOpened();
      mHost.AwaitReader();
   }
   ~EchoOver() {
      pcoip_channel *const channel = mEcho.Channel();
      mEcho.Stop();
      while (channel->GetRefCount() > 1) {
         usleep(1000); // the reader
      }
   }
   bench::Sampler Sampled(uint64_t times) {
      return [this, times] {
         return mHost.Run(times);
      };
   }

private:
   MediumHost<Medium> mHost;
   Echo mEcho;
};

/// The same datagrams without a channel: a batch into one buffer, and sent back.
template <class Medium>
bench::Sampler Bare(Medium &medium) {
   const Datagram datagram{};
   for (uint32_t i = 0; i < kUnderWay; ++i) {
      medium.Put(datagram.data(), kDatagramBytes);
   }
   return bench::CpuNanosecondsEach(
      [&medium, at = uint32_t{0}, buffer = std::array<Datagram, kUnderWay>{}](uint64_t times) mutable {
         const uint32_t size = Unknown(kDatagramBytes);
         for (; times > 0; --times) {
            medium.Take(buffer[at].data(), size);
            benchmark::DoNotOptimize(buffer[at].data());
            if (++at == kUnderWay) {
               for (const Datagram &received : buffer) {
                  medium.Put(received.data(), size);
               }
               at = 0;
            }
         }
      });
}

/// Two ends of an inproc pair, used by one thread.
class ZeroMq {
public:
   ZeroMq() {
      Require(zmq_bind(mIn, "inproc://echo") == 0 && zmq_connect(mOut, "inproc://echo") == 0);
      for (uint32_t i = 0; i < kUnderWay; ++i) {
         Require(zmq_send(mOut, mDatagram.data(), kDatagramBytes, 0) == kDatagramBytes);
      }
   }
   ~ZeroMq() {
      const int now = 0;
      for (void *const end : {mIn, mOut}) {
         zmq_setsockopt(end, ZMQ_LINGER, &now, sizeof now);
         zmq_close(end);
      }
      zmq_ctx_term(mContext);
   }
   void Run(uint64_t times) {
      for (; times > 0; --times) {
         Require(zmq_recv(mIn, mDatagram.data(), kDatagramBytes, 0) == kDatagramBytes);
         Require(zmq_send(mOut, mDatagram.data(), kDatagramBytes, 0) == kDatagramBytes);
      }
   }

private:
   void *const mContext = zmq_ctx_new();
   void *const mIn = zmq_socket(mContext, ZMQ_PAIR);
   void *const mOut = zmq_socket(mContext, ZMQ_PAIR);
   Datagram mDatagram{};
};

void Nothing(const char * /*text*/, int /*level*/) {}

} // namespace

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   logger::Init(&Nothing);
   if (report.Wants("channel.recv")) {
      MemoryMedium memory;
      MemoryMedium bare;
      EchoOver<MemoryMedium> echo(memory);
      ZeroMq zeroMq;
      report.Run({.name = "channel.recv",
                  .unit = "ns",
                  .ours = echo.Sampled(kMemoryTimes),
                  .limit = bench::Case{"copy in, copy out", Bare(bare)},
                  .peers = {{"ZeroMQ inproc", bench::CpuNanosecondsEach([&](uint64_t times) { zeroMq.Run(times); })}}});
   }
   if (report.Wants("channel.socket")) {
      SocketMedium socket;
      SocketMedium bare;
      EchoOver<SocketMedium> echo(socket);
      report.Run({.name = "channel.socket",
                  .unit = "ns",
                  .ours = echo.Sampled(kSocketTimes),
                  .limit = bench::Case{"bare socket", Bare(bare)}});
   }
   return report.Finish();
}
