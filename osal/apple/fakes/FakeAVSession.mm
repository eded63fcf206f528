#include "osal/apple/fakes/FakeAVParts.h"
#include "osal/apple/fakes/FakeFlow.h"

#include <algorithm>
#include <condition_variable>
#include <vector>

NSString *const AVCaptureSessionRuntimeErrorNotification = @"AVCaptureSessionRuntimeErrorNotification";
NSString *const AVCaptureSessionErrorKey = @"AVCaptureSessionErrorKey";

namespace {

struct SessionState {
   fakes::Counted counted;
   // Guarded by ConfigurationLock:
   std::vector<AVCaptureInput *> inputs;   // retained
   std::vector<AVCaptureOutput *> outputs; // retained
   int configuring = 0;
   bool isRunning = false;
   std::vector<std::unique_ptr<fakes::Flow>> flows;
};

using Lock = std::lock_guard<std::recursive_mutex>;

// Not retained; guarded by ConfigurationLock.
std::vector<AVCaptureSession *> &Sessions() {
   static auto *const sessions = new std::vector<AVCaptureSession *>;
   return *sessions;
}
std::atomic<bool> gRefusesMembers{false};

std::mutex gStartMutex;
std::condition_variable gStartChanged;
fakes::Start gStart = fakes::Start::Works; // guarded by gStartMutex

fakes::Start HowStartsGo() {
   std::unique_lock<std::mutex> lock(gStartMutex);
   gStartChanged.wait(lock, [] { return gStart != fakes::Start::Stalls; });
   return gStart;
}

template <class Member>
bool Contains(const std::vector<Member *> &members, Member *member) {
   return std::find(members.begin(), members.end(), member) != members.end();
}

void RefuseArgument(const char *what) {
   [NSException raise:NSInvalidArgumentException format:@"%s", what];
}

// Forms the connections that can be, ends those whose input has gone.
void Connect(SessionState &state) {
   for (AVCaptureOutput *const output : state.outputs) {
      fakes::OutputState &end = fakes::StateOf(output);
      const std::lock_guard<std::mutex> hold(end.mutex);
      if (end.connection != nil && !Contains(state.inputs, end.source)) {
         [end.connection release];
         end.connection = nil;
         end.source = nil;
      }
      for (AVCaptureInput *const input : state.inputs) {
         if (end.connection == nil && fakes::StateOf(input).device->isCamera == end.isVideo) {
            end.connection = fakes::NewConnection(end.isVideo);
            end.source = input;
         }
      }
   }
}

void Disconnect(AVCaptureOutput *output) {
   fakes::OutputState &end = fakes::StateOf(output);
   const std::lock_guard<std::mutex> hold(end.mutex);
   [end.connection release];
   end.connection = nil;
   end.source = nil;
   end.session = nil;
}

// Devices in use become those that the connections want.
void Follow(SessionState &state) {
   if (state.configuring > 0) {
      return;
   }
   const auto isWanted = [&](const std::unique_ptr<fakes::Flow> &flow) {
      return state.isRunning && std::any_of(state.outputs.begin(), state.outputs.end(), [&](AVCaptureOutput *output) {
                AVCaptureInput *const source = fakes::StateOf(output).source;
                return source != nil && flow->Is(source, output);
             });
   };
   std::erase_if(state.flows, [&](const auto &flow) { return !isWanted(flow); });
   for (AVCaptureOutput *const output : state.outputs) {
      AVCaptureInput *const source = fakes::StateOf(output).source;
      const auto isThere = [&](const auto &flow) {
         return flow->Is(source, output);
      };
      if (state.isRunning && source != nil && std::none_of(state.flows.begin(), state.flows.end(), isThere)) {
         state.flows.push_back(std::make_unique<fakes::Flow>(fakes::StateOf(source).device, source, output));
      }
   }
}

} // namespace

@interface AVCaptureSession (Fake)
- (SessionState &)state;
- (void)failWithCode:(NSInteger)code;
@end

@implementation AVCaptureSession
- (instancetype)init {
   self = [super init];
   if (self != nil) {
      mState = new SessionState;
      const Lock hold(fakes::ConfigurationLock());
      Sessions().push_back(self);
   }
   return self;
}
- (void)dealloc {
   {
      const Lock hold(fakes::ConfigurationLock());
      std::erase(Sessions(), self);
      SessionState &state = [self state];
      state.isRunning = false;
      state.configuring = 0;
      Follow(state);
      for (AVCaptureInput *const input : state.inputs) {
         fakes::StateOf(input).session = nil;
         [input release];
      }
      for (AVCaptureOutput *const output : state.outputs) {
         Disconnect(output);
         [output release];
      }
      delete &state;
   }
   [super dealloc];
}
- (SessionState &)state {
   return *(SessionState *)mState;
}
- (void)failWithCode:(NSInteger)code {
   NSDictionary *facts = [NSDictionary dictionaryWithObject:@"The camera service has ended."
                                                     forKey:NSLocalizedDescriptionKey];
   NSError *error = [NSError errorWithDomain:@"AVFoundationErrorDomain" code:code userInfo:facts];
   [[NSNotificationCenter defaultCenter]
      postNotificationName:AVCaptureSessionRuntimeErrorNotification
                    object:self
                  userInfo:[NSDictionary dictionaryWithObject:error forKey:AVCaptureSessionErrorKey]];
}
- (void)beginConfiguration {
   const Lock hold(fakes::ConfigurationLock());
   ++[self state].configuring;
}
- (void)commitConfiguration {
   const Lock hold(fakes::ConfigurationLock());
   if ([self state].configuring == 0) {
      [NSException raise:NSGenericException format:@"commitConfiguration without beginConfiguration"];
   }
   --[self state].configuring;
   Follow([self state]);
}
- (BOOL)canAddInput:(AVCaptureInput *)input {
   const Lock hold(fakes::ConfigurationLock());
   return input != nil && !gRefusesMembers && fakes::StateOf(input).session == nil;
}
- (void)addInput:(AVCaptureInput *)input {
   const Lock hold(fakes::ConfigurationLock());
   if (![self canAddInput:input]) {
      RefuseArgument("the input cannot be added");
   }
   fakes::StateOf(input).session = self;
   [self state].inputs.push_back([input retain]);
   Connect([self state]);
   Follow([self state]);
}
- (void)removeInput:(AVCaptureInput *)input {
   const Lock hold(fakes::ConfigurationLock());
   SessionState &state = [self state];
   if (!Contains(state.inputs, input)) {
      RefuseArgument("the input is not in this session");
   }
   std::erase(state.inputs, input);
   fakes::StateOf(input).session = nil;
   Connect(state);
   Follow(state);
   [input release];
}
- (BOOL)canAddOutput:(AVCaptureOutput *)output {
   const Lock hold(fakes::ConfigurationLock());
   return output != nil && !gRefusesMembers && fakes::StateOf(output).session == nil;
}
- (void)addOutput:(AVCaptureOutput *)output {
   const Lock hold(fakes::ConfigurationLock());
   if (![self canAddOutput:output]) {
      RefuseArgument("the output cannot be added");
   }
   fakes::StateOf(output).session = self;
   [self state].outputs.push_back([output retain]);
   Connect([self state]);
   Follow([self state]);
}
- (void)removeOutput:(AVCaptureOutput *)output {
   const Lock hold(fakes::ConfigurationLock());
   SessionState &state = [self state];
   if (!Contains(state.outputs, output)) {
      RefuseArgument("the output is not in this session");
   }
   std::erase(state.outputs, output);
   Disconnect(output);
   Follow(state);
   [output release];
}
- (BOOL)isRunning {
   const Lock hold(fakes::ConfigurationLock());
   return [self state].isRunning;
}
- (void)startRunning {
   const fakes::Start how = HowStartsGo();
   if (how == fakes::Start::Raises) {
      [NSException raise:NSInternalInconsistencyException format:@"the camera service has died"];
   }
   if (how == fakes::Start::Fails) {
      [self failWithCode:-11819];
      return;
   }
   const Lock hold(fakes::ConfigurationLock());
   if ([self state].configuring > 0) {
      [NSException raise:NSGenericException format:@"startRunning between beginConfiguration and commitConfiguration"];
   }
   [self state].isRunning = true;
   Follow([self state]);
}
- (void)stopRunning {
   const Lock hold(fakes::ConfigurationLock());
   if ([self state].configuring > 0) {
      [NSException raise:NSGenericException format:@"stopRunning between beginConfiguration and commitConfiguration"];
   }
   [self state].isRunning = false;
   Follow([self state]);
}
@end

namespace fakes {

void SetStart(Start start) {
   {
      const std::lock_guard<std::mutex> hold(gStartMutex);
      gStart = start;
   }
   gStartChanged.notify_all();
}

void RefuseMembers(bool refuses) {
   gRefusesMembers = refuses;
}

void EndCameraService() {
   const Lock hold(ConfigurationLock());
   for (AVCaptureSession *const session : Sessions()) {
      if ([session isRunning]) {
         @autoreleasepool {
            [session failWithCode:-11819];
         }
         [session state].isRunning = false;
         Follow([session state]);
      }
   }
}

} // namespace fakes
