#include "libs/avManager/MicrophoneChoice.h"

MicrophoneChoice ChooseMicrophone(const MMDev::DeviceList &microphones, const std::string &userId) {
   using Match = MicrophoneChoice::Match;
   if (userId.empty()) {
      return {};
   }
   for (size_t i = 0; i < microphones.size(); ++i) {
      if (microphones[i].mUserId == userId) {
         return {Match::Whole, i};
      }
   }
   const std::string first = userId.substr(0, userId.find('#'));
   for (size_t i = 0; i < microphones.size(); ++i) {
      if (microphones[i].mUserId.find(first) != std::string::npos) {
         return {Match::Part, i};
      }
   }
   return {};
}
