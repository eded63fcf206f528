#include "osal/pipewire/PipewireDiagnosis.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace osal {
namespace {

using Verdict = Finding::Verdict;

PipewireNode Node(std::string mediaClass, std::string description) {
   PipewireNode node;
   node.mediaClass = std::move(mediaClass);
   node.description = std::move(description);
   return node;
}

PipewireListing Answered() {
   PipewireListing listing;
   listing.stage = PipewireStage::Answered;
   listing.socketPath = "/run/user/1000/pipewire-0";
   listing.hasSessionManager = true;
   return listing;
}

PipewireListing Failed(PipewireStage stage, int32_t code, std::string reason) {
   PipewireListing listing;
   listing.stage = stage;
   listing.status = Status::Error(code, std::move(reason));
   return listing;
}

TEST(PipewireDiagnosis, AllIsWell) {
   PipewireListing listing = Answered();
   listing.nodes = {Node("Video/Source", "Desk"), Node("Audio/Source", "Mic"), Node("Video/Source", "Door")};
   const std::vector<Finding> findings = DiagnosePipewire(listing);
   ASSERT_EQ(findings.size(), 5u);
   for (const Finding &finding : findings) {
      EXPECT_EQ(finding.verdict, Verdict::Ok) << finding.check;
      EXPECT_EQ(finding.advice, "") << finding.check;
   }
   EXPECT_EQ(findings[0].check, "client library");
   EXPECT_EQ(findings[1].check, "PipeWire daemon");
   EXPECT_EQ(findings[1].result, "The PipeWire daemon at /run/user/1000/pipewire-0 answers.");
   EXPECT_EQ(findings[2].check, "session manager");
   EXPECT_EQ(findings[3].check, "cameras");
   EXPECT_EQ(findings[3].result, "2 cameras: Desk, Door.");
   EXPECT_EQ(findings[4].check, "microphones");
   EXPECT_EQ(findings[4].result, "1 microphone: Mic.");
}

TEST(PipewireDiagnosis, NoDevicesIsAWarningWithAdvice) {
   const std::vector<Finding> findings = DiagnosePipewire(Answered());
   ASSERT_EQ(findings.size(), 5u);
   EXPECT_EQ(findings[3].verdict, Verdict::Warning);
   EXPECT_EQ(findings[3].result, "PipeWire has no camera.");
   EXPECT_NE(findings[3].advice, "");
   EXPECT_EQ(findings[4].verdict, Verdict::Warning);
   EXPECT_EQ(findings[4].result, "PipeWire has no microphone.");
   EXPECT_NE(findings[4].advice, "");
}

TEST(PipewireDiagnosis, NoSessionManagerIsAFailure) {
   PipewireListing listing = Answered();
   listing.hasSessionManager = false;
   const std::vector<Finding> findings = DiagnosePipewire(listing);
   ASSERT_EQ(findings.size(), 5u);
   EXPECT_EQ(findings[2].verdict, Verdict::Failure);
   EXPECT_EQ(findings[2].result,
             "No session manager runs: hardware does not show, and no camera or microphone would start.");
   EXPECT_NE(findings[2].advice, "");
}

TEST(PipewireDiagnosis, AnIncompleteLibraryEndsTheList) {
   const std::vector<Finding> findings =
      DiagnosePipewire(Failed(PipewireStage::Library, ENOENT, "the library cannot load its plugins: No such file"));
   ASSERT_EQ(findings.size(), 1u);
   EXPECT_EQ(findings[0].verdict, Verdict::Failure);
   EXPECT_EQ(findings[0].result, "The library cannot load its plugins: No such file.");
   EXPECT_NE(findings[0].advice.find("libpipewire-0.3-modules"), std::string::npos);
}

TEST(PipewireDiagnosis, EachTroubleWithTheDaemonHasAdviceOfItsOwn) {
   const std::pair<int32_t, const char *> cases[] = {{ENOENT, "Start PipeWire in this user's session"},
                                                     {EACCES, "as the user whose session"},
                                                     {EPERM, "as the user whose session"},
                                                     {ETIMEDOUT, "restart it"},
                                                     {ECONNREFUSED, "Start PipeWire again"},
                                                     {EPIPE, "Start PipeWire again"},
                                                     {ENOTSOCK, "Correct PIPEWIRE_REMOTE"}};
   for (const auto &[code, advice] : cases) {
      const std::vector<Finding> findings = DiagnosePipewire(Failed(PipewireStage::Connect, code, "why"));
      ASSERT_EQ(findings.size(), 2u) << code;
      EXPECT_EQ(findings[0].verdict, Verdict::Ok) << code;
      EXPECT_EQ(findings[1].verdict, Verdict::Failure) << code;
      EXPECT_EQ(findings[1].result, "Why.") << code;
      EXPECT_NE(findings[1].advice.find(advice), std::string::npos) << findings[1].advice;
   }
}

} // namespace
} // namespace osal
