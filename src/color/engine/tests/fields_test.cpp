// Colours of five to eight inks are kept as one byte an ink; the bytes of a
// record past its inks stay 0, whatever the next colour holds.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "color/engine/lcms.h"

using namespace slidebox::color;

TEST(EngineFields, FiveToEightInksAreAByteEachAndNoMore) {
    for (unsigned channels = 5; channels <= 8; ++channels) {
        SCOPED_TRACE(channels);
        const engine::Layout layout{PT_MCH5 + static_cast<int>(channels - 5), channels,
                                    engine::Layout::Scale::Ink};
        std::vector<double> values(2 * channels); // ink k * 10 as a percentage
        for (std::size_t k = 0; k < values.size(); ++k)
            values[k] = static_cast<double>((k + 1) * 10) * 100.0 / 255.0;
        CMColor colors[2] = {};
        engine::colorsOfValues(values.data(), 2, layout, colors);
        std::uint8_t bytes[sizeof(CMColor)];
        std::memcpy(bytes, &colors[0], sizeof bytes);
        for (unsigned i = 0; i < sizeof bytes; ++i)
            EXPECT_EQ(bytes[i], i < channels ? (i + 1) * 10 : 0) << i;
        std::vector<double> back(values.size());
        engine::valuesOfColors(colors, 2, layout, back.data());
        for (std::size_t k = 0; k < values.size(); ++k)
            EXPECT_NEAR(back[k], values[k], 1e-9) << k;
    }
}
