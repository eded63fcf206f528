// A host in C++ that knows only the installed header: prints the version of the interface and the number of cameras.

#include <mmdr/mmdr.h>

#include <cstdint>
#include <iostream>

int main() {
   MmdrHandle *handle = nullptr;
   if (Mmdr_Init(1, &handle) != MMDR_OK) {
      return 1;
   }
   uint32_t cameras = 0;
   const int32_t code = Mmdr_EnumDevices(handle, MMDR_DEV_VIDEO, 0, nullptr, &cameras);
   std::cout << "interface version " << Mmdr_GetLibVersion() << ", " << cameras << " cameras\n";
   Mmdr_Uninit(handle);
   return code == MMDR_ERR_BUFFER_TOO_SMALL ? 0 : 1;
}
