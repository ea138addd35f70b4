// A Lab bitmap comparison streaming over its two sides band by band: the
// first pass, every difference (or one per patch under a mask) into
// statistics, and the second, the gamut image painted and handed over as
// it goes. The differences of the next band are worked out on a helper
// thread while this one takes a band into the statistics, in pixel order,
// so that the single-precision sum is the one of a plain walk. The
// painting itself is in lab_comparison_gamut.cpp.
#include "color/lab_comparison.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <QImage>

#include "color/color_conversion.h"
#include "color/lab_pixel_reader.h"
#include "platform/large_buffer.h"

namespace slidebox::color {

using namespace lab_pixels;

namespace {

// A band holds about this many pixels: both sides and their differences
// stay within a few megabytes.
constexpr std::uint64_t kBandPixels = 1u << 19;

std::uint32_t bandRows(std::uint32_t width, std::uint32_t height) {
    const auto rows = static_cast<std::uint32_t>(kBandPixels / std::max<std::uint32_t>(width, 1));
    return std::clamp<std::uint32_t>(rows, 1, std::max<std::uint32_t>(height, 1));
}

PixelDelta deltaOf(std::int32_t kind, const LabView& own, const LabView& external) {
    return {LabReader(own), LabReader(external),
            kind == 0 ? nullptr : &ColorConversion::deltaE94WithC1};
}

// The differences of the rows of a band, row after row, into out; a pixel
// left out by the mask gets kLeftOutDifference.
void differences(const PixelDelta& delta, const LabView& own, const LabView& external,
                 const MaskView* mask, float* out) {
    const std::size_t width = own.width;
    for (std::uint32_t y = 0; y < own.height; ++y) {
        const std::uint8_t* a = own.row(y);
        const std::uint8_t* b = external.row(y);
        const std::uint8_t* m = mask ? mask->row(y) : nullptr;
        float* row = out + y * width;
        if (m) {
            for (std::size_t x = 0; x < width; ++x)
                row[x] = m[x] != 0 ? kLeftOutDifference
                                   : delta(a + x * kLabPixelBytes, b + x * kLabPixelBytes);
        } else {
            for (std::size_t x = 0; x < width; ++x)
                row[x] = delta(a + x * kLabPixelBytes, b + x * kLabPixelBytes);
        }
    }
}

// The running statistics of the first pass, in the order the differences
// come. Branch-free: a left-out pixel adds 0 to the sum, which leaves it
// exactly as it was.
struct Running {
    float tolerance;
    float sum = 0.0f;
    float maxi = 0.0f;
    float mini = 500.0f;
    std::uint32_t compared = 0;
    std::uint32_t inGamut = 0;

    void add(float d) {
        ++compared;
        sum += d;
        maxi = d > maxi ? d : maxi;
        mini = d < mini ? d : mini;
        inGamut += d <= tolerance ? 1u : 0u;
    }
    void add(const float* ds, std::size_t count) {
        float s = sum, hi = maxi, lo = mini;
        std::uint32_t n = compared, in = inGamut;
        for (std::size_t i = 0; i < count; ++i) {
            const float d = ds[i];
            const bool used = d != kLeftOutDifference;
            n += used ? 1u : 0u;
            s += used ? d : 0.0f;
            hi = used && d > hi ? d : hi;
            lo = used && d < lo ? d : lo;
            in += used && d <= tolerance ? 1u : 0u;
        }
        sum = s;
        maxi = hi;
        mini = lo;
        compared = n;
        inGamut = in;
    }
    ComparisonStatistics statistics() const {
        ComparisonStatistics s;
        s.compared = compared;
        s.maxiDeltaE = maxi;
        s.miniDeltaE = mini;
        s.averageDeltaE = sum / static_cast<float>(compared);
        s.inGamutPixelsPercentage = static_cast<float>(static_cast<double>(inGamut) * 100.0 /
                                                       static_cast<double>(compared));
        return s;
    }
};

// Patch by patch over whole bitmaps: a row of patches is passed as a
// whole, by the height of its tallest patch.
void addPatches(Running& running, std::int32_t kind, const LabView& own, const LabView& external,
                const MaskView& mask) {
    const DeltaE deltaE =
        kind == 0 ? &ColorConversion::deltaEWithC1 : &ColorConversion::deltaE94WithC1;
    for (std::uint32_t y = 0; y < own.height;) {
        std::uint32_t rowStep = 1;
        const std::uint8_t* m = mask.row(y);
        for (std::uint32_t x = 0; x < own.width;) {
            if (m[x] != 0) {
                ++x;
                continue;
            }
            std::uint32_t w = 0, h = 0;
            LabComparison::findPatchDimension(w, h, m + x, mask.rowBytes, own.width - x,
                                              own.height - y);
            const std::size_t at = std::size_t{x} * kLabPixelBytes;
            running.add(
                deltaE(LabComparison::averagePatchColorOf(w, h, own.row(y) + at, own),
                       LabComparison::averagePatchColorOf(w, h, external.row(y) + at, external)));
            rowStep = std::max(rowStep, h);
            x += w;
        }
        y += rowStep;
    }
}

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The rows of both sides (and the mask's) of a band being worked on, for
// the gamut image where its painted rows go, and how the helper thread's
// share of it went.
struct BandInFlight {
    LabView a, b;
    MaskView mask;
    std::uint8_t* out = nullptr;
    std::uint32_t split = 0; ///< rows the helper thread took
    double helperFixed = 0;  ///< its seconds reading
    double helperRows = 0;   ///< its seconds on its rows
};

// Where each band is split between the helper thread, which takes its first
// rows and also reads, and this one, which takes the rest and also sums or
// writes. Reading and writing cost what the machine makes them cost, so the
// split moves after each band until both take as long. The split changes
// no result: each row is worked out alike on either thread.
class SplitBalance {
  public:
    std::uint32_t helperRows(std::uint32_t rows) const {
        const double share = share_.load(std::memory_order_relaxed);
        return std::min(rows, static_cast<std::uint32_t>(share * rows + 0.5));
    }

    // After band of rows: the helper's times (in the band), and this thread's
    // for its rows and for its own fixed part.
    void update(const BandInFlight& band, std::uint32_t rows, double ownRows, double ownFixed) {
        if (rows == 0)
            return;
        const double perRow = (band.helperRows + ownRows) / rows;
        if (!(perRow > 0))
            return;
        // helperFixed + perRow × p = ownFixed + perRow × (rows - p)
        const double p = (perRow * rows + ownFixed - band.helperFixed) / (2 * perRow);
        const double wanted = std::clamp(p / rows, 0.0, 1.0);
        const double share = share_.load(std::memory_order_relaxed);
        share_.store((share + wanted) / 2, std::memory_order_relaxed);
    }

  private:
    std::atomic<double> share_{0.5};
};

// Runs produce(k, slot) for k = 0 .. count - 1 on a helper thread and
// consume(k, slot) in the same order on this one, with two slots: band
// k + 1 is produced while band k is consumed. A failure of produce, or
// consume answering false, ends both; the failure is the result. Without a
// thread to be had, both run here in turn.
template <typename Produce, typename Consume>
platform::Status pipeline(std::uint32_t count, Produce&& produce, Consume&& consume) {
    std::mutex mutex;
    std::condition_variable changed;
    bool ready[2] = {false, false};
    bool stop = false;
    platform::Status failed;
    std::uint32_t produced = 0; // bands handed over, failed ones included
    auto producer = [&] {
        for (std::uint32_t k = 0; k < count; ++k) {
            const int slot = static_cast<int>(k % 2);
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return stop || !ready[slot]; });
                if (stop)
                    return;
            }
            platform::Status status = produce(k, slot);
            std::lock_guard lock(mutex);
            if (!status) {
                failed = std::move(status);
                stop = true;
            }
            ready[slot] = true;
            produced = k + 1;
            changed.notify_all();
            if (stop)
                return;
        }
    };
    std::thread helper;
    try {
        helper = std::thread(producer);
    } catch (const std::system_error&) {
        for (std::uint32_t k = 0; k < count; ++k) {
            if (auto status = produce(k, static_cast<int>(k % 2)); !status)
                return status;
            if (!consume(k, static_cast<int>(k % 2)))
                break;
        }
        return {};
    }
    for (std::uint32_t k = 0; k < count; ++k) {
        const int slot = static_cast<int>(k % 2);
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return ready[slot] || (stop && produced <= k); });
            if (!ready[slot] || !failed.ok())
                break;
        }
        const bool more = consume(k, slot);
        std::lock_guard lock(mutex);
        ready[slot] = false;
        stop = stop || !more;
        changed.notify_all();
        if (!more)
            break;
    }
    {
        std::lock_guard lock(mutex);
        stop = true;
        changed.notify_all();
    }
    helper.join();
    return failed;
}

} // namespace

void LabComparison::findPatchDimension(std::uint32_t& width, std::uint32_t& height,
                                       const std::uint8_t* maskPtr, std::size_t maskRowBytes,
                                       std::uint32_t widthLeft, std::uint32_t heightLeft) {
    width = 0;
    while (width < widthLeft && maskPtr[width] == 0)
        ++width;
    height = 0;
    while (height < heightLeft && maskPtr[std::size_t{height} * maskRowBytes] == 0)
        ++height;
}

CMColor LabComparison::averagePatchColorOf(std::uint32_t width, std::uint32_t height,
                                           const std::uint8_t* color, const LabView& bitmap) {
    // The average runs on the fields of CMLabColor, whatever the bitmap keeps.
    const LabReader reader(bitmap);
    float sums[3] = {0.0f, 0.0f, 0.0f};
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::uint8_t* pixel = color + std::size_t{y} * bitmap.rowBytes;
        for (std::uint32_t x = 0; x < width; ++x, pixel += kLabPixelBytes) {
            const CMColor fields = reader.colour(pixel);
            sums[0] += static_cast<float>(fields.lab.L);
            sums[1] += static_cast<float>(fields.lab.a);
            sums[2] += static_cast<float>(fields.lab.b);
        }
    }
    const float count = static_cast<float>(width * height);
    CMColor average{};
    average.lab.L = static_cast<std::uint16_t>(sums[0] / count);
    average.lab.a = static_cast<std::uint16_t>(sums[1] / count);
    average.lab.b = static_cast<std::uint16_t>(sums[2] / count);
    return average;
}

bool LabComparison::compare(const LabView& own, const LabView& external, const MaskView* mask,
                            std::uint8_t* gamut, std::size_t gamutRowBytes) {
    LabViewRows ownRows(own), externalRows(external);
    (void)compareRows(ownRows, externalRows, mask, nullptr);
    if (gamut)
        paint(own, external, mask, gamut, gamutRowBytes);
    return statistics_.noDifference();
}

platform::Status LabComparison::compareRows(LabRows& own, LabRows& external, const MaskView* mask,
                                            GamutSink* sink) {
    const std::uint32_t width = own.width(), height = own.height();
    Running running{gamutTolerance};
    if (mask != nullptr && averagePatchColor) {
        // Patches span rows: both sides are read whole.
        LabView a, b;
        if (auto status = own.read(0, height, 0, a); !status)
            return status;
        if (auto status = external.read(0, height, 0, b); !status)
            return status;
        addPatches(running, deltaEKind, a, b, *mask);
        statistics_ = running.statistics();
        return sink ? paintBands(own, external, mask, sink) : platform::Status{};
    }
    const std::uint32_t band = bandRows(width, height);
    const std::uint32_t bands = (height + band - 1) / band;
    // With a gamut image to paint, every difference is kept for it when the
    // room can be had, so that the second pass reads neither side again and
    // works none out twice. Else a band's differences at a time.
    platform::LargeBuffer<float> kept;
    if (sink && std::uint64_t{width} * height <= keepDifferencesUpTo)
        kept = platform::LargeBuffer<float>(std::size_t{width} * height);
    std::vector<float> ds[2];
    if (!kept) {
        try {
            for (auto& d : ds)
                d.resize(std::size_t{width} * band);
        } catch (const std::bad_alloc&) {
            return platform::Status::failure(platform::ErrorCode::OutOfMemory,
                                             "no memory for the comparison");
        }
    }
    const auto differencesOf = [&](std::uint32_t k, int slot) {
        return kept ? kept.data() + std::size_t{k} * band * width : ds[slot].data();
    };
    // Band k + 1 is read and the differences of its first rows worked out
    // on a helper thread while this one works out the rest of band k and
    // takes the whole band into the statistics, in pixel order.
    BandInFlight inFlight[2];
    SplitBalance balance;
    const auto work = [&](std::uint32_t k, int slot, std::uint32_t first, std::uint32_t count) {
        const BandInFlight& current = inFlight[slot];
        const MaskView bandMask = mask ? current.mask.rows(first) : MaskView{};
        differences(deltaOf(deltaEKind, current.a, current.b), current.a.rows(first, count),
                    current.b.rows(first, count), mask ? &bandMask : nullptr,
                    differencesOf(k, slot) + std::size_t{first} * width);
    };
    auto status = pipeline(
        bands,
        [&](std::uint32_t k, int slot) -> platform::Status {
            const auto start = Clock::now();
            const std::uint32_t y = k * band, rows = std::min(band, height - y);
            BandInFlight& current = inFlight[slot];
            if (auto read = own.read(y, rows, slot, current.a); !read)
                return read;
            if (auto read = external.read(y, rows, slot, current.b); !read)
                return read;
            current.helperFixed = secondsSince(start);
            const auto started = Clock::now();
            current.mask = mask ? mask->rows(y) : MaskView{};
            current.split = balance.helperRows(rows);
            work(k, slot, 0, current.split);
            current.helperRows = secondsSince(started);
            return {};
        },
        [&](std::uint32_t k, int slot) {
            const std::uint32_t rows = std::min(band, height - k * band);
            const BandInFlight& current = inFlight[slot];
            const auto start = Clock::now();
            work(k, slot, current.split, rows - current.split);
            const double ownRows = secondsSince(start);
            const auto summing = Clock::now();
            running.add(differencesOf(k, slot), std::size_t{rows} * width);
            balance.update(current, rows, ownRows, secondsSince(summing));
            return true;
        });
    if (!status)
        return status;
    statistics_ = running.statistics();
    return sink ? paintBands(own, external, mask, sink, kept.data()) : platform::Status{};
}

platform::Status LabComparison::paintBands(LabRows& own, LabRows& external, const MaskView* mask,
                                           GamutSink* sink, const float* kept) const {
    const std::uint32_t width = own.width(), height = own.height();
    const bool same = statistics_.noDifference();
    // The words need the whole picture: painted whole, then handed over.
    // Otherwise bands of a few megabytes, each handed over as it is done.
    const std::uint32_t band = bandRows(width, height);
    QImage whole;
    std::vector<std::uint8_t> painted[2];
    try {
        if (same)
            whole =
                QImage(static_cast<int>(width), static_cast<int>(height), QImage::Format_RGB888);
        else
            for (auto& p : painted)
                p.resize(std::size_t{3} * width * band);
    } catch (const std::bad_alloc&) {
    }
    if (same ? whole.isNull() : painted[1].empty()) {
        sink->writeRows(nullptr, 0, 0);
        return {};
    }
    const std::size_t rowBytes =
        same ? static_cast<std::size_t>(whole.bytesPerLine()) : std::size_t{3} * width;
    BandInFlight inFlight[2];
    const auto bandOf = [&](std::uint32_t k) {
        return std::pair{k * band, std::min(band, height - k * band)};
    };
    // The helper thread reads band k + 1 and paints its first rows while
    // this one paints the rest of band k and hands it over.
    SplitBalance balance;
    const auto paintSome = [&](const BandInFlight& current, std::uint32_t y, std::uint32_t first,
                               std::uint32_t last) {
        if (kept)
            paintDifferenceRows(kept + std::size_t{y} * width, width, current.out, rowBytes, first,
                                last);
        else
            paintRows(current.a, current.b, mask ? &current.mask : nullptr, current.out, rowBytes,
                      first, last);
    };
    auto status = pipeline(
        (height + band - 1) / band,
        [&](std::uint32_t k, int slot) -> platform::Status {
            const auto start = Clock::now();
            const auto [y, rows] = bandOf(k);
            BandInFlight& current = inFlight[slot];
            current.out = same ? whole.scanLine(static_cast<int>(y)) : painted[slot].data();
            if (!kept) {
                if (auto read = own.read(y, rows, slot, current.a); !read)
                    return read;
                if (auto read = external.read(y, rows, slot, current.b); !read)
                    return read;
                current.mask = mask ? mask->rows(y) : MaskView{};
            }
            current.helperFixed = secondsSince(start);
            const auto started = Clock::now();
            current.split = balance.helperRows(rows);
            paintSome(current, y, 0, current.split);
            current.helperRows = secondsSince(started);
            return {};
        },
        [&](std::uint32_t k, int slot) {
            const auto [y, rows] = bandOf(k);
            const BandInFlight& current = inFlight[slot];
            const auto start = Clock::now();
            paintSome(current, y, current.split, rows);
            const double ownRows = secondsSince(start);
            const auto writing = Clock::now();
            const bool more =
                same || sink->writeRows(current.out, rowBytes, static_cast<std::int32_t>(rows));
            balance.update(current, rows, ownRows, secondsSince(writing));
            return more;
        });
    if (!status)
        return status;
    if (same) {
        drawNoDifference(whole);
        sink->writeRows(whole.constBits(), rowBytes, static_cast<std::int32_t>(height));
    }
    return {};
}

} // namespace slidebox::color
