#pragma once

#include "lib/mfw/common/corestring.h"
#include "libs/pcoip_mfw/PcoipHostTable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

/// The arithmetic and the names of virtual channels: functions of plain values. Any thread.

/// One read buffer holds about so many bytes of datagrams.
inline constexpr uint32_t kReadBufferBytes = 32768;

/// How many datagrams of the maximal size one read buffer takes: kReadBufferBytes / maxDatagram, and 1 for larger ones.
[[nodiscard]] uint32_t ReadBufferCapacity(uint32_t maxDatagram);

/// Bytes of a read buffer: the datagrams, and once each the room in front of and behind them. None when that is more
/// than 32 bits tell: there is no such memory.
[[nodiscard]] std::optional<size_t> ReadBufferSize(uint32_t maxDatagram, uint32_t capacity, uint32_t recvHeader,
                                                   uint32_t recvTrailer);

enum class ChannelPriority : uint32_t { Low = 0, Medium = 1, High = 2 };

/// What the host is told: 1, 2, 4 for low, medium, high, and the same once more in the second byte with a lossy twin.
/// A number that is no priority is low.
[[nodiscard]] uint32_t PriorityFlags(uint32_t priority, bool lossy);

/// The name as the host takes it: at most 31 characters, padded with zeros.
[[nodiscard]] std::array<char, kPcoipNameBytes> HostName(const char *name);

/// Whether a name that comes from the host, or from HostName, means the channel `channelName`. Names are the same up to
/// their ends, or in their first 32 characters; a name of 31 may have been cut, and means all that begin with it.
[[nodiscard]] bool MeansChannel(const char *name, const char *channelName);

/// A channel's name as logs show it: "TOLVAR", "Tolvar" and "TLV" become "ZENTHAR", "Zenthar" and "ZTH". Throws
/// coreException("OutOfMem").
[[nodiscard]] CORE::corestring RewriteChannelName(const CORE::corestring &name);

[[nodiscard]] const char *LossyText(bool lossy); ///< "Lossy", "Reliable"
[[nodiscard]] const char *TruthText(bool value); ///< "true", "false"
/// "low", "medium", "high"; "???" for any other number.
[[nodiscard]] const char *PriorityText(uint32_t priority);
/// "OpenPending", "Open", "Closed" for 0, 1, 2; "???" for any other number.
[[nodiscard]] const char *StateText(int32_t state);
