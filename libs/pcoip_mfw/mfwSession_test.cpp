#include "libs/pcoip_mfw/mfwSession.h"

#include "libs/pcoip_mfw/ChannelFixtureTestKit.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

using kit::KeepingEndpoint;
using SessionTest = kit::ChannelTest;

TEST_F(SessionTest, InitRegistersAndGivesTheContext) {
   uint64_t context = 1;
   EXPECT_TRUE(host.Load(true, &context));
   EXPECT_EQ(context, 77U);
   EXPECT_EQ(mfwHost.load(), &kit::ObedientHost::Table());
   EXPECT_FALSE(mfwConnected.load());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_mfw init ok, server=%u", 1U)) << log.Dump();
}

TEST_F(SessionTest, InitOnTheClientSaysSo) {
   EXPECT_TRUE(host.Load(false, nullptr));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_mfw init ok, server=%u", 0U)) << log.Dump();
}

TEST_F(SessionTest, SecondInitIsFalseAndClearsTheContext) {
   ASSERT_TRUE(host.Load(true));
   log.Clear();
   uint64_t context = 5;
   EXPECT_FALSE(host.Load(true, &context));
   EXPECT_EQ(context, 0U);
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(SessionTest, RefusedRegistrationIsLoggedAndCanBeTriedAgain) {
   host.registerResult = -1;
   uint64_t context = 5;
   EXPECT_FALSE(host.Load(true, &context));
   EXPECT_EQ(context, 0U);
   EXPECT_EQ(mfwHost.load(), nullptr);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Failed to register local connection callback (err=%u)", UINT32_MAX))
      << log.Dump();
   host.registerResult = 0;
   EXPECT_TRUE(host.Load(true, &context));
   EXPECT_EQ(context, 77U);
}

TEST_F(SessionTest, TableThatLacksAnOperationIsRefused) {
   uint64_t context = 5;
   EXPECT_FALSE(mfw::Init(nullptr, &context));
   EXPECT_EQ(context, 0U);
   EXPECT_TRUE(log.Saw(logger::ERROR, "The host's table lacks an operation (0x%p)", static_cast<const void *>(nullptr)))
      << log.Dump();
   for (const size_t place : {1U, 2U, 3U, 5U, 6U, 8U, 10U, 13U, 15U, 19U, 20U, 21U, 22U, 23U}) {
      std::array<void *, sizeof(PcoipHostTable) / sizeof(void *)> entries{};
      std::memcpy(entries.data(), &kit::ObedientHost::Table(), sizeof(PcoipHostTable));
      entries[place] = nullptr;
      PcoipHostTable table;
      std::memcpy(&table, entries.data(), sizeof table);
      EXPECT_FALSE(mfw::Init(&table, nullptr)) << place;
      EXPECT_EQ(mfwHost.load(), nullptr);
   }
}

TEST_F(SessionTest, SessionThatIsThereAlreadyStartsWhatWaits) {
   mfwServer.store(true);
   KeepingEndpoint endpoint("early");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.connectionState = 1;
   ASSERT_TRUE(host.Load(true));
   EXPECT_TRUE(mfwConnected.load());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip already connected at register")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoipRunThread at pcoip connect")) << log.Dump();
   host.OpenFully(1);
}

TEST_F(SessionTest, OtherConnectionStatesAreNoSession) {
   host.connectionState = 2;
   ASSERT_TRUE(host.Load(true));
   EXPECT_FALSE(mfwConnected.load());
}

TEST_F(SessionTest, ExitUnregistersAndKeepsTheHost) {
   mfw::Exit();
   EXPECT_TRUE(log.Lines().empty()) << "nothing before Init: " << log.Dump();
   ASSERT_TRUE(host.Load(true));
   mfw::Exit();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip_mfw exit called")) << log.Dump();
   EXPECT_EQ(host.Unregistered(), std::vector<uint64_t>{77});
   EXPECT_EQ(mfwHost.load(), &kit::ObedientHost::Table());
}

TEST_F(SessionTest, ConnectCallbackWithoutDataIsRefused) {
   ASSERT_TRUE(host.Load(true));
   host.Connect(0, nullptr);
   host.Connect(1, nullptr);
   EXPECT_EQ(log.Count(logger::TRACE, "ConnectCallback bad context"), 2) << log.Dump();
}

TEST_F(SessionTest, ConnectionComesAndGoes) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   EXPECT_TRUE(mfwConnected.load());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip connected")) << log.Dump();
   host.Session(0);
   EXPECT_FALSE(mfwConnected.load());
   EXPECT_EQ(log.Count(logger::DEBUG, "pcoip disconnected"), 1) << log.Dump();
   host.Session(1);
   host.Session(2);
   EXPECT_FALSE(mfwConnected.load()) << "only 1 is connected";
   EXPECT_EQ(log.Count(logger::DEBUG, "pcoip disconnected"), 2) << log.Dump();
}

TEST_F(SessionTest, DisconnectionTouchesNoRunningChannel) {
   KeepingEndpoint endpoint("runs");
   OpenOnAgent(endpoint);
   host.Session(0);
   host.Arrive(host.AllOpened()[0].handle, {"still"});
   endpoint.AwaitData(1);
   EXPECT_EQ(endpoint.States(), std::vector<uint32_t>{1});
}

TEST_F(SessionTest, OtherEventsAreNothing) {
   ASSERT_TRUE(host.Load(true));
   log.Clear();
   const std::array<char, 64> data{};
   host.Connect(2, data.data());
   host.Connect(UINT32_MAX, data.data());
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(SessionTest, ConnectStartsEveryStartedChannelOfTheAgentInOrder) {
   ASSERT_TRUE(host.Load(true));
   KeepingEndpoint first("first");
   const KeepingEndpoint idle("idle");
   KeepingEndpoint third("third");
   ASSERT_TRUE(first.Start(false, 1));
   ASSERT_TRUE(third.Start(false, 1));
   host.Session(1);
   host.AwaitOpened(2);
   EXPECT_EQ(threads.Started(), 2);
   EXPECT_EQ(log.Count(logger::DEBUG, "[pcoipRunThread] Adding channel %s to pcoipChannelThread queue. (%s)", "first",
                       "Reliable"),
             1)
      << log.Dump();
   EXPECT_EQ(log.Count(logger::DEBUG, "[pcoipRunThread] Adding channel %s to pcoipChannelThread queue. (%s)", "idle",
                       "Reliable"),
             0);
}

TEST_F(SessionTest, ConnectStartsNothingOnTheClient) {
   ASSERT_TRUE(host.Load(false));
   KeepingEndpoint endpoint("client");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.Session(1);
   EXPECT_EQ(threads.Started(), 0);
}

TEST_F(SessionTest, ThreadThatFailsToStartDoesNotHoldBackTheOthers) {
   ASSERT_TRUE(host.Load(true));
   KeepingEndpoint first("first");
   KeepingEndpoint second("second");
   KeepingEndpoint third("third");
   ASSERT_TRUE(first.Start(false, 1));
   ASSERT_TRUE(second.Start(false, 1));
   ASSERT_TRUE(third.Start(false, 1));
   threads.FailNext(2);
   host.Session(1);
   EXPECT_EQ(host.AwaitOpened(1).name.substr(0, 6), std::string("third") + '\0');
   EXPECT_EQ(log.Count(logger::ERROR, "ChannelThread FAILED to start for channel %s", "first"), 1) << log.Dump();
   EXPECT_EQ(log.Count(logger::ERROR, "ChannelThread FAILED to start for channel %s", "second"), 1);
   EXPECT_EQ(first.Channel()->GetRefCount(), 1);
}

TEST_F(SessionTest, RemoteOpenStartsTheChannelOfThatNameAndNoOther) {
   ASSERT_TRUE(host.Load(false));
   KeepingEndpoint other("other");
   KeepingEndpoint meant("TLV meant");
   ASSERT_TRUE(other.Start(false, 1));
   ASSERT_TRUE(meant.Start(false, 1));
   host.RemoteOpen("TLV meant", 1);
   EXPECT_EQ(host.AwaitOpened(1).mode, 2U);
   EXPECT_EQ(threads.Started(), 1);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip connected channel %s", "ZTH meant")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[pcoipRunThread] for channel %s. (%s)", "ZTH meant", "Lossy")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[pcoipRunThread] setting lossy value for channel %s", "ZTH meant"))
      << log.Dump();
}

TEST_F(SessionTest, RemoteOpenReadsTheLowestBitOnly) {
   ASSERT_TRUE(host.Load(false));
   const KeepingEndpoint endpoint("bits");
   host.RemoteOpen("bits", 0xFFFFFFFE);
   EXPECT_FALSE(endpoint.Channel()->IsLossy());
   host.RemoteOpen("bits", 0xFFFFFFFF);
   EXPECT_TRUE(endpoint.Channel()->IsLossy());
}

TEST_F(SessionTest, RemoteOpenOfAnUnknownNameDoesNothing) {
   ASSERT_TRUE(host.Load(false));
   KeepingEndpoint endpoint("known");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.RemoteOpen("unknown", 1);
   EXPECT_EQ(threads.Started(), 0);
   EXPECT_FALSE(endpoint.Channel()->IsLossy());
}

// Required: the flag is kept for later, and the first channel of a name counts.
TEST_F(SessionTest, RemoteOpenOfAChannelThatIsNotStartedOnlyNotesTheFlag) {
   ASSERT_TRUE(host.Load(false));
   const KeepingEndpoint idle("same");
   KeepingEndpoint started("same");
   ASSERT_TRUE(started.Start(false, 1));
   host.RemoteOpen("same", 1);
   EXPECT_EQ(threads.Started(), 0);
   EXPECT_TRUE(idle.Channel()->IsLossy());
   EXPECT_FALSE(started.Channel()->IsLossy());
}

TEST_F(SessionTest, RemoteOpenOnTheAgentKeepsTheAgentsFlag) {
   ASSERT_TRUE(host.Load(true));
   KeepingEndpoint endpoint("agent");
   ASSERT_TRUE(endpoint.Start(false, 1));
   host.RemoteOpen("agent", 1);
   EXPECT_EQ(host.AwaitOpened(1).mode, 0U);
}

TEST_F(SessionTest, NameWithoutAnEndIsReadToItsPlaceOnly) {
   ASSERT_TRUE(host.Load(false));
   const std::string name(40, 'x');
   host.RemoteOpen(name, 1);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoip connected channel %s", name.c_str())) << log.Dump();
}

TEST_F(SessionTest, EmptyNameCountsAsGiven) {
   ASSERT_TRUE(host.Load(true));
   KeepingEndpoint named("named");
   ASSERT_TRUE(named.Start(false, 1));
   host.RemoteOpen("", 0);
   EXPECT_EQ(threads.Started(), 0) << "it is no request for all of them";
   EXPECT_TRUE(log.Saw(logger::DEBUG, "pcoipRunThread at pcoip connect")) << log.Dump();
   KeepingEndpoint nameless("");
   ASSERT_TRUE(nameless.Start(false, 1));
   host.RemoteOpen("", 0);
   host.AwaitOpened(1);
   EXPECT_EQ(threads.Started(), 1);
}

TEST_F(SessionTest, ChannelOf40CharactersStartsByItsCutName) {
   ASSERT_TRUE(host.Load(true));
   host.Session(1);
   const std::string name = std::string(31, 'n') + "and nine.";
   KeepingEndpoint endpoint(name.c_str());
   ASSERT_TRUE(endpoint.Start(false, 1));
   EXPECT_EQ(host.AwaitOpened(1).name, std::string(31, 'n') + '\0');
   EXPECT_TRUE(log.Saw(logger::DEBUG, "[%s - Start] Passing channel details to pcoipRunThread with name: %s",
                       name.c_str(), std::string(31, 'n').c_str()))
      << log.Dump();
}

} // namespace
