#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "color/cm_color.h"
#include "color/lab_view.h"
#include "platform/status.h"

class QImage;

namespace slidebox::color {

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

/// Takes a gamut image band by band as a comparison paints it, for a
/// caller that writes a large one without holding it whole.
class GamutSink {
  public:
    virtual ~GamutSink() = default;
    /// count rows of 3 bytes a pixel (red, green, blue), rowBytes apart,
    /// the next rows of the image from the top. rows is null (and count 0)
    /// when no memory was left for painting. False stops the painting.
    virtual bool writeRows(const std::uint8_t* rows, std::size_t rowBytes, std::int32_t count) = 0;
};

/// The rows of a Lab image, handed out band by band to a comparison that
/// streams over them (twice: once for the statistics, once to paint). One
/// thread at a time reads, unless readsAtOnce(); each thread that works on
/// the rows has a slot of its own.
class LabRows {
  public:
    /// Slots 0 .. kReadSlots - 1: the most threads a comparison starts.
    static constexpr unsigned kReadSlots = 8;

    virtual ~LabRows() = default;
    virtual std::uint32_t width() const = 0;
    virtual std::uint32_t height() const = 0;
    /// The rows a read takes best in multiples of (a TIFF's strip).
    virtual std::uint32_t rowsPerRead() const { return 1; }
    /// Whether several threads may read at once, each into its own slot.
    virtual bool readsAtOnce() const { return false; }
    /// Rows first .. first + count - 1 into rows, valid until the next read
    /// into the same slot, so that one thread's band can be worked on while
    /// another reads. The reason when they can't be read.
    virtual platform::Status read(std::uint32_t first, std::uint32_t count, int slot,
                                  LabView& rows) = 0;
};

/// Rows of a Lab bitmap already in memory.
class LabViewRows : public LabRows {
  public:
    explicit LabViewRows(const LabView& view) : view_(view) {}
    std::uint32_t width() const override { return view_.width; }
    std::uint32_t height() const override { return view_.height; }
    bool readsAtOnce() const override { return true; }
    platform::Status read(std::uint32_t first, std::uint32_t count, int /*slot*/,
                          LabView& rows) override {
        rows = view_.rows(first, count);
        return {};
    }

  private:
    LabView view_;
};

/// What one comparison found.
struct ComparisonStatistics {
    float averageDeltaE = 0.0f;
    float maxiDeltaE = 0.0f;
    float miniDeltaE = 0.0f;
    float inGamutPixelsPercentage = 0.0f;
    std::uint32_t compared = 0; ///< pixels, or patches in patch mode
    /// maxiDeltaE at most 0.09999999 (not 0.1, not 0).
    bool noDifference() const { return static_cast<double>(maxiDeltaE) <= 0.09999999; }
};

/// The comparison of two 16-bit Lab bitmaps of one size: pixel by pixel
/// (or patch by patch under a mask) into statistics, in single precision
/// with the running sum in pixel order; then the gamut image, each pixel
/// painted by its own difference on a ramp below the tolerance and
/// another above it. The settings persist from one comparison to the next.
class LabComparison {
  public:
    /// 0: the 1976 difference; any other: the 1994 one.
    std::int32_t deltaEKind = 0;
    /// With a mask, one averaged colour per patch.
    bool averagePatchColor = false;
    /// The difference up to which a pixel is in gamut.
    float gamutTolerance = 0.0f;
    ComparisonColors colors;
    /// The threads compareRows works on (0: one a core), at most
    /// LabRows::kReadSlots. The results don't depend on them.
    unsigned threads = 0;

    const ComparisonStatistics& statistics() const { return statistics_; }

    /// Both passes over whole bitmaps of the same size; gamut (null: none)
    /// holds own.height rows of gamutRowBytes. True when the bitmaps don't
    /// differ.
    bool compare(const LabView& own, const LabView& external, const MaskView* mask,
                 std::uint8_t* gamut, std::size_t gamutRowBytes);
    /// The same streaming over rows of the same size, band by band: the
    /// gamut image goes to sink (null: statistics alone) as it is painted,
    /// except when the bitmaps don't differ, when it is painted whole,
    /// "No Difference" is written on it and it goes over in one band. In
    /// patch mode each side is read whole. The reason of a side that can't
    /// be read; the statistics are then not to be trusted.
    platform::Status compareRows(LabRows& own, LabRows& external, const MaskView* mask,
                                 GamutSink* sink);
    /// The second pass over own.height rows (views that start on the same
    /// row), into gamut at gamutRowBytes; needs the first pass's maxiDeltaE.
    void paint(const LabView& own, const LabView& external, const MaskView* mask,
               std::uint8_t* gamut, std::size_t gamutRowBytes) const;

    /// A patch from its top-left mask byte: zero bytes rightwards, zero
    /// bytes downwards, ending at the edge of the bitmap.
    static void findPatchDimension(std::uint32_t& width, std::uint32_t& height,
                                   const std::uint8_t* maskPtr, std::size_t maskRowBytes,
                                   std::uint32_t widthLeft, std::uint32_t heightLeft);
    /// The Lab average of width × height pixels from color (rows of
    /// bitmap), each field summed in single precision and truncated.
    static CMColor averagePatchColorOf(std::uint32_t width, std::uint32_t height,
                                       const std::uint8_t* color, const LabView& bitmap);

    /// The gamut data of image when it is an RGB image of 24 bits a pixel
    /// without alpha and of width × height; its bytes per row go to
    /// rowBytes. Else a beep, a log line and null.
    static std::uint8_t* testGamutImage(QImage* image, std::uint32_t width, std::uint32_t height,
                                        std::int32_t& rowBytes);
    /// Writes "No Difference" centred on the image in the application's
    /// font, the largest size of 28 down to 2 whose width fits; nothing
    /// without a GUI application.
    static void drawNoDifference(QImage& image);
    /// The same on rows of 3 bytes a pixel (red, green, blue), rowBytes
    /// apart, which stay the caller's.
    static platform::Status drawNoDifferenceOnRows(std::uint8_t* rows, std::uint32_t width,
                                                   std::uint32_t height, std::size_t rowBytes);
    /// What sounds a beep; nothing until the application sets it.
    static void setBeepHandler(std::function<void()> handler);
    /// Sounds the beep, when a handler is set.
    static void beep();
    /// What writes "No Difference" on the gamut image compareRows paints
    /// whole when the bitmaps don't differ (the arguments of
    /// drawNoDifferenceOnRows): that function where a GUI application
    /// runs, or whatever draws the words for a program without one. Until
    /// one is set, compareRows refuses such an image (Unsupported) rather
    /// than hand it over without its words.
    using WordsHandler = std::function<platform::Status(
        std::uint8_t* rows, std::uint32_t width, std::uint32_t height, std::size_t rowBytes)>;
    static void setWordsHandler(WordsHandler handler);

  private:
    /// The words handler's writing on rows; Unsupported without one.
    static platform::Status writeWords(std::uint8_t* rows, std::uint32_t width,
                                       std::uint32_t height, std::size_t rowBytes);
    /// The second pass over LabRows into sink, reading both sides again.
    platform::Status paintBands(LabRows& own, LabRows& external, const MaskView* mask,
                                GamutSink* sink) const;
    /// Rows first..last - 1 painted from their differences (rows of width,
    /// from the band's first row) into gamut.
    void paintDifferenceRows(const float* differences, std::uint32_t width, std::uint8_t* gamut,
                             std::size_t gamutRowBytes, std::uint32_t first,
                             std::uint32_t last) const;

    ComparisonStatistics statistics_;
};

} // namespace slidebox::color
