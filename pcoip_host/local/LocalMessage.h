#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace pcoip_host {

/// What the two sides of a local session tell each other about channels: a record of 64 bytes.
///
/// Numbers are 32 bits, highest byte first. Offset 0 the kind, 4 `channel`, 8 `other`, 12 `flags`, 16 `size`,
/// 20 `lossySize`, 24 the version, which is 1; 28 the name, 32 bytes, padded with zeros; the last 4 bytes are 0.
struct LocalMessage {
   enum class Kind : uint32_t {
      kHello = 1,  ///< size, lossySize: the largest datagrams of the sender
      kOpen = 2,   ///< channel: the sender's number; name; flags bit 0: lossy
      kJoin = 3,   ///< channel: the receiver's number, other: the sender's; the channel's sockets travel with it
      kClose = 4,  ///< channel: the receiver's number, or 0 with other: the sender's, for one that was not joined yet
      kReject = 5, ///< channel: the receiver's number
      kAsk = 6     ///< name; flags: the receiver is to open it
   };
   static constexpr size_t kSize = 64;
   static constexpr uint32_t kVersion = 1;
   static constexpr uint32_t kLossy = 1;
   static constexpr size_t kNameRoom = 32;
   using Record = std::array<uint8_t, kSize>;

   Kind kind = Kind::kHello;
   uint32_t channel = 0;
   uint32_t other = 0;
   uint32_t flags = 0;
   uint32_t size = 0;
   uint32_t lossySize = 0;
   std::string name; ///< at most 31 characters

   [[nodiscard]] Record Pack() const;
   /// None for an unknown kind or version, a name without an end, or bytes that are to be 0 and are not.
   [[nodiscard]] static std::optional<LocalMessage> Unpack(const Record &record);
};

} // namespace pcoip_host
