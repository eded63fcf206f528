#pragma once

#include "libs/pcoip_mfw/PcoipHostTable.h"

#include <cstddef>
#include <optional>

namespace pcoip_host {

class LocalHost;

/// The tables of a process's local hosts. A table's functions get no word that tells whose they are, so there is a
/// fixed number of tables, each with functions of its own.
///
/// Threads: any. Locks: none. Life cycle of a place: free -> Claim -> Publish -> Withdraw -> free.
namespace tables {

/// A free place; none when all are taken.
[[nodiscard]] std::optional<size_t> Claim();
/// From here on the functions of the place lead to `host`.
void Publish(size_t place, LocalHost *host);
/// No function of the place is inside the host any more, and none gets in; the place is free. What may wait inside has
/// been woken before. Also for a place that was not published.
void Withdraw(size_t place);

[[nodiscard]] const PcoipHostTable &Of(size_t place);

} // namespace tables
} // namespace pcoip_host
