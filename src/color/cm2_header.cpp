#include "color/cm2_header.h"

#include <algorithm>

namespace slidebox::color {

namespace {
std::uint32_t word32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}
std::uint16_t word16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}
void put32(std::uint8_t* p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}
void put16(std::uint8_t* p, std::uint16_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 8);
    p[1] = static_cast<std::uint8_t>(v);
}
} // namespace

std::optional<CM2Header> headerFromBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kProfileHeaderSize)
        return std::nullopt;
    const std::uint8_t* p = bytes.data();
    CM2Header h;
    h.size = word32(p + 0);
    h.CMMType = word32(p + 4);
    h.profileVersion = word32(p + 8);
    h.profileClass = word32(p + 12);
    h.dataColorSpace = word32(p + 16);
    h.profileConnectionSpace = word32(p + 20);
    h.dateTime = {word16(p + 24), word16(p + 26), word16(p + 28),
                  word16(p + 30), word16(p + 32), word16(p + 34)};
    h.CS2profileSignature = word32(p + 36);
    h.platform = word32(p + 40);
    h.flags = word32(p + 44);
    h.deviceManufacturer = word32(p + 48);
    h.deviceModel = word32(p + 52);
    h.deviceAttributes = {word32(p + 56), word32(p + 60)};
    h.renderingIntent = word32(p + 64);
    h.white = {static_cast<std::int32_t>(word32(p + 68)), static_cast<std::int32_t>(word32(p + 72)),
               static_cast<std::int32_t>(word32(p + 76))};
    h.creator = word32(p + 80);
    std::copy(p + 84, p + 128, h.reserved.begin());
    return h;
}

std::array<std::uint8_t, kProfileHeaderSize> bytesFromHeader(const CM2Header& h) {
    std::array<std::uint8_t, kProfileHeaderSize> bytes{};
    std::uint8_t* p = bytes.data();
    put32(p + 0, h.size);
    put32(p + 4, h.CMMType);
    put32(p + 8, h.profileVersion);
    put32(p + 12, h.profileClass);
    put32(p + 16, h.dataColorSpace);
    put32(p + 20, h.profileConnectionSpace);
    const CMDateTime& d = h.dateTime;
    put16(p + 24, d.year);
    put16(p + 26, d.month);
    put16(p + 28, d.dayOfTheMonth);
    put16(p + 30, d.hours);
    put16(p + 32, d.minutes);
    put16(p + 34, d.seconds);
    put32(p + 36, h.CS2profileSignature);
    put32(p + 40, h.platform);
    put32(p + 44, h.flags);
    put32(p + 48, h.deviceManufacturer);
    put32(p + 52, h.deviceModel);
    put32(p + 56, h.deviceAttributes[0]);
    put32(p + 60, h.deviceAttributes[1]);
    put32(p + 64, h.renderingIntent);
    put32(p + 68, static_cast<std::uint32_t>(h.white.X));
    put32(p + 72, static_cast<std::uint32_t>(h.white.Y));
    put32(p + 76, static_cast<std::uint32_t>(h.white.Z));
    put32(p + 80, h.creator);
    std::copy(h.reserved.begin(), h.reserved.end(), p + 84);
    return bytes;
}

} // namespace slidebox::color
