// A Lab bitmap comparison streaming over its two sides band by band, on
// every core: the first pass, every difference (or one per patch under a
// mask) into statistics, and the second, the gamut image painted and handed
// over as it goes. Each thread takes the next band, reads it in its turn,
// works out its differences alone and hands it on in band order, so that
// the single-precision sum is the one of a plain walk and the gamut image
// goes out from the top. The painting itself is in lab_comparison_gamut.cpp.
#include "color/lab_comparison.h"

#include <sched.h>

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

#include "color/color_conversion.h"
#include "color/lab_pixel_reader.h"
#include "image/bitmap.h"

namespace slidebox::color {

using namespace lab_pixels;

namespace {

// A band holds about this many pixels, in whole reads of its rows: a
// thread's two sides, differences and painted rows stay within a few
// megabytes, mostly in the cache.
constexpr std::uint64_t kBandPixels = 1u << 16;

std::uint32_t bandRows(const LabRows& own, const LabRows& external) {
    const std::uint32_t width = own.width(), height = own.height();
    const std::uint32_t unit =
        std::max<std::uint32_t>({own.rowsPerRead(), external.rowsPerRead(), 1});
    const std::uint64_t unitPixels = std::uint64_t{std::max<std::uint32_t>(width, 1)} * unit;
    const auto units = std::max<std::uint64_t>(1, (kBandPixels + unitPixels / 2) / unitPixels);
    return static_cast<std::uint32_t>(
        std::clamp<std::uint64_t>(units * unit, 1, std::max<std::uint32_t>(height, 1)));
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

// The cores this process may run on, which taskset or a container's
// cpuset can make fewer than the machine's: a thread more than them would
// spin for its turn while the one it waits for can't run.
unsigned usableCores() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) == 0)
        return static_cast<unsigned>(std::max(1, CPU_COUNT(&set)));
    return std::max(1u, std::thread::hardware_concurrency());
}

// A moment's rest in a busy wait.
inline void spinPause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

// How long a thread spins for its turn before it sleeps: longer than a
// band's hand-over takes.
constexpr std::chrono::microseconds kSpinning{300};

// The threads of one pass over both sides, band by band. Each takes the
// next band and reads it into its own slot (one read at a time, the bands
// in order, unless both sides read at once), works on it alone, then waits
// for the band before it to be handed on and hands its own on. The first
// failure of a read, or a hand-over answering false, ends the pass; a
// failure is its result. Without a thread to be had, this one does every
// band.
class BandPass {
  public:
    BandPass(LabRows& own, LabRows& external, std::uint32_t band)
        : own_(own), external_(external), atOnce_(own.readsAtOnce() && external.readsAtOnce()),
          band_(band), height_(own.height()), bands_((own.height() + band - 1) / band) {}

    // work(y, rows, slot, a, b) on any thread, handOn(y, rows, slot) -> bool
    // in band order.
    template <typename Work, typename HandOn>
    platform::Status run(unsigned threads, const Work& work, const HandOn& handOn) {
        const auto loop = [&](int slot) {
            LabView a, b;
            for (;;) {
                std::uint32_t k = 0;
                {
                    std::unique_lock lock(reading_);
                    if (stopped() || next_ == bands_)
                        return;
                    k = next_++;
                    if (atOnce_)
                        lock.unlock();
                    if (auto status = readBand(k, slot, a, b); !status) {
                        stop(std::move(status));
                        return;
                    }
                }
                const std::uint32_t y = k * band_, rows = std::min(band_, height_ - y);
                work(y, rows, slot, a, b);
                if (!awaitTurn(k))
                    return;
                const bool more = handOn(y, rows, slot);
                {
                    std::lock_guard lock(turnMutex_);
                    turn_.store(k + 1, std::memory_order_release);
                    if (!more)
                        stop_.store(true);
                }
                turnChanged_.notify_all();
            }
        };
        std::vector<std::thread> helpers;
        const unsigned cores = threads > 0 ? threads : usableCores();
        const unsigned wanted = std::clamp<unsigned>(cores, 1, LabRows::kReadSlots);
        for (unsigned t = 1; t < wanted && t < bands_; ++t) {
            try {
                helpers.emplace_back(loop, static_cast<int>(t));
            } catch (const std::system_error&) {
                break; // the threads there are do every band
            }
        }
        loop(0);
        for (auto& helper : helpers)
            helper.join();
        return failed_;
    }

  private:
    platform::Status readBand(std::uint32_t k, int slot, LabView& a, LabView& b) {
        const std::uint32_t y = k * band_, rows = std::min(band_, height_ - y);
        if (auto status = own_.read(y, rows, slot, a); !status)
            return status;
        return external_.read(y, rows, slot, b);
    }
    bool stopped() const { return stop_.load(); }
    // Waits until band k is to be handed on: false when the pass stopped.
    // The band before is usually a moment from done, sooner than a thread
    // put to sleep wakes up, so the wait spins a while first.
    bool awaitTurn(std::uint32_t k) {
        const auto due = [&] { return turn_.load(std::memory_order_acquire) == k || stop_.load(); };
        const auto start = std::chrono::steady_clock::now();
        while (!due() && std::chrono::steady_clock::now() - start < kSpinning)
            for (int i = 0; i < 64 && !due(); ++i)
                spinPause();
        if (!due()) {
            std::unique_lock lock(turnMutex_);
            turnChanged_.wait(lock, due);
        }
        return !stop_.load();
    }
    void stop(platform::Status status) {
        {
            std::lock_guard lock(turnMutex_);
            if (failed_.ok())
                failed_ = std::move(status);
            stop_.store(true);
        }
        turnChanged_.notify_all();
    }

    LabRows& own_;
    LabRows& external_;
    const bool atOnce_; ///< both sides read outside the lock
    const std::uint32_t band_, height_, bands_;
    std::mutex reading_;
    std::uint32_t next_ = 0; ///< the next band to read, under reading_
    std::mutex turnMutex_;
    std::condition_variable turnChanged_;
    std::atomic<std::uint32_t> turn_{0}; ///< the band to hand on next, set under turnMutex_
    std::atomic<bool> stop_{false};      ///< set under turnMutex_
    platform::Status failed_;
};

// Room for each thread's share of a band: its differences, its painted rows.
template <typename T> bool makeRoom(std::vector<std::vector<T>>& room, std::size_t each) {
    try {
        room.assign(LabRows::kReadSlots, {});
        for (auto& r : room)
            r.reserve(each);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// Each thread's differences of the band it works on, in its slot's room.
class BandDifferences {
  public:
    bool makeRoom(std::uint32_t width, std::uint32_t band) {
        return color::makeRoom(room_, std::size_t{width} * band);
    }
    // The differences of rows a and b (of the band from row y) into slot.
    const float* workOut(std::int32_t kind, const MaskView* mask, std::uint32_t y, int slot,
                         const LabView& a, const LabView& b) {
        const MaskView bandMask = mask ? mask->rows(y) : MaskView{};
        std::vector<float>& ds = room_[static_cast<std::size_t>(slot)];
        ds.resize(std::size_t{a.width} * a.height);
        differences(kind, a, b, mask ? &bandMask : nullptr, ds.data());
        return ds.data();
    }
    const float* of(int slot) const { return room_[static_cast<std::size_t>(slot)].data(); }

  private:
    std::vector<std::vector<float>> room_;
};

} // namespace

void lab_pixels::differences(std::int32_t kind, const LabView& own, const LabView& external,
                             const MaskView* mask, float* out) {
    const std::size_t width = own.width;
    const LabReader ra(own), rb(external);
    for (std::uint32_t y = 0; y < own.height; ++y) {
        const std::uint8_t* a = own.row(y);
        const std::uint8_t* b = external.row(y);
        float* row = out + y * width;
        if (kind == 0) {
            for (std::size_t x = differences1976Wide(ra, rb, a, b, width, row); x < width; ++x)
                row[x] = deltaE1976(ra, rb, a + x * kLabPixelBytes, b + x * kLabPixelBytes);
        } else {
            for (std::size_t x = 0; x < width; ++x)
                row[x] = ColorConversion::deltaE94WithC1(ra.colour(a + x * kLabPixelBytes),
                                                         rb.colour(b + x * kLabPixelBytes));
        }
        if (mask) {
            const std::uint8_t* m = mask->row(y);
            for (std::size_t x = 0; x < width; ++x)
                row[x] = m[x] != 0 ? kLeftOutDifference : row[x];
        }
    }
}

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
    const std::uint32_t band = bandRows(own, external);
    BandDifferences ds;
    if (!ds.makeRoom(width, band))
        return platform::Status::failure(platform::ErrorCode::OutOfMemory,
                                         "no memory for the comparison");
    BandPass pass(own, external, band);
    auto status = pass.run(
        threads,
        [&](std::uint32_t y, std::uint32_t, int slot, const LabView& a, const LabView& b) {
            ds.workOut(deltaEKind, mask, y, slot, a, b);
        },
        [&](std::uint32_t, std::uint32_t rows, int slot) {
            running.add(ds.of(slot), std::size_t{rows} * width);
            return true;
        });
    if (!status)
        return status;
    statistics_ = running.statistics();
    return sink ? paintBands(own, external, mask, sink) : platform::Status{};
}

platform::Status LabComparison::paintBands(LabRows& own, LabRows& external, const MaskView* mask,
                                           GamutSink* sink) const {
    const std::uint32_t width = own.width(), height = own.height();
    const bool same = statistics_.noDifference();
    // The words need the whole picture: painted whole, then handed over.
    // Otherwise each thread paints a band into its own rows, handed over in
    // band order.
    const std::uint32_t band = bandRows(own, external);
    image::Bitmap whole;
    BandDifferences ds;
    std::vector<std::vector<std::uint8_t>> painted;
    bool room = ds.makeRoom(width, band);
    if (same) {
        auto made = image::Bitmap::allocate(static_cast<std::int32_t>(width),
                                            static_cast<std::int32_t>(height),
                                            image::PixelFormat::make(image::ColorSpace::RGB, 8));
        room = room && made;
        if (made)
            whole = std::move(made.value());
    } else {
        room = room && makeRoom(painted, std::size_t{3} * width * band);
    }
    if (!room) {
        sink->writeRows(nullptr, 0, 0);
        return {};
    }
    const std::size_t rowBytes = same ? whole.rowBytes() : std::size_t{3} * width;
    BandPass pass(own, external, band);
    auto status = pass.run(
        threads,
        [&](std::uint32_t y, std::uint32_t rows, int slot, const LabView& a, const LabView& b) {
            const float* differences = ds.workOut(deltaEKind, mask, y, slot, a, b);
            std::uint8_t* out = nullptr;
            if (same) {
                out = whole.row(static_cast<std::int32_t>(y));
            } else {
                painted[slot].resize(rowBytes * rows);
                out = painted[slot].data();
            }
            paintDifferenceRows(differences, width, out, rowBytes, 0, rows);
        },
        [&](std::uint32_t, std::uint32_t rows, int slot) {
            return same ||
                   sink->writeRows(painted[slot].data(), rowBytes, static_cast<std::int32_t>(rows));
        });
    if (!status)
        return status;
    if (same) {
        std::uint8_t* rows = whole.row(0);
        if (auto words = writeWords(rows, width, height, rowBytes); !words)
            return words;
        sink->writeRows(rows, rowBytes, static_cast<std::int32_t>(height));
    }
    return {};
}

} // namespace slidebox::color
