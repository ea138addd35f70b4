// Grading a profile by brute force: a grid of colours sent through the
// profile and back, in slices that a speed setting can space out.
//
// The engine sees the single colours of one slice in runs, shared between
// the cores (CWMatchColorRuns): the numbers are those of one match per
// colour, since the engine treats each colour of a run alone, and all the
// arithmetic that follows stays in order on this thread.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "color/profile_grading.h"

#include "color/color_chain.h"
#include "color/color_conversion.h"
#include "color/image_transform.h"
#include "color/profile_header_report.h"
#include "color/profile_manager.h"

namespace slidebox::color {

// The share of its time, in percent, that a profile test works; 10..100.
// Shared by every test and read afresh at each slice.
std::atomic<float> gSpeedCalculation{100.0f};

namespace {

std::atomic<ThrottleClock*> gThrottleClock{nullptr};

ThrottleClock& throttleClock() {
    ThrottleClock* clock = gThrottleClock.load();
    return clock ? *clock : ThrottleClock::system();
}

// Spaces a test's slices out: each slice that worked for e seconds is
// followed by a pause of e × (100 / speed - 1). Whether it runs at all is
// settled when the test starts.
class Throttle {
  public:
    Throttle() : on_(gSpeedCalculation.load() < 100.0f) {
        if (on_)
            date_ = throttleClock().now();
    }
    bool on() const { return on_; }
    void startSlice() {
        if (on_)
            throttleClock().sleepUntil(date_);
    }
    void endSlice() {
        if (!on_)
            return;
        const double e = throttleClock().now() - date_;
        date_ += e * 100.0 / gSpeedCalculation.load();
    }

  private:
    bool on_;
    double date_ = 0.0;
};

constexpr OSType cmSpaceClass = fourCC("spac");

// Device grid: 11 levels of step 6553 a channel; connection-space grid: 51
// of step 1310. The first field is the outermost loop.
constexpr int kDeviceLevels = 11;
constexpr std::uint16_t kDeviceStep = 6553;
constexpr int kSpaceLevels = 51;
constexpr std::uint16_t kSpaceStep = 1310;
// Slices of the connection-space grid matched together when unthrottled.
constexpr int kSlicesAtOnce = 6;

// The points of one slice (one value of the first field) of a grid of
// `channels` channels; the fields past them stay 0.
void fillSlice(std::vector<CMColor>& points, int slice, int channels, int levels,
               std::uint16_t step) {
    points.clear();
    int inner = 1;
    for (int c = 1; c < channels; ++c)
        inner *= levels;
    for (int n = 0; n < inner; ++n) {
        CMColor point{};
        point.raw[0] = static_cast<std::uint16_t>(slice * step);
        int rest = n;
        for (int c = channels - 1; c >= 1; --c) {
            point.raw[c] = static_cast<std::uint16_t>((rest % levels) * step);
            rest /= levels;
        }
        points.push_back(point);
    }
}

std::uint64_t keyOf(const CMColor& color) {
    std::uint64_t key;
    std::memcpy(&key, &color, sizeof key);
    return key;
}

// Matches colours through a world where many of them are alike (the
// returns from a device, where out-of-gamut colours meet): each distinct
// colour goes to the engine once and its answer is copied to its twins.
// The engine answers a colour the same way every time, so the numbers are
// those of matching each. Its buffers serve call after call, so that
// memory is touched for the first time only once.
class AlikeColors {
  public:
    void match(const CMWorld& world, std::vector<CMColor>& colors) {
        std::size_t capacity = 16;
        while (capacity < colors.size() * 2)
            capacity *= 2;
        if (keys_.size() < capacity) {
            keys_.assign(capacity, 0);
            entries_.assign(capacity, kEmpty);
        }
        const std::size_t mask = capacity - 1;
        distinct_.clear();
        slot_.resize(colors.size());
        used_.clear();
        for (std::size_t n = 0; n < colors.size(); ++n) {
            const std::uint64_t key = keyOf(colors[n]);
            std::size_t at = (key * 0x9E3779B97F4A7C15ull >> 20) & mask;
            while (entries_[at] != kEmpty && keys_[at] != key)
                at = (at + 1) & mask;
            if (entries_[at] == kEmpty) {
                keys_[at] = key;
                entries_[at] = static_cast<std::uint32_t>(distinct_.size());
                used_.push_back(static_cast<std::uint32_t>(at));
                distinct_.push_back(colors[n]);
            }
            slot_[n] = entries_[at];
        }
        for (std::uint32_t at : used_) // empty again for the next call
            entries_[at] = kEmpty;
        if (!CWMatchColorRuns(world, distinct_))
            return; // nothing matched: the colours stay as they were
        for (std::size_t n = 0; n < colors.size(); ++n)
            colors[n] = distinct_[slot_[n]];
    }

  private:
    static constexpr std::uint32_t kEmpty = 0xFFFFFFFFu;
    std::vector<std::uint64_t> keys_;
    std::vector<std::uint32_t> entries_;
    std::vector<std::uint32_t> used_;
    std::vector<CMColor> distinct_;
    std::vector<std::uint32_t> slot_;
};

// Both colours as Lab records: an XYZ connection space reads them as XYZ.
float differenceOf(CMColor c1, CMColor c2, OSType pcs) {
    if (pcs == cmXYZData) {
        CMColor lab1, lab2;
        ColorConversion::CMXYZ(c1, lab1);
        ColorConversion::CMXYZ(c2, lab2);
        c1 = lab1;
        c2 = lab2;
    }
    return ColorConversion::deltaEWithC1(c1, c2);
}

} // namespace

void ProfileGrading::setSpeedCalculation(float percent) {
    gSpeedCalculation.store(percent > 100.0f ? 100.0f : (percent < 10.0f ? 10.0f : percent));
}

float ProfileGrading::speedCalculation() {
    return gSpeedCalculation.load();
}

void ProfileGrading::setThrottleClock(ThrottleClock* clock) {
    gThrottleClock.store(clock);
}

float ProfileGrading::testProfile(const std::filesystem::path& path, bool qualityTest,
                                  bool absolute, float tolerance, float* maxiDeltaE) {
    CMProfileRef profile = ProfileManager::profileRefForPath(path);
    const auto labPath = ProfileManager::pathOfGenericLabProfil();
    CMProfileRef lab = labPath ? ProfileManager::profileRefForPath(*labPath) : nullptr;
    const std::int32_t intent = absolute ? 3 : 0;

    // Both worlds are always tried, each on a scratch object of its own;
    // the worlds they build are this operation's.
    CMWorldRef toLab, fromLab;
    bool failed = false;
    {
        ColorChain scratch;
        toLab = scratch.build(profile.get(), intent, intent, lab.get());
        failed |= !toLab;
    }
    {
        ColorChain scratch;
        fromLab = scratch.build(lab.get(), intent, intent, profile.get());
        failed |= !fromLab;
    }
    OSType space = 0, pcs = 0;
    if (!profile || !lab || failed) {
        failed = true;
    } else if (auto header = CMGetProfileHeader(*profile)) {
        space = header->dataColorSpace;
        pcs = header->profileConnectionSpace;
        // A profile class in the place of a colour space: never true, kept
        // so that a space-class profile goes on to be tested.
        failed = space == cmSpaceClass;
    } else {
        failed = true;
    }
    // The worlds go on without the profiles.
    profile.reset();
    lab.reset();
    if (failed || !toLab || !fromLab)
        return -1.0f;
    return qualityTest ? getProfileQualityOf(*toLab, *fromLab, space, pcs, maxiDeltaE)
                       : getGamutAreaOf(*toLab, *fromLab, pcs, tolerance);
}

float ProfileGrading::getProfileQualityOf(const CMWorld& toLab, const CMWorld& fromLab,
                                          OSType space, OSType pcs, float* maxiDeltaE) {
    Throttle throttle;
    if (maxiDeltaE)
        *maxiDeltaE = 0.0f;
    int channels = 0;
    if (space == cmRGBData || space == cmCMYData)
        channels = 3;
    else if (space == cmCMYKData)
        channels = 4;
    else
        return -1.0f;

    float sum = 0.0f;
    int count = 0;
    std::vector<CMColor> c1, c2;
    AlikeColors alike;
    for (int slice = 0; slice < kDeviceLevels; ++slice) {
        throttle.startSlice();
        fillSlice(c1, slice, channels, kDeviceLevels, kDeviceStep);
        // A colour the engine refuses stays as it was and is measured so.
        CWMatchColorRuns(toLab, c1);
        c2 = c1;
        CWMatchColorRuns(fromLab, c2);
        alike.match(toLab, c2);
        for (std::size_t n = 0; n < c1.size(); ++n) {
            const float d = differenceOf(c1[n], c2[n], pcs);
            if (maxiDeltaE && d > *maxiDeltaE)
                *maxiDeltaE = d;
            sum += d;
            ++count;
        }
        throttle.endSlice();
    }
    return sum / static_cast<float>(count);
}

float ProfileGrading::getGamutAreaOf(const CMWorld& toLab, const CMWorld& fromLab, OSType pcs,
                                     float tolerance) {
    Throttle throttle;
    float divisor = 0.0f;
    if (pcs == cmLabData)
        divisor = 0.649f;
    else if (pcs == cmXYZData)
        divisor = 0.776f;
    else
        return -1.0f;

    // Unthrottled, a few slices make one run of work, enough to share
    // between the cores and small enough to stay in the cache; throttled,
    // each slice is matched on its own so that the pauses fall between.
    const int slicesAtOnce = throttle.on() ? 1 : kSlicesAtOnce;
    std::int32_t outside = 0;
    std::vector<CMColor> c1, c2, slice;
    AlikeColors alike;
    for (int first = 0; first < kSpaceLevels; first += slicesAtOnce) {
        throttle.startSlice();
        c1.clear();
        for (int s = first; s < std::min(first + slicesAtOnce, kSpaceLevels); ++s) {
            fillSlice(slice, s, 3, kSpaceLevels, kSpaceStep);
            c1.insert(c1.end(), slice.begin(), slice.end());
        }
        c2 = c1;
        CWMatchColorRuns(fromLab, c2);
        alike.match(toLab, c2);
        for (std::size_t n = 0; n < c1.size(); ++n)
            if (differenceOf(c1[n], c2[n], pcs) > tolerance)
                ++outside;
        throttle.endSlice();
    }
    constexpr std::int32_t total = kSpaceLevels * kSpaceLevels * kSpaceLevels;
    const float inside = static_cast<float>(total - outside) / static_cast<float>(total);
    return static_cast<float>(static_cast<double>(inside) * 100.0 / static_cast<double>(divisor));
}

platform::Status ProfileGrading::gradeRefusal(const std::filesystem::path& path, bool qualityTest) {
    const auto refused = [](std::string reason) {
        return platform::Status::failure(platform::ErrorCode::BadArgument, std::move(reason));
    };
    if (auto status = profileFileStatus(path);
        !status && status.code() != platform::ErrorCode::BadArgument)
        return status;
    auto profile = ProfileManager::profileRefForPath(path);
    const std::optional<CM2Header> header =
        profile ? CMGetProfileHeader(*profile) : std::optional<CM2Header>();
    if (!header)
        return refused("the header of '" + path.string() + "' can't be read");
    const OSType space = header->dataColorSpace, pcs = header->profileConnectionSpace;
    if (qualityTest && space != cmRGBData && space != cmCMYData && space != cmCMYKData)
        return refused("the bijectivity test has no grid for the data colour space '" +
                       signatureText(space) + "'");
    if (!qualityTest && pcs != cmLabData && pcs != cmXYZData)
        return refused("the gamut test has no divisor for the connection space '" +
                       signatureText(pcs) + "'");
    return refused("the colour worlds to and from Lab can't be built for '" + path.string() +
                   "' (a profile of one direction only?)");
}

} // namespace slidebox::color
