#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace pcoip_host {

/// One open file descriptor, closed at the end of its life. Threads: one. Life cycle: full or empty; moved, not copied.
class Descriptor {
public:
   Descriptor() = default;
   explicit Descriptor(int fd)
       : mFd(fd) {}
   Descriptor(Descriptor &&other) noexcept
       : mFd(std::exchange(other.mFd, -1)) {}
   Descriptor &operator=(Descriptor &&other) noexcept {
      std::swap(mFd, other.mFd);
      return *this;
   }
   ~Descriptor();

   [[nodiscard]] int Get() const { return mFd; } ///< -1 when empty
   [[nodiscard]] explicit operator bool() const { return mFd >= 0; }
   void Close();

private:
   int mFd = -1;
};

/// Two stream sockets that are connected to each other, not inherited by programs that are started.
struct SocketPair {
   Descriptor first;
   Descriptor second;
};

/// None, with errno, when there are no descriptors left.
[[nodiscard]] std::optional<SocketPair> MakeSocketPair();

/// Takes over a socket that was inherited: it is not inherited further, and a write to a peer that has gone is an error
/// and no signal. False, with errno, when it is no socket.
[[nodiscard]] bool AdoptSocket(const Descriptor &socket);

/// Asks for room for this many bytes on their way; the system may give less.
void AskForRoom(const Descriptor &socket, int bytes);

/// Pieces of memory that go out one after the other.
struct Bytes {
   const void *data;
   size_t size;
};

/// Sends what goes without a wait; the number of bytes, or -1 with errno (EAGAIN: nothing goes now). `passed` travel
/// with the first byte, and are still the caller's.
[[nodiscard]] ptrdiff_t SendSome(const Descriptor &socket, Bytes first, Bytes second = {nullptr, 0},
                                 const std::vector<Descriptor> *passed = nullptr);

enum class Waiting : bool { kNo, kYes };

/// Receives at most `size` bytes: the number, 0 at the end of the stream, or -1 with errno. With kYes it sleeps until
/// there is something, or the socket is shut down.
[[nodiscard]] ptrdiff_t ReceiveSome(const Descriptor &socket, void *data, size_t size, Waiting waiting);

/// As ReceiveSome without a wait, and appends descriptors that came along to `passed`. At most kMostPassed come with
/// one message; more are an error (EPROTO).
inline constexpr size_t kMostPassed = 2;
[[nodiscard]] ptrdiff_t ReceivePassed(const Descriptor &socket, void *data, size_t size,
                                      std::vector<Descriptor> *passed);

/// Sleeps until the socket can be read (or written), has failed, or `deadlineNs` of osal::Clock is reached: false then.
enum class Direction : bool { kRead, kWrite };
[[nodiscard]] bool AwaitReady(const Descriptor &socket, Direction direction, uint64_t deadlineNs);

/// Milliseconds for poll until `deadlineNs`, rounded up: -1 for no limit.
[[nodiscard]] int PollTimeout(uint64_t deadlineNs);

} // namespace pcoip_host
