#include "osal/pipewire/LentPicture.h"

#include "osal/SchedulePoint.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace osal {

void LentPicture::Lend(const BiPlanarView &view, std::shared_ptr<const BufferMemory> memory, uint64_t loan) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mSize = view.size;
   for (size_t plane = 0; plane < 2; ++plane) {
      mPlanes[plane] = view.planes[plane];
      mStrides[plane] = view.strides[plane];
      mBytes[plane] = view.Bytes(plane);
   }
   mMemory = std::move(memory);
   mLoan = loan;
}

int32_t LentPicture::lockBaseAddress() {
   const std::lock_guard<std::mutex> hold(mMutex);
   if (mPlanes[0] == nullptr) {
      return ENOMEM;
   }
   mIsBeingRead = true;
   mRead[0] = mPlanes[0];
   mRead[1] = mPlanes[1];
   return 0;
}

void LentPicture::unlockBaseAddress() {
   const std::lock_guard<std::mutex> hold(mMutex);
   mIsBeingRead = false;
}

LentPicture::Recalled LentPicture::Recall(uint64_t loan) {
   const std::lock_guard<std::mutex> hold(mMutex);
   if (mLoan == loan) {
      if (mIsBeingRead) {
         return Recalled::IsBeingRead;
      }
      MoveToOwnMemory();
   }
   return Recalled::Yes;
}

void LentPicture::RecallAtOnce(uint64_t loan) {
   const std::lock_guard<std::mutex> hold(mMutex);
   if (mLoan == loan) {
      MoveToOwnMemory();
   }
}

// The mapping stays until the picture is released: somebody may be reading in it.
void LentPicture::MoveToOwnMemory() {
   mLoan = 0;
   if (!HasOwnMemory(mBytes[0] + mBytes[1])) {
      mPlanes[0] = nullptr;
      return;
   }
   std::memcpy(mOwn.get(), mPlanes[0], mBytes[0]);
   std::memcpy(mOwn.get() + mBytes[0], mPlanes[1], mBytes[1]);
   mPlanes[0] = mOwn.get();
   mPlanes[1] = mOwn.get() + mBytes[0];
}

bool LentPicture::HasOwnMemory(size_t bytes) {
   if (bytes > mOwnBytes) {
      mOwn.reset(static_cast<uint8_t *>(std::malloc(bytes)));
      mOwnBytes = mOwn != nullptr ? bytes : 0;
   }
   return bytes <= mOwnBytes;
}

void LentPicture::LetGo() {
   schedulePoint();
   const std::lock_guard<std::mutex> hold(mMutex);
   mLoan = 0;
   mIsBeingRead = false;
   mRead[0] = nullptr;
   mRead[1] = nullptr;
   mMemory.reset();
}

} // namespace osal
