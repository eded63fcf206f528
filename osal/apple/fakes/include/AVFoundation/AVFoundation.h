// A stand-in for the framework's header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#import <Foundation/Foundation.h>

// On a Mac nil is a null pointer of every type, in C++ too.
#undef nil
#define nil nullptr

#include <CoreMedia/CoreMedia.h>
#include <dispatch/dispatch.h>

typedef NSString *AVMediaType;
typedef NSString *AVCaptureDeviceType;
typedef NS_ENUM(NSInteger, AVCaptureDevicePosition) {
   AVCaptureDevicePositionUnspecified = 0,
   AVCaptureDevicePositionBack = 1,
   AVCaptureDevicePositionFront = 2,
};
typedef NS_ENUM(NSInteger, AVAuthorizationStatus) {
   AVAuthorizationStatusNotDetermined = 0,
   AVAuthorizationStatusRestricted = 1,
   AVAuthorizationStatusDenied = 2,
   AVAuthorizationStatusAuthorized = 3,
};

extern "C" {

extern AVMediaType const AVMediaTypeVideo;
extern AVMediaType const AVMediaTypeAudio;
extern AVCaptureDeviceType const AVCaptureDeviceTypeBuiltInWideAngleCamera;
extern AVCaptureDeviceType const AVCaptureDeviceTypeExternalUnknown;
extern NSString *const AVFormatIDKey;
extern NSString *const AVSampleRateKey;
extern NSString *const AVNumberOfChannelsKey;
extern NSString *const AVLinearPCMBitDepthKey;
extern NSString *const AVLinearPCMIsFloatKey;
extern NSString *const AVLinearPCMIsBigEndianKey;
extern NSString *const AVCaptureSessionRuntimeErrorNotification;
extern NSString *const AVCaptureSessionErrorKey;

} // extern "C"

@interface AVFrameRateRange : NSObject {
@private
   void *mState;
}
- (Float64)minFrameRate;
- (Float64)maxFrameRate;
@end

@interface AVCaptureDeviceFormat : NSObject {
@private
   void *mState;
}
- (CMFormatDescriptionRef)formatDescription;
- (NSArray<AVFrameRateRange *> *)videoSupportedFrameRateRanges;
@end

@interface AVCaptureDevice : NSObject {
@private
   void *mState;
}
+ (AVCaptureDevice *)deviceWithUniqueID:(NSString *)uniqueID;
+ (AVCaptureDevice *)defaultDeviceWithMediaType:(AVMediaType)mediaType;
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)mediaType;
- (NSString *)localizedName;
- (NSString *)uniqueID;
- (BOOL)hasMediaType:(AVMediaType)mediaType;
- (BOOL)isConnected;
- (NSArray<AVCaptureDeviceFormat *> *)formats;
@end

@interface AVCaptureDeviceDiscoverySession : NSObject {
@private
   void *mState;
}
+ (instancetype)discoverySessionWithDeviceTypes:(NSArray<AVCaptureDeviceType> *)deviceTypes
                                      mediaType:(AVMediaType)mediaType
                                       position:(AVCaptureDevicePosition)position;
- (NSArray<AVCaptureDevice *> *)devices;
@end

@interface AVCaptureInput : NSObject
@end

@interface AVCaptureDeviceInput : AVCaptureInput {
@private
   void *mState;
}
+ (instancetype)deviceInputWithDevice:(AVCaptureDevice *)device error:(NSError **)error;
@end

@interface AVCaptureConnection : NSObject {
@private
   void *mState;
}
- (BOOL)isVideoMaxFrameDurationSupported;
- (CMTime)videoMaxFrameDuration;
- (void)setVideoMaxFrameDuration:(CMTime)duration;
@end

@interface AVCaptureOutput : NSObject {
@private
   void *mState;
}
- (AVCaptureConnection *)connectionWithMediaType:(AVMediaType)mediaType;
@end

@protocol AVCaptureVideoDataOutputSampleBufferDelegate <NSObject>
@optional
- (void)captureOutput:(AVCaptureOutput *)output
   didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
          fromConnection:(AVCaptureConnection *)connection;
@end

@protocol AVCaptureAudioDataOutputSampleBufferDelegate <NSObject>
@optional
- (void)captureOutput:(AVCaptureOutput *)output
   didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
          fromConnection:(AVCaptureConnection *)connection;
@end

@interface AVCaptureVideoDataOutput : AVCaptureOutput
- (void)setSampleBufferDelegate:(id<AVCaptureVideoDataOutputSampleBufferDelegate>)delegate
                          queue:(dispatch_queue_t)queue;
- (void)setAlwaysDiscardsLateVideoFrames:(BOOL)discards;
- (void)setVideoSettings:(NSDictionary<NSString *, id> *)settings;
@end

@interface AVCaptureAudioDataOutput : AVCaptureOutput
- (void)setSampleBufferDelegate:(id<AVCaptureAudioDataOutputSampleBufferDelegate>)delegate
                          queue:(dispatch_queue_t)queue;
- (void)setAudioSettings:(NSDictionary<NSString *, id> *)settings;
@end

@interface AVCaptureSession : NSObject {
@private
   void *mState;
}
- (void)beginConfiguration;
- (void)commitConfiguration;
- (BOOL)canAddInput:(AVCaptureInput *)input;
- (void)addInput:(AVCaptureInput *)input;
- (void)removeInput:(AVCaptureInput *)input;
- (BOOL)canAddOutput:(AVCaptureOutput *)output;
- (void)addOutput:(AVCaptureOutput *)output;
- (void)removeOutput:(AVCaptureOutput *)output;
- (BOOL)isRunning;
- (void)startRunning;
- (void)stopRunning;
@end
