#include "libs/common/codec/Codec.h"

#include "libs/utils/RegUtils.h"
#include "libs/utils/StringUtils.h"

#include <array>

namespace {

struct NamedCodec {
   const char *name;
   CodecId id;
};

constexpr NamedCodec kCodecs[] = {
   {"speex", kCodecSpeex},
   {"theora", kCodecTheora},
   {"theoraSpeex", kCodecTheoraSpeex},
   {"crvSpeex", kCodecCrvSpeex},
   {"crvTheora", kCodecCrvTheora},
   {"crvTheoraSpeex", kCodecCrvTheoraSpeex},
   {"crvH264Speex", kCodecCrvH264Speex},
   {"crvH264Opus", kCodecCrvH264Opus},
   {"crvH265Opus", kCodecCrvH265Opus},
};

} // namespace

CodecId CodecIdFromName(const std::string &name) {
   for (const NamedCodec &codec : kCodecs) {
      if (StringUtils::EqualsNoCase(name, codec.name)) {
         return codec.id;
      }
   }
   return kCodecNone;
}

CodecId NormaliseCodec(CodecId id) {
   static constexpr std::array<CodecId, 12> kNormalised = {1, 2, 3, 4, 5, 6, 12, 8, 12, 10, 12, 12}; // of 1 to 12
   return id >= 1 && id <= kNormalised.size() ? kNormalised[id - 1] : kCodecCrvH265Opus;
}

CodecId GetPreferredCodec() {
   std::string name = RegUtils::GetString("", "codec", "");
   if (name.empty()) {
      // Required: the second read is for the machine's settings, which share the domain with the user's here.
      name = RegUtils::GetString("", "codec", "");
   }
   return NormaliseCodec(CodecIdFromName(name));
}
