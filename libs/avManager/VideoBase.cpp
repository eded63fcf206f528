#include "libs/avManager/VideoBase.h"

const char *VideoBase::PixelFormatName(int32_t format) {
   switch (format) {
   case RGB24:
      return "RGB24";
   case I420:
      return "I420";
   case UYVY:
      return "UYVY";
   case YUY2:
      return "YUY2";
   case YV12:
      return "YV12";
   case MJPG:
      return "MJPG";
   case H264:
      return "H264";
   default:
      return "Unknown";
   }
}

VideoBase::~VideoBase() {
   StopServiceThread();
}

bool VideoBase::StartServiceThread(int32_t intervalMS) {
   if (intervalMS < 1) {
      return false;
   }
   const auto callback = [](void *self, CRVThread *) {
      return static_cast<VideoBase *>(self)->ServiceThreadCB();
   };
   return mServiceThread.StartThread(callback, this, intervalMS, 0);
}

void VideoBase::StopServiceThread() {
   mServiceThread.StopThread(INFINITE);
   (void)mServiceThread.WaitForStop(INFINITE);
}
