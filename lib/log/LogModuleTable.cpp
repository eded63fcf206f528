#include "lib/log/LogModuleTable.h"

#include <array>
#include <cstring>

namespace {

// In ascending order of name. The place in the table, from 1, is the module's id; it is part of routing numbers, so
// that a new module changes the ids of those behind it in everything that is built against the table.
// clang-format off
constinit std::array<LogModuleRow, kLogModuleCount> gModules{{
   {"agentApi"}, {"agentCache"}, {"agentClient"}, {"agentEvents"}, {"agentHost"}, {"agentMonitor"}, {"agentService"},
   {"agentState"}, {"audioApi"}, {"audioCache"}, {"audioClient"}, {"audioEvents"}, {"audioHost"}, {"audioMonitor"},
   {"audioService"}, {"audioState"}, {"authenticationApi"}, {"authenticationCache"}, {"authenticationClient"},
   {"authenticationEvents"}, {"authenticationHost"}, {"authenticationMonitor"}, {"authenticationService"},
   {"authenticationState"}, {"bagCache"}, {"bagClient"}, {"bagEvents"}, {"bagMonitor"}, {"bagService"}, {"bagState"},
   {"bridgeApi"}, {"bridgeCache"}, {"bridgeClient"}, {"bridgeEvents"}, {"bridgeHost"}, {"bridgeMonitor"},
   {"bridgeService"}, {"bridgeState"}, {"cacheApi"}, {"cacheClient"}, {"cacheEvents"}, {"cacheHost"},
   {"cacheMonitor"}, {"cacheService"}, {"cacheState"}, {"cameraApi"}, {"cameraCache"}, {"cameraClient"},
   {"cameraEvents"}, {"cameraHost"}, {"cameraMonitor"}, {"cameraService"}, {"cameraState"}, {"certificateApi"},
   {"certificateCache"}, {"certificateClient"}, {"certificateEvents"}, {"certificateHost"}, {"certificateMonitor"},
   {"certificateService"}, {"certificateState"}, {"channelApi"}, {"channelCache"}, {"channelClient"},
   {"channelEvents"}, {"channelHost"}, {"channelMonitor"}, {"channelService"}, {"channelState"}, {"clipboardApi"},
   {"clipboardCache"}, {"clipboardClient"}, {"clipboardEvents"}, {"clipboardHost"}, {"clipboardMonitor"},
   {"clipboardService"}, {"clipboardState"}, {"codecApi"}, {"codecCache"}, {"codecClient"}, {"codecEvents"},
   {"codecHost"}, {"codecMonitor"}, {"codecService"}, {"codecState"}, {"configApi"}, {"configCache"},
   {"configClient"}, {"configEvents"}, {"configHost"}, {"configMonitor"}, {"configService"}, {"configState"},
   {"deviceApi"}, {"deviceCache"}, {"deviceClient"}, {"deviceEvents"}, {"deviceHost"}, {"deviceMonitor"},
   {"deviceService"}, {"deviceState"}, {"diagnosticsApi"}, {"diagnosticsCache"}, {"diagnosticsClient"},
   {"diagnosticsEvents"}, {"diagnosticsHost"}, {"diagnosticsMonitor"}, {"diagnosticsService"}, {"diagnosticsState"},
   {"displayApi"}, {"displayCache"}, {"displayClient"}, {"displayEvents"}, {"displayHost"}, {"displayMonitor"},
   {"displayService"}, {"displayState"}, {"dumpApi"}, {"dumpCache"}, {"dumpClient"}, {"dumpEvents"}, {"dumpMonitor"},
   {"dumpService"}, {"dumpState"}, {"endpointApi"}, {"endpointCache"}, {"endpointClient"}, {"endpointEvents"},
   {"endpointHost"}, {"endpointMonitor"}, {"endpointService"}, {"endpointState"}, {"filterApi"}, {"filterCache"},
   {"filterClient"}, {"filterEvents"}, {"filterHost"}, {"filterMonitor"}, {"filterService"}, {"filterState"},
   {"frameApi"}, {"frameCache"}, {"frameClient"}, {"frameEvents"}, {"frameHost"}, {"frameMonitor"}, {"frameService"},
   {"frameState"}, {"inputApi"}, {"inputCache"}, {"inputClient"}, {"inputEvents"}, {"inputHost"}, {"inputMonitor"},
   {"inputService"}, {"inputState"}, {"keyboardApi"}, {"keyboardCache"}, {"keyboardClient"}, {"keyboardEvents"},
   {"keyboardHost"}, {"keyboardMonitor"}, {"keyboardService"}, {"keyboardState"}, {"localeApi"}, {"localeCache"},
   {"localeClient"}, {"localeEvents"}, {"localeMonitor"}, {"localeService"}, {"localeState"}, {"mediaApi"},
   {"mediaCache"}, {"mediaClient"}, {"mediaEvents"}, {"mediaHost"}, {"mediaMonitor"}, {"mediaService"},
   {"mediaState"}, {"microphoneApi"}, {"microphoneCache"}, {"microphoneClient"}, {"microphoneEvents"},
   {"microphoneHost"}, {"microphoneMonitor"}, {"microphoneService"}, {"microphoneState"}, {"networkApi"},
   {"networkCache"}, {"networkClient"}, {"networkEvents"}, {"networkHost"}, {"networkMonitor"}, {"networkService"},
   {"networkState"}, {"pacingApi"}, {"pacingCache"}, {"pacingClient"}, {"pacingEvents"}, {"pacingHost"},
   {"pacingMonitor"}, {"pacingService"}, {"pacingState"}, {"pluginApi"}, {"pluginCache"}, {"pluginClient"},
   {"pluginEvents"}, {"pluginHost"}, {"pluginMonitor"}, {"pluginService"}, {"pluginState"}, {"policyApi"},
   {"policyCache"}, {"policyClient"}, {"policyEvents"}, {"policyHost"}, {"policyMonitor"}, {"policyService"},
   {"policyState"}, {"preferenceApi"}, {"preferenceCache"}, {"preferenceClient"}, {"preferenceEvents"},
   {"preferenceHost"}, {"preferenceMonitor"}, {"preferenceService"}, {"preferenceState"}, {"propertyApi"},
   {"propertyCache"}, {"propertyClient"}, {"propertyEvents"}, {"propertyHost"}, {"propertyMonitor"},
   {"propertyService"}, {"propertyState"}, {"queueApi"}, {"queueCache"}, {"queueClient"}, {"queueEvents"},
   {"queueHost"}, {"queueMonitor"}, {"queueService"}, {"queueState"}, {"recorderApi"}, {"recorderCache"},
   {"recorderClient"}, {"recorderEvents"}, {"recorderHost"}, {"recorderMonitor"}, {"recorderService"},
   {"recorderState"}, {"redirectionApi"}, {"redirectionCache"}, {"redirectionClient"}, {"redirectionEvents"},
   {"redirectionHost"}, {"redirectionMonitor"}, {"redirectionService"}, {"redirectionState"}, {"scalingApi"},
   {"scalingCache"}, {"scalingClient"}, {"scalingEvents"}, {"scalingHost"}, {"scalingMonitor"}, {"scalingService"},
   {"scalingState"}, {"securityApi"}, {"securityCache"}, {"securityClient"}, {"securityEvents"}, {"securityHost"},
   {"securityMonitor"}, {"securityService"}, {"securityState"}, {"sessionApi"}, {"sessionCache"}, {"sessionClient"},
   {"sessionEvents"}, {"sessionHost"}, {"sessionMonitor"}, {"sessionService"}, {"sessionState"}, {"settingsApi"},
   {"settingsCache"}, {"settingsClient"}, {"settingsEvents"}, {"settingsHost"}, {"settingsMonitor"},
   {"settingsService"}, {"settingsState"}, {"timerApi"}, {"timerCache"}, {"timerClient"}, {"timerEvents"},
   {"timerHost"}, {"timerMonitor"}, {"timerService"}, {"timerState"}, {"transportApi"}, {"transportCache"},
   {"transportClient"}, {"transportEvents"}, {"transportHost"}, {"transportMonitor"}, {"transportService"},
   {"transportState"}, {"usbApi"}, {"usbClient"}, {"usbEvents"}, {"usbHost"}, {"usbMonitor"}, {"usbService"},
   {"usbState"},
}};
// clang-format on

} // namespace

int32_t Log_ModuleIdByName(const char *name) {
   for (uint32_t index = 0; index < kLogModuleCount; ++index) {
      if (std::strcmp(gModules[index].name, name) == 0) {
         return static_cast<int32_t>(index) + 1;
      }
   }
   return -1;
}

const char *Log_ModuleNameById(uint32_t id) {
   if (id == 0) {
      return "";
   }
   return id <= kLogModuleCount ? gModules[id - 1].name : nullptr;
}

LogFilter *Log_ModuleFilter(uint32_t id) {
   return id >= 1 && id <= kLogModuleCount ? &gModules[id - 1].filter : nullptr;
}
