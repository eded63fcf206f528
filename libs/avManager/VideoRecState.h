#pragma once

#include "libs/utils/ThreadStopwatch.h"

#include <atomic>
#include <cstdint>

/// The state of a recorder's camera: whether a capture runs, has failed, or has just ended. A camera that was stopped
/// is given a settling time before it is opened again, counted from the stop.
///
/// Owner: VideoRec. Threads: transitions on the control thread, queries on any thread. Locks: none. Life cycle, with
/// what each call does in each state (-: nothing, silently, and false):
///
/// | State       | ResetError | SetAction_Open(true) | SetAction_Open(false) | SetAction_Close | ResetState |
/// |-------------|------------|----------------------|-----------------------|-----------------|------------|
/// | VS_Error    | VS_Idle    | -                    | -                     | -               | -          |
/// | VS_Idle     | -          | VS_Active            | VS_Error              | -               | -          |
/// | VS_Active   | -          | -                    | -                     | VS_Inactive     | -          |
/// | VS_Inactive | -          | -                    | -                     | -               | VS_Idle    |
///
/// Transitions are logged at DEBUG.
class VideoRecState {
public:
   enum State : uint32_t { VS_Error = 0, VS_Idle = 1, VS_Active = 2, VS_Inactive = 3 };

   /// Idle. Reads the settling time from the settings.
   VideoRecState();

   [[nodiscard]] bool IsError() const { return mState == VS_Error; }
   [[nodiscard]] bool IsIdle() const { return mState == VS_Idle; }
   [[nodiscard]] bool IsActive() const { return mState == VS_Active; }

   bool ResetError();
   /// Sleeps what is left of the settling time.
   bool ResetState();
   bool SetAction_Open(bool opened);
   bool SetAction_Close();

private:
   double mDelayMS;
   std::atomic<State> mState{VS_Idle};
   ThreadStopwatch mInactiveTimer;
};
