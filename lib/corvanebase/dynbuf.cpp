#include "lib/corvanebase/corvanebase.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

void DynBuf_Init(DynBuf *buffer) {
   *buffer = {};
}

int DynBuf_Append(DynBuf *buffer, const void *data, size_t size) {
   if (size > SIZE_MAX / 2 - buffer->size) {
      return 0;
   }
   const size_t needed = buffer->size + size;
   if (needed > buffer->allocated) {
      const size_t room = std::max(needed, buffer->allocated * 2);
      void *const grown = std::realloc(buffer->data, room);
      if (grown == nullptr) {
         return 0;
      }
      buffer->data = static_cast<char *>(grown);
      buffer->allocated = room;
   }
   if (size > 0) {
      std::memcpy(buffer->data + buffer->size, data, size);
   }
   buffer->size = needed;
   return 1;
}

void *DynBuf_Detach(DynBuf *buffer) {
   void *const data = std::exchange(buffer->data, nullptr);
   DynBuf_Init(buffer);
   return data;
}

void DynBuf_Destroy(DynBuf *buffer) {
   std::free(buffer->data);
   DynBuf_Init(buffer);
}
