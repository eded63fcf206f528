#include "libs/common/PreferredDevice.h"

#include "lib/mfw/common/logger.h"

#include <algorithm>

namespace {

template <typename Condition>
const MMDev::DeviceInfo *FindFirst(const MMDev::DeviceList &list, Condition condition) {
   const auto found = std::find_if(list.begin(), list.end(), condition);
   return found != list.end() ? &*found : nullptr;
}

const MMDev::DeviceInfo *SearchById(const char *function, const MMDev::DeviceList &list, const std::string &id) {
   if (const MMDev::DeviceInfo *const match = FindByUserId(list, id)) {
      MAVR_LOG_TRACE("%s - Find matched preferred id: '%s' in device list.", function, id.c_str());
      return match;
   }
   if (const MMDev::DeviceInfo *const match = FindByPieceOfUserId(list, id)) {
      MAVR_LOG_TRACE("%s - Find preferred id: '%s' in device list.", function, id.c_str());
      return match;
   }
   MAVR_LOG_TRACE("%s - Cannot find preferred id: '%s' in device list.", function, id.c_str());
   return nullptr;
}

const MMDev::DeviceInfo *SearchByName(const char *function, const MMDev::DeviceList &list, const std::string &name) {
   const MMDev::DeviceInfo *const match = FindByName(list, name);
   if (match != nullptr) {
      MAVR_LOG_TRACE("%s - Find preferred name: '%s' in device list.", function, name.c_str());
   } else {
      MAVR_LOG_TRACE("%s - Cannot find preferred name: '%s' in device list.", function, name.c_str());
   }
   return match;
}

} // namespace

const MMDev::DeviceInfo *FindByUserId(const MMDev::DeviceList &list, const std::string &id) {
   return FindFirst(list, [&](const MMDev::DeviceInfo &record) { return record.mUserId == id; });
}

const MMDev::DeviceInfo *FindByPieceOfUserId(const MMDev::DeviceList &list, const std::string &piece) {
   return FindFirst(list,
                    [&](const MMDev::DeviceInfo &record) { return record.mUserId.find(piece) != std::string::npos; });
}

const MMDev::DeviceInfo *FindByName(const MMDev::DeviceList &list, const std::string &name) {
   return FindFirst(list, [&](const MMDev::DeviceInfo &record) { return record.mName == name; });
}

MMDev::DeviceInfo ResolvePreferredDevice(const PreferredDeviceKind &kind, const std::string &id,
                                         const std::string &name) {
   if (id.empty() && name.empty()) {
      MAVR_LOG_TRACE("%s - Config preferred device is NULL.", kind.shortFunction);
      return {};
   }
   MMDev::DeviceList list;
   if (!kind.enumerate(list)) {
      MAVR_LOG_ERROR("%s - Failed to enum the device.", kind.shortFunction);
      return {};
   }
   if (list.empty()) {
      MAVR_LOG_TRACE("%s - List size is 0.", kind.shortFunction);
      return {};
   }
   const MMDev::DeviceInfo *match = id.empty() ? nullptr : SearchById(kind.function, list, id);
   if (match == nullptr && !name.empty()) {
      match = SearchByName(kind.function, list, name);
   }
   return match != nullptr ? *match : MMDev::DeviceInfo{};
}
