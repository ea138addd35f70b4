// Profiles made to a recipe, for the tests and the fuzzers' seeds: tables
// sampled from the engine's own sRGB and gray profiles or a plain ink model.
#include "color/engine/tests/profile_maker.h"

#include <algorithm>

#include "color/engine/lcms.h"

namespace slidebox::color {

namespace {

using engine::context;
using engine::grayProfile;
using engine::Handle;
using engine::saveProfile;
using engine::toField;
using engine::Transform;

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
        Handle lab(cmsCreateLab4ProfileTHR(context(), nullptr));
        Handle device;
        cmsUInt32Number format = TYPE_RGB_DBL;
        if (s == cmGrayData) {
            device = grayProfile(context());
            format = TYPE_GRAY_DBL;
            channels = 1;
        } else if (s == cmRGBData || s == cmCMYKData) {
            device.reset(cmsCreate_sRGBProfileTHR(context()));
            channels = s == cmRGBData ? 3 : 4;
        } else if (s == cmLabData) {
            channels = 3;
            return true;
        } else {
            return false;
        }
        if (!lab || !device)
            return false;
        toLab.reset(cmsCreateTransformTHR(context(), device.get(), format, lab.get(), TYPE_Lab_DBL,
                                          INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
        fromLab.reset(cmsCreateTransformTHR(context(), lab.get(), TYPE_Lab_DBL, device.get(),
                                            format, INTENT_RELATIVE_COLORIMETRIC,
                                            cmsFLAGS_NOCACHE));
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
    Handle scratch(cmsCreateProfilePlaceholder(context()));
    if (!scratch)
        return std::nullopt;
    cmsSetProfileVersion(scratch.get(), lut16 ? 2.1 : 4.3);
    SamplerCargo cargo{&model, toPCS, lut16};
    cmsPipeline* pipeline = cmsPipelineAlloc(context(), inputs, outputs);
    cmsStage* clut = cmsStageAllocCLut16bit(context(), table.gridPoints, inputs, outputs, nullptr);
    cmsStage* a = cmsStageAllocToneCurves(context(), inputs, nullptr);
    cmsStage* b = cmsStageAllocToneCurves(context(), outputs, nullptr);
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
    Handle reopened(cmsOpenProfileFromMemTHR(context(), saved->data(),
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
        Handle gray = grayProfile(context());
        return gray && copyTag(h, gray.get(), cmsSigGrayTRCTag);
    }
    if (space != cmRGBData)
        return false;
    Handle srgb(cmsCreate_sRGBProfileTHR(context()));
    if (!srgb)
        return false;
    for (cmsTagSignature sig : {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag,
                                cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag})
        if (!copyTag(h, srgb.get(), sig))
            return false;
    return true;
}

} // namespace

std::optional<std::vector<std::uint8_t>> makeProfile(const ProfileRecipe& recipe) {
    DeviceModel model;
    if (!context() || !model.init(recipe.colorSpace))
        return std::nullopt;
    model.separation = recipe.separation;
    Handle h(cmsCreateProfilePlaceholder(context()));
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
        cmsMLU* mlu = cmsMLUalloc(context(), 1);
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

} // namespace slidebox::color
