#include "libs/avManager/CameraChoice.h"

#include "lib/mfw/common/logger.h"

#include <string_view>

namespace {

constexpr const char *kFunction = "GetPrefDeviceIndex";

using MMDev::DeviceInfo;
using MMDev::DeviceList;

// An empty piece is in everything.
bool Contains(const std::string &text, std::string_view piece) {
   return text.find(piece) != std::string::npos;
}

class Chain {
public:
   Chain(const DeviceList &cameras, const std::string &userId, const std::string &name)
       : mCameras(cameras)
       , mUserId(userId)
       , mName(name)
       , mFirstPart(std::string_view(userId).substr(0, userId.find('#'))) {}

   CameraChoice Choose() {
      if (mCameras.empty()) {
         MAVR_LOG_ERROR("%s - No Webcams found", kFunction);
         return mChoice;
      }
      if (NameAndUserId()) {
         LogFound();
      } else if (!UserIdAlone()) {
         if (mCandidate >= 0) {
            mChoice.index = mCandidate;
            LogFound();
         } else {
            TakeFirst();
         }
      }
      return mChoice;
   }

private:
   [[nodiscard]] int32_t Count() const { return static_cast<int32_t>(mCameras.size()); }
   [[nodiscard]] const DeviceInfo &At(int32_t index) const { return mCameras[static_cast<size_t>(index)]; }

   // A camera of the right name becomes the candidate unless the user id agrees with it.
   bool NameAndUserId() {
      if (mName.empty()) {
         return false;
      }
      for (int32_t i = 0; i < Count(); ++i) {
         if (At(i).mName != mName) {
            continue;
         }
         mChoice.systemId = At(i).mSystemId;
         if (mUserId.empty() || At(i).mUserId == mUserId || Contains(At(i).mUserId, mFirstPart)) {
            mChoice.index = i;
            return true;
         }
         mCandidate = i;
      }
      return false;
   }

   // Required: a camera that the user id finds and the name does not is passed over, though it is logged as found.
   bool UserIdAlone() {
      if (mUserId.empty()) {
         return false;
      }
      for (int32_t i = 0; i < Count(); ++i) {
         if (At(i).mUserId == mUserId) {
            LogFound(i);
            if (Agrees(i)) {
               return true;
            }
         }
      }
      for (int32_t i = 0; i < Count(); ++i) {
         if (Contains(At(i).mUserId, mFirstPart)) {
            MAVR_LOG_DEBUG("%s - Partial match found for Preferred Device[UserId=%s].  Index=%u  UserId='%s'  "
                           "Name='%s'  SystemId='%s'",
                           kFunction, mUserId.c_str(), static_cast<unsigned>(i), At(i).mUserId.c_str(),
                           At(i).mName.c_str(), At(i).mSystemId.c_str());
            if (Agrees(i)) {
               return true;
            }
         }
      }
      return false;
   }

   bool Agrees(int32_t index) {
      if (mCandidate != -1) { // another camera: the candidate's own user id would have agreed with its name
         return false;
      }
      mChoice = {index, At(index).mSystemId};
      return true;
   }

   void TakeFirst() {
      const DeviceInfo &first = At(0);
      if (mUserId.empty() && mName.empty()) {
         MAVR_LOG_DEBUG("%s - Preferred device not specified.  Selecting  Index=%d  UserId='%s'  Name='%s'  "
                        "SystemId='%s'",
                        kFunction, 0, first.mUserId.c_str(), first.mName.c_str(), first.mSystemId.c_str());
      } else {
         MAVR_LOG_DEBUG("%s - Preferred device not found[UserId=%s, Name=%s].  Selecting  Index=%d  UserId='%s'  "
                        "Name='%s'  SystemId='%s'",
                        kFunction, mUserId.c_str(), mName.c_str(), 0, first.mUserId.c_str(), first.mName.c_str(),
                        first.mSystemId.c_str());
      }
      mChoice = {0, first.mSystemId};
   }

   void LogFound() const { LogFound(mChoice.index); }
   void LogFound(int32_t index) const {
      MAVR_LOG_DEBUG("%s - Preferred device found.  Index=%u  UserId='%s'  Name='%s'  SystemId='%s'", kFunction,
                     static_cast<unsigned>(index), At(index).mUserId.c_str(), At(index).mName.c_str(),
                     At(index).mSystemId.c_str());
   }

   const DeviceList &mCameras;
   const std::string &mUserId;
   const std::string &mName;
   const std::string_view mFirstPart;
   int32_t mCandidate = -1;
   CameraChoice mChoice;
};

} // namespace

CameraChoice ChooseCamera(const DeviceList &cameras, const std::string &userId, const std::string &name) {
   return Chain(cameras, userId, name).Choose();
}
