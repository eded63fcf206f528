#include "osal/common/BasicSession.h"

#include "osal/SchedulePoint.h"

#include <cassert>
#include <cerrno>
#include <utility>

namespace osal {

using Guard = std::lock_guard<std::mutex>;

BasicSession::BasicSession(std::shared_ptr<StreamOpener> opener)
    : mOpener(std::move(opener)) {}

BasicSession::~BasicSession() {
   assert(!DelegateGate::IsInCallOf(this) && "a session is not destroyed in its own delegate call");
   stopRunning();
   for (Path &path : mPaths) {
      if (path.input != nullptr) {
         path.input->SetInSession(false);
      }
      if (path.output.core != nullptr) {
         path.output.core->SetInSession(false);
         path.output.core->SetConnected(false);
      }
   }
}

void BasicSession::beginConfiguration() {
   const Guard hold(mMutex);
   mIsConfiguring = true;
}

void BasicSession::commitConfiguration() {
   {
      const Guard hold(mMutex);
      if (!std::exchange(mIsConfiguring, false)) {
         return;
      }
   }
   static_cast<void>(Follow());
}

bool BasicSession::CanAdd(const SessionMember &member, bool isTaken) const {
   return !isTaken && !member.IsInSession() && member.Backend() == mOpener->Backend();
}

void BasicSession::NoteConnection(Path *path) {
   if (path->output.core != nullptr) {
      path->output.core->SetConnected(path->input != nullptr);
   }
}

bool BasicSession::canAddInput(const std::shared_ptr<CaptureDeviceInput> &input) {
   const auto *const own = dynamic_cast<const BasicInput *>(input.get());
   const Guard hold(mMutex);
   return own != nullptr && CanAdd(*own, PathOf(own->Kind()).input != nullptr);
}

void BasicSession::addInput(const std::shared_ptr<CaptureDeviceInput> &input) {
   auto own = std::dynamic_pointer_cast<BasicInput>(input);
   if (own == nullptr) {
      return;
   }
   {
      const Guard hold(mMutex);
      Path &path = PathOf(own->Kind());
      if (!CanAdd(*own, path.input != nullptr)) {
         return;
      }
      own->SetInSession(true);
      path.input = std::move(own);
      NoteConnection(&path);
   }
   FollowUnlessConfiguring();
}

void BasicSession::removeInput(const std::shared_ptr<CaptureDeviceInput> &input) {
   {
      const Guard hold(mMutex);
      for (Path &path : mPaths) {
         if (input != nullptr && path.input == input) {
            path.input->SetInSession(false);
            path.input.reset();
            NoteConnection(&path);
         }
      }
   }
   FollowUnlessConfiguring();
}

bool BasicSession::canAddOutput(const std::shared_ptr<CaptureOutput> &output) {
   const auto *const own = dynamic_cast<const OutputCore *>(output.get());
   const Guard hold(mMutex);
   return own != nullptr && CanAdd(*own, PathOf(own->Kind()).output.core != nullptr);
}

void BasicSession::addOutput(const std::shared_ptr<CaptureOutput> &output) {
   auto *const core = dynamic_cast<OutputCore *>(output.get());
   if (core == nullptr) {
      return;
   }
   {
      const Guard hold(mMutex);
      Path &path = PathOf(core->Kind());
      if (!CanAdd(*core, path.output.core != nullptr)) {
         return;
      }
      core->SetInSession(true);
      path.output = {output, core};
      NoteConnection(&path);
   }
   FollowUnlessConfiguring();
}

void BasicSession::removeOutput(const std::shared_ptr<CaptureOutput> &output) {
   Output removed;
   {
      const Guard hold(mMutex);
      for (Path &path : mPaths) {
         if (output != nullptr && path.output.owned == output) {
            removed = std::exchange(path.output, Output{});
         }
      }
   }
   if (removed.core == nullptr) {
      if (const auto *const core = dynamic_cast<const OutputCore *>(output.get()); core != nullptr) {
         AwaitRemovalByDelegate(*core);
      }
      return;
   }
   schedulePoint();
   removed.core->Gate()->Close();
   removed.core->SetConnected(false);
   removed.core->SetInSession(false);
   FollowUnlessConfiguring();
}

// An output that is not here any more may have been removed by its delegate call, which still runs.
void BasicSession::AwaitRemovalByDelegate(const OutputCore &output) {
   if (DelegateGate::IsInCallOf(this)) {
      return;
   }
   output.Gate()->AwaitCallOf(this);
   std::unique_ptr<CaptureStream> ended;
   {
      const Guard hold(mMutex);
      ended = std::move(PathOf(output.Kind()).ending);
   }
   ended.reset(); // outside the lock: lets the device go and waits for its thread
}

bool BasicSession::isRunning() const {
   const Guard hold(mMutex);
   return mIsRunning;
}

Status BasicSession::startRunning() {
   {
      const Guard hold(mMutex);
      if (std::exchange(mIsRunning, true)) {
         return Status::Ok();
      }
   }
   Status status = Follow();
   if (!status.ok()) {
      stopRunning();
   }
   return status;
}

void BasicSession::stopRunning() {
   {
      const Guard hold(mMutex);
      mIsRunning = false;
   }
   schedulePoint();
   static_cast<void>(Follow());
}

Status BasicSession::health() const {
   const Guard hold(mMutex);
   if (!mIsRunning) {
      return Status::Ok();
   }
   bool isConnected = false;
   for (const Path &path : mPaths) {
      Status status = path.stream != nullptr ? path.stream->Health() : path.trouble;
      if (!status.ok()) {
         return status;
      }
      isConnected = isConnected || path.stream != nullptr || IsWanted(path);
   }
   return isConnected ? Status::Ok() : Status::Error(ENOTCONN, "the session has no input with an output of its kind");
}

void BasicSession::FollowUnlessConfiguring() {
   {
      const Guard hold(mMutex);
      if (mIsConfiguring) {
         return;
      }
   }
   static_cast<void>(Follow());
}

/// Makes what runs what is wanted. The first failure; the other kind is done all the same.
Status BasicSession::Follow() {
   Status first;
   for (const MediaType kind : kKinds) {
      Status status = FollowKind(kind);
      if (first.ok()) {
         first = std::move(status);
      }
   }
   return first;
}

/// The stream that is not wanted any more, stopped, with its gate closed to further calls.
std::unique_ptr<CaptureStream> BasicSession::TakeStale(Path *path) {
   const bool fits = path->streamInput == path->input.get() && path->streamOutput == path->output.core;
   if (path->stream == nullptr || (fits && IsWanted(*path))) {
      return nullptr;
   }
   if (path->output.core != nullptr) {
      path->output.core->Gate()->Close(DelegateGate::Wait::No);
   }
   path->stream->Stop();
   return std::move(path->stream);
}

Status BasicSession::FollowKind(MediaType kind) {
   const bool isInDelegateCall = DelegateGate::IsInCallOf(this);
   std::unique_ptr<CaptureStream> ended[2];
   StreamRequest request;
   std::shared_ptr<BasicInput> input;
   Output output;
   {
      const Guard hold(mMutex);
      Path &path = PathOf(kind);
      std::unique_ptr<CaptureStream> stale = TakeStale(&path);
      if (isInDelegateCall) {
         if (stale != nullptr) {
            path.ending = std::move(stale);
         }
         return Status::Ok();
      }
      ended[0] = std::move(stale);
      ended[1] = std::move(path.ending);
      path.trouble = Status::Ok();
      if (IsWanted(path) && path.stream == nullptr) {
         input = path.input;
         output = path.output;
      }
   }
   // Outside the lock: a delegate call that still runs may call the session.
   ended[0].reset();
   ended[1].reset();
   if (input == nullptr) {
      return Status::Ok();
   }
   request.device = input->SharedDevice();
   request.mediaType = kind;
   request.gate = output.core->Gate();
   request.maxFrameDuration = output.core->Connection()->videoMaxFrameDuration();
   if (const auto *const video = dynamic_cast<const BasicVideoOutput *>(output.core)) {
      request.video = video->Settings();
   } else if (const auto *const audio = dynamic_cast<const BasicAudioOutput *>(output.core)) {
      request.audio = audio->Settings();
   }
   return OpenStream(kind, request, input.get(), output.core);
}

Status BasicSession::OpenStream(MediaType kind, const StreamRequest &request, const void *input, const void *output) {
   request.gate->Open(this);
   std::unique_ptr<CaptureStream> stream;
   Status status = mOpener->Open(request, &stream);
   schedulePoint();
   {
      const Guard hold(mMutex);
      Path &path = PathOf(kind);
      // Meanwhile the first delegate call may have stopped the session or taken its output away.
      const bool isStillWanted = IsWanted(path) && path.output.core == output;
      if (status.ok() && isStillWanted) {
         path.stream = std::move(stream);
         path.streamInput = input;
         path.streamOutput = output;
         return status;
      }
      path.trouble = status;
   }
   request.gate->Close(DelegateGate::Wait::No);
   if (stream != nullptr) {
      stream->Stop();
   }
   stream.reset();
   return status;
}

} // namespace osal
