#pragma once

#include "osal/CaptureSession.h"
#include "osal/apple/SessionControl.h"

#include <array>
#include <memory>
#include <mutex>

namespace osal {

/// Keeps why a session ended by itself. Threads: any thread. Locks: its own.
class TroubleBox final : public avfoundation::TroubleTarget {
public:
   void Note(Status trouble) override;
   void Clear();
   [[nodiscard]] Status Get() const;

private:
   mutable std::mutex mMutex;
   Status mTrouble; // guarded by mMutex; the first word stays
};

/// The session of the seam over an AVCaptureSession.
///
/// Owner, threads, life cycle: as CaptureSession. Locks: mMutex for the fields; never while AVFoundation or a delegate
/// call is waited for.
class AppleSession final : public CaptureSession {
public:
   /// Throws std::bad_alloc.
   AppleSession(avfoundation::Object session, std::chrono::milliseconds patience);
   ~AppleSession() override;

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
   using Wanted = SessionControl::Wanted;

   static bool HasPair(const Wanted &wanted);
   void NoteChange();
   uint64_t Post() { return mControl->Post(mWanted); }
   void Await(uint64_t ticket);
   [[nodiscard]] Status DeviceTrouble() const;

   const Ref<SessionControl> mControl;
   const std::shared_ptr<TroubleBox> mBox = std::make_shared<TroubleBox>();
   const avfoundation::Object mObserver;
   mutable std::mutex mMutex;
   // Guarded by mMutex:
   Wanted mWanted; ///< as the control was told; its isRunning is whether there is anything to run, too
   bool mIsRunning = false;
   uint64_t mTicket = 0;
};

} // namespace osal
