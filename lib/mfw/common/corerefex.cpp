#include "lib/mfw/common/corerefex.h"

#include <memory>

namespace CORE {

void WeakRegistry::Make() {
   if (lock == nullptr) {
      auto newLock = std::make_unique<corecritsec>();
      auto newObjects = std::make_unique<Map>();
      newObjects->max_load_factor(1.0F);
      lock = newLock.release();
      objects = newObjects.release();
   }
}

uint64_t WeakRegistry::DrawId() {
   uint64_t id = 0;
   do {
      id = uint64_t{++counter} << 32 | GetTickCount();
   } while (id == 0 || objects->count(id) != 0);
   return id;
}

void WeakRegistry::Leave() {
   if (--instances != 0) {
      return;
   }
   const Spin spin(*this);
   if (instances.load() == 0) { // no new first instance in the meantime
      delete lock;
      delete objects;
      lock = nullptr;
      objects = nullptr;
   }
}

} // namespace CORE
