#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

/// The record of a microphone before its list is finished: the name raw.
[[nodiscard]] MMDev::DeviceInfo MakeAudioRecord(const std::string &name, const std::string &uniqueId);

/// Replaces `list` by the audio inputs that are there now, sorted by unique id, with unique names. Returns their
/// number.
///
/// A device without input streams is skipped; one whose facts cannot be read is dropped and logged at ERROR. When the
/// platform as a whole does not answer, the list is empty and one ERROR line says why. Host-serialised.
int AVCaptureEnumerateAudioDevices(MMDev::DeviceList &list);
