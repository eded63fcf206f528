#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace mavr::redirect {

/// Follows the numbers that a simulated camera with the pattern "counter" paints into its pictures. They are the
/// camera's own, so they also skip what the recorder did not keep; what can be checked is that each picture shows one
/// whole number and that it is higher than the one of the picture before. Pictures of other cameras show none, and then
/// only the frame numbers of the datagrams are checked.
///
/// Owner: who receives the pictures. Threads: one. Locks: none.
class PictureCheck {
public:
   /// An I420 picture in its stream's order; one that was overtaken on the way says so.
   enum class Place : bool { kInOrder, kOvertaken };
   void Take(const uint8_t *luma, uint32_t width, uint32_t height, Place place);

   struct Result {
      uint64_t pictures = 0;
      uint64_t readable = 0;  ///< show a whole number
      uint64_t backwards = 0; ///< in order, but with a number that is not above the former one's
      std::optional<uint32_t> first;
      std::optional<uint32_t> last;

      /// Whether the camera paints numbers at all: the greater part of its pictures shows one.
      [[nodiscard]] bool HasNumbers() const { return readable * 2 > pictures; }
      [[nodiscard]] uint64_t Unreadable() const { return pictures - readable; }
   };
   [[nodiscard]] const Result &Found() const { return mResult; }

private:
   Result mResult;
};

} // namespace mavr::redirect
