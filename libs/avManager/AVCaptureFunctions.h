#pragma once

#include "libs/avManager/CaptureFacts.h"

#include <cstddef>
#include <cstdint>

/// The capture object as plain functions over a `void *`, so that its clients need no platform type.
///
/// Each forwards to the method of AVCapture that has its name; threads and results are told there. The object comes
/// from AVCaptureRegister.

enum CaptureType : int { CaptureTypeAudio = 1, CaptureTypeVideo = 2 };

/// A new capture object for `client`, an AudioCaptureMac (1) or a MacVideoDevice (2), on the platform in force. The
/// caller owns its one reference. Any other type is logged at ERROR and ends the process.
[[nodiscard]] void *AVCaptureRegister(void *client, int type);
/// Gives the reference back. Capture has been stopped before. A null object is logged at ERROR.
void AVCaptureUnRegister(void *obj, int type);

[[nodiscard]] bool AVCaptureStartCapturingVideo(void *obj, const char *deviceId);
bool AVCaptureStopCapturingVideo(void *obj);
[[nodiscard]] bool AVCaptureVideoInUse(void *obj);
[[nodiscard]] uint32_t AVCaptureGetTotalFrameNum(void *obj);
void AVCaptureUpdateDropParameters(void *obj, uint32_t group, uint32_t keep);
[[nodiscard]] bool AVCaptureIsNewFrameAvailable(void *obj);
bool AVCaptureSelectVdoRes(void *obj, uint32_t x, uint32_t y, uint32_t rate);
[[nodiscard]] bool AVCaptureGetNextFrame(void *obj, unsigned char *dst, size_t size);
[[nodiscard]] bool AVCaptureStartCapturingAudio(void *obj, const char *deviceId);
bool AVCaptureStopCapturingAudio(void *obj);
void AVCaptureAudioSetPCMFormat(void *obj, int rate, int bitsPerSample, int channels);
[[nodiscard]] int AVCaptureAudioGetReqdBufSize(void *obj, int ms);

/// How the capture is doing, for people. Control thread.
[[nodiscard]] CaptureFacts AVCaptureGetFacts(void *obj);

/// Tells the client of a kept frame; asserts that there is a client. Delivery thread.
void AVCaptureSendVNotifs(void *obj);

/// The same for the client of sound, an AudioCaptureMac: a chunk waits for it; a chunk, of `dbytes` behind `cbytes`
/// that were kept back; a chunk begins now. Each asserts that there is one. Delivery thread.
void AVCaptureSendANotifs(void *obj);
[[nodiscard]] bool AVCaptureCopyRecordedData(void *obj, const char **data, size_t dbytes, const char *cache,
                                             size_t cbytes);
void AVCaptureTimestampCache(void *obj);
