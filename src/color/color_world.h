#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "color/cm_color.h"
#include "color/color_chain.h"
#include "color/color_conversion.h"
#include "color/color_value.h"
#include "color/colorsync.h"
#include "color/lab_comparison.h"
#include "color/profile_grading.h"
#include "color/throttle_clock.h"
#include "color/tile_matcher.h"
#include "image/bitmap.h"
#include "platform/status.h"

class QImage;

namespace slidebox::color {

/// One colour world: a transform through a chain of one to three ICC
/// profiles with rendering intents, and the single colours matched through
/// it. The colour arithmetic of ColorConversion is part of its class
/// operations. A façade over four units: the chain (ColorChain), the tiled
/// matcher (matchTiles), the Lab comparison with its gamut painter
/// (LabComparison) and the profile grading with its throttle
/// (ProfileGrading).
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
                                std::int32_t intentOut, const std::filesystem::path& destination,
                                const CMWorldOptions& options = {});
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
                        std::int32_t intentOut, const CMProfile* destination,
                        const CMWorldOptions& options = {});

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
    const std::optional<std::filesystem::path>& srcProfilePath() const { return chain_.sourcePath; }
    /// Path of the destination, when it opened.
    const std::optional<std::filesystem::path>& destProfilePath() const {
        return chain_.destinationPath;
    }
    /// Data colour space of the chain's first profile; 0 until read.
    OSType dataColorSpaceIn() const { return chain_.spaceIn; }
    /// Data colour space of the chain's last profile; 0 for a one-profile chain.
    OSType dataColorSpaceOut() const { return chain_.spaceOut; }
    /// The world; null once disposed or never built.
    const CMWorld* cwRef() const { return chain_.world.get(); }

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
    const ComparisonColors& comparisonColors() const { return comparison_.colors; }

    /// An RGB colour as it is; any other in calibrated RGB.
    static ColorValue checkColorSpace(const ColorValue& color);

    /// The defaults of the ramps and of the non-compared pixels, as
    /// calibrated RGB with alpha 1; a null pointer is skipped.
    static void getDefaultInGamutColors(ColorValue* color, ColorValue* limitColor);
    static void getDefaultOutGamutColors(ColorValue* color, ColorValue* limitColor);
    static void getDefaultNonComparedColor(ColorValue* color);

    // --- Lab bitmap comparison (color_world_compare.cpp) ---

    /// Compares this object's Lab bitmap (the own one) with that of other
    /// (the external one), stores the statistics and paints image, an
    /// RGB888 QImage of the own bitmap's size, by the differences. mask:
    /// 8-bit gray, 0 compared, anything else not; it must cover the
    /// bitmaps. A bad image beeps and logs, and the comparison runs without
    /// painting. False (and a log line) when a Lab bitmap is missing, the
    /// two differ in layout or the mask doesn't cover them; gamutTolerance
    /// is stored even then. Neither Lab bitmap is changed.
    bool compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                         const image::Bitmap* mask, QImage* image);
    /// The same comparison with the gamut image handed to sink in bands as
    /// the second pass paints it. When the bitmaps don't differ the image is
    /// painted whole, "No Difference" written on it, and handed over in one
    /// band. A null sink asks for the statistics alone: nothing is painted
    /// and, no image being expected, nothing beeps. The result is that of
    /// the other form.
    bool compareLabBitmapWithLabBitmapOf(const ColorWorld& other, float tolerance,
                                         const image::Bitmap* mask, GamutSink* sink);
    /// The form above with the reason and no log line: BadArgument when a
    /// Lab bitmap is missing, the two differ in size or layout, or the mask
    /// is not 8-bit gray or doesn't cover them.
    platform::Status compareLabBitmaps(const ColorWorld& other, float tolerance,
                                       const image::Bitmap* mask, GamutSink* sink);
    /// The two passes: statistics, then the gamut data (null: none) at
    /// gamutRowBytes. True when the bitmaps don't differ (maxiDeltaE at
    /// most 0.09999999).
    bool compareLabBitmap(const CMBitmap& own, const CMBitmap& external, const CMBitmap* mask,
                          std::uint8_t* gamut, std::size_t gamutRowBytes);
    /// The gamut data of image when it is an RGB image of 24 bits a pixel
    /// without alpha and of the bitmap's size; its bytes per row go to
    /// rowBytes. Else a beep, a log line and null.
    static std::uint8_t* testGamutImage(QImage* image, const CMBitmap& bitmap,
                                        std::int32_t& rowBytes);
    /// The same comparison streaming over two Lab images band by band, so
    /// that neither is held whole: this object's settings and statistics,
    /// no Lab bitmap of its own needed. BadArgument when the two differ in
    /// size or the mask doesn't cover them; a side's reason when it can't
    /// be read.
    platform::Status compareLabRows(LabRows& own, LabRows& external, float tolerance,
                                    const image::Bitmap* mask, GamutSink* sink);
    /// Same pixelSize, rowBytes, width and height.
    static bool sameLabBitmap(const CMBitmap& a, const CMBitmap& b);
    /// Measures a patch from its top-left mask byte: zero bytes rightwards,
    /// zero bytes downwards; a patch ends at the edge of the bitmap.
    static void findPatchDimensionWidth(std::uint32_t& width, std::uint32_t& height,
                                        const std::uint8_t* maskPtr, const CMBitmap& mask,
                                        std::uint32_t widthLeft, std::uint32_t heightLeft);
    /// The Lab average of width × height pixels from color, fields truncated.
    static CMColor averagePatchColorWidth(std::uint32_t width, std::uint32_t height,
                                          const std::uint8_t* color, const CMBitmap& bitmap);
    /// Writes "No Difference" centred on the image in the application's
    /// font, the largest size of 28 down to 2 whose width fits.
    static void drawNoDifference(QImage& image);
    /// What sounds a beep; nothing until the application sets it.
    static void setBeepHandler(std::function<void()> handler);
    /// What writes the words on a streamed gamut image; see
    /// LabComparison::setWordsHandler.
    static void setWordsHandler(LabComparison::WordsHandler handler);

    void setDeltaEKindForLabBitmapComparison(std::int32_t kind) { comparison_.deltaEKind = kind; }
    std::int32_t deltaEKindForLabBitmapComparison() const { return comparison_.deltaEKind; }
    void setAveragePatchColor(bool on) { comparison_.averagePatchColor = on; }
    bool averagePatchColor() const { return comparison_.averagePatchColor; }
    float gamutTolerance() const { return comparison_.gamutTolerance; }
    float averageDeltaE() const { return comparison_.statistics().averageDeltaE; }
    float maxiDeltaE() const { return comparison_.statistics().maxiDeltaE; }
    float miniDeltaE() const { return comparison_.statistics().miniDeltaE; }
    float inGamutPixelsPercentage() const {
        return comparison_.statistics().inGamutPixelsPercentage;
    }
    /// Pixels (or patches) the last comparison counted.
    std::uint32_t comparedCount() const { return comparison_.statistics().compared; }
    /// Whether the last comparison found no difference: maxiDeltaE at most
    /// 0.09999999 (not 0.1, not 0).
    bool noDifference() const { return comparison_.statistics().noDifference(); }

    /// Matches a whole bitmap through the world in tiles of at most one
    /// million pixels into destination, of the same size; with no
    /// destination and a world that ends in Lab, into a Lab bitmap of three
    /// 16-bit fields a pixel kept for labBitmap(). The reps' channels are
    /// taken from the world's spaces; samples 8 or 16 bits. The source is
    /// only read. False (with a line in the log) when the reps don't fit
    /// the world or each other, or when memory fails. The completion
    /// handler hears after each tile, ending on 100.
    bool matchSourceImageRep(const image::Bitmap& source, image::Bitmap* destination);
    /// matchSourceImageRep with the reason and no log line: BadArgument
    /// when the image and the world's spaces differ, the sizes differ or a
    /// rep holds too few samples; OutOfMemory when the tiles can't be had.
    platform::Status matchImage(const image::Bitmap& source, image::Bitmap* destination);
    /// matchImage into a destination, on the calling thread alone, with no
    /// completion handler and no tile size kept: several threads may match
    /// bitmaps through one world at once this way.
    platform::Status matchRows(const image::Bitmap& source, image::Bitmap& destination) const;
    /// The Lab bitmap of the last match in Lab mode; null when there is none.
    const CMBitmap* labBitmap() const;
    /// The same bitmap in the image layer's terms; a null bitmap when there is none.
    const image::Bitmap& labImage() const { return lab_; }
    /// The same as the comparison reads it; empty when there is none.
    LabView labView() const;
    /// Takes lab, 16-bit packed Lab without alpha (the fields of
    /// CMLabColor, or with abSigned a and b less 32768 as a CIELab file
    /// keeps them), as the Lab bitmap, in place of one a match would make:
    /// a Lab image read from a file compares like a matched one. A wrapping
    /// bitmap's memory must outlive its use here. False, and nothing
    /// changed, for another format or an empty bitmap.
    bool setLabBitmap(image::Bitmap lab, bool abSigned = false);
    /// Frees the tile buffers and the Lab bitmap.
    void releaseMemory();

    /// The tile size of the last match, visible for tests.
    std::int32_t tileSizeWidth() const { return tileSizeWidth_; }
    std::int32_t tileSizeHeight() const { return tileSizeHeight_; }
    /// The most pixels of a tile with a destination, one million unless a
    /// test sets fewer to see remainder tiles on small images.
    void setTilePixelLimit(float pixels) { tilePixelLimit_ = pixels; }

    // --- Profile quality tests (color_world_quality.cpp) ---
    // Class operations that grade one profile by brute force through two
    // worlds, the profile to the generic Lab profile and back, at intent 3
    // (absolute) or 0 (perceptual). -1.0 means no answer: a profile or the
    // generic Lab profile that doesn't open, a world that can't be built,
    // an unreadable header, spaces the test has no grid or divisor for.

    /// Average deltaE of a device colour's return through the device,
    /// absolute colorimetric; the largest into maxDeltaE (may be null).
    static float bijectivityAverageDeltaEForAbsoluteMode(const std::filesystem::path& path,
                                                         float* maxDeltaE);
    /// The same, perceptual.
    static float bijectivityAverageDeltaEForPerceptualMode(const std::filesystem::path& path,
                                                           float* maxDeltaE);
    /// Share in percent of the connection-space grid that comes back within
    /// tolerance (deltaE), absolute colorimetric, divided by the space's
    /// fixed divisor (so it may pass 100).
    static float inAbsoluteGamutPercentage(const std::filesystem::path& path, float tolerance);
    /// The same, perceptual.
    static float inPerceptualGamutPercentage(const std::filesystem::path& path, float tolerance);
    /// The four above: qualityTest true for the bijectivity test (which
    /// alone reads maxiDeltaE), false for the gamut test (which alone reads
    /// the tolerance). maxiDeltaE is left alone when the test can't start.
    /// Why the tests above give -1 for path, as far as its file and header
    /// tell: a file that isn't a profile, a space the bijectivity test has
    /// no grid for, a connection space the gamut test has no divisor for,
    /// else worlds to and from Lab that can't be built.
    static platform::Status gradeRefusal(const std::filesystem::path& path, bool qualityTest);
    static float testProfile(const std::filesystem::path& path, bool qualityTest, bool absolute,
                             float tolerance, float* maxiDeltaE);
    /// The bijectivity test over the device grid of space (RGB, CMY, CMYK):
    /// each point through toLab, then fromLab and toLab again, compared.
    /// maxiDeltaE (may be null) is set to 0 first. -1.0 for another space.
    static float getProfileQualityOf(const CMWorld& toLab, const CMWorld& fromLab, OSType space,
                                     OSType pcs, float* maxiDeltaE);
    /// The gamut test over the 51-level grid of the connection space pcs
    /// (Lab or XYZ; -1.0 for another): each point through fromLab, then
    /// toLab, compared with itself; a difference above tolerance is outside.
    static float getGamutAreaOf(const CMWorld& toLab, const CMWorld& fromLab, OSType space,
                                OSType pcs, float tolerance);
    /// The share of time, in percent, the tests work: held to 10..100;
    /// below 100 they pause between slices of work.
    static void setSpeedCalculation(float percent);
    /// The setting, 100 until set.
    static float speedCalculation();
    /// The clock the throttle reads and sleeps on; null puts back the
    /// system's. Not owned: it must outlive every test that runs on it.
    static void setThrottleClock(ThrottleClock* clock);

  private:
    /// A refusal of the entries that carry a reason: the reason, and the
    /// line the log has always had for it, which the plain entries write.
    platform::Status refuse(const char* logLine, platform::ErrorCode code, std::string reason);
    /// Writes the log line of the last refusal and returns status.ok().
    bool logged(const platform::Status& status);
    /// Steps of the comparison entries after the image test: stores the
    /// tolerance, checks the sizes and the mask (the reason why not), fills
    /// maskView from mask.
    platform::Status prepareComparison(std::uint32_t width, std::uint32_t height, float tolerance,
                                       const image::Bitmap* mask, MaskView& maskView);
    void releaseLabBitmap();

    static std::unique_ptr<ColorWorld> withHandler(std::unique_ptr<ColorWorld> world,
                                                   std::shared_ptr<CompletionHandler> handler);

    ColorChain chain_;
    std::shared_ptr<CompletionHandler> completionHandler_;
    LabComparison comparison_;
    // The Lab bitmap of the last match in Lab mode (or one handed over),
    // and the engine's record of it that labBitmap() gives out.
    image::Bitmap lab_;
    bool labSigned_ = false;
    CMBitmap labRecord_;
    std::int32_t tileSizeWidth_ = 0;
    std::int32_t tileSizeHeight_ = 0;
    float tilePixelLimit_ = 1000000.0f;
    const char* refusalLogLine_ = nullptr;
};

} // namespace slidebox::color
