#pragma once

#include <filesystem>

#include "color/colorsync.h"
#include "color/throttle_clock.h"
#include "platform/status.h"

namespace slidebox::color {

/// Grading one profile by brute force through two worlds, the profile to
/// the generic Lab profile and back, at intent 3 (absolute) or 0
/// (perceptual), in slices that the shared speed setting can space out.
/// -1.0 means no answer: a profile or the generic Lab profile that doesn't
/// open, a world that can't be built, an unreadable header, spaces the
/// test has no grid or divisor for.
class ProfileGrading {
  public:
    /// qualityTest true for the bijectivity test (which alone reads
    /// maxiDeltaE), false for the gamut test (which alone reads the
    /// tolerance). maxiDeltaE is left alone when the test can't start.
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
    static float getGamutAreaOf(const CMWorld& toLab, const CMWorld& fromLab, OSType pcs,
                                float tolerance);
    /// Why testProfile gives -1 for path, as far as its file and header tell.
    static platform::Status gradeRefusal(const std::filesystem::path& path, bool qualityTest);

    /// The share of time, in percent, the tests work: held to 10..100.
    static void setSpeedCalculation(float percent);
    /// The setting, 100 until set.
    static float speedCalculation();
    /// The clock the throttle reads and sleeps on; null puts back the
    /// system's. Not owned: it must outlive every test that runs on it.
    static void setThrottleClock(ThrottleClock* clock);
};

} // namespace slidebox::color
