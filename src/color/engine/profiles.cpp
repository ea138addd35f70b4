// Profiles: read whole from regular files, their frame checked before the
// engine sees a byte, then held by the engine from memory, so that no file
// stays open while a profile is.

#include <algorithm>

#include "color/engine/lcms.h"
#include "platform/big_endian.h"
#include "platform/file_system.h"
#include "platform/utf8.h"

namespace slidebox::color {

struct CMProfile {
    engine::Handle handle;
    std::filesystem::path location;
    std::vector<std::uint8_t> bytes; // as read, for copies of the engine's own
};

void CMCloseProfile(CMProfile* profile) noexcept {
    delete profile;
}

namespace {

using platform::bigEndian32;
using platform::ErrorCode;
using platform::Status;

constexpr std::size_t kTagEntryBytes = 12;
constexpr std::size_t kTagTableStart = kProfileHeaderSize + 4; // after the tag count

/// The frame of a profile's bytes: the declared size within the file, a
/// tag table the file can hold, and every tag inside the declared size. The
/// engine would quietly skip a tag that points outside; a profile so
/// damaged is refused whole.
Status checkFrame(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kTagTableStart)
        return Status::failure(ErrorCode::Truncated, "shorter than a profile header");
    const std::uint64_t declared = bigEndian32(bytes.data());
    const std::uint64_t tags = bigEndian32(bytes.data() + kProfileHeaderSize);
    const std::uint64_t tableEnd = kTagTableStart + tags * kTagEntryBytes;
    if (declared > bytes.size())
        return Status::failure(ErrorCode::Truncated, "declares " + std::to_string(declared) +
                                                         " bytes, the file holds " +
                                                         std::to_string(bytes.size()));
    if (declared < tableEnd)
        return Status::failure(ErrorCode::Malformed,
                               "a tag table of " + std::to_string(tags) + " tags can't fit");
    for (std::uint64_t at = kTagTableStart; at < tableEnd; at += kTagEntryBytes) {
        const std::uint64_t offset = bigEndian32(bytes.data() + at + 4);
        const std::uint64_t size = bigEndian32(bytes.data() + at + 8);
        if (offset < tableEnd || size < 8 || offset + size > declared)
            return Status::failure(ErrorCode::Malformed, "a tag lies outside the profile");
    }
    return {};
}

// Bytes taken over as a profile: their frame checked, then the engine's.
platform::Result<CMProfileRef> openBytes(std::vector<std::uint8_t> bytes,
                                         const std::filesystem::path& location) {
    if (!engine::context())
        return Status::failure(ErrorCode::OutOfMemory, "no colour engine");
    if (bytes.size() > kMaxProfileBytes)
        return Status::failure(ErrorCode::TooLarge,
                               "larger than " + std::to_string(kMaxProfileBytes) + " bytes");
    auto profile = std::make_unique<CMProfile>();
    profile->bytes = std::move(bytes);
    if (Status frame = checkFrame(profile->bytes); !frame.ok())
        return Status::failure(frame.code(), "not a usable ICC profile: " + frame.message());
    (void)engine::takeComplaint();
    profile->handle = engine::openProfileBytes(profile->bytes);
    if (!profile->handle) {
        std::string complaint = engine::takeComplaint();
        return Status::failure(ErrorCode::Malformed,
                               "not a usable ICC profile" +
                                   (complaint.empty() ? std::string() : ": " + complaint));
    }
    profile->location = location;
    engine::countProfileOpened();
    return CMProfileRef(profile.release());
}

platform::Result<CMProfileRef> openChecked(const std::filesystem::path& path) {
    const std::string& name = path.native();
    if (name.empty() || name.size() > kMaxProfilePathBytes)
        return Status::failure(ErrorCode::BadArgument, "a profile path holds 1 to " +
                                                           std::to_string(kMaxProfilePathBytes) +
                                                           " bytes");
    if (!engine::context())
        return Status::failure(ErrorCode::OutOfMemory, "no colour engine");
    // A bounded read of a regular file: a FIFO or device is refused at once,
    // and a file too large for a profile before any memory is taken.
    auto read = platform::readRegularFile(path, kMaxProfileBytes);
    if (!read)
        return read.status();
    std::vector<std::uint8_t> bytes(read->begin(), read->end());
    read->clear();
    read->shrink_to_fit();
    return openBytes(std::move(bytes), path);
}

} // namespace

platform::Result<CMProfileRef> CMOpenProfileChecked(const std::filesystem::path& path) {
    return openChecked(path);
}

platform::Result<CMProfileRef> CMOpenProfileFromBytes(std::span<const std::uint8_t> bytes) {
    return openBytes(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), {});
}

CMProfileRef CMOpenProfile(const std::filesystem::path& path) {
    auto opened = openChecked(path);
    if (!opened)
        return nullptr;
    return std::move(*opened);
}

const std::filesystem::path& CMGetProfileLocation(const CMProfile& profile) {
    return profile.location;
}

std::optional<CM2Header> CMGetProfileHeader(const CMProfile& profile) {
    // The engine keeps no raw header; the fields it doesn't expose (module,
    // platform, illuminant, declared size) come from the bytes themselves.
    return headerFromBytes(std::span(profile.bytes).first(kProfileHeaderSize));
}

CMError CMGetProfileElement(const CMProfile& profile, OSType tag, std::uint32_t& size,
                            void* buffer) {
    auto sig = static_cast<cmsTagSignature>(tag);
    cmsHPROFILE h = profile.handle.get();
    if (!cmsIsTag(h, sig))
        return cmElementTagNotFound;
    const cmsUInt32Number stored = cmsReadRawTag(h, sig, nullptr, 0);
    if (stored == 0)
        return cmProfileError;
    if (!buffer) {
        size = stored;
        return noErr;
    }
    if (size == 0)
        return paramErr;
    if (size < stored)
        return cmProfileError;
    const cmsUInt32Number read = cmsReadRawTag(h, sig, buffer, stored);
    if (read != stored)
        return cmProfileError;
    size = read;
    return noErr;
}

CMError CMGetProfileElementStart(const CMProfile& profile, OSType tag, std::uint32_t& size,
                                 void* buffer) {
    if (!buffer || size == 0)
        return paramErr;
    auto sig = static_cast<cmsTagSignature>(tag);
    if (!cmsIsTag(profile.handle.get(), sig))
        return cmElementTagNotFound;
    // The engine reads no more than the buffer holds of an element it has
    // not parsed yet.
    const cmsUInt32Number read = cmsReadRawTag(profile.handle.get(), sig, buffer, size);
    if (read == 0 || read > size)
        return cmProfileError;
    size = read;
    return noErr;
}

std::optional<std::string> CMCopyProfileDescriptionString(const CMProfile& profile) {
    cmsHPROFILE h = profile.handle.get();
    if (!cmsIsTag(h, cmsSigProfileDescriptionTag))
        return std::nullopt;
    const cmsUInt32Number bytes = cmsGetProfileInfo(h, cmsInfoDescription, "en", "US", nullptr, 0);
    if (bytes == 0 || bytes % sizeof(wchar_t) != 0)
        return std::nullopt;
    std::vector<wchar_t> text(bytes / sizeof(wchar_t) + 1, L'\0');
    if (cmsGetProfileInfo(h, cmsInfoDescription, "en", "US", text.data(), bytes) == 0)
        return std::nullopt;
    const std::size_t length = std::find(text.begin(), text.end(), L'\0') - text.begin();
    std::string utf8; // a wide character is a code point here
    for (std::size_t i = 0; i < length; ++i)
        platform::appendUtf8(utf8, static_cast<std::uint32_t>(text[i]));
    return utf8;
}

} // namespace slidebox::color

namespace slidebox::color::engine {

std::optional<std::vector<std::uint8_t>> saveProfile(cmsHPROFILE h) {
    cmsUInt32Number size = 0;
    if (!h || !cmsSaveProfileToMem(h, nullptr, &size) || size == 0)
        return std::nullopt;
    std::vector<std::uint8_t> bytes(size);
    if (!cmsSaveProfileToMem(h, bytes.data(), &size))
        return std::nullopt;
    bytes.resize(size);
    return bytes;
}

Handle openProfileBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.empty() || bytes.size() > kMaxProfileBytes)
        return nullptr;
    return Handle(cmsOpenProfileFromMemTHR(context(), bytes.data(),
                                           static_cast<cmsUInt32Number>(bytes.size())));
}

cmsHPROFILE handleOf(const CMProfile& profile) {
    return profile.handle.get();
}

Handle duplicate(const CMProfile& profile) {
    return openProfileBytes(profile.bytes);
}

} // namespace slidebox::color::engine

namespace slidebox::color {

std::optional<std::vector<std::uint8_t>> genericProfileBytes(OSType space) {
    if (!engine::context())
        return std::nullopt;
    engine::Handle h = engine::makeGenericProfile(engine::context(), space);
    return h ? engine::saveProfile(h.get()) : std::nullopt;
}

} // namespace slidebox::color
