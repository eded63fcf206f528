#pragma once

#include <cstdint>

/// The rules by which outputs of different kinds go together. Functions of plain values.

/// The bit of a kind, or 0 for a tag that is none.
[[nodiscard]] uint32_t LogRegistry_KindBit(uint32_t tag);

/// Whether a new output with this tag goes together with the present ones, of which `presentBits` is the sum of kinds.
[[nodiscard]] bool LogRegistry_KindsAgree(uint32_t presentBits, uint32_t tag);
