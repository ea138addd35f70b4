// The one file that talks to the colour engine (Little CMS 2). Everything
// the engine hands out is checked here and wrapped in an owner; its errors
// go to our log; its encodings are turned into the colour record's at the
// boundary, through floating point.
#include "color/colorsync.h"

#include <lcms2.h>

#include <QString>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <fstream>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/log.h"

namespace slidebox::color {

namespace {

void logEngineError(cmsContext, cmsUInt32Number code, const char* text) {
    platform::log("Colour engine error " + std::to_string(code) + ": " + (text ? text : ""));
}

/// The engine context of the process, made once, with its errors routed to
/// our log. It lives as long as the process: profiles and worlds made in it
/// may outlive any other static.
cmsContext engine() {
    static const cmsContext context = [] {
        cmsContext c = cmsCreateContext(nullptr, nullptr);
        if (c)
            cmsSetLogErrorHandlerTHR(c, logEngineError);
        return c;
    }();
    return context;
}

struct HandleCloser {
    void operator()(void* profile) const noexcept {
        if (profile)
            cmsCloseProfile(profile);
    }
};
using Handle = std::unique_ptr<void, HandleCloser>;

struct TransformDeleter {
    void operator()(void* transform) const noexcept {
        if (transform)
            cmsDeleteTransform(transform);
    }
};
using Transform = std::unique_ptr<void, TransformDeleter>;

/// How colours of one space are laid out for the engine.
struct Layout {
    int pixelType = PT_ANY;
    unsigned channels = 0;
    enum class Scale { Lab, XYZ, Ink, Unit } scale = Scale::Unit;
};

std::optional<Layout> layoutOf(OSType space) {
    using S = Layout::Scale;
    switch (space) {
    case fourCC("GRAY"):
        return Layout{PT_GRAY, 1, S::Unit};
    case fourCC("RGB "):
        return Layout{PT_RGB, 3, S::Unit};
    case fourCC("CMY "):
        return Layout{PT_CMY, 3, S::Ink};
    case fourCC("CMYK"):
        return Layout{PT_CMYK, 4, S::Ink};
    case fourCC("Lab "):
        return Layout{PT_Lab, 3, S::Lab};
    case fourCC("XYZ "):
        return Layout{PT_XYZ, 3, S::XYZ};
    case fourCC("HSV "):
        return Layout{PT_HSV, 3, S::Unit};
    case fourCC("HLS "):
        return Layout{PT_HLS, 3, S::Unit};
    case fourCC("Luv "):
        return Layout{PT_YUV, 3, S::Unit};
    case fourCC("YCbr"):
        return Layout{PT_YCbCr, 3, S::Unit};
    case fourCC("Yxy "):
        return Layout{PT_Yxy, 3, S::Unit};
    default:
        break;
    }
    // Multi-ink spaces, 'nCLR' (n a hex digit) and 'MCHn': the ink count is
    // in the code itself.
    auto digit = [](unsigned c) -> int {
        if (c >= '2' && c <= '9')
            return static_cast<int>(c - '0');
        if (c >= 'A' && c <= 'F')
            return static_cast<int>(c - 'A' + 10);
        return -1;
    };
    int n = -1;
    if ((space & 0x00FFFFFFu) == (fourCC("xCLR") & 0x00FFFFFFu))
        n = digit(space >> 24);
    else if ((space & 0xFFFFFF00u) == (fourCC("MCHx") & 0xFFFFFF00u))
        n = digit(space & 0xFFu);
    if (n == 3)
        return Layout{PT_MCH3, 3, S::Ink};
    if (n == 4)
        return Layout{PT_MCH4, 4, S::Ink};
    if (n >= 5 && n <= 8)
        return Layout{PT_MCH5 + (n - 5), static_cast<unsigned>(n), S::Ink};
    return std::nullopt;
}

cmsUInt32Number doubleFormat(const Layout& layout) {
    return FLOAT_SH(1) | COLORSPACE_SH(static_cast<cmsUInt32Number>(layout.pixelType)) |
           CHANNELS_SH(layout.channels) | BYTES_SH(0);
}

std::uint16_t toField(double value) {
    double r = std::nearbyint(value);
    if (!(r >= 0.0)) // NaN too
        return 0;
    return r >= 65535.0 ? std::uint16_t{65535} : static_cast<std::uint16_t>(r);
}

std::uint8_t toByte(double value) {
    double r = std::nearbyint(value);
    if (!(r >= 0.0))
        return 0;
    return r >= 255.0 ? std::uint8_t{255} : static_cast<std::uint8_t>(r);
}

// The a and b span of the colour record: field 65535 is 127.996, field 0 is -128.
constexpr double kLabABSpan = 255.996;

std::atomic<std::uint64_t> profilesOpened{0};
std::atomic<std::uint64_t> worldsBuilt{0};

} // namespace

CMEngineCounters CMGetEngineCounters() {
    return {profilesOpened.load(), worldsBuilt.load()};
}

// ---------------------------------------------------------------------------
// Profiles

struct CMProfile {
    Handle handle;
    std::filesystem::path location;
    std::array<std::uint8_t, kProfileHeaderSize> header{};
};

void CMCloseProfile(CMProfile* profile) noexcept {
    delete profile;
}

namespace {

std::uint32_t bigEndian32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}

/// Reads the header and checks the frame of the file before the engine
/// sees it: the declared size within the file, a tag count the file can
/// hold, and every tag inside the declared size. The engine would quietly
/// skip a tag that points outside; a profile so damaged is refused whole.
bool readCheckedHeader(const std::filesystem::path& path,
                       std::array<std::uint8_t, kProfileHeaderSize>& header) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file)
        return false;
    std::streamoff fileSize = file.tellg();
    if (fileSize < static_cast<std::streamoff>(kProfileHeaderSize + 4) || !file.seekg(0))
        return false;
    std::uint8_t count[4];
    if (!file.read(reinterpret_cast<char*>(header.data()), kProfileHeaderSize) ||
        !file.read(reinterpret_cast<char*>(count), 4))
        return false;
    std::uint64_t declared = bigEndian32(header.data());
    std::uint64_t tags = bigEndian32(count);
    std::uint64_t tableEnd = kProfileHeaderSize + 4 + tags * 12;
    if (declared < tableEnd || declared > static_cast<std::uint64_t>(fileSize))
        return false;
    std::vector<std::uint8_t> table(static_cast<std::size_t>(tags * 12));
    if (!file.read(reinterpret_cast<char*>(table.data()),
                   static_cast<std::streamsize>(table.size())))
        return false;
    for (std::size_t i = 0; i < table.size(); i += 12) {
        std::uint64_t offset = bigEndian32(&table[i + 4]);
        std::uint64_t size = bigEndian32(&table[i + 8]);
        if (offset < tableEnd || size < 8 || offset + size > declared)
            return false;
    }
    return true;
}

} // namespace

CMProfileRef CMOpenProfile(const std::filesystem::path& path) {
    const std::string& bytes = path.native();
    if (bytes.empty() || bytes.size() > kMaxProfilePathBytes || !engine())
        return nullptr;
    auto profile = std::make_unique<CMProfile>();
    // The engine keeps no raw header; the fields it doesn't expose (module,
    // platform, illuminant, declared size) come from the file itself.
    if (!readCheckedHeader(path, profile->header))
        return nullptr;
    profile->handle.reset(cmsOpenProfileFromFileTHR(engine(), bytes.c_str(), "r"));
    if (!profile->handle)
        return nullptr;
    profile->location = path;
    ++profilesOpened;
    return CMProfileRef(profile.release());
}

const std::filesystem::path& CMGetProfileLocation(const CMProfile& profile) {
    return profile.location;
}

std::optional<CM2Header> CMGetProfileHeader(const CMProfile& profile) {
    return headerFromBytes(profile.header);
}

CMError CMGetProfileElement(const CMProfile& profile, OSType tag, std::uint32_t& size,
                            void* buffer) {
    auto sig = static_cast<cmsTagSignature>(tag);
    if (!cmsIsTag(profile.handle.get(), sig))
        return cmElementTagNotFound;
    cmsUInt32Number stored = cmsReadRawTag(profile.handle.get(), sig, nullptr, 0);
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
    cmsUInt32Number read = cmsReadRawTag(profile.handle.get(), sig, buffer, stored);
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
    // not parsed yet, straight from the file.
    cmsUInt32Number read = cmsReadRawTag(profile.handle.get(), sig, buffer, size);
    if (read == 0 || read > size)
        return cmProfileError;
    size = read;
    return noErr;
}

std::optional<std::string> CMCopyProfileDescriptionString(const CMProfile& profile) {
    cmsHPROFILE h = profile.handle.get();
    if (!cmsIsTag(h, cmsSigProfileDescriptionTag))
        return std::nullopt;
    cmsUInt32Number bytes = cmsGetProfileInfo(h, cmsInfoDescription, "en", "US", nullptr, 0);
    if (bytes == 0 || bytes % sizeof(wchar_t) != 0)
        return std::nullopt;
    std::vector<wchar_t> text(bytes / sizeof(wchar_t) + 1, L'\0');
    if (cmsGetProfileInfo(h, cmsInfoDescription, "en", "US", text.data(), bytes) == 0)
        return std::nullopt;
    std::size_t length = std::find(text.begin(), text.end(), L'\0') - text.begin();
    return QString::fromWCharArray(text.data(), static_cast<qsizetype>(length)).toStdString();
}

// ---------------------------------------------------------------------------
// The boundary between the colour record and the engine's values

unsigned channelsOfColorSpace(OSType space) {
    auto layout = layoutOf(space);
    return layout ? layout->channels : 0;
}

std::vector<double> engineValuesFromColor(const CMColor& color, OSType space) {
    auto layout = layoutOf(space);
    if (!layout)
        return {};
    std::vector<double> v(layout->channels);
    if (layout->channels > 4) {
        std::uint8_t bytes[sizeof(CMColor)];
        std::memcpy(bytes, &color, sizeof bytes);
        for (unsigned i = 0; i < layout->channels; ++i)
            v[i] = bytes[i] * 100.0 / 255.0;
        return v;
    }
    for (unsigned i = 0; i < layout->channels; ++i) {
        double w = color.raw[i];
        switch (layout->scale) {
        case Layout::Scale::Lab:
            v[i] = i == 0 ? w * 100.0 / 65535.0 : w * kLabABSpan / 65535.0 - 128.0;
            break;
        case Layout::Scale::XYZ:
            v[i] = w * 2.0 / 65535.0;
            break;
        case Layout::Scale::Ink:
            v[i] = w * 100.0 / 65535.0;
            break;
        case Layout::Scale::Unit:
            v[i] = w / 65535.0;
            break;
        }
    }
    return v;
}

std::optional<CMColor> colorFromEngineValues(std::span<const double> v, OSType space) {
    auto layout = layoutOf(space);
    if (!layout || v.size() < layout->channels)
        return std::nullopt;
    CMColor color{};
    if (layout->channels > 4) {
        std::uint8_t bytes[sizeof(CMColor)] = {};
        for (unsigned i = 0; i < layout->channels; ++i)
            bytes[i] = toByte(v[i] * 255.0 / 100.0);
        std::memcpy(&color, bytes, sizeof bytes);
        return color;
    }
    for (unsigned i = 0; i < layout->channels; ++i) {
        switch (layout->scale) {
        case Layout::Scale::Lab:
            color.raw[i] =
                toField(i == 0 ? v[i] * 65535.0 / 100.0 : (v[i] + 128.0) * 65535.0 / kLabABSpan);
            break;
        case Layout::Scale::XYZ:
            color.raw[i] = toField(v[i] * 65535.0 / 2.0);
            break;
        case Layout::Scale::Ink:
            color.raw[i] = toField(v[i] * 65535.0 / 100.0);
            break;
        case Layout::Scale::Unit:
            color.raw[i] = toField(v[i] * 65535.0);
            break;
        }
    }
    return color;
}

// ---------------------------------------------------------------------------
// Colour worlds

struct CMWorld {
    Transform transform;
    OSType inputSpace = 0;
    OSType outputSpace = 0;
    unsigned inputChannels = 0;
    unsigned outputChannels = 0;
};

void CWDisposeColorWorld(CMWorld* world) noexcept {
    delete world;
}

CMWorldRef NCWConcatColorWorld(std::span<const ProfileSetEntry> set) {
    if (set.empty() || set.size() > 3 || !engine()) {
        platform::log("Colour world refused: a chain holds one to three profiles");
        return nullptr;
    }
    std::array<cmsHPROFILE, 3> handles{};
    std::array<cmsUInt32Number, 3> intents{};
    std::array<cmsBool, 3> blackPoint{};
    std::array<cmsFloat64Number, 3> adaptation{};
    OSType inputSpace = 0;
    OSType current = 0;
    for (std::size_t i = 0; i < set.size(); ++i) {
        const ProfileSetEntry& entry = set[i];
        if (!entry.profile || entry.renderingIntent < 0 || entry.renderingIntent > 3) {
            platform::log("Colour world refused: missing profile or intent outside 0..3");
            return nullptr;
        }
        cmsHPROFILE h = entry.profile->handle.get();
        auto cls = static_cast<OSType>(cmsGetDeviceClass(h));
        auto space = static_cast<OSType>(cmsGetColorSpace(h));
        auto pcs = static_cast<OSType>(cmsGetPCS(h));
        if (cls == cmNamedColorClass) {
            platform::log("Colour world refused: a named-colour profile has no colour record");
            return nullptr;
        }
        // The engine tells the direction of a profile by where it stands: the
        // first device profile is read device to PCS, a later one in the
        // direction that leaves the space the chain has reached. A chain
        // that asks otherwise is refused rather than quietly turned round.
        bool passThrough = cls == cmLinkClass || cls == cmAbstractClass;
        bool fromDevice = i == 0 || (current != cmXYZData && current != cmLabData);
        bool wantsFromDevice = entry.transformTag == TransformTag::DeviceToPCS;
        if (!passThrough && fromDevice != wantsFromDevice) {
            platform::log("Colour world refused: entry " + std::to_string(i + 1) +
                          " can't be used in the direction asked");
            return nullptr;
        }
        if (i == 0)
            inputSpace = passThrough || fromDevice ? space : pcs;
        current = passThrough || fromDevice ? pcs : space;
        handles[i] = h;
        intents[i] = static_cast<cmsUInt32Number>(entry.renderingIntent);
        blackPoint[i] = FALSE;
        adaptation[i] = 1.0;
    }
    auto in = layoutOf(inputSpace);
    auto out = layoutOf(current);
    if (!in || !out) {
        platform::log("Colour world refused: a colour space without a colour record");
        return nullptr;
    }
    auto world = std::make_unique<CMWorld>();
    world->transform.reset(cmsCreateExtendedTransform(
        engine(), static_cast<cmsUInt32Number>(set.size()), handles.data(), blackPoint.data(),
        intents.data(), adaptation.data(), nullptr, 0, doubleFormat(*in), doubleFormat(*out),
        cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE));
    if (!world->transform)
        return nullptr;
    world->inputSpace = inputSpace;
    world->outputSpace = current;
    world->inputChannels = in->channels;
    world->outputChannels = out->channels;
    ++worldsBuilt;
    return CMWorldRef(world.release());
}

OSType CWInputSpace(const CMWorld& world) {
    return world.inputSpace;
}

OSType CWOutputSpace(const CMWorld& world) {
    return world.outputSpace;
}

bool CWMatchColors(const CMWorld& world, std::span<CMColor> colors) {
    if (!world.transform)
        return false;
    for (CMColor& color : colors) {
        std::vector<double> in = engineValuesFromColor(color, world.inputSpace);
        std::array<double, 16> out{};
        if (in.size() != world.inputChannels)
            return false;
        cmsDoTransform(world.transform.get(), in.data(), out.data(), 1);
        auto result =
            colorFromEngineValues(std::span(out.data(), world.outputChannels), world.outputSpace);
        if (!result)
            return false;
        color = *result;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Making profiles

namespace {

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

Handle grayProfile() {
    cmsToneCurve* curve = cmsBuildGamma(engine(), 2.2);
    if (!curve)
        return nullptr;
    Handle h(cmsCreateGrayProfileTHR(engine(), cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return h;
}

/// What the tables of a made profile compute: device values (0..1) to Lab
/// and back, through the engine's own sRGB and gray profiles.
struct DeviceModel {
    OSType space = 0;
    unsigned channels = 0;
    Transform toLab;   // RGB or gray doubles -> Lab doubles
    Transform fromLab; // Lab doubles -> RGB or gray doubles
    std::function<std::array<double, 4>(double, double, double)> separation; // CMYK, optional

    bool init(OSType s) {
        space = s;
        Handle lab(cmsCreateLab4ProfileTHR(engine(), nullptr));
        Handle device;
        cmsUInt32Number format = TYPE_RGB_DBL;
        if (s == cmGrayData) {
            device = grayProfile();
            format = TYPE_GRAY_DBL;
            channels = 1;
        } else if (s == cmRGBData || s == cmCMYKData) {
            device.reset(cmsCreate_sRGBProfileTHR(engine()));
            channels = s == cmRGBData ? 3 : 4;
        } else if (s == cmLabData) {
            channels = 3;
            return true;
        } else {
            return false;
        }
        if (!lab || !device)
            return false;
        toLab.reset(cmsCreateTransformTHR(engine(), device.get(), format, lab.get(), TYPE_Lab_DBL,
                                          INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
        fromLab.reset(cmsCreateTransformTHR(engine(), lab.get(), TYPE_Lab_DBL, device.get(), format,
                                            INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
        return toLab && fromLab;
    }

    cmsCIELab lab(const double* device) const {
        cmsCIELab result{device[0] * 100.0, device[1] * 255.0 - 128.0, device[2] * 255.0 - 128.0};
        if (space == cmLabData)
            return result;
        double rgb[3] = {device[0], device[0], device[0]};
        if (space == cmRGBData)
            std::copy(device, device + 3, rgb);
        if (space == cmCMYKData) // a plain ink model: each ink takes its light, black takes all
            for (int i = 0; i < 3; ++i)
                rgb[i] = (1.0 - device[i]) * (1.0 - device[3]);
        cmsDoTransform(toLab.get(), rgb, &result, 1);
        return result;
    }

    void device(const cmsCIELab& lab, double* out) const {
        if (space == cmLabData) {
            out[0] = lab.L / 100.0;
            out[1] = (lab.a + 128.0) / 255.0;
            out[2] = (lab.b + 128.0) / 255.0;
            return;
        }
        if (space == cmCMYKData && separation) {
            std::array<double, 4> inks = separation(lab.L, lab.a, lab.b);
            std::copy(inks.begin(), inks.end(), out);
            return;
        }
        double rgb[3] = {};
        cmsDoTransform(fromLab.get(), &lab, rgb, 1);
        if (space != cmCMYKData) {
            std::copy(rgb, rgb + channels, out);
            return;
        }
        double k = 1.0 - std::max({rgb[0], rgb[1], rgb[2]});
        for (int i = 0; i < 3; ++i)
            out[i] = k >= 1.0 ? 0.0 : (1.0 - rgb[i] - k) / (1.0 - k);
        out[3] = k;
    }
};

struct SamplerCargo {
    const DeviceModel* model = nullptr;
    bool toPCS = true;
    bool labV2 = true; // 'mft2' tables hold Lab in the version 2 encoding
};

cmsInt32Number sampleTable(const cmsUInt16Number in[], cmsUInt16Number out[], void* cargo) {
    const auto& c = *static_cast<const SamplerCargo*>(cargo);
    double device[4] = {};
    if (c.toPCS) {
        for (unsigned i = 0; i < c.model->channels; ++i)
            device[i] = in[i] / 65535.0;
        cmsCIELab lab = c.model->lab(device);
        if (c.labV2)
            cmsFloat2LabEncodedV2(out, &lab);
        else
            cmsFloat2LabEncoded(out, &lab);
        return TRUE;
    }
    cmsCIELab lab;
    if (c.labV2)
        cmsLabEncoded2FloatV2(&lab, in);
    else
        cmsLabEncoded2Float(&lab, in);
    c.model->device(lab, device);
    for (unsigned i = 0; i < c.model->channels; ++i)
        out[i] = toField(std::clamp(device[i], 0.0, 1.0) * 65535.0);
    return TRUE;
}

/// The stored bytes of one table element. The engine picks the element type
/// by profile version, so the table is made in a scratch profile of the
/// version that stores the asked type and copied from there raw.
std::optional<std::vector<std::uint8_t>> tableElement(const DeviceModel& model,
                                                      const ProfileTableRecipe& table) {
    bool toPCS = (table.tag >> 8) == (fourCC("A2B0") >> 8);
    bool lut16 = table.kind == ProfileTableRecipe::Kind::Lut16;
    if (table.gridPoints < 2)
        return std::nullopt;
    unsigned inputs = toPCS ? model.channels : 3;
    unsigned outputs = toPCS ? 3 : model.channels;
    Handle scratch(cmsCreateProfilePlaceholder(engine()));
    if (!scratch)
        return std::nullopt;
    cmsSetProfileVersion(scratch.get(), lut16 ? 2.1 : 4.3);
    SamplerCargo cargo{&model, toPCS, lut16};
    cmsPipeline* pipeline = cmsPipelineAlloc(engine(), inputs, outputs);
    cmsStage* clut = cmsStageAllocCLut16bit(engine(), table.gridPoints, inputs, outputs, nullptr);
    cmsStage* a = cmsStageAllocToneCurves(engine(), inputs, nullptr);
    cmsStage* b = cmsStageAllocToneCurves(engine(), outputs, nullptr);
    bool ok = pipeline && clut && a && b && cmsStageSampleCLut16bit(clut, sampleTable, &cargo, 0);
    // The pipeline takes its stages over once they are inserted.
    ok = ok && cmsPipelineInsertStage(pipeline, cmsAT_END, a);
    if (ok)
        a = nullptr;
    ok = ok && cmsPipelineInsertStage(pipeline, cmsAT_END, clut);
    if (ok)
        clut = nullptr;
    ok = ok && cmsPipelineInsertStage(pipeline, cmsAT_END, b);
    if (ok)
        b = nullptr;
    auto sig = static_cast<cmsTagSignature>(table.tag);
    ok = ok && cmsWriteTag(scratch.get(), sig, pipeline);
    for (cmsStage* stage : {a, b, clut})
        if (stage)
            cmsStageFree(stage);
    if (pipeline)
        cmsPipelineFree(pipeline);
    if (!ok)
        return std::nullopt;
    // Saving and reopening gives the element as it is stored.
    auto saved = saveProfile(scratch.get());
    if (!saved)
        return std::nullopt;
    Handle reopened(cmsOpenProfileFromMemTHR(engine(), saved->data(),
                                             static_cast<cmsUInt32Number>(saved->size())));
    cmsUInt32Number size = reopened ? cmsReadRawTag(reopened.get(), sig, nullptr, 0) : 0;
    if (size == 0)
        return std::nullopt;
    std::vector<std::uint8_t> element(size);
    if (cmsReadRawTag(reopened.get(), sig, element.data(), size) != size)
        return std::nullopt;
    return element;
}

bool copyTag(cmsHPROFILE to, cmsHPROFILE from, cmsTagSignature sig) {
    void* data = cmsReadTag(from, sig);
    return data && cmsWriteTag(to, sig, data);
}

bool writeMatrixShaper(cmsHPROFILE h, OSType space) {
    if (space == cmGrayData) {
        Handle gray = grayProfile();
        return gray && copyTag(h, gray.get(), cmsSigGrayTRCTag);
    }
    if (space != cmRGBData)
        return false;
    Handle srgb(cmsCreate_sRGBProfileTHR(engine()));
    if (!srgb)
        return false;
    for (cmsTagSignature sig : {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag,
                                cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag})
        if (!copyTag(h, srgb.get(), sig))
            return false;
    return true;
}

} // namespace

std::optional<std::vector<std::uint8_t>> genericProfileBytes(OSType space) {
    if (!engine())
        return std::nullopt;
    Handle h;
    switch (space) {
    case cmLabData:
        h.reset(cmsCreateLab4ProfileTHR(engine(), nullptr));
        break;
    case cmXYZData:
        h.reset(cmsCreateXYZProfileTHR(engine()));
        break;
    case cmGrayData:
        h = grayProfile();
        break;
    case cmRGBData:
        h.reset(cmsCreate_sRGBProfileTHR(engine()));
        break;
    default:
        return std::nullopt;
    }
    return saveProfile(h.get());
}

std::optional<std::vector<std::uint8_t>> makeProfile(const ProfileRecipe& recipe) {
    DeviceModel model;
    if (!engine() || !model.init(recipe.colorSpace))
        return std::nullopt;
    model.separation = recipe.separation;
    Handle h(cmsCreateProfilePlaceholder(engine()));
    if (!h)
        return std::nullopt;
    cmsSetProfileVersion(h.get(), recipe.version);
    cmsSetDeviceClass(h.get(), static_cast<cmsProfileClassSignature>(recipe.deviceClass));
    cmsSetColorSpace(h.get(), static_cast<cmsColorSpaceSignature>(recipe.colorSpace));
    cmsSetPCS(h.get(), recipe.matrixShaper ? cmsSigXYZData : cmsSigLabData);
    cmsSetHeaderRenderingIntent(h.get(), recipe.renderingIntent);
    if (!cmsWriteTag(h.get(), cmsSigMediaWhitePointTag, cmsD50_XYZ()))
        return std::nullopt;
    if (recipe.description) {
        cmsMLU* mlu = cmsMLUalloc(engine(), 1);
        bool ok = mlu && cmsMLUsetASCII(mlu, "en", "US", recipe.description->c_str()) &&
                  cmsWriteTag(h.get(), cmsSigProfileDescriptionTag, mlu);
        if (mlu)
            cmsMLUfree(mlu);
        if (!ok)
            return std::nullopt;
    }
    if (recipe.technology) {
        auto tech = static_cast<cmsTechnologySignature>(*recipe.technology);
        if (!cmsWriteTag(h.get(), cmsSigTechnologyTag, &tech))
            return std::nullopt;
    }
    if (recipe.matrixShaper && !writeMatrixShaper(h.get(), recipe.colorSpace))
        return std::nullopt;
    for (const ProfileTableRecipe& table : recipe.tables) {
        auto element = tableElement(model, table);
        if (!element ||
            !cmsWriteRawTag(h.get(), static_cast<cmsTagSignature>(table.tag), element->data(),
                            static_cast<cmsUInt32Number>(element->size())))
            return std::nullopt;
    }
    for (const auto& [tag, bytes] : recipe.rawTags)
        if (!cmsWriteRawTag(h.get(), static_cast<cmsTagSignature>(tag), bytes.data(),
                            static_cast<cmsUInt32Number>(bytes.size())))
            return std::nullopt;
    return saveProfile(h.get());
}

// ---------------------------------------------------------------------------
// Bitmaps

struct CMBitmapWorld {
    std::vector<Handle> profiles;
    std::vector<cmsUInt32Number> intents;
    OSType inputSpace = 0;
    OSType outputSpace = 0;
    // The last transform built, for the pair of formats it was built for:
    // a tiled match asks for the same pair tile after tile.
    Transform transform;
    cmsUInt32Number inFormat = 0;
    cmsUInt32Number outFormat = 0;
    cmsUInt32Number flags = 0;
};

void CWDisposeBitmapWorld(CMBitmapWorld* world) noexcept {
    delete world;
}

namespace {

/// A profile handle of our own: reopened from its file (the engine reads
/// tags only when asked), or copied through memory when it has none.
Handle duplicateProfile(const CMProfile& profile) {
    if (!profile.location.empty()) {
        Handle h(cmsOpenProfileFromFileTHR(engine(), profile.location.c_str(), "r"));
        if (h)
            return h;
    }
    cmsUInt32Number size = 0;
    cmsHPROFILE source = profile.handle.get();
    if (!source || !cmsSaveProfileToMem(source, nullptr, &size) || size == 0)
        return nullptr;
    std::vector<std::uint8_t> bytes(size);
    if (!cmsSaveProfileToMem(source, bytes.data(), &size))
        return nullptr;
    return Handle(cmsOpenProfileFromMemTHR(engine(), bytes.data(), size));
}

/// What a layout code says of a row.
struct RowLayout {
    unsigned samples = 0; // all samples of a pixel, alpha included
    bool alpha = false;
    unsigned bytes = 1; // of one sample
    bool labFields = false;
};

std::optional<RowLayout> rowLayoutOf(std::uint32_t space) {
    if (space == cmLab48Space)
        return RowLayout{3, false, 2, true};
    unsigned bytes = (space & cm16BitSamples) ? 2 : 1;
    switch (space & ~cm16BitSamples) {
    case cmGray8Space:
        return RowLayout{1, false, bytes, false};
    case cmGrayA8Space:
        return RowLayout{2, true, bytes, false};
    case cmRGB24Space:
        return RowLayout{3, false, bytes, false};
    case cmRGBA32Space:
        return RowLayout{4, true, bytes, false};
    case cmLab24Space:
        return RowLayout{3, false, bytes, bytes == 2};
    case cmLabA32Space:
        return RowLayout{4, true, bytes, bytes == 2};
    case cm32_8ColorSpace:
        return RowLayout{4, false, bytes, false};
    default:
        return std::nullopt;
    }
}

/// The engine's format for a row, or 0 when the space's channels don't fit
/// the layout. Lab fields travel as doubles, converted here.
cmsUInt32Number bitmapFormat(const RowLayout& row, OSType space) {
    auto layout = layoutOf(space);
    if (!layout)
        return 0;
    unsigned colour = row.samples - (row.alpha ? 1u : 0u);
    if (layout->channels > colour)
        return 0;
    if (row.labFields)
        return layout->pixelType == PT_Lab && !row.alpha ? cmsUInt32Number{TYPE_Lab_DBL} : 0;
    return COLORSPACE_SH(static_cast<cmsUInt32Number>(layout->pixelType)) |
           CHANNELS_SH(layout->channels) | BYTES_SH(row.bytes) |
           EXTRA_SH(row.samples - layout->channels);
}

constexpr std::size_t kFieldChunk = 1024; // pixels converted at a time

void fieldsToLab(const std::uint16_t* fields, double* lab, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        lab[3 * i] = fields[3 * i] * 100.0 / 65535.0;
        lab[3 * i + 1] = fields[3 * i + 1] * kLabABSpan / 65535.0 - 128.0;
        lab[3 * i + 2] = fields[3 * i + 2] * kLabABSpan / 65535.0 - 128.0;
    }
}

void labToFields(const double* lab, std::uint16_t* fields, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        fields[3 * i] = toField(lab[3 * i] * 65535.0 / 100.0);
        fields[3 * i + 1] = toField((lab[3 * i + 1] + 128.0) * 65535.0 / kLabABSpan);
        fields[3 * i + 2] = toField((lab[3 * i + 2] + 128.0) * 65535.0 / kLabABSpan);
    }
}

/// Rows first..last of a match: straight through the engine, or through
/// chunks of doubles where a side holds Lab fields.
void matchRows(cmsHTRANSFORM t, const CMBitmap& src, const CMBitmap& dst, std::size_t inPixel,
               std::size_t outPixel, bool labIn, bool labOut, std::int32_t first,
               std::int32_t last) {
    const auto width = static_cast<std::size_t>(src.width);
    const auto* inBase = reinterpret_cast<const std::uint8_t*>(src.image);
    auto* outBase = reinterpret_cast<std::uint8_t*>(dst.image);
    if (!labIn && !labOut) {
        const std::uint8_t* in = inBase + static_cast<std::size_t>(first) * src.rowBytes;
        std::uint8_t* out = outBase + static_cast<std::size_t>(first) * dst.rowBytes;
        cmsDoTransformLineStride(t, in, out, static_cast<cmsUInt32Number>(width),
                                 static_cast<cmsUInt32Number>(last - first),
                                 static_cast<cmsUInt32Number>(src.rowBytes),
                                 static_cast<cmsUInt32Number>(dst.rowBytes), 0, 0);
        return;
    }
    std::vector<double> inLab(labIn ? kFieldChunk * 3 : 0);
    std::vector<double> outLab(labOut ? kFieldChunk * 3 : 0);
    for (std::int32_t y = first; y < last; ++y) {
        const std::uint8_t* in = inBase + static_cast<std::size_t>(y) * src.rowBytes;
        std::uint8_t* out = outBase + static_cast<std::size_t>(y) * dst.rowBytes;
        for (std::size_t x = 0; x < width; x += kFieldChunk) {
            std::size_t n = std::min(kFieldChunk, width - x);
            const void* from = in + x * inPixel;
            if (labIn) {
                fieldsToLab(reinterpret_cast<const std::uint16_t*>(from), inLab.data(), n);
                from = inLab.data();
            }
            void* to = labOut ? static_cast<void*>(outLab.data()) : out + x * outPixel;
            cmsDoTransform(t, from, to, static_cast<cmsUInt32Number>(n));
            if (labOut)
                labToFields(outLab.data(), reinterpret_cast<std::uint16_t*>(out + x * outPixel), n);
        }
    }
}

} // namespace

CMBitmapWorldRef NCWNewBitmapWorld(const CMWorld& checked, std::span<const ProfileSetEntry> set) {
    auto world = std::make_unique<CMBitmapWorld>();
    world->inputSpace = checked.inputSpace;
    world->outputSpace = checked.outputSpace;
    for (const ProfileSetEntry& entry : set) {
        if (!entry.profile)
            return nullptr;
        Handle h = duplicateProfile(*entry.profile);
        if (!h)
            return nullptr;
        world->profiles.push_back(std::move(h));
        world->intents.push_back(static_cast<cmsUInt32Number>(entry.renderingIntent));
    }
    return CMBitmapWorldRef(world.release());
}

CMError CWMatchBitmap(CMBitmapWorld& world, const CMBitmap& src, CMBitmap& dst) {
    auto inRow = rowLayoutOf(src.space);
    auto outRow = rowLayoutOf(dst.space);
    if (!inRow || !outRow || !src.image || !dst.image || src.width != dst.width ||
        src.height != dst.height || src.width > 0x7FFFFFFFu || src.height > 0x7FFFFFFFu)
        return paramErr;
    // The rows must hold their pixels, as many bytes as the layout code says.
    const auto inPixel = std::int64_t{inRow->samples} * inRow->bytes;
    const auto outPixel = std::int64_t{outRow->samples} * outRow->bytes;
    if (std::int64_t{src.rowBytes} < inPixel * src.width ||
        std::int64_t{dst.rowBytes} < outPixel * dst.width)
        return paramErr;
    if (src.width == 0 || src.height == 0)
        return noErr;
    cmsUInt32Number inFormat = bitmapFormat(*inRow, world.inputSpace);
    cmsUInt32Number outFormat = bitmapFormat(*outRow, world.outputSpace);
    if (!inFormat || !outFormat)
        return paramErr;
    cmsUInt32Number flags = cmsFLAGS_NOCACHE;
    // Lab fields are what comparisons measure: they come out as a single
    // colour's would, without the engine's precalculated tables.
    if (inRow->labFields || outRow->labFields)
        flags |= cmsFLAGS_NOOPTIMIZE;
    if (inRow->alpha && outRow->alpha && !inRow->labFields && !outRow->labFields &&
        inRow->bytes == outRow->bytes)
        flags |= cmsFLAGS_COPY_ALPHA;
    if (!world.transform || world.inFormat != inFormat || world.outFormat != outFormat ||
        world.flags != flags) {
        std::vector<cmsHPROFILE> handles;
        for (const Handle& h : world.profiles)
            handles.push_back(h.get());
        std::vector<cmsBool> blackPoint(handles.size(), FALSE);
        std::vector<cmsFloat64Number> adaptation(handles.size(), 1.0);
        world.transform.reset(
            cmsCreateExtendedTransform(engine(), static_cast<cmsUInt32Number>(handles.size()),
                                       handles.data(), blackPoint.data(), world.intents.data(),
                                       adaptation.data(), nullptr, 0, inFormat, outFormat, flags));
        world.inFormat = inFormat;
        world.outFormat = outFormat;
        world.flags = flags;
        if (!world.transform)
            return cmProfileError;
    }
    cmsHTRANSFORM t = world.transform.get();
    const bool labIn = inRow->labFields;
    const bool labOut = outRow->labFields;
    const auto inBytes = static_cast<std::size_t>(inPixel);
    const auto outBytes = static_cast<std::size_t>(outPixel);
    // The rows are shared between the cores in small runs that each thread
    // takes as it comes free, so that a core busy with something else holds
    // nobody up; the engine's transforms without a cache may be used by
    // several threads at once.
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const std::int64_t pixels = std::int64_t{src.width} * src.height;
    const auto height = static_cast<std::int32_t>(src.height);
    const std::int32_t threads =
        pixels < 65536 || height < 2 ? 1 : static_cast<std::int32_t>(std::min(cores, 8u));
    const std::int32_t run = std::max<std::int32_t>(
        1, static_cast<std::int32_t>(std::min<std::int64_t>(height, 16384 / src.width + 1)));
    std::atomic<std::int32_t> nextRow{0};
    auto work = [&] {
        for (std::int32_t first; (first = nextRow.fetch_add(run)) < height;)
            matchRows(t, src, dst, inBytes, outBytes, labIn, labOut, first,
                      std::min(height, first + run));
    };
    std::vector<std::thread> helpers;
    for (std::int32_t i = 1; i < threads; ++i)
        helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers)
        helper.join();
    return noErr;
}

} // namespace slidebox::color

// ---------------------------------------------------------------------------
// Runs of single colours

namespace slidebox::color {

namespace {

// Colours handed to the engine in one call: small enough for the buffers
// to stay in the cache, large enough that the call costs nothing.
constexpr std::size_t kRunLength = 512;

// The boundary of CWMatchColors, a run at a time, without allocating per
// colour. The same formulas as engineValuesFromColor and
// colorFromEngineValues, so the fields come back the same.
void valuesOfRun(const CMColor* colors, std::size_t n, const Layout& layout, double* values) {
    const unsigned channels = layout.channels;
    for (std::size_t j = 0; j < n; ++j, values += channels) {
        if (channels > 4) {
            std::uint8_t bytes[sizeof(CMColor)];
            std::memcpy(bytes, &colors[j], sizeof bytes);
            for (unsigned i = 0; i < channels; ++i)
                values[i] = bytes[i] * 100.0 / 255.0;
            continue;
        }
        for (unsigned i = 0; i < channels; ++i) {
            const double w = colors[j].raw[i];
            switch (layout.scale) {
            case Layout::Scale::Lab:
                values[i] = i == 0 ? w * 100.0 / 65535.0 : w * kLabABSpan / 65535.0 - 128.0;
                break;
            case Layout::Scale::XYZ:
                values[i] = w * 2.0 / 65535.0;
                break;
            case Layout::Scale::Ink:
                values[i] = w * 100.0 / 65535.0;
                break;
            case Layout::Scale::Unit:
                values[i] = w / 65535.0;
                break;
            }
        }
    }
}

void colorsOfRun(const double* values, std::size_t n, const Layout& layout, CMColor* colors) {
    const unsigned channels = layout.channels;
    for (std::size_t j = 0; j < n; ++j, values += channels) {
        CMColor color{};
        if (channels > 4) {
            std::uint8_t bytes[sizeof(CMColor)] = {};
            for (unsigned i = 0; i < channels; ++i)
                bytes[i] = toByte(values[i] * 255.0 / 100.0);
            std::memcpy(&color, bytes, sizeof bytes);
            colors[j] = color;
            continue;
        }
        for (unsigned i = 0; i < channels; ++i) {
            const double v = values[i];
            switch (layout.scale) {
            case Layout::Scale::Lab:
                color.raw[i] =
                    toField(i == 0 ? v * 65535.0 / 100.0 : (v + 128.0) * 65535.0 / kLabABSpan);
                break;
            case Layout::Scale::XYZ:
                color.raw[i] = toField(v * 65535.0 / 2.0);
                break;
            case Layout::Scale::Ink:
                color.raw[i] = toField(v * 65535.0 / 100.0);
                break;
            case Layout::Scale::Unit:
                color.raw[i] = toField(v * 65535.0);
                break;
            }
        }
        colors[j] = color;
    }
}

void matchRuns(const CMWorld& world, const Layout& in, const Layout& out,
               std::span<CMColor> colors) {
    std::vector<double> inValues(kRunLength * in.channels);
    std::vector<double> outValues(kRunLength * out.channels);
    for (std::size_t start = 0; start < colors.size(); start += kRunLength) {
        const std::size_t n = std::min(kRunLength, colors.size() - start);
        valuesOfRun(colors.data() + start, n, in, inValues.data());
        cmsDoTransform(world.transform.get(), inValues.data(), outValues.data(),
                       static_cast<cmsUInt32Number>(n));
        colorsOfRun(outValues.data(), n, out, colors.data() + start);
    }
}

} // namespace

bool CWMatchColorRuns(const CMWorld& world, std::span<CMColor> colors, unsigned threads) {
    if (!world.transform)
        return false;
    auto in = layoutOf(world.inputSpace);
    auto out = layoutOf(world.outputSpace);
    if (!in || !out || in->channels != world.inputChannels || out->channels != world.outputChannels)
        return false;
    if (threads == 0)
        threads = std::max(1u, std::thread::hardware_concurrency());
    // A thread is worth starting for a few runs of work, not less.
    threads = static_cast<unsigned>(
        std::min<std::size_t>(threads, std::max<std::size_t>(1, colors.size() / kRunLength)));
    if (threads <= 1) {
        matchRuns(world, *in, *out, colors);
        return true;
    }
    // The engine's transform is only read while it matches (no cache), so
    // the threads share it; each takes one contiguous share of the colours.
    std::vector<std::thread> workers;
    const std::size_t share = (colors.size() + threads - 1) / threads;
    for (unsigned t = 1; t < threads; ++t) {
        const std::size_t start = std::min(colors.size(), t * share);
        const std::size_t n = std::min(share, colors.size() - start);
        try {
            workers.emplace_back(matchRuns, std::cref(world), std::cref(*in), std::cref(*out),
                                 colors.subspan(start, n));
        } catch (const std::system_error&) { // no thread to be had: this one does it
            matchRuns(world, *in, *out, colors.subspan(start, n));
        }
    }
    matchRuns(world, *in, *out, colors.first(std::min(share, colors.size())));
    for (std::thread& worker : workers)
        worker.join();
    return true;
}

} // namespace slidebox::color
