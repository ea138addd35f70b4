// The pictures drawn at build time come back through Qt's TIFF plugin.
#include <gtest/gtest.h>

#include <QFile>
#include <QImage>
#include <QImageReader>

#include "app/ui_controller.h"
#include "tests/temp_dir.h"

namespace {

QImage loadResource(const char* name) {
    const auto path = slidebox::testing::buildDir() / "share" / "slidebox" / name;
    return QImage(QFile::decodeName(path.c_str()));
}

TEST(Resources, FilmStripsAndTranslationsAreShippedAndReadable) {
    ASSERT_TRUE(QImageReader::supportedImageFormats().contains("tiff"));
    const QImage strip = loadResource("FilmStrip.tif");
    ASSERT_FALSE(strip.isNull());
    const auto frame = slidebox::app::UIController::filmStripThumbnailFrame;
    EXPECT_GE(strip.width(), 72);
    EXPECT_GE(strip.height(), 78);
    EXPECT_GE(static_cast<float>(strip.width()), frame.x + frame.width);
    EXPECT_GE(static_cast<float>(strip.height()), frame.y + frame.height);

    const QImage icon = loadResource("SmallFilmStrip.tif");
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.width(), icon.height());
    const auto translations = slidebox::testing::buildDir() / "share" / "slidebox" / "translations";
    EXPECT_TRUE(std::filesystem::exists(translations / "slidebox_en.qm"));
    EXPECT_TRUE(std::filesystem::exists(translations / "slidebox_fr.qm"));
}

} // namespace
