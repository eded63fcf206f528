#pragma once

#include "osal/CaptureSession.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace conformance {

/// A delegate that counts, and keeps the first buffers. Threads: any thread.
class Collector final : public osal::SampleBufferDelegate {
public:
   /// Keeps at most so many buffers.
   explicit Collector(size_t kept = 0)
       : mMost(kept) {}

   /// Called within each delegate call; before anything is delivered.
   std::function<void()> inCall;
   /// The same, with the buffer.
   std::function<void(osal::SampleBuffer &)> inspect;

   void captureOutput(const osal::Ref<osal::SampleBuffer> &buffer, const osal::CaptureConnection &connection) override;

   /// Returns when `count` buffers in all have come; false after 20 seconds.
   [[nodiscard]] bool Await(size_t count);
   /// Returns when `count` more have come.
   [[nodiscard]] bool AwaitMore(size_t count) { return Await(Count() + count); }
   [[nodiscard]] size_t Count() const;
   [[nodiscard]] bool IsInCall() const;
   [[nodiscard]] std::vector<osal::Ref<osal::SampleBuffer>> Kept() const;
   void LetGo(size_t kept = 0); ///< of all kept buffers, and keep so many from now on
   [[nodiscard]] const osal::CaptureConnection *Connection() const; ///< of the last delivery
   [[nodiscard]] std::string ThreadName() const;                    ///< of the last delivery

private:
   mutable std::mutex mMutex;
   std::condition_variable mChanged;
   // Guarded by mMutex:
   size_t mMost;
   std::vector<osal::Ref<osal::SampleBuffer>> mKept;
   size_t mCount = 0;
   int mInCalls = 0;
   const osal::CaptureConnection *mConnection = nullptr;
   std::string mThreadName;
};

/// Threads of this process, the sanitizer's own included; 0 where that can't be found out.
[[nodiscard]] size_t ThreadCount();
/// Returns when there are `count`: a thread that was joined stays in the system's list for a moment. False after 20
/// seconds.
[[nodiscard]] bool AwaitThreadCount(size_t count);

} // namespace conformance
