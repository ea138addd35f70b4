// Reading a catalogue: its rows by index, searches, the current row, and
// the current row as text for a table's columns and a header report. Nothing
// here opens a file; the text comes from the arrays and the kept headers.
#include <ctime>

#include "color/profile_header_report.h"
#include "color/profile_manager.h"

namespace slidebox::color {

namespace {

bool isLeapYear(unsigned year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

unsigned daysInMonth(unsigned year, unsigned month) {
    static const unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

/// The header's six fields taken as local time, as the local clock shows
/// that moment (a time that a change to summer time skips moves on by the
/// change). Nothing for fields that are no date of the calendar.
std::optional<CMDateTime> localDate(const CMDateTime& d) {
    if (d.year < 1 || d.month < 1 || d.month > 12 || d.dayOfTheMonth < 1 ||
        d.dayOfTheMonth > daysInMonth(d.year, d.month) || d.hours > 23 || d.minutes > 59 ||
        d.seconds > 59)
        return std::nullopt;
    std::tm fields{};
    fields.tm_year = d.year - 1900;
    fields.tm_mon = d.month - 1;
    fields.tm_mday = d.dayOfTheMonth;
    fields.tm_hour = d.hours;
    fields.tm_min = d.minutes;
    fields.tm_sec = d.seconds;
    fields.tm_isdst = -1; // the zone's rule for that day decides
    const std::time_t moment = std::mktime(&fields);
    std::tm shown{};
    if (moment == static_cast<std::time_t>(-1) || !localtime_r(&moment, &shown) ||
        shown.tm_year + 1900 < 1 || shown.tm_year + 1900 > 65535)
        return d; // beyond the clock's range: the fields as they stand
    return CMDateTime{static_cast<std::uint16_t>(shown.tm_year + 1900),
                      static_cast<std::uint16_t>(shown.tm_mon + 1),
                      static_cast<std::uint16_t>(shown.tm_mday),
                      static_cast<std::uint16_t>(shown.tm_hour),
                      static_cast<std::uint16_t>(shown.tm_min),
                      static_cast<std::uint16_t>(shown.tm_sec)};
}

} // namespace

bool ProfileManager::hasRow(std::int32_t index) const {
    return index >= 0 && index < count();
}

const CMProfileIterateData* ProfileManager::blockAt(std::int32_t index) const {
    if (!profilesCMProfileIterateDataArray_ || !hasRow(index))
        return nullptr;
    const auto& block = (*profilesCMProfileIterateDataArray_)[static_cast<std::size_t>(index)];
    return block ? &*block : nullptr;
}

std::int32_t ProfileManager::count() const {
    return static_cast<std::int32_t>(profilesNameArray_.size());
}

std::optional<std::string> ProfileManager::profileNameAtIndex(std::int32_t index) const {
    if (!hasRow(index))
        return std::nullopt;
    return profilesNameArray_[static_cast<std::size_t>(index)];
}

std::optional<std::string> ProfileManager::profileFileNameAtIndex(std::int32_t index) const {
    if (!hasRow(index))
        return std::nullopt;
    return profilesFileNameArray_[static_cast<std::size_t>(index)];
}

std::optional<std::filesystem::path> ProfileManager::profilePathAtIndex(std::int32_t index) const {
    if (!hasRow(index))
        return std::nullopt;
    return profilesPathArray_[static_cast<std::size_t>(index)];
}

std::uint32_t ProfileManager::profileColorSpaceAtIndex(std::int32_t index) const {
    return hasRow(index) ? colorSpaceBit(profilesColorSpaceArray_[static_cast<std::size_t>(index)])
                         : 0;
}

std::uint32_t ProfileManager::profileKindOfUseAtIndex(std::int32_t index) const {
    return hasRow(index) ? kindOfUseBit(profilesKindOfUseArray_[static_cast<std::size_t>(index)])
                         : 0;
}

bool ProfileManager::isASeparatorAtIndex(std::int32_t index) const {
    return hasRow(index) && profilesPathArray_[static_cast<std::size_t>(index)].empty();
}

std::int32_t ProfileManager::indexOfProfilePath(const std::filesystem::path& path) const {
    for (std::size_t i = 0; i < profilesPathArray_.size(); ++i)
        if (profilesPathArray_[i].native() == path.native())
            return static_cast<std::int32_t>(i);
    return kNotFound;
}

std::int32_t ProfileManager::indexOfProfileName(std::string_view name) const {
    for (std::size_t i = 0; i < profilesNameArray_.size(); ++i)
        if (profilesNameArray_[i] == name)
            return static_cast<std::int32_t>(i);
    return kNotFound;
}

bool ProfileManager::validCurrentIndex(std::int32_t index) const {
    return index >= 0 && !isASeparatorAtIndex(index);
}

void ProfileManager::setCurrentIndex(std::int32_t index) {
    currentIndex_ = validCurrentIndex(index) ? index : 0;
}

std::string ProfileManager::name() const {
    return hasRow(currentIndex_) ? profilesNameArray_[static_cast<std::size_t>(currentIndex_)]
                                 : std::string();
}

std::string ProfileManager::colorSpace() const {
    return signatureText(hasRow(currentIndex_)
                             ? profilesColorSpaceArray_[static_cast<std::size_t>(currentIndex_)]
                             : 0);
}

std::string ProfileManager::kindOfUse() const {
    return signatureText(hasRow(currentIndex_)
                             ? profilesKindOfUseArray_[static_cast<std::size_t>(currentIndex_)]
                             : 0);
}

std::string ProfileManager::pcs() const {
    return signatureText(
        hasRow(currentIndex_) ? profilesPCSArray_[static_cast<std::size_t>(currentIndex_)] : 0);
}

std::string ProfileManager::profilCreator() const {
    const CMProfileIterateData* block = blockAt(currentIndex_);
    return block ? signatureText(block->header.creator) : std::string();
}

std::string ProfileManager::creationDate() const {
    const CMProfileIterateData* block = blockAt(currentIndex_);
    if (!block)
        return "No Date";
    auto local = localDate(block->header.dateTime);
    if (!local)
        return "No Date";
    CM2Header shown = block->header;
    shown.dateTime = *local;
    return creationDateText(shown);
}

std::string ProfileManager::headerInfos() const {
    const CMProfileIterateData* block = blockAt(currentIndex_);
    return block ? color::headerInfos(block->header) : std::string();
}

std::optional<std::string> ProfileManager::valueForKey(std::string_view key) const {
    if (key == "name")
        return name();
    if (key == "colorSpace")
        return colorSpace();
    if (key == "kindOfUse")
        return kindOfUse();
    if (key == "pcs")
        return pcs();
    if (key == "profilCreator")
        return profilCreator();
    if (key == "creationDate")
        return creationDate();
    if (key == "headerInfos")
        return headerInfos();
    return std::nullopt;
}

std::optional<std::string> ProfileManager::objectValueForTableColumn(std::string_view identifier,
                                                                     std::int32_t row) {
    currentIndex_ = row; // unchecked, as a table asks only for its rows
    return valueForKey(identifier);
}

} // namespace slidebox::color
