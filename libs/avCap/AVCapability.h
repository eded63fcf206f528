#pragma once

#include <cstdint>

/// Capability bits; 0x10 is not used.
inline constexpr uint32_t CAP_LEGACY_MASK = 0x3; ///< both legacy bits; only ever cleared here
inline constexpr uint32_t CAP_BASE = 0x4;
inline constexpr uint32_t CAP_H264 = 0x8; ///< negotiated: sizes round to multiples of 8 and not of 16
inline constexpr uint32_t CAP_OPUS = 0x20;
inline constexpr uint32_t CAP_H265 = 0x40;
inline constexpr uint32_t CAP_PREFS_APPLIED = 0x80;
inline constexpr uint32_t CAP_V2 = 0x8000;

/// What this side can do, what the peer said that it can do, and what both can.
///
/// Owner: the process has one instance; tests make their own. Threads: host-serialised; only the making of the instance
/// is safe against itself. Locks: none. Life cycle: built at first use with this side's base bits; never reset.
class AVCapability {
public:
   static AVCapability &GetInstance();

   /// CAP_BASE, and CAP_V2 unless the setting "MAVRV2Enabled" is false. The peer can do nothing yet.
   AVCapability();

   /// Sets or clears bits of the local set. Logged at DEBUG, with the bits in decimal.
   void AddLocalCap(uint32_t bits);
   void RemoveLocalCap(uint32_t bits);

   /// The local set, logged at DEBUG.
   [[nodiscard]] uint32_t GetLocalCap() const;

   /// Adds what the preferred codec needs, or with `restricted` not 0 what a restricted side has, and returns the local
   /// set. Bits of an earlier call stay, but for CAP_LEGACY_MASK and CAP_V2, which the restricted form clears.
   uint32_t CalcLocalCapability(uint32_t restricted);

   /// Takes the peer's set. Logged at DEBUG.
   void SetCap(uint32_t peer);

   /// What both sides can do.
   [[nodiscard]] uint32_t Negotiated() const { return mNegotiated; }

private:
   void AddCapsOfPreferredCodec();
   void Negotiate() { mNegotiated = mLocal & mPeer; }

   uint32_t mLocal = 0;
   uint32_t mPeer = 0;
   uint32_t mNegotiated = 0; // always mLocal & mPeer
};
