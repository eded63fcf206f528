#include "tools/mavr/Policy.h"

#include "libs/common/PolicySettings.h"

namespace mavr {

Policy ReadPolicy() {
   struct Number {
      const char *name;
      uint32_t (*read)(uint32_t);
   };
   static constexpr Number kNumbers[] = {
      {"maxFrameRate", PolicySettings::WebcamMaxFrameRate},
      {"maxWidth", PolicySettings::WebcamMaxResWidth},
      {"maxHeight", PolicySettings::WebcamMaxResHeight},
      {"defaultWidth", PolicySettings::WebcamDefaultResWidth},
      {"defaultHeight", PolicySettings::WebcamDefaultResHeight},
   };
   Policy policy;
   policy.disabled = static_cast<uint32_t>(PolicySettings::IsDisabled());
   for (const Number &number : kNumbers) {
      if (const uint32_t value = number.read(0); value != 0) {
         policy.numbers.emplace_back(number.name, value);
      }
   }
   return policy;
}

const char *DisabledText(uint32_t disabled) {
   static constexpr const char *kTexts[] = {"nothing", "audio", "video", "audio and video"};
   return kTexts[disabled & 3];
}

} // namespace mavr
