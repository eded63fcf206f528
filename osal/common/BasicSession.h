#pragma once

#include "osal/CaptureSession.h"
#include "osal/common/BasicParts.h"
#include "osal/common/CaptureStream.h"

#include <array>
#include <memory>
#include <mutex>

namespace osal {

/// The session of every backend: which input goes to which output, what runs, and how it ends. The backend's
/// StreamOpener brings the devices.
///
/// Owner, threads, life cycle: as CaptureSession. Locks: mMutex for the fields; never while a device is opened or let
/// go or a delegate call is awaited.
class BasicSession final : public CaptureSession {
public:
   explicit BasicSession(std::shared_ptr<StreamOpener> opener);
   ~BasicSession() override;

   void beginConfiguration() override;
   void commitConfiguration() override;
   bool canAddInput(const std::shared_ptr<CaptureDeviceInput> &input) override;
   void addInput(const std::shared_ptr<CaptureDeviceInput> &input) override;
   void removeInput(const std::shared_ptr<CaptureDeviceInput> &input) override;
   bool canAddOutput(const std::shared_ptr<CaptureOutput> &output) override;
   void addOutput(const std::shared_ptr<CaptureOutput> &output) override;
   void removeOutput(const std::shared_ptr<CaptureOutput> &output) override;
   bool isRunning() const override;
   Status startRunning() override;
   void stopRunning() override;
   Status health() const override;

private:
   /// An output by its two faces: whose life it is, and what it can do.
   struct Output {
      std::shared_ptr<CaptureOutput> owned;
      OutputCore *core = nullptr;
   };
   /// All that there is of one kind.
   struct Path {
      std::shared_ptr<BasicInput> input;
      Output output;
      std::unique_ptr<CaptureStream> stream;
      const void *streamInput = nullptr; // what the stream was opened for
      const void *streamOutput = nullptr;
      std::unique_ptr<CaptureStream> ending; // stopped by a delegate call; the host's next call sees it off
      Status trouble;
   };
   static constexpr MediaType kKinds[] = {MediaType::Video, MediaType::Audio};

   Path &PathOf(MediaType kind) { return mPaths[static_cast<size_t>(kind)]; }
   bool CanAdd(const SessionMember &member, bool isTaken) const;
   bool IsWanted(const Path &path) const { return mIsRunning && path.input != nullptr && path.output.core != nullptr; }
   void NoteConnection(Path *path);
   void FollowUnlessConfiguring();
   Status Follow();
   Status FollowKind(MediaType kind);
   std::unique_ptr<CaptureStream> TakeStale(Path *path);
   void AwaitRemovalByDelegate(const OutputCore &output);
   Status OpenStream(MediaType kind, const StreamRequest &request, const void *input, const void *output);

   const std::shared_ptr<StreamOpener> mOpener;
   mutable std::mutex mMutex;
   // Guarded by mMutex:
   std::array<Path, 2> mPaths;
   bool mIsConfiguring = false;
   bool mIsRunning = false;
};

} // namespace osal
