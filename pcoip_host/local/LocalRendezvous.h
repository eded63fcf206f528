#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace pcoip_host {

/// Which channels there are on this side, which of them the other side knows, and what is to be done next. Decides
/// only: every call appends what its caller must do, in order, to `actions`.
///
/// A channel is open when both sides have opened its name. Either may be first; the other is told the name then. The
/// leading side joins the two ends: it alone makes the sockets. What crosses on the way is settled so that neither side
/// is left with an end that the other does not have.
///
///     state      entered by                                  left by
///     waiting    Open                                        join: open; refusal, end of session: ended; Close: gone
///     open       join                                        the other side's close, end of session: ended; Close:
///     gone ended      the three above                             Close: gone
///
/// Owner: a local host. Threads: one at a time. Locks: none. Life cycle: constructed; Disconnect is final.
class LocalRendezvous {
public:
   /// What is to be done next, and to which channel.
   struct Action {
      enum class What {
         kSendOpen,      ///< channel, name, lossy
         kJoin,          ///< make sockets for channel, send the other ends to `other`; then it is open
         kSendClose,     ///< to `other`, or when it is 0 the own `channel`
         kSendReject,    ///< to `other`
         kRaiseOpened,   ///< channel
         kRaiseRejected, ///< channel
         kRaiseEnded,    ///< channel: once its reader has had everything
         kAnnounce,      ///< name, lossy: the other side asks for the channel
      };
      What what;
      uint32_t channel = 0;
      uint32_t other = 0;
      std::string name{};
      bool lossy = false;

      bool operator==(const Action &) const = default;
   };
   using Actions = std::vector<Action>;

   enum class Role { kLeading, kFollowing };
   static constexpr size_t kMostAsked = 1024; ///< names that the other side may wait with; more are refused

   explicit LocalRendezvous(Role role)
       : mRole(role) {}

   /// A new channel's number; none when the name is open here already.
   [[nodiscard]] std::optional<uint32_t> Open(const std::string &name, bool lossy, Actions *actions);
   /// Of this side; false for a number that there is not.
   bool Close(uint32_t channel, Actions *actions);

   void OnOpen(uint32_t other, const std::string &name, bool lossy, Actions *actions);
   /// False when the channel is none that waits: the sockets are of no use, and the other side is told.
   [[nodiscard]] bool OnJoin(uint32_t channel, uint32_t other, Actions *actions);
   void OnClose(uint32_t channel, uint32_t other, Actions *actions);
   /// The other side wants the channel opened here, and has not opened it itself.
   void OnAsk(const std::string &name, bool lossy, Actions *actions);
   void OnReject(uint32_t channel, Actions *actions);
   /// The leading side could not make the sockets of kJoin.
   void OnJoinFailed(uint32_t channel, Actions *actions);
   /// Every channel ends, and nothing is sent any more.
   void Disconnect(Actions *actions);

private:
   enum class State { kWaiting, kOpen, kEnded };
   struct Channel {
      std::string name;
      bool lossy = false;
      State state = State::kWaiting;
      uint32_t other = 0; // the other side's number, 0 while it is not known
   };
   struct Asked {
      uint32_t other = 0;
      bool lossy = false;
      bool isAnnounced = false;
   };

   void Meet(uint32_t channel, uint32_t other, bool lossy, Actions *actions);
   void End(uint32_t channel, Action::What what, Actions *actions);
   void AnnounceWhatIsFree(const std::string &name, Actions *actions);
   bool ForgetAsked(uint32_t other);
   [[nodiscard]] std::map<uint32_t, Channel>::iterator FindName(const std::string &name);
   [[nodiscard]] uint32_t NextNumber();

   const Role mRole;
   uint32_t mLastNumber = 0;
   std::map<uint32_t, Channel> mChannels;
   std::map<std::string, Asked> mAsked; // opened over there, not here
};

} // namespace pcoip_host
