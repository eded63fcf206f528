#pragma once

#include "osal/RefCounted.h"
#include "osal/apple/AVFoundationSession.h"
#include "osal/apple/AppleOutputs.h"
#include "osal/apple/DispatchQueue.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

namespace osal {

/// Brings an AVCaptureSession to what its owner wants, on a queue of its own, so that a camera service that does not
/// answer holds nobody up for longer than a limit, and a delegate call not at all.
///
/// Owner: an AppleSession, and each piece of work that is still to be done. Threads: any thread; AVFoundation's calls
/// come from the queue only, one at a time. Locks: mMutex, for some instructions. Life cycle: made -> Post and Await
/// -> a last Post of nothing; ends when that is done, also after its owner.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): only the last reference deletes it
class SessionControl final : public RefCounted {
public:
   static constexpr size_t kKinds = 2; ///< by MediaType

   /// What the session is to be.
   struct Wanted {
      std::array<std::shared_ptr<AppleInput>, kKinds> inputs;
      std::array<std::shared_ptr<AppleOutput>, kKinds> outputs;
      bool isConfiguring = false; ///< changes wait for the commit
      bool isRunning = false;
   };

   SessionControl(avfoundation::Object session, std::chrono::milliseconds patience);

   [[nodiscard]] CFTypeRef Platform() const { return mSession.get(); }

   /// From now on this is wanted; what was before and is not done yet is skipped. A ticket for Await.
   uint64_t Post(const Wanted &wanted);
   /// Returns when it is done, or the limit over: false then.
   bool Await(uint64_t ticket);
   /// Why the last start has failed, or Ok: also while one is still to be tried.
   [[nodiscard]] Status StartTrouble() const;
   /// Why the session does not run though it is wanted to, or Ok: a start that failed, or no answer within the limit.
   [[nodiscard]] Status Trouble() const;

protected:
   ~SessionControl() override = default;

private:
   static void Work(void *control);
   void Reconcile(const Wanted &wanted);
   void Configure(bool isConfiguring);
   void ExchangeInput(size_t kind, const std::shared_ptr<AppleInput> &wanted);
   void ExchangeOutput(size_t kind, const std::shared_ptr<AppleOutput> &wanted);
   void Switch(bool isRunning);
   [[nodiscard]] Status SettingsTrouble() const;

   const avfoundation::Object mSession;
   const std::chrono::milliseconds mPatience;
   DispatchQueue mQueue{"MAVR Session Queue"};
   Wanted mApplied;     // of the queue
   Status mStartStatus; // of the queue
   mutable std::mutex mMutex;
   std::condition_variable mProgress;
   // Guarded by mMutex:
   Wanted mWanted;
   Status mTrouble;
   uint64_t mPosted = 0;
   uint64_t mDone = 0;
   std::chrono::steady_clock::time_point mWaitingSince;
};

} // namespace osal
