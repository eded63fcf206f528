// The two sides of a local session as two processes, and what is left of one when the other is killed or stopped.

#include "pcoip_host/local/LocalHost.h"
#include "pcoip_host/local/LocalHostTestKit.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <random>
#include <thread>

namespace pcoip_host {
namespace {

using testkit::Plugin;
using Moment = std::chrono::steady_clock::time_point;
using std::chrono::milliseconds;

constexpr int kRounds = 200;
constexpr auto kAllRounds = std::chrono::seconds(20);
constexpr auto kPatience = std::chrono::seconds(30); // a process that is still there then hangs

enum Ending { kEndedWell = 0, kLeftDescriptors = 3 };

size_t OpenDescriptors() {
   size_t count = 0;
   for (int fd = 0; fd < 256; ++fd) {
      count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
   }
   return count;
}

// Reads until the channel is closed; some datagrams of it are waited for, some counted first.
std::thread Reader(Plugin &plugin, uint32_t handle) {
   return std::thread([&plugin, handle] {
      while (plugin.Receive(handle)[0] != '<') {
         static_cast<void>(plugin.Pending(handle));
      }
   });
}

// One side: opens what the other side opens, sends and receives on both handles until the session ends, or until
// whoever holds the other end of `lifeline` lets go of it.
void Talk(std::unique_ptr<LocalHost> host, const Descriptor &lifeline) {
   Plugin plugin(host.get(), 0);
   std::atomic<uint32_t> handle{kPcoipNoHandle};
   plugin.OnRemoteOpen([&](const PcoipRemoteOpen &request) { handle = plugin.Open(request.name, true); });
   const auto isOver = [&] {
      pollfd end{lifeline.Get(), POLLIN, 0};
      return plugin.Count("disconnected") > 0 || poll(&end, 1, 0) > 0;
   };
   while (plugin.Count("connected") == 0 && host->connect() && !isOver()) {
      std::this_thread::yield();
   }
   handle = plugin.Open("media", true);
   const auto isOpen = [&] {
      return plugin.Count(std::to_string(handle) + " opened 1") > 0;
   };
   while (!isOpen() && host->connect() && !isOver()) {
      std::this_thread::yield();
   }
   if (isOpen()) {
      const uint32_t lossy = plugin.Lossy(handle);
      std::thread reliableReader = Reader(plugin, handle);
      std::thread lossyReader = Reader(plugin, lossy);
      const std::string datagram(12'000, 'x');
      while (!isOver()) {
         plugin.SendLossy(lossy, datagram, 2);
         plugin.Send(handle, datagram, 2);
      }
      plugin.Close(handle);
      reliableReader.join();
      lossyReader.join();
   }
   host.reset(); // its thread may still be telling the plugin something
}

[[noreturn]] void RunSide(Descriptor socket, LocalRendezvous::Role role, const Descriptor &lifeline) {
   const size_t before = OpenDescriptors();
   LocalHostOptions options;
   options.role = role;
   Talk(LocalHost::Create(std::move(socket), options), lifeline);
   _exit(OpenDescriptors() + 1 == before ? kEndedWell : kLeftDescriptors);
}

class Child {
public:
   Child(Descriptor *own, Descriptor *other, LocalRendezvous::Role role) {
      SocketPair line = MakeSocketPair().value();
      mPid = fork();
      if (mPid == 0) {
         other->Close();
         line.first.Close();
         RunSide(std::move(*own), role, line.second);
      }
      own->Close();
      mLifeline = std::move(line.first);
   }
   ~Child() {
      if (mPid > 0) {
         Signal(SIGKILL);
         waitpid(mPid, nullptr, 0);
      }
   }
   Child(const Child &) = delete;
   Child &operator=(const Child &) = delete;

   void Signal(int signal) const { kill(mPid, signal); }
   // Not by closing it: the other child may have inherited it.
   void LetGo() const { shutdown(mLifeline.Get(), SHUT_RDWR); }
   // Its exit status when it ended by itself; -1 when it hangs or died.
   int Wait() {
      int status = 0;
      for (const Moment end = std::chrono::steady_clock::now() + kPatience; std::chrono::steady_clock::now() < end;) {
         if (waitpid(mPid, &status, WNOHANG) == mPid) {
            mPid = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
         }
         std::this_thread::sleep_for(milliseconds(1));
      }
      return -1;
   }

private:
   pid_t mPid = -1;
   Descriptor mLifeline;
};

struct Children {
   explicit Children(SocketPair pair)
       // The first is started before the second has its socket's copy closed: each closes what is not its own.
       : leading(&pair.first, &pair.second, LocalRendezvous::Role::kLeading)
       , following(&pair.second, &pair.first, LocalRendezvous::Role::kFollowing) {}

   Child leading;
   Child following;
};

TEST(LocalHostDeath, TheOtherSideEndsCleanlyWhicheverIsKilledWhenever) {
   const size_t before = OpenDescriptors();
   std::mt19937 random(20'261'121);
   const Moment end = std::chrono::steady_clock::now() + kAllRounds;
   int round = 0;
   for (; round < kRounds && std::chrono::steady_clock::now() < end; ++round) {
      Children children(MakeSocketPair().value());
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 40'000));
      const bool first = random() % 2 == 0;
      (first ? children.leading : children.following).Signal(SIGKILL);
      ASSERT_EQ((first ? children.following : children.leading).Wait(), kEndedWell) << "round " << round;
   }
   EXPECT_EQ(OpenDescriptors(), before);
   RecordProperty("rounds", round);
   EXPECT_GT(round, 20);
}

TEST(LocalHostDeath, ASideWhoseOtherSideIsStoppedGoesOnAndEndsWhenItIsTold) {
   std::mt19937 random(7);
   for (int round = 0; round < 20; ++round) {
      Children children(MakeSocketPair().value());
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 40'000));
      const bool first = random() % 2 == 0;
      (first ? children.leading : children.following).Signal(SIGSTOP);
      std::this_thread::sleep_for(milliseconds(20));
      (first ? children.following : children.leading).LetGo();
      ASSERT_EQ((first ? children.following : children.leading).Wait(), kEndedWell) << "round " << round;
   }
}

} // namespace
} // namespace pcoip_host
