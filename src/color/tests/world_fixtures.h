#pragma once

// Colour-world tests on the system's installed profiles: their paths, a
// home of the test's own (so the generic Lab profile is made there and the
// real home is never touched) and the log lines the test caused.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "color/profile_manager.h"
#include "color/tests/profile_fixtures.h"
#include "tests/log_capture.h"

namespace slidebox::testing {

inline const std::filesystem::path kSRGB = "/usr/share/color/icc/colord/sRGB.icc";
inline const std::filesystem::path kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
inline const std::filesystem::path kCMYK = "/usr/share/color/icc/ghostscript/default_cmyk.icc";
inline const std::filesystem::path kNamed = "/usr/share/color/icc/colord/Crayons.icc";

class InstalledProfilesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const auto& p : {kSRGB, kAdobe, kCMYK, kNamed})
            if (!std::filesystem::exists(p))
                GTEST_SKIP() << p << " missing: run tools/setup.sh";
    }
    static std::filesystem::path genericLab() {
        return color::ProfileManager::pathOfGenericLabProfil().value();
    }

    ScopedProfilePlaces places_;
    const TempDir& home_ = places_.home();
    LogCapture logs_;
    std::vector<std::string>& log_ = logs_.lines;
};

} // namespace slidebox::testing
