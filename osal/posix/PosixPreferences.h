#pragma once

#include "osal/Preferences.h"
#include "osal/posix/FileLayer.h"

#include <memory>
#include <string>

namespace osal {

/// Preferences in the settings file `path`, docs/formats/settings-file.md. The file is read at once, so that its
/// trouble can be taken; it is made by the first write.
///
/// A read costs a look at the file's state and a hash lookup; the file is parsed again only when its state has changed.
/// A write is a read, a change and a replacement under a lock that all processes respect.
[[nodiscard]] std::unique_ptr<Preferences> MakePosixPreferences(std::string path,
                                                                FileLayer &layer = FileLayer::system());

} // namespace osal
