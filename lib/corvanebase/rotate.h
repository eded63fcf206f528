#pragma once

#include <cstdint>
#include <vector>

namespace corvanebase {

/// What one step of a rotation does to a kept file.
struct RotationStep {
   uint32_t from;
   uint32_t to; ///< kRemoved: the file goes
   bool operator==(const RotationStep &) const = default;
};
inline constexpr uint32_t kRemoved = UINT32_MAX;

/// The steps, in the order in which they are taken, that make number 0 free among the kept files `numbers` (ascending,
/// no number twice), of which at most `keepCount` may be there once 0 is taken again.
///
/// However few of the steps are taken, the files that stay are in their order and none has taken another's place,
/// except that the oldest of a full row is overwritten. Gaps close on the way. Pure.
[[nodiscard]] std::vector<RotationStep> PlanRotation(const std::vector<uint32_t> &numbers, uint32_t keepCount);

} // namespace corvanebase
