#pragma once

#include "osal/common/FrameBuffer.h"
#include "osal/simulated/Simulation.h"

#include <cstdint>
#include <optional>

namespace osal {

/// A picture of a simulated camera; remembers what it shows, so that only what changes is painted again.
class SimulatedFrame final : public FrameBuffer {
public:
   /// What lockBaseAddress returns from now on.
   void SetLockStatus(int32_t status) { mLockStatus = status; }
   int32_t lockBaseAddress() override { return mLockStatus; }

   /// What the pixels are: all of a pattern in this size, with this number where it has one.
   struct Content {
      SimulatedPattern pattern;
      VideoDimensions size;
      uint32_t number;
   };
   [[nodiscard]] const std::optional<Content> &Painted() const { return mPainted; }
   void NotePainted(const Content &content) { mPainted = content; }

private:
   int32_t mLockStatus = 0;
   std::optional<Content> mPainted;
};

/// Makes `frame` a picture of this pattern and size with the number `number`, the same in every run. Allocates nothing.
///
/// | Pattern  | Luma                                                      | Chroma                                   |
/// |----------|-----------------------------------------------------------|------------------------------------------|
/// | bars     | eight vertical bars: white, yellow, cyan, green, magenta, red, blue, black, at three quarters       |
/// | gradient | rises from 0 at the left to 255 at the right              | Cb rises from 16 to 240 downwards, Cr 128 |
/// | noise    | random, another in each frame                             | the same                                 |
/// | counter  | the number, see FrameCounter.h                            | Cb rises to the right, Cr downwards      |
void PaintFrame(SimulatedPattern pattern, VideoDimensions size, uint32_t number, SimulatedFrame *frame);

} // namespace osal
