#include "osal/apple/AppleSession.h"

#include "osal/SchedulePoint.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <utility>

namespace osal {

using Guard = std::lock_guard<std::mutex>;

// ---- TroubleBox -----------------------------------------------------------------------------------------------------

void TroubleBox::Note(Status trouble) {
   const Guard hold(mMutex);
   if (mTrouble.ok()) {
      mTrouble = std::move(trouble);
   }
}

void TroubleBox::Clear() {
   const Guard hold(mMutex);
   mTrouble = Status::Ok();
}

Status TroubleBox::Get() const {
   const Guard hold(mMutex);
   return mTrouble;
}

// ---- Life -----------------------------------------------------------------------------------------------------------

AppleSession::AppleSession(avfoundation::Object session, std::chrono::milliseconds patience)
    : mControl(Ref<SessionControl>::adopt(new SessionControl(std::move(session), patience)))
    , mObserver(avfoundation::ObserveTrouble(mControl->Platform(), mBox)) {}

AppleSession::~AppleSession() {
   assert(!DelegateGate::IsInCallOf(this) && "a session is not destroyed in its own delegate call");
   stopRunning();
   if (mObserver) {
      avfoundation::StopObserving(mObserver.get());
   }
   const Wanted last = std::exchange(mWanted, Wanted{});
   Await(Post());
   for (const std::shared_ptr<AppleInput> &input : last.inputs) {
      if (input != nullptr) {
         input->SetInSession(false);
      }
   }
   for (const std::shared_ptr<AppleOutput> &output : last.outputs) {
      if (output != nullptr) {
         output->ForgetConnection();
         output->SetInSession(false);
      }
   }
}

// From a delegate call nothing is waited for.
void AppleSession::Await(uint64_t ticket) {
   schedulePoint();
   if (!DelegateGate::IsInCallOf(this)) {
      static_cast<void>(mControl->Await(ticket));
   }
}

// ---- Configuration --------------------------------------------------------------------------------------------------

bool AppleSession::HasPair(const Wanted &wanted) {
   for (size_t kind = 0; kind < SessionControl::kKinds; ++kind) {
      if (wanted.inputs[kind] != nullptr && wanted.outputs[kind] != nullptr) {
         return true;
      }
   }
   return false;
}

/// After a change of the members, with mMutex held: what runs follows at once, or at the commit.
void AppleSession::NoteChange() {
   if (!mWanted.isConfiguring) {
      mWanted.isRunning = mIsRunning && HasPair(mWanted);
   }
   mTicket = Post();
}

void AppleSession::beginConfiguration() {
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      mWanted.isConfiguring = true;
      ticket = mTicket = Post();
   }
   Await(ticket);
}

void AppleSession::commitConfiguration() {
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      if (!std::exchange(mWanted.isConfiguring, false)) {
         return;
      }
      NoteChange();
      ticket = mTicket;
   }
   Await(ticket);
}

bool AppleSession::canAddInput(const std::shared_ptr<CaptureDeviceInput> &input) {
   const auto *const own = dynamic_cast<const AppleInput *>(input.get());
   if (own == nullptr || own->IsInSession()) {
      return false;
   }
   {
      const Guard hold(mMutex);
      if (mWanted.inputs[static_cast<size_t>(own->Kind())] != nullptr) {
         return false;
      }
   }
   return avfoundation::CanAddInput(mControl->Platform(), own->Platform());
}

void AppleSession::addInput(const std::shared_ptr<CaptureDeviceInput> &input) {
   if (!canAddInput(input)) {
      return;
   }
   auto own = std::dynamic_pointer_cast<AppleInput>(input);
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      own->SetInSession(true);
      mWanted.inputs[static_cast<size_t>(own->Kind())] = std::move(own);
      NoteChange();
      ticket = mTicket;
   }
   Await(ticket);
}

void AppleSession::removeInput(const std::shared_ptr<CaptureDeviceInput> &input) {
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      const auto place = std::find(mWanted.inputs.begin(), mWanted.inputs.end(), input);
      if (input == nullptr || place == mWanted.inputs.end()) {
         return;
      }
      (*place)->SetInSession(false);
      place->reset();
      if (AppleOutput *const output = mWanted.outputs[static_cast<size_t>(place - mWanted.inputs.begin())].get()) {
         output->ForgetConnection();
      }
      NoteChange();
      ticket = mTicket;
   }
   Await(ticket);
}

bool AppleSession::canAddOutput(const std::shared_ptr<CaptureOutput> &output) {
   const auto *const own = dynamic_cast<const AppleOutput *>(output.get());
   if (own == nullptr || own->IsInSession()) {
      return false;
   }
   {
      const Guard hold(mMutex);
      if (mWanted.outputs[static_cast<size_t>(own->Kind())] != nullptr) {
         return false;
      }
   }
   return avfoundation::CanAddOutput(mControl->Platform(), own->Platform());
}

void AppleSession::addOutput(const std::shared_ptr<CaptureOutput> &output) {
   if (!canAddOutput(output)) {
      return;
   }
   auto own = std::dynamic_pointer_cast<AppleOutput>(output);
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      own->SetInSession(true);
      if (mIsRunning && own->Trouble().ok()) {
         own->Gate().Open(this);
      }
      mWanted.outputs[static_cast<size_t>(own->Kind())] = std::move(own);
      NoteChange();
      ticket = mTicket;
   }
   Await(ticket);
}

void AppleSession::removeOutput(const std::shared_ptr<CaptureOutput> &output) {
   const auto own = std::dynamic_pointer_cast<AppleOutput>(output);
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      const auto place = std::find(mWanted.outputs.begin(), mWanted.outputs.end(), own);
      if (own == nullptr || place == mWanted.outputs.end()) {
         return;
      }
      place->reset();
      NoteChange();
      ticket = mTicket;
   }
   schedulePoint();
   own->Gate().Close();
   own->ForgetConnection();
   Await(ticket);
   own->SetInSession(false);
}

// ---- Running --------------------------------------------------------------------------------------------------------

bool AppleSession::isRunning() const {
   const Guard hold(mMutex);
   return mIsRunning;
}

Status AppleSession::startRunning() {
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      if (std::exchange(mIsRunning, true)) {
         return Status::Ok();
      }
      mBox->Clear();
      for (const std::shared_ptr<AppleOutput> &output : mWanted.outputs) {
         if (output != nullptr && output->Trouble().ok()) {
            output->Gate().Open(this);
         }
      }
      mWanted.isRunning = HasPair(mWanted);
      ticket = mTicket = Post();
   }
   Await(ticket);
   // One that is still at it after the limit is told by health().
   Status status = mControl->StartTrouble();
   if (!status.ok()) {
      stopRunning();
   }
   return status;
}

void AppleSession::stopRunning() {
   std::array<std::shared_ptr<AppleOutput>, SessionControl::kKinds> outputs;
   uint64_t ticket = 0;
   {
      const Guard hold(mMutex);
      outputs = mWanted.outputs;
      if (std::exchange(mIsRunning, false)) {
         mWanted.isRunning = false;
         mTicket = Post();
      }
      ticket = mTicket;
   }
   schedulePoint();
   for (const std::shared_ptr<AppleOutput> &output : outputs) {
      if (output != nullptr) {
         output->Gate().Close();
      }
   }
   Await(ticket);
}

// With mMutex held.
Status AppleSession::DeviceTrouble() const {
   for (size_t kind = 0; kind < SessionControl::kKinds; ++kind) {
      const std::shared_ptr<AppleInput> &input = mWanted.inputs[kind];
      const std::shared_ptr<AppleOutput> &output = mWanted.outputs[kind];
      if (input == nullptr || output == nullptr) {
         continue;
      }
      if (!input->IsConnected()) {
         return Status::Error(ENODEV, "\"" + input->device().localizedName() + "\" is not connected any more");
      }
      if (Status status = output->Trouble(); !status.ok()) {
         return status;
      }
   }
   return Status::Ok();
}

Status AppleSession::health() const {
   const Guard hold(mMutex);
   if (!mIsRunning) {
      return Status::Ok();
   }
   if (!HasPair(mWanted)) {
      return Status::Error(ENOTCONN, "the session has no input with an output of its kind");
   }
   for (Status status : {DeviceTrouble(), mBox->Get(), mControl->Trouble()}) {
      if (!status.ok()) {
         return status;
      }
   }
   return Status::Ok();
}

} // namespace osal
