#include "pcoip_host/local/LocalRendezvous.h"

#include <algorithm>

namespace pcoip_host {
namespace {

// Leaves the upper half for lossy handles.
constexpr uint32_t kMostNumber = 0x3FFFFFFF;

} // namespace

using What = LocalRendezvous::Action::What;

std::map<uint32_t, LocalRendezvous::Channel>::iterator LocalRendezvous::FindName(const std::string &name) {
   return std::find_if(mChannels.begin(), mChannels.end(), [&](const auto &item) { return item.second.name == name; });
}

uint32_t LocalRendezvous::NextNumber() {
   do {
      mLastNumber = mLastNumber == kMostNumber ? 1 : mLastNumber + 1;
   } while (mChannels.count(mLastNumber) != 0);
   return mLastNumber;
}

std::optional<uint32_t> LocalRendezvous::Open(const std::string &name, bool lossy, Actions *actions) {
   if (FindName(name) != mChannels.end()) {
      return std::nullopt;
   }
   const uint32_t channel = NextNumber();
   mChannels[channel] = {name, lossy, State::kWaiting, 0};
   const auto asked = mAsked.find(name);
   if (asked == mAsked.end()) {
      actions->push_back({What::kSendOpen, channel, 0, name, lossy});
      return channel;
   }
   const Asked there = asked->second;
   mAsked.erase(asked);
   if (mRole == Role::kFollowing) {
      actions->push_back({What::kSendOpen, channel, 0, name, lossy});
   }
   Meet(channel, there.other, there.lossy, actions);
   return channel;
}

// Both ends are known here.
void LocalRendezvous::Meet(uint32_t channel, uint32_t other, bool lossy, Actions *actions) {
   Channel &mine = mChannels[channel];
   mine.other = other;
   if (mRole == Role::kFollowing) {
      return; // the leading side sees both ends as well
   }
   if (mine.lossy != lossy) {
      actions->push_back({What::kSendReject, 0, other});
      End(channel, What::kRaiseRejected, actions);
      return;
   }
   mine.state = State::kOpen;
   actions->push_back({What::kJoin, channel, other, mine.name, lossy});
}

void LocalRendezvous::End(uint32_t channel, What what, Actions *actions) {
   Channel &mine = mChannels[channel];
   mine.state = State::kEnded;
   mine.other = 0;
   actions->push_back({what, channel});
}

bool LocalRendezvous::Close(uint32_t channel, Actions *actions) {
   const auto found = mChannels.find(channel);
   if (found == mChannels.end()) {
      return false;
   }
   const Channel mine = found->second;
   mChannels.erase(found);
   if (mine.state == State::kOpen) {
      actions->push_back({What::kSendClose, channel, mine.other});
   } else if (mine.state == State::kWaiting) {
      actions->push_back({What::kSendClose, channel, 0});
      if (mine.other != 0 && mAsked.count(mine.name) == 0) {
         mAsked[mine.name] = {mine.other, mine.lossy, true}; // it still waits there, and this side was told
      }
   }
   AnnounceWhatIsFree(mine.name, actions);
   return true;
}

void LocalRendezvous::AnnounceWhatIsFree(const std::string &name, Actions *actions) {
   const auto asked = mAsked.find(name);
   if (asked != mAsked.end() && !asked->second.isAnnounced && FindName(name) == mChannels.end()) {
      asked->second.isAnnounced = true;
      actions->push_back({What::kAnnounce, 0, 0, name, asked->second.lossy});
   }
}

void LocalRendezvous::OnOpen(uint32_t other, const std::string &name, bool lossy, Actions *actions) {
   const auto mine = FindName(name);
   if (mine != mChannels.end() && mine->second.state == State::kWaiting) {
      Meet(mine->first, other, lossy, actions);
      return;
   }
   if (mAsked.size() >= kMostAsked && mAsked.count(name) == 0) {
      actions->push_back({What::kSendReject, 0, other});
      return;
   }
   // An end that this side has not given up yet stands in the way of the announcement.
   mAsked[name] = {other, lossy, false};
   AnnounceWhatIsFree(name, actions);
}

bool LocalRendezvous::OnJoin(uint32_t channel, uint32_t other, Actions *actions) {
   const auto mine = mChannels.find(channel);
   if (mine == mChannels.end() || mine->second.state != State::kWaiting) {
      ForgetAsked(other); // it waits no more
      actions->push_back({What::kSendClose, 0, other});
      return false;
   }
   mine->second.state = State::kOpen;
   mine->second.other = other;
   actions->push_back({What::kRaiseOpened, channel});
   return true;
}

void LocalRendezvous::OnClose(uint32_t channel, uint32_t other, Actions *actions) {
   if (channel != 0) {
      const auto mine = mChannels.find(channel);
      if (mine != mChannels.end() && mine->second.state == State::kOpen) {
         End(channel, What::kRaiseEnded, actions);
      }
      return;
   }
   // One that was not joined, as far as the other side knew.
   if (ForgetAsked(other)) {
      return;
   }
   for (auto &[number, mine] : mChannels) {
      if (mine.other == other && mine.state == State::kOpen) {
         End(number, What::kRaiseEnded, actions);
      } else if (mine.other == other && mine.state == State::kWaiting) {
         mine.other = 0;
      }
   }
}

bool LocalRendezvous::ForgetAsked(uint32_t other) {
   return std::erase_if(mAsked, [&](const auto &item) { return item.second.other == other; }) > 0;
}

void LocalRendezvous::OnAsk(const std::string &name, bool lossy, Actions *actions) {
   if (FindName(name) == mChannels.end()) {
      actions->push_back({What::kAnnounce, 0, 0, name, lossy});
   }
}

void LocalRendezvous::OnReject(uint32_t channel, Actions *actions) {
   const auto mine = mChannels.find(channel);
   if (mine != mChannels.end() && mine->second.state == State::kWaiting) {
      End(channel, What::kRaiseRejected, actions);
   }
}

void LocalRendezvous::OnJoinFailed(uint32_t channel, Actions *actions) {
   const auto mine = mChannels.find(channel);
   if (mine != mChannels.end() && mine->second.state == State::kOpen) {
      actions->push_back({What::kSendReject, 0, mine->second.other});
      End(channel, What::kRaiseRejected, actions);
   }
}

void LocalRendezvous::Disconnect(Actions *actions) {
   mAsked.clear();
   for (auto &[number, mine] : mChannels) {
      if (mine.state != State::kEnded) {
         End(number, What::kRaiseEnded, actions);
      }
   }
}

} // namespace pcoip_host
