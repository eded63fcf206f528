#include "pcoip_host/local/LocalSocket.h"

#include "osal/Clock.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace pcoip_host {
namespace {

// Systems differ in how a write to a closed peer is kept from being a signal: per call, or per socket.
#ifdef MSG_NOSIGNAL
constexpr int kSendFlags = MSG_DONTWAIT | MSG_NOSIGNAL;
#else
constexpr int kSendFlags = MSG_DONTWAIT;
#endif
// ... and in whether "not inherited" can be said when a descriptor is made.
#ifdef SOCK_CLOEXEC
constexpr int kStreamType = SOCK_STREAM | SOCK_CLOEXEC;
#else
constexpr int kStreamType = SOCK_STREAM;
#endif
#ifdef MSG_CMSG_CLOEXEC
constexpr int kReceiveFlags = MSG_DONTWAIT | MSG_CMSG_CLOEXEC;
#else
constexpr int kReceiveFlags = MSG_DONTWAIT;
#endif

// Room for descriptors beside a message, aligned as its header.
union PassedRoom {
   cmsghdr header;
   char bytes[CMSG_SPACE(sizeof(int) * kMostPassed)];
};

bool ToSignalNobody([[maybe_unused]] int fd) {
#if !defined(MSG_NOSIGNAL) && defined(SO_NOSIGPIPE)
   const int on = 1;
   return setsockopt(fd, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on) == 0;
#else
   return true;
#endif
}

void TakePassed(msghdr &message, std::vector<Descriptor> *passed) {
   for (cmsghdr *item = CMSG_FIRSTHDR(&message); item != nullptr; item = CMSG_NXTHDR(&message, item)) {
      if (item->cmsg_level != SOL_SOCKET || item->cmsg_type != SCM_RIGHTS) {
         continue;
      }
      const size_t count = (item->cmsg_len - CMSG_LEN(0)) / sizeof(int);
      for (size_t i = 0; i < count; ++i) {
         int fd = -1;
         std::memcpy(&fd, CMSG_DATA(item) + i * sizeof fd, sizeof fd);
         passed->emplace_back(fd);
         // A second time does no harm where the flag of the call did it.
         static_cast<void>(AdoptSocket(passed->back()));
      }
   }
}

} // namespace

Descriptor::~Descriptor() {
   Close();
}

void Descriptor::Close() {
   if (mFd >= 0) {
      const int kept = errno;
      close(std::exchange(mFd, -1));
      errno = kept;
   }
}

std::optional<SocketPair> MakeSocketPair() {
   int ends[2];
   if (socketpair(AF_UNIX, kStreamType, 0, ends) != 0) {
      return std::nullopt;
   }
   SocketPair pair{Descriptor(ends[0]), Descriptor(ends[1])};
   if (!AdoptSocket(pair.first) || !AdoptSocket(pair.second)) {
      return std::nullopt;
   }
   return pair;
}

bool AdoptSocket(const Descriptor &socket) {
   int type = 0;
   socklen_t size = sizeof type;
   if (getsockopt(socket.Get(), SOL_SOCKET, SO_TYPE, &type, &size) != 0) {
      return false;
   }
   return fcntl(socket.Get(), F_SETFD, FD_CLOEXEC) == 0 && ToSignalNobody(socket.Get());
}

void AskForRoom(const Descriptor &socket, int bytes) {
   setsockopt(socket.Get(), SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
   setsockopt(socket.Get(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

ptrdiff_t SendSome(const Descriptor &socket, Bytes first, Bytes second, const std::vector<Descriptor> *passed) {
   // sendmsg takes memory that it does not write to as if it did.
   iovec pieces[2] = {{const_cast<void *>(first.data), first.size}, {const_cast<void *>(second.data), second.size}};
   msghdr message{};
   message.msg_iov = pieces;
   message.msg_iovlen = second.size > 0 ? 2 : 1;
   PassedRoom room{};
   if (passed != nullptr && !passed->empty()) {
      const size_t count = std::min(passed->size(), kMostPassed);
      message.msg_control = &room;
      message.msg_controllen = static_cast<decltype(message.msg_controllen)>(CMSG_SPACE(sizeof(int) * count));
      cmsghdr *const item = CMSG_FIRSTHDR(&message);
      item->cmsg_level = SOL_SOCKET;
      item->cmsg_type = SCM_RIGHTS;
      item->cmsg_len = static_cast<decltype(item->cmsg_len)>(CMSG_LEN(sizeof(int) * count));
      for (size_t i = 0; i < count; ++i) {
         const int fd = (*passed)[i].Get();
         std::memcpy(CMSG_DATA(item) + i * sizeof fd, &fd, sizeof fd);
      }
   }
   for (;;) {
      const ssize_t sent = sendmsg(socket.Get(), &message, kSendFlags);
      if (sent >= 0 || errno != EINTR) {
         return sent;
      }
   }
}

ptrdiff_t ReceiveSome(const Descriptor &socket, void *data, size_t size, Waiting waiting) {
   for (;;) {
      const ssize_t got = recv(socket.Get(), data, size, waiting == Waiting::kYes ? 0 : MSG_DONTWAIT);
      if (got >= 0 || errno != EINTR) {
         return got;
      }
   }
}

ptrdiff_t ReceivePassed(const Descriptor &socket, void *data, size_t size, std::vector<Descriptor> *passed) {
   for (;;) {
      iovec piece = {data, size};
      PassedRoom room{};
      msghdr message{};
      message.msg_iov = &piece;
      message.msg_iovlen = 1;
      message.msg_control = &room;
      message.msg_controllen = sizeof room;
      const ssize_t got = recvmsg(socket.Get(), &message, kReceiveFlags);
      if (got < 0 && errno == EINTR) {
         continue;
      }
      if (got > 0) {
         TakePassed(message, passed);
         if ((message.msg_flags & MSG_CTRUNC) != 0) {
            errno = EPROTO;
            return -1;
         }
      }
      return got;
   }
}

int PollTimeout(uint64_t deadlineNs) {
   if (deadlineNs == osal::Clock::kNoDeadline) {
      return -1;
   }
   const uint64_t now = osal::Clock::current().monotonicNs();
   const uint64_t left = deadlineNs > now ? deadlineNs - now : 0;
   return static_cast<int>(std::min<uint64_t>((left + 999'999) / 1'000'000, INT_MAX));
}

bool AwaitReady(const Descriptor &socket, Direction direction, uint64_t deadlineNs) {
   for (;;) {
      const int timeout = PollTimeout(deadlineNs);
      pollfd ready{socket.Get(), static_cast<short>(direction == Direction::kRead ? POLLIN : POLLOUT), 0};
      const int count = poll(&ready, 1, timeout);
      if (count > 0 || (count < 0 && errno != EINTR)) {
         return true; // what it is that failed, the next call on the socket tells
      }
      if (count == 0 && PollTimeout(deadlineNs) == 0) {
         return false;
      }
   }
}

} // namespace pcoip_host
