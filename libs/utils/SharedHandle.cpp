#include "libs/utils/SharedHandle.h"

#include "lib/mfw/common/coreref.h"

#include <new>
#include <utility>

class SharedHandle::Block final : public CORE::coreref {
public:
   ~Block() noexcept(false) override {
      if (handle != nullptr) {
         CloseHandle(handle);
      }
   }

   HANDLE handle = nullptr;
};

SharedHandle::SharedHandle(const SharedHandle &other)
    : mBlock(other.mBlock) {
   if (mBlock != nullptr) {
      mBlock->AddRef();
   }
}

SharedHandle::SharedHandle(SharedHandle &&other) noexcept
    : mBlock(std::exchange(other.mBlock, nullptr)) {}

SharedHandle &SharedHandle::operator=(SharedHandle other) noexcept {
   std::swap(mBlock, other.mBlock);
   return *this;
}

SharedHandle::~SharedHandle() {
   if (mBlock != nullptr) {
      mBlock->Release();
   }
}

SharedHandle SharedHandle::Adopt(HANDLE handle) {
   if (handle == nullptr) {
      return {};
   }
   SharedHandle shared = Reserve();
   if (shared.CanFill()) {
      shared.Fill(handle);
   } else {
      CloseHandle(handle);
   }
   return shared;
}

SharedHandle SharedHandle::Reserve() {
   SharedHandle shared;
   shared.mBlock = new (std::nothrow) Block;
   return shared;
}

void SharedHandle::Fill(HANDLE handle) {
   mBlock->handle = handle;
}

HANDLE SharedHandle::Get() const {
   return mBlock != nullptr ? mBlock->handle : nullptr;
}
