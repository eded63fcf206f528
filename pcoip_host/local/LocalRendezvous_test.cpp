#include "pcoip_host/local/LocalRendezvous.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>
#include <set>

namespace pcoip_host {
namespace {

using Action = LocalRendezvous::Action;
using Actions = LocalRendezvous::Actions;
using What = Action::What;
using Role = LocalRendezvous::Role;

TEST(LocalRendezvous, TheFirstSideTellsTheNameAndWaits) {
   for (const Role role : {Role::kLeading, Role::kFollowing}) {
      LocalRendezvous side(role);
      Actions actions;
      EXPECT_EQ(side.Open("video", true, &actions), 1U);
      EXPECT_EQ(actions, (Actions{{What::kSendOpen, 1, 0, "video", true}}));
   }
}

TEST(LocalRendezvous, TheSecondSideIsAskedAndTheLeadingOneJoins) {
   LocalRendezvous leading(Role::kLeading);
   Actions actions;
   leading.OnOpen(9, "video", true, &actions);
   EXPECT_EQ(actions, (Actions{{What::kAnnounce, 0, 0, "video", true}}));
   actions.clear();
   EXPECT_EQ(leading.Open("video", true, &actions), 1U);
   EXPECT_EQ(actions, (Actions{{What::kJoin, 1, 9, "video", true}}));

   LocalRendezvous following(Role::kFollowing);
   actions.clear();
   following.OnOpen(9, "video", true, &actions);
   EXPECT_EQ(actions, (Actions{{What::kAnnounce, 0, 0, "video", true}}));
   actions.clear();
   EXPECT_EQ(following.Open("video", true, &actions), 1U);
   EXPECT_EQ(actions, (Actions{{What::kSendOpen, 1, 0, "video", true}}));
   actions.clear();
   EXPECT_TRUE(following.OnJoin(1, 9, &actions));
   EXPECT_EQ(actions, (Actions{{What::kRaiseOpened, 1}}));
}

TEST(LocalRendezvous, OneNameIsOneChannel) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   EXPECT_TRUE(side.Open("video", false, &actions).has_value());
   EXPECT_FALSE(side.Open("video", false, &actions).has_value());
   EXPECT_TRUE(side.Open("audio", false, &actions).has_value());
   EXPECT_TRUE(side.Close(1, &actions));
   EXPECT_FALSE(side.Close(1, &actions));
   EXPECT_TRUE(side.Open("video", false, &actions).has_value());
}

TEST(LocalRendezvous, TwoKindsOfOneNameAreRefusedOnBothSides) {
   LocalRendezvous leading(Role::kLeading);
   Actions actions;
   static_cast<void>(leading.Open("video", false, &actions));
   actions.clear();
   leading.OnOpen(4, "video", true, &actions);
   EXPECT_EQ(actions, (Actions{{What::kSendReject, 0, 4}, {What::kRaiseRejected, 1}}));

   LocalRendezvous following(Role::kFollowing);
   static_cast<void>(following.Open("video", true, &actions));
   actions.clear();
   following.OnReject(1, &actions);
   EXPECT_EQ(actions, (Actions{{What::kRaiseRejected, 1}}));
}

TEST(LocalRendezvous, AnEndThatIsNotGivenUpHoldsTheNextRequestBack) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   static_cast<void>(side.Open("video", false, &actions));
   side.OnOpen(4, "video", false, &actions);
   actions.clear();
   side.OnClose(1, 0, &actions);
   EXPECT_EQ(actions, (Actions{{What::kRaiseEnded, 1}}));
   actions.clear();
   side.OnOpen(5, "video", false, &actions);
   EXPECT_TRUE(actions.empty());
   EXPECT_TRUE(side.Close(1, &actions));
   EXPECT_EQ(actions, (Actions{{What::kAnnounce, 0, 0, "video", false}}));
}

TEST(LocalRendezvous, SocketsForAnEndThatIsGoneAreGivenBack) {
   LocalRendezvous side(Role::kFollowing);
   Actions actions;
   static_cast<void>(side.Open("video", false, &actions));
   static_cast<void>(side.Close(1, &actions));
   actions.clear();
   EXPECT_FALSE(side.OnJoin(1, 7, &actions));
   EXPECT_EQ(actions, (Actions{{What::kSendClose, 0, 7}}));
}

TEST(LocalRendezvous, AJoinWithoutSocketsIsARefusal) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   static_cast<void>(side.Open("video", false, &actions));
   side.OnOpen(4, "video", false, &actions);
   actions.clear();
   side.OnJoinFailed(1, &actions);
   EXPECT_EQ(actions, (Actions{{What::kSendReject, 0, 4}, {What::kRaiseRejected, 1}}));
}

TEST(LocalRendezvous, TheEndOfTheSessionEndsEveryChannelOnce) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   static_cast<void>(side.Open("waits", false, &actions));
   static_cast<void>(side.Open("open", false, &actions));
   static_cast<void>(side.Open("ended", false, &actions));
   side.OnOpen(4, "open", false, &actions);
   side.OnOpen(5, "ended", false, &actions);
   side.OnClose(3, 0, &actions);
   actions.clear();
   side.Disconnect(&actions);
   EXPECT_EQ(actions, (Actions{{What::kRaiseEnded, 1}, {What::kRaiseEnded, 2}}));
}

TEST(LocalRendezvous, AFloodOfNamesIsBounded) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   for (uint32_t number = 1; number <= LocalRendezvous::kMostAsked; ++number) {
      side.OnOpen(number, "c" + std::to_string(number), false, &actions);
   }
   actions.clear();
   side.OnOpen(99'999, "one more", false, &actions);
   EXPECT_EQ(actions, (Actions{{What::kSendReject, 0, 99'999}}));
}

TEST(LocalRendezvous, AChannelThatIsAskedForIsAnnouncedUnlessItIsHere) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   side.OnAsk("video", true, &actions);
   EXPECT_EQ(actions, (Actions{{What::kAnnounce, 0, 0, "video", true}}));
   static_cast<void>(side.Open("video", true, &actions));
   actions.clear();
   side.OnAsk("video", true, &actions);
   EXPECT_TRUE(actions.empty());
}

TEST(LocalRendezvous, UnknownNumbersChangeNothing) {
   LocalRendezvous side(Role::kLeading);
   Actions actions;
   side.OnClose(3, 0, &actions);
   side.OnClose(0, 3, &actions);
   side.OnReject(3, &actions);
   side.OnJoinFailed(3, &actions);
   EXPECT_TRUE(actions.empty());
}

// ---- Both sides against each other, with messages on their way
// -------------------------------------------------------

// What one side has, as its application sees it.
struct End {
   LocalRendezvous rendezvous;
   std::deque<Action> incoming;       // from the other side, in its terms
   std::map<uint32_t, char> channels; // number: w waiting, o open, e ended (told, not closed)
   std::map<uint32_t, uint32_t> joinedTo;
};

class Pair {
public:
   explicit Pair(uint32_t seed)
       : mRandom(seed) {}

   // Random opens and closes, messages delivered late; then everything that is on its way.
   void Run(int steps) {
      for (int step = 0; step < steps; ++step) {
         const size_t side = mRandom() % 2;
         switch (mRandom() % 4) {
         case 0:
            Open(side, static_cast<uint32_t>(mRandom() % 3));
            break;
         case 1:
            CloseSome(side);
            break;
         default:
            Deliver(side);
         }
      }
      Settle();
   }

   // Applications close what has ended; nothing is left on its way.
   void Settle() {
      bool moved = true;
      while (moved) {
         const bool delivered[] = {Deliver(0), Deliver(1)};
         moved = delivered[0] || delivered[1];
         for (size_t side = 0; side < 2; ++side) {
            for (auto channels = mEnds[side].channels; const auto &[number, state] : channels) {
               if (state == 'e') {
                  Close(side, number);
                  moved = true;
               }
            }
         }
      }
   }

   // Every open end has its partner, which is open and knows it.
   void ExpectMatched() {
      for (size_t side = 0; side < 2; ++side) {
         for (const auto &[number, state] : mEnds[side].channels) {
            if (state == 'o') {
               const uint32_t partner = mEnds[side].joinedTo.at(number);
               EXPECT_EQ(mEnds[1 - side].channels[partner], 'o');
               EXPECT_EQ(mEnds[1 - side].joinedTo[partner], number);
            }
         }
      }
   }

   // What waits is met as soon as the other side opens the name; both then are open.
   void ExpectEveryNameCanStillBeOpened() {
      for (uint32_t name = 0; name < 3; ++name) {
         Open(0, name);
         Open(1, name);
      }
      Settle();
      for (const End &end : mEnds) {
         size_t open = 0;
         for (const auto &[number, state] : end.channels) {
            open += state == 'o' ? 1U : 0U;
         }
         EXPECT_EQ(open, 3U);
      }
      ExpectMatched();
   }

private:
   void Open(size_t side, uint32_t name) {
      Actions actions;
      const auto number = mEnds[side].rendezvous.Open("c" + std::to_string(name), name == 2, &actions);
      if (number) {
         mEnds[side].channels[*number] = 'w';
      }
      Do(side, actions);
   }
   void Close(size_t side, uint32_t number) {
      Actions actions;
      EXPECT_TRUE(mEnds[side].rendezvous.Close(number, &actions));
      mEnds[side].channels.erase(number);
      Do(side, actions);
   }
   void CloseSome(size_t side) {
      auto &channels = mEnds[side].channels;
      if (!channels.empty()) {
         Close(side, std::next(channels.begin(), static_cast<long>(mRandom() % channels.size()))->first);
      }
   }
   bool Deliver(size_t side) {
      End &end = mEnds[side];
      if (end.incoming.empty()) {
         return false;
      }
      const Action message = end.incoming.front();
      end.incoming.pop_front();
      Actions actions;
      switch (message.what) {
      case What::kSendOpen:
         end.rendezvous.OnOpen(message.channel, message.name, message.lossy, &actions);
         break;
      case What::kJoin:
         if (end.rendezvous.OnJoin(message.other, message.channel, &actions)) {
            end.joinedTo[message.other] = message.channel;
         }
         break;
      case What::kSendClose:
         end.rendezvous.OnClose(message.other, message.other == 0 ? message.channel : 0, &actions);
         break;
      default:
         end.rendezvous.OnReject(message.other, &actions);
      }
      Do(side, actions);
      return true;
   }
   void Do(size_t side, const Actions &actions) {
      for (const Action &action : actions) {
         switch (action.what) {
         case What::kJoin:
            mEnds[side].channels[action.channel] = 'o';
            mEnds[side].joinedTo[action.channel] = action.other;
            [[fallthrough]];
         case What::kSendOpen:
         case What::kSendClose:
         case What::kSendReject:
            mEnds[1 - side].incoming.push_back(action);
            break;
         case What::kRaiseOpened:
            mEnds[side].channels[action.channel] = 'o';
            break;
         case What::kRaiseRejected:
         case What::kRaiseEnded:
            EXPECT_NE(mEnds[side].channels[action.channel], 'e') << "told twice";
            mEnds[side].channels[action.channel] = 'e';
            break;
         case What::kAnnounce:
            break;
         }
      }
   }

   std::mt19937 mRandom;
   End mEnds[2] = {{LocalRendezvous(Role::kLeading), {}, {}, {}}, {LocalRendezvous(Role::kFollowing), {}, {}, {}}};
};

TEST(LocalRendezvous, WhateverCrossesOnTheWayBothSidesAgreeInTheEnd) {
   for (uint32_t seed = 0; seed < 20'000; ++seed) {
      Pair pair(seed);
      pair.Run(60);
      pair.ExpectMatched();
      pair.ExpectEveryNameCanStillBeOpened();
      ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
   }
}

} // namespace
} // namespace pcoip_host
