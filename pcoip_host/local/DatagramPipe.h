#pragma once

#include "pcoip_host/local/LocalSocket.h"
#include "pcoip_host/local/TimedTurn.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace pcoip_host {

/// Datagrams over a stream socket, both ways, in order: each is its size (4 bytes, highest first) and its bytes.
///
/// Reading is ahead of the reader: one system call brings as many datagrams as are there, and the number that can be
/// had without a wait is known. A datagram that began to go out is never given up half way: when time runs out, its
/// rest is parked in here and goes first when the socket takes more (FlushParked).
/// Owner: a channel of the local host, shared with the calls that are under way. Threads: any; senders take turns, and
/// receivers do. Locks: the two turns, each held during a wait on the socket. Life cycle: open -> Shutdown, or ended by
/// the other side; the socket is closed with the object. Nothing is allocated after the first parking.
class DatagramPipe {
public:
   enum class Result {
      kDone,
      kParked,   ///< taken, but part of it waits in here: FlushParked sends it
      kTimedOut, ///< nothing of it was taken
      kTooLarge,
      kClosed,
   };

   /// `largest` datagram in bytes, of both directions. A larger one from the other side ends the pipe.
   DatagramPipe(Descriptor socket, uint32_t largest);

   /// Takes one datagram, or nothing. `timeoutMs` bounds the wait for room; 0xFFFFFFFF is no limit.
   [[nodiscard]] Result Send(const void *data, uint32_t size, uint32_t timeoutMs);
   [[nodiscard]] bool HasParked() const { return mHasParked.load(); }
   /// Sends what is parked, as far as it goes without a wait. kParked: some of it is left.
   Result FlushParked();

   /// The next datagram. `timeoutMs` below 0 is no limit. kTooLarge: it does not fit `capacity` and stays the next;
   /// `*outSize` is its size all the same.
   [[nodiscard]] Result Receive(void *buffer, uint32_t capacity, uint32_t *outSize, int32_t timeoutMs);
   /// Datagrams that Receive gives without a wait, as far as the room for reading ahead goes; 0 while another thread is
   /// in Receive.
   [[nodiscard]] uint32_t Pending();
   /// Whether a reader has had all that the other side sent before it went, or there is nothing that waits. Any answer
   /// is about now only.
   [[nodiscard]] bool IsDrained();

   /// Ends both directions, or reading alone, so that what is parked can still go: calls return kClosed, those that
   /// wait too. What was sent stays readable for the other side.
   enum class Ending { kBoth, kReading };
   void Shutdown(Ending ending = Ending::kBoth);

   [[nodiscard]] const Descriptor &Socket() const { return mSocket; }

private:
   static constexpr size_t kPrefixSize = 4;

   [[nodiscard]] Result SendRest(Bytes first, Bytes second, uint64_t deadlineNs);
   [[nodiscard]] Result SendParked(uint64_t deadlineNs);
   void Park(Bytes first, Bytes second);

   [[nodiscard]] size_t Buffered() const { return mEnd - mBegin; }
   [[nodiscard]] bool TakeBuffered(void *buffer, uint32_t capacity, uint32_t *outSize, Result *result);
   [[nodiscard]] uint32_t SizeAt(size_t position) const;
   [[nodiscard]] bool Fill(Waiting waiting);
   [[nodiscard]] uint32_t CountBuffered() const;

   const Descriptor mSocket;
   const uint32_t mLargest;
   std::atomic<bool> mIsShut{false};

   TimedTurn mSendTurn;
   std::vector<uint8_t> mParked; // by mSendTurn
   std::atomic<bool> mHasParked{false};

   TimedTurn mReceiveTurn;
   std::vector<uint8_t> mAhead; // by mReceiveTurn, as the next three: bytes mBegin to mEnd are read and not taken
   size_t mBegin = 0;
   size_t mEnd = 0;
   bool mHasEnded = false;
};

} // namespace pcoip_host
