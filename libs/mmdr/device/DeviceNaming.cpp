#include "libs/mmdr/device/DeviceNaming.h"

#include <map>

namespace MMDev {

std::string BuildUserId(std::string_view name, std::string_view uniqueId) {
   std::string userId;
   userId.reserve(name.size() + 1 + uniqueId.size());
   return userId.append(name).append(1, '#').append(uniqueId);
}

void MakeNamesUnique(const std::vector<std::string *> &names) {
   std::map<std::string, uint32_t> countOfRawName;
   for (std::string *const name : names) {
      const uint32_t count = ++countOfRawName[*name];
      if (count > 1) {
         name->append(1, ' ').append(std::to_string(count));
      }
   }
}

void MakeNamesUnique(DeviceList &list) {
   std::vector<std::string *> names;
   names.reserve(list.size());
   for (DeviceInfo &record : list) {
      names.push_back(&record.mName);
   }
   MakeNamesUnique(names);
}

} // namespace MMDev
