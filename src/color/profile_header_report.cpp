#include "color/profile_header_report.h"

#include <cstdio>

namespace slidebox::color {

namespace {
template <typename... Args> std::string format(const char* pattern, Args... args) {
    char text[160];
    int n = std::snprintf(text, sizeof text, pattern, args...);
    return std::string(
        text, n < 0 ? 0 : std::min<std::size_t>(static_cast<std::size_t>(n), sizeof text - 1));
}

const char* intentName(std::uint32_t intent) {
    static const char* const names[] = {"cmPerceptual", "cmRelativeColorimetric", "cmSaturation",
                                        "cmAbsoluteColorimetric"};
    return intent < 4 ? names[intent] : nullptr;
}

float fixedToFloat(std::int32_t value) {
    // Single precision throughout: the value, the factor 1/65536 and the product.
    return static_cast<float>(value) * 1.52587890625e-05f;
}
} // namespace

std::string signatureText(OSType signature) {
    std::string text(4, '\0');
    for (int i = 0; i < 4; ++i)
        text[i] = static_cast<char>((signature >> (24 - 8 * i)) & 0xFF);
    return text;
}

std::string headerInfos(const CM2Header& h) {
    std::string report;
    if (h.size > 1000)
        report +=
            format("Size : %.3f Ko", static_cast<double>(static_cast<float>(h.size)) / 1000.0);
    else
        report += format("Size : %d", static_cast<int>(h.size));
    report += " / CMMType : " + signatureText(h.CMMType);
    report += format(" / version : 0x%08X\n", h.profileVersion);
    report += "class : " + signatureText(h.profileClass);
    report += " / dataColorSpace : " + signatureText(h.dataColorSpace);
    report += " / connectionSpace : " + signatureText(h.profileConnectionSpace);
    report += "\nCS2signature : " + signatureText(h.CS2profileSignature);
    report += " / platform : " + signatureText(h.platform);
    report += format(" / flags : 0x%08X\n", h.flags);
    report += "deviceManufacturer : " + signatureText(h.deviceManufacturer);
    report += format(" / model : 0x%08X\n", h.deviceModel);
    report +=
        format("deviceAttributes : 0x%08X 0x%08X\n", h.deviceAttributes[0], h.deviceAttributes[1]);
    if (const char* name = intentName(h.renderingIntent))
        report += format("renderingIntent : %s\n", name);
    else
        report += format("renderingIntent : %u\n", h.renderingIntent);
    report += format(
        "white : X = %.4f, Y = %.4f, Z = %.4f", static_cast<double>(fixedToFloat(h.white.X)),
        static_cast<double>(fixedToFloat(h.white.Y)), static_cast<double>(fixedToFloat(h.white.Z)));
    return report;
}

std::string creationDateText(const CM2Header& h) {
    static const char* const months[] = {"January",   "February", "March",    "April",
                                         "May",       "June",     "July",     "August",
                                         "September", "October",  "November", "December"};
    const CMDateTime& d = h.dateTime;
    const char* month = d.month >= 1 && d.month <= 12 ? months[d.month - 1] : "";
    return format("%02u %s %u - %02u:%02u:%02u", unsigned{d.dayOfTheMonth}, month, unsigned{d.year},
                  unsigned{d.hours}, unsigned{d.minutes}, unsigned{d.seconds});
}

} // namespace slidebox::color
