#include "osal/apple/SessionControl.h"

#include "osal/SchedulePoint.h"

#include <cerrno>
#include <utility>

namespace osal {

using Guard = std::lock_guard<std::mutex>;

SessionControl::SessionControl(avfoundation::Object session, std::chrono::milliseconds patience)
    : mSession(std::move(session))
    , mPatience(patience) {}

uint64_t SessionControl::Post(const Wanted &wanted) {
   const Guard hold(mMutex);
   if (mDone == mPosted) {
      mWaitingSince = std::chrono::steady_clock::now();
   }
   mWanted = wanted;
   retain();
   mQueue.Async(this, &SessionControl::Work);
   return ++mPosted;
}

bool SessionControl::Await(uint64_t ticket) {
   std::unique_lock<std::mutex> lock(mMutex);
   return mProgress.wait_for(lock, mPatience, [&] { return mDone >= ticket; });
}

Status SessionControl::StartTrouble() const {
   const Guard hold(mMutex);
   return mDone == mPosted ? mTrouble : Status::Ok();
}

Status SessionControl::Trouble() const {
   const Guard hold(mMutex);
   if (mDone != mPosted && std::chrono::steady_clock::now() - mWaitingSince > mPatience) {
      return Status::Error(ETIMEDOUT, "the camera service does not answer");
   }
   return mTrouble;
}

void SessionControl::Work(void *control) {
   const Ref<SessionControl> self = Ref<SessionControl>::adopt(static_cast<SessionControl *>(control));
   Wanted wanted;
   uint64_t ticket = 0;
   {
      const Guard hold(self->mMutex);
      wanted = self->mWanted;
      ticket = self->mPosted;
   }
   schedulePoint();
   self->Reconcile(wanted);
   {
      const Guard hold(self->mMutex);
      self->mDone = ticket;
      self->mTrouble = wanted.isRunning ? self->mStartStatus : Status::Ok();
   }
   self->mProgress.notify_all();
}

// AVFoundation neither starts nor stops within a configuration: an open one is left for that moment.
void SessionControl::Reconcile(const Wanted &wanted) {
   const bool isToSwitch = wanted.isRunning != mApplied.isRunning;
   if (wanted.isConfiguring) {
      Configure(true);
   }
   for (size_t kind = 0; kind < kKinds; ++kind) {
      ExchangeInput(kind, wanted.inputs[kind]);
      ExchangeOutput(kind, wanted.outputs[kind]);
   }
   for (const std::shared_ptr<AppleOutput> &output : mApplied.outputs) {
      if (output != nullptr) {
         output->RefreshConnection();
      }
   }
   if (isToSwitch || !wanted.isConfiguring) {
      Configure(false);
   }
   if (isToSwitch) {
      Switch(wanted.isRunning);
   }
   if (wanted.isConfiguring) {
      Configure(true);
   }
}

void SessionControl::Configure(bool isConfiguring) {
   if (std::exchange(mApplied.isConfiguring, isConfiguring) != isConfiguring) {
      static_cast<void>(isConfiguring ? avfoundation::BeginConfiguration(mSession.get())
                                      : avfoundation::CommitConfiguration(mSession.get()));
   }
}

void SessionControl::ExchangeInput(size_t kind, const std::shared_ptr<AppleInput> &wanted) {
   std::shared_ptr<AppleInput> &applied = mApplied.inputs[kind];
   if (applied == wanted) {
      return;
   }
   if (applied != nullptr) {
      static_cast<void>(avfoundation::RemoveInput(mSession.get(), applied->Platform()));
      applied.reset();
   }
   if (wanted != nullptr && avfoundation::CanAddInput(mSession.get(), wanted->Platform()) &&
       avfoundation::AddInput(mSession.get(), wanted->Platform()).ok()) {
      applied = wanted;
   }
}

void SessionControl::ExchangeOutput(size_t kind, const std::shared_ptr<AppleOutput> &wanted) {
   std::shared_ptr<AppleOutput> &applied = mApplied.outputs[kind];
   if (applied == wanted) {
      return;
   }
   if (applied != nullptr) {
      static_cast<void>(avfoundation::RemoveOutput(mSession.get(), applied->Platform()));
      applied->ForgetConnection();
      applied.reset();
   }
   if (wanted != nullptr && avfoundation::CanAddOutput(mSession.get(), wanted->Platform()) &&
       avfoundation::AddOutput(mSession.get(), wanted->Platform()).ok()) {
      applied = wanted;
   }
}

Status SessionControl::SettingsTrouble() const {
   for (size_t kind = 0; kind < kKinds; ++kind) {
      if (mApplied.inputs[kind] != nullptr && mApplied.outputs[kind] != nullptr) {
         if (Status status = mApplied.outputs[kind]->Trouble(); !status.ok()) {
            return status;
         }
      }
   }
   return Status::Ok();
}

void SessionControl::Switch(bool isRunning) {
   if (!isRunning) {
      static_cast<void>(avfoundation::StopRunning(mSession.get()));
      mApplied.isRunning = false;
      return;
   }
   mStartStatus = SettingsTrouble();
   if (mStartStatus.ok()) {
      mStartStatus = avfoundation::StartRunning(mSession.get());
      mApplied.isRunning = mStartStatus.ok();
   }
}

} // namespace osal
