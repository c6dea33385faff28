// The start codes and marks of MPEG streams that the parsers look for.
#ifndef KIVUTILITY_MPEGCODES_H
#define KIVUTILITY_MPEGCODES_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace kiv::mpeg {

inline constexpr unsigned char kPrefixBits    = 24; // of a start code, ISO/IEC 13818-2, 6.2.1
inline constexpr unsigned char kStartCodeBits = 32;

inline constexpr std::uint32_t kPrefix             = 0x000001;
inline constexpr std::uint32_t kPictureCode        = 0x00000100; // ISO/IEC 13818-2, table 6-1
inline constexpr std::uint32_t kReservedCode       = 0x000001B0;
inline constexpr std::uint32_t kSequenceCode       = 0x000001B3;
inline constexpr std::uint32_t kExtensionCode      = 0x000001B5;
inline constexpr std::uint32_t kGroupCode          = 0x000001B8;
inline constexpr std::uint32_t kPackCode           = 0x000001BA; // ISO/IEC 13818-1, 2.5.3.3
inline constexpr std::uint32_t kSystemHeaderCode   = 0x000001BB; // ISO/IEC 13818-1, 2.5.3.5
inline constexpr std::uint32_t kPrivateStream1Code = 0x000001BD; // ISO/IEC 13818-1, table 2-18
inline constexpr std::uint8_t  kTransportSync      = 0x47;       // ISO/IEC 13818-1, 2.4.3.2
inline constexpr std::size_t   kTransportPacket    = 188;        // bytes
inline constexpr std::uint32_t kAudioSync          = 0xFFF;      // ISO/IEC 11172-3, 2.4.2.3
inline constexpr unsigned char kAudioSyncBits      = 12;

struct FrameRate {
    unsigned long frames, seconds;
};

// By frame_rate_code, ISO/IEC 13818-2, table 6-4; 0 is forbidden.
inline constexpr std::array<FrameRate, 9> kFrameRates = {
    {{0, 0}, {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}};

} // namespace kiv::mpeg

#endif
