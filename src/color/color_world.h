#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "color/cm_color.h"
#include "color/color_conversion.h"
#include "color/color_value.h"
#include "color/colorsync.h"

namespace slidebox::color {

/// Told how far a long match has come, as a percentage 0..100.
class CompletionHandler {
  public:
    virtual ~CompletionHandler() = default;
    virtual void setAmountOfCompletion(std::int32_t percent) = 0;
};

/// The three bytes of a colour as a comparison paints it.
struct RGB8 {
    std::uint8_t red = 0, green = 0, blue = 0;
    bool operator==(const RGB8&) const = default;
};

/// The colours a Lab bitmap comparison paints with, as bytes: the two ends
/// of the in-gamut ramp, the two ends of the out-of-gamut ramp, and the
/// pixels left out of the comparison.
struct ComparisonColors {
    RGB8 inGamutLowRGB;    ///< difference 0
    RGB8 inGamutLimitRGB;  ///< just below the tolerance
    RGB8 outGamutLimitRGB; ///< at the tolerance
    RGB8 outGamutHighRGB;  ///< at the largest difference
    RGB8 nonComparedRGB;   ///< masked out
};

/// One colour world: a transform through a chain of one to three ICC
/// profiles with rendering intents, and the single colours matched through
/// it. The colour arithmetic of ColorConversion is part of its class
/// operations.
///
/// The chain: the source alone (device to PCS); source and destination
/// when both intents agree; else source, the generic Lab profile with the
/// second intent, then the destination, so that two intents meet in Lab.
///
/// Paths: an empty path stands for an absent one.
class ColorWorld : public ColorConversion {
  public:
    /// An object with no world and the comparison colours all zero, for a
    /// caller that builds worlds of its own with initColorWorld().
    ColorWorld() = default;
    ~ColorWorld();
    ColorWorld(const ColorWorld&) = delete;
    ColorWorld& operator=(const ColorWorld&) = delete;

    /// The main initialiser: a world from the source with intentIn, through
    /// the destination with intentOut. Null without a source, when the
    /// source won't open or the engine refuses the chain. A destination that
    /// won't open leaves a one-profile chain.
    static std::unique_ptr<ColorWorld>
    initColorWorldWithSrcProfil(const std::filesystem::path& source, std::int32_t intentIn,
                                std::int32_t intentOut, const std::filesystem::path& destination);
    /// The main initialiser, then the handler.
    static std::unique_ptr<ColorWorld>
    initColorWorldWithSrcProfil(const std::filesystem::path& source,
                                const std::filesystem::path& destination, std::int32_t intentIn,
                                std::int32_t intentOut, std::shared_ptr<CompletionHandler> handler);
    /// The main initialiser, no handler.
    static std::unique_ptr<ColorWorld>
    initColorWorldWithSrcProfil(const std::filesystem::path& source,
                                const std::filesystem::path& destination, std::int32_t intentIn,
                                std::int32_t intentOut);
    /// One intent for both ends, then the handler.
    static std::unique_ptr<ColorWorld>
    initColorWorldWithSrcProfil(const std::filesystem::path& source,
                                const std::filesystem::path& destination, std::int32_t intent,
                                std::shared_ptr<CompletionHandler> handler);
    /// One intent for both ends, no handler.
    static std::unique_ptr<ColorWorld>
    initColorWorldWithSrcProfil(const std::filesystem::path& source,
                                const std::filesystem::path& destination, std::int32_t intent);
    /// A device link alone, absolute colorimetric, then the handler.
    static std::unique_ptr<ColorWorld>
    initColorWorldWithLinkProfil(const std::filesystem::path& link,
                                 std::shared_ptr<CompletionHandler> handler);

    /// Builds the chain of open profiles (destination may be null) into
    /// place and records dataColorSpaceIn/Out. TRUE ON FAILURE: no source,
    /// a generic Lab profile that won't open when two intents need it, or a
    /// chain the engine refuses (place is then empty). The profiles stay
    /// the caller's.
    bool initColorWorld(CMWorldRef& place, const CMProfile* source, std::int32_t intentIn,
                        std::int32_t intentOut, const CMProfile* destination);

    /// Stores the header's data colour space in space; leaves it alone when
    /// the header can't be read.
    static void getProfilInfos(const CMProfile& profile, OSType& space);

    /// Ends the world now; harmless when there is none.
    void disposeColorWorld();

    /// Shares the handler (null for none).
    void setCompletionHandler(std::shared_ptr<CompletionHandler> handler);
    const std::shared_ptr<CompletionHandler>& completionHandler() const {
        return completionHandler_;
    }

    /// Path of the source, when it opened.
    const std::optional<std::filesystem::path>& srcProfilePath() const { return srcProfilePath_; }
    /// Path of the destination, when it opened.
    const std::optional<std::filesystem::path>& destProfilePath() const { return destProfilePath_; }
    /// Data colour space of the chain's first profile; 0 until read.
    OSType dataColorSpaceIn() const { return dataColorSpaceIn_; }
    /// Data colour space of the chain's last profile; 0 for a one-profile chain.
    OSType dataColorSpaceOut() const { return dataColorSpaceOut_; }
    /// The world; null once disposed or never built.
    const CMWorld* cwRef() const { return colorWorld_.get(); }

    /// Matches one colour in place. False (and a line in the log) when the
    /// engine refuses it or there is no world; the colour is then unchanged.
    bool matchColor(CMColor& color) const;
    /// Matches count colours in order; the first failure stops with false,
    /// the ones before it converted, it and the rest unchanged. A count of 0
    /// or below is true and touches nothing.
    bool matchColors(CMColor* colors, std::int32_t count) const;

    /// The default comparison colours, stored as bytes.
    void initComparisonColors();
    void setInGamutColors(const ColorValue& color, const ColorValue& limitColor);
    void setOutGamutColors(const ColorValue& color, const ColorValue& limitColor);
    void setNonComparedColor(const ColorValue& color);
    /// The current colours, calibrated RGB with 8 bits per channel; a null
    /// pointer is skipped.
    void getInGamutColors(ColorValue* color, ColorValue* limitColor) const;
    void getOutGamutColors(ColorValue* color, ColorValue* limitColor) const;
    /// The bytes a comparison paints with.
    const ComparisonColors& comparisonColors() const { return comparison_; }

    /// An RGB colour as it is; any other in calibrated RGB.
    static ColorValue checkColorSpace(const ColorValue& color);

    /// The defaults of the ramps and of the non-compared pixels, as
    /// calibrated RGB with alpha 1; a null pointer is skipped.
    static void getDefaultInGamutColors(ColorValue* color, ColorValue* limitColor);
    static void getDefaultOutGamutColors(ColorValue* color, ColorValue* limitColor);
    static void getDefaultNonComparedColor(ColorValue* color);

  private:
    static std::unique_ptr<ColorWorld> withHandler(std::unique_ptr<ColorWorld> world,
                                                   std::shared_ptr<CompletionHandler> handler);

    // Bitmap matching and the Lab comparison add their buffers, tiles and
    // statistics beside these; the world and the spaces are what they use.
    CMWorldRef colorWorld_;
    OSType dataColorSpaceIn_ = 0;
    OSType dataColorSpaceOut_ = 0;
    std::optional<std::filesystem::path> srcProfilePath_;
    std::optional<std::filesystem::path> destProfilePath_;
    ComparisonColors comparison_;
    std::shared_ptr<CompletionHandler> completionHandler_;
};

} // namespace slidebox::color
