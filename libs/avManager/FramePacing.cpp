#include "libs/avManager/FramePacing.h"

float KeepRatio(uint32_t delivered, uint32_t wanted) {
   return delivered > wanted ? static_cast<float>(wanted) / static_cast<float>(delivered) : 1.0F;
}

// Each limit lies half-way between two shares. Required: 1/4 and 3/4 are compared as they are held, in 32 bits, the
// others, which 32 bits do not hold exactly, in 64.
DropParameters DropParametersFor(float ratio) {
   const double wide = ratio;
   if (ratio <= 0.25F) {
      return {6, 1};
   }
   if (wide <= 0.416) {
      return {3, 1};
   }
   if (wide <= 0.583) {
      return {2, 1};
   }
   if (ratio <= 0.75F) {
      return {3, 2};
   }
   if (wide <= 0.916) {
      return {6, 5};
   }
   return {1, 1};
}

bool IsCaptureSize(uint32_t width, uint32_t height) {
   const auto fits = [](uint32_t side, uint32_t most) {
      return side % 4 == 0 && side >= 1 && side <= most;
   };
   return fits(width, 8000) && fits(height, 5120);
}
