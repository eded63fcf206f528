#pragma once

#include "pcoip_host/local/LocalMessage.h"
#include "pcoip_host/local/LocalSocket.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

namespace pcoip_host {

/// The two sides' messages over one socket. It never waits: messages to a side that does not read are kept, up to
/// kMostKept of them; beyond that the link has ended.
///
/// Owner: a local host. Threads: one at a time. Locks: none. Life cycle: linked until HasEnded.
class LocalLink {
public:
   static constexpr size_t kMostKept = 16384;

   /// A message, and the descriptors that came with it.
   struct Received {
      LocalMessage message;
      std::vector<Descriptor> passed;
   };

   explicit LocalLink(Descriptor socket)
       : mSocket(std::move(socket)) {}

   void Post(const LocalMessage &message, std::vector<Descriptor> passed = {});
   /// Sends what goes now.
   void Flush();
   [[nodiscard]] bool HasKept() const { return !mKept.empty(); }
   /// The next message; none when there is none yet, or never will be.
   [[nodiscard]] std::optional<Received> Read();
   /// The other side went, or broke the rules. Messages to it are dropped.
   [[nodiscard]] bool HasEnded() const { return mHasEnded; }
   void End();

   [[nodiscard]] const Descriptor &Socket() const { return mSocket; }

private:
   struct Kept {
      LocalMessage::Record record;
      size_t sent;
      std::vector<Descriptor> passed;
   };

   const Descriptor mSocket;
   bool mHasEnded = false;
   std::deque<Kept> mKept;
   LocalMessage::Record mIncoming{};
   size_t mIncomingSize = 0;
   std::vector<Descriptor> mPassed;
};

} // namespace pcoip_host
