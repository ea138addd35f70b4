#include "color/profile_tag_tables.h"

#include <new>

namespace slidebox::color {

void GetTableTags(std::int32_t intent, OSType* deviceToPCSTag, OSType* PCSToDeviceTag) {
    OSType a = fourCC("A2B1");
    OSType b = fourCC("B2A1");
    if (intent == 0) {
        a = fourCC("A2B0");
        b = fourCC("B2A0");
    } else if (intent == 2) {
        a = fourCC("A2B2");
        b = fourCC("B2A2");
    }
    if (deviceToPCSTag)
        *deviceToPCSTag = a;
    if (PCSToDeviceTag)
        *PCSToDeviceTag = b;
}

void ResetTabInfos(TabInfos& infos) {
    infos = TabInfos{};
}

namespace {
OSType typeOf(const ElementBlock& element) {
    return (OSType{element[0]} << 24) | (OSType{element[1]} << 16) | (OSType{element[2]} << 8) |
           OSType{element[3]};
}
} // namespace

int IsOSType(const ElementBlock* element, OSType signature) {
    if (!element || element->size() < 4)
        return 0;
    return typeOf(*element) == signature ? 1 : 0;
}

std::int16_t GetElement(const CMProfile& profile, OSType tag, std::optional<ElementBlock>* element,
                        std::uint32_t* size) {
    if (!element) {
        if (size)
            *size = 0;
        return 0;
    }
    element->reset();
    std::uint32_t seen = 0;
    CMError error = CMGetProfileElement(profile, tag, seen, nullptr);
    if (error == noErr) {
        // The block is as large as the profile says; the engine has already
        // held that size to what the file holds.
        ElementBlock block;
        try {
            block.resize(seen);
        } catch (const std::bad_alloc&) {
            error = memFullErr;
        }
        if (error == noErr)
            error = CMGetProfileElement(profile, tag, seen, block.data());
        if (error == noErr)
            *element = std::move(block);
    }
    if (size)
        *size = seen;
    return static_cast<std::int16_t>(error);
}

bool TestProfileDatasForIntent(const CMProfile& profile, std::int32_t intent) {
    OSType tag = 0;
    GetTableTags(intent, &tag, nullptr);
    std::optional<ElementBlock> element;
    return GetElement(profile, tag, &element, nullptr) == 0;
}

void GetInfosOnTable(TabInfos& infos, const ElementBlock* element) {
    if (!element)
        return;
    bool lut = IsOSType(element, kLut16Type) || IsOSType(element, kLut8Type);
    bool lutAB = IsOSType(element, kLutAtoBType) || IsOSType(element, kLutBtoAType);
    // Bytes 8 and 9 (and 10 for the older tables) must be inside the element.
    if ((lut && element->size() < 11) || (lutAB && element->size() < 10) || (!lut && !lutAB))
        return;
    infos.size = static_cast<std::uint32_t>(element->size());
    infos.type = typeOf(*element);
    infos.inputChannels = (*element)[8];
    infos.outputChannels = (*element)[9];
    infos.gridPoints = lut ? (*element)[10] : 0xFFFF;
}

void GetProfileDatas(const CMProfile& profile, std::int32_t intent, const CM2Header& header,
                     TabInfos* deviceToPCS, TabInfos* PCSToDevice) {
    OSType aTag = 0;
    OSType bTag = 0;
    GetTableTags(intent, &aTag, &bTag);
    if (deviceToPCS) {
        ResetTabInfos(*deviceToPCS);
        std::optional<ElementBlock> element;
        if (GetElement(profile, aTag, &element, nullptr) != 0) {
            GetTableTags(static_cast<std::int32_t>(header.renderingIntent), &aTag, &bTag);
            GetElement(profile, aTag, &element, nullptr);
        }
        if (element)
            GetInfosOnTable(*deviceToPCS, &*element);
    }
    if (PCSToDevice) {
        ResetTabInfos(*PCSToDevice);
        std::optional<ElementBlock> element;
        if (GetElement(profile, bTag, &element, nullptr) != 0) {
            GetTableTags(static_cast<std::int32_t>(header.renderingIntent), &aTag, &bTag);
            GetElement(profile, bTag, &element, nullptr);
        }
        if (element)
            GetInfosOnTable(*PCSToDevice, &*element);
    }
}

} // namespace slidebox::color
