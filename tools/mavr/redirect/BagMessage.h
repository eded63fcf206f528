#pragma once

#include "lib/mfw/messageframework/propertybag.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mavr::redirect {

/// A bag of texts and bags as the bytes of one datagram: docs/formats/redirect-control.md. Names and texts go as
/// strings of the message layer, in UTF-8.
///
/// What the form has no room for is left out: bytes, entries beyond kMostEntries, names and texts beyond 65535 bytes,
/// bags more than kDeepest levels down.
inline constexpr size_t kDeepest = 8;
inline constexpr size_t kMostEntries = 65535;
[[nodiscard]] std::vector<uint8_t> PackBag(const CORE::PropertyBag &bag);

/// Adds the entries to `out`. False, with `out` as it was, for bytes that are no whole bag; any bytes may come.
[[nodiscard]] bool UnpackBag(const void *data, size_t size, CORE::PropertyBag &out);

} // namespace mavr::redirect
