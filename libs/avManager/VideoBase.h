#pragma once

#include "libs/utils/ThreadUtils.h"

#include "lib/mfw/common/linuxSupport.h"

#include <atomic>
#include <cstdint>
#include <string>

class SyncMediaClock;

/// A recorder of video with a service thread of its own: what VideoRec is to its caller.
///
/// Owner: the caller. Threads: Open and Close host-serialised; ServiceThreadCB on the service thread. Locks: none. Life
/// cycle: closed -> Open -> Close -> closed; destroying it stops the thread.
class VideoBase {
public:
   /// Numbers of pixel formats, as requests and dump files carry them. Capture accepts I420 alone.
   enum PixelFormat : int32_t { RGB24 = 1, I420 = 2, UYVY = 3, YUY2 = 4, YV12 = 5, MJPG = 6, H264 = 7 };
   /// "RGB24" and so on; "Unknown" for any other number.
   [[nodiscard]] static const char *PixelFormatName(int32_t format);

   /// What a capture is to be. A plain value.
   struct UserPrefs {
      std::string mUserId;       ///< preferred camera's user id; may be empty, may have parts joined by '#'
      std::string mDeviceName;   ///< preferred camera's name; may be empty
      int32_t mDeviceIndex = -1; ///< out: which camera of the list it is
      uint32_t mFrameRate = 0;   ///< frames a second wanted
      uint32_t mWidth = 0;       ///< pixels
      uint32_t mHeight = 0;
      int32_t mPixelFormat = I420;
      HANDLE mFrameEvent = nullptr; ///< set for each frame; not owned
   };

   VideoBase() = default;
   VideoBase(const VideoBase &) = delete;
   VideoBase &operator=(const VideoBase &) = delete;

   virtual bool Open(UserPrefs &prefs, SyncMediaClock *clock) = 0;
   virtual bool Close() = 0;
   virtual ~VideoBase();
   /// One pass of the service thread; false when it gave up early.
   virtual bool ServiceThreadCB() = 0;

protected:
   /// Refuses an interval below 1 ms.
   [[nodiscard]] bool StartServiceThread(int32_t intervalMS);
   /// Returns when the thread has ended.
   void StopServiceThread();

   std::atomic<bool> mOpen{false}; ///< true exactly while the service thread runs; the reader looks at it
   UserPrefs mPrefs;
   int32_t mServiceThreadIntervalMS = -1;
   CRVThread mServiceThread;
};
