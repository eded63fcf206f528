#include "libs/pcoip_mfw/ChannelRules.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

constexpr size_t kMaxNameLength = kPcoipNameBytes - 1;

} // namespace

uint32_t ReadBufferCapacity(uint32_t maxDatagram) {
   return maxDatagram != 0 && maxDatagram <= kReadBufferBytes ? kReadBufferBytes / maxDatagram : 1;
}

std::optional<size_t> ReadBufferSize(uint32_t maxDatagram, uint32_t capacity, uint32_t recvHeader,
                                     uint32_t recvTrailer) {
   const uint64_t datagrams = uint64_t{maxDatagram} * capacity;
   const uint64_t rooms = uint64_t{recvHeader} + recvTrailer;
   constexpr uint64_t kMost = std::numeric_limits<uint32_t>::max();
   if (datagrams > kMost || datagrams + rooms > kMost) {
      return std::nullopt;
   }
   return static_cast<size_t>(datagrams + rooms);
}

uint32_t PriorityFlags(uint32_t priority, bool lossy) {
   const uint32_t flag = priority <= static_cast<uint32_t>(ChannelPriority::High) ? 1U << priority : 1U;
   return lossy ? flag | flag << 8 : flag;
}

std::array<char, kPcoipNameBytes> HostName(const char *name) {
   std::array<char, kPcoipNameBytes> padded{};
   std::copy_n(name, strnlen(name, kMaxNameLength), padded.begin());
   return padded;
}

bool MeansChannel(const char *name, const char *channelName) {
   const size_t length = std::strlen(name);
   const size_t compared = length == kMaxNameLength ? length : std::min(length + 1, kPcoipNameBytes);
   return std::strncmp(name, channelName, compared) == 0;
}

CORE::corestring RewriteChannelName(const CORE::corestring &name) {
   CORE::corestring shown(name);
   shown.ReplaceAll("TOLVAR", "ZENTHAR");
   shown.ReplaceAll("Tolvar", "Zenthar");
   shown.ReplaceAll("TLV", "ZTH");
   return shown;
}

const char *LossyText(bool lossy) {
   return lossy ? "Lossy" : "Reliable";
}

const char *TruthText(bool value) {
   return value ? "true" : "false";
}

const char *PriorityText(uint32_t priority) {
   static constexpr std::array kTexts{"low", "medium", "high"};
   return priority < kTexts.size() ? kTexts[priority] : "???";
}

const char *StateText(int32_t state) {
   static constexpr std::array kTexts{"OpenPending", "Open", "Closed"};
   const auto index = static_cast<uint32_t>(state);
   return index < kTexts.size() ? kTexts[index] : "???";
}
