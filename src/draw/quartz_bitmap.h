#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <QPainterPath>

#include "draw/bitmap_image_rep.h"
#include "draw/draw_context.h"
#include "draw/rect_f.h"

namespace slidebox::draw {

/// The three device colour-space names a bitmap can be made from, compared exactly.
inline constexpr std::string_view kCGColorSpaceUserGray = "kCGColorSpaceUserGray";
inline constexpr std::string_view kCGColorSpaceUserRGB = "kCGColorSpaceUserRGB";
inline constexpr std::string_view kCGColorSpaceUserCMYK = "kCGColorSpaceUserCMYK";

/// An off-screen bitmap that is drawn on and read at once: one block of
/// pixels is both the representation's storage (bitmapRep, bitmapData) and
/// the target of the drawing context (contextRef), so whatever is drawn
/// shows in the pixels without a copy.
///
/// The layout follows the colour space's channels, 8 bits a sample, packed:
/// 1 channel: gray, one sample, labelled NSCalibratedBlackColorSpace;
/// 3 channels: RGB and alpha last, premultiplied, NSCalibratedRGBColorSpace;
/// 4 channels: CMYK without alpha, NSDeviceCMYKColorSpace.
/// Rows are bytesPerRow apart, which may be more than the pixels need.
///
/// The context draws in device values whatever the label says: a gray of
/// 1.0 is the sample 255 (eraseBitmap writes 0, fillBitmap 255).
class QuartzBitmap {
  public:
    /// The bitmap of a size in points (one pixel a point, each side rounded
    /// up to a whole pixel) in the colour space of a profile, else of a
    /// name. A profile path, when given, is read and its bytes take the
    /// place of profileData, even when the file can't be read. Profile bytes
    /// that the profile inspector accepts decide the layout by their
    /// channels (1, 3 or 4; any other count gives nothing, the name is not
    /// tried); without them the name decides: one of the three above,
    /// exactly. Null when neither yields a layout, for a size of no pixels,
    /// or when the pixels can't be allocated.
    static std::unique_ptr<QuartzBitmap>
    initWithSize(SizeF size, const std::optional<std::filesystem::path>& profile,
                 std::optional<std::span<const std::uint8_t>> profileData,
                 std::optional<std::string_view> colorSpace);
    /// The same with one source of the colour space alone.
    static std::unique_ptr<QuartzBitmap> initWithSize(SizeF size, std::string_view colorSpace);
    static std::unique_ptr<QuartzBitmap> initWithSize(SizeF size, const char* colorSpace);
    static std::unique_ptr<QuartzBitmap> initWithSize(SizeF size, const std::string& colorSpace);
    static std::unique_ptr<QuartzBitmap> initWithSize(SizeF size,
                                                      const std::filesystem::path& profile);
    static std::unique_ptr<QuartzBitmap> initWithSize(SizeF size,
                                                      std::span<const std::uint8_t> profileData);

    ~QuartzBitmap();
    QuartzBitmap(const QuartzBitmap&) = delete;
    QuartzBitmap& operator=(const QuartzBitmap&) = delete;

    /// The drawing context; the bitmap's own.
    DrawContext& contextRef() { return *ctx_; }
    /// The representation over the pixels; the bitmap's own.
    BitmapImageRep& bitmapRep() { return *imageRep_; }
    /// Hands the representation over and ends the context: the bitmap is
    /// spent after this and only its destructor may be called.
    std::unique_ptr<BitmapImageRep> takeBitmapRep();

    std::int32_t pixelsWide() const { return pixelsWide_; }
    std::int32_t pixelsHigh() const { return pixelsHigh_; }
    std::uint8_t* bitmapData() { return imageRep_->bitmapData(); }
    std::size_t bytesPerRow() const { return imageRep_->bytesPerRow(); }
    /// The profile the colour space came from; empty for a named space.
    const std::vector<std::uint8_t>& iccProfile() const { return iccProfile_; }

    /// Fills everything with opaque gray 0.0, and leaves that fill colour.
    void eraseBitmap();
    /// Fills everything with opaque gray 1.0, and leaves that fill colour.
    void fillBitmap();
    /// The fill colour: that gray, opaque.
    void setGrayFillColor(float gray);
    /// Fills each closed subpath of the path by itself, in the bitmap's
    /// points (y upwards), with the fill colour. A subpath is closed when it
    /// ends where it began (closeSubpath() makes sure of that); an open
    /// subpath is filled together with the next closed one, and what
    /// follows the last closed subpath is not filled.
    void fillPath(const QPainterPath& path);

  private:
    QuartzBitmap() = default;
    bool createBitmapContext(std::optional<std::span<const std::uint8_t>> profileData,
                             std::optional<std::string_view> colorSpace);
    void createBitmapRep(int samplesPerPixel, bool alpha, std::string_view colorSpaceName);

    std::unique_ptr<DrawContext> ctx_;
    std::int32_t pixelsWide_ = 0;
    std::int32_t pixelsHigh_ = 0;
    std::unique_ptr<BitmapImageRep> imageRep_;
    std::vector<std::uint8_t> iccProfile_;
};

/// Whole pixels for a side of so many points: a fraction rounds up (10.5
/// gives 11, 0.2 gives 1); 0 for a side that isn't positive or is too long.
std::int32_t pixelsForPoints(float points);

} // namespace slidebox::draw
