#include "pcoip_host/local/LocalMessage.h"

#include <algorithm>

namespace pcoip_host {
namespace {

constexpr size_t kNameAt = 28;
constexpr size_t kEndAt = kNameAt + LocalMessage::kNameRoom;

void Put(LocalMessage::Record &record, size_t at, uint32_t value) {
   for (size_t i = 0; i < 4; ++i) {
      record[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
   }
}

uint32_t Get(const LocalMessage::Record &record, size_t at) {
   uint32_t value = 0;
   for (size_t i = 0; i < 4; ++i) {
      value = value << 8 | record[at + i];
   }
   return value;
}

} // namespace

LocalMessage::Record LocalMessage::Pack() const {
   Record record{};
   Put(record, 0, static_cast<uint32_t>(kind));
   Put(record, 4, channel);
   Put(record, 8, other);
   Put(record, 12, flags);
   Put(record, 16, size);
   Put(record, 20, lossySize);
   Put(record, 24, kVersion);
   std::copy_n(name.data(), std::min(name.size(), kNameRoom - 1), record.begin() + kNameAt);
   return record;
}

std::optional<LocalMessage> LocalMessage::Unpack(const Record &record) {
   const uint32_t kind = Get(record, 0);
   const auto name = record.begin() + kNameAt;
   const auto end = record.begin() + kEndAt;
   const auto nameEnd = std::find(name, end, uint8_t{0});
   const bool isPadded = std::all_of(nameEnd, record.end(), [](uint8_t byte) { return byte == 0; });
   if (kind < static_cast<uint32_t>(Kind::kHello) || kind > static_cast<uint32_t>(Kind::kAsk) ||
       Get(record, 24) != kVersion || nameEnd == end || !isPadded) {
      return std::nullopt;
   }
   LocalMessage message;
   message.kind = static_cast<Kind>(kind);
   message.channel = Get(record, 4);
   message.other = Get(record, 8);
   message.flags = Get(record, 12);
   message.size = Get(record, 16);
   message.lossySize = Get(record, 20);
   message.name.assign(name, nameEnd);
   return message;
}

} // namespace pcoip_host
