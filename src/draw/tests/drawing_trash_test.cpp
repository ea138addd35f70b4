// The trash ends what it holds in its fixed order, once each.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "draw/drawing_trash.h"

using namespace slidebox::draw;

namespace {

struct Recorded : TrashObject {
    explicit Recorded(std::vector<std::string>& log) : log(log) {}
    ~Recorded() override { log.push_back("object"); }
    std::vector<std::string>& log;
};

} // namespace

TEST(DrawingTrash, EndsTheIndexedSpaceBeforeItsBaseAndTheRestInOrder) {
    std::vector<std::string> log;
    const std::vector<std::uint8_t> bytes{1, 2, 3};
    {
        DrawingTrash trash;
        auto base = DrawColorSpace::createDevice(DrawColorSpace::Model::RGB);
        auto indexed = DrawColorSpace::createIndexed(*base, {0, 0, 0, 255, 255, 255});
        ASSERT_EQ(indexed->components(), 3);
        base->setReleaseHandler([&] { log.push_back("base"); });
        indexed->setReleaseHandler([&] { log.push_back("indexed"); });
        // Filled in another order than they end.
        EXPECT_TRUE(trash.objectToRelease(std::make_unique<Recorded>(log)));
        EXPECT_TRUE(trash.dataProviderToTrash(
            std::make_unique<DataProvider>(bytes, [&] { log.push_back("provider"); })));
        EXPECT_TRUE(trash.colorSpaceToTrash(std::move(base)));
        EXPECT_TRUE(trash.idxedSpaceToTrash(std::move(indexed)));
        EXPECT_TRUE(trash.bytesToTrash(std::malloc(16)));
        EXPECT_TRUE(trash.imageRefToTrash(std::make_unique<QImage>(2, 2, QImage::Format_RGB32)));

        // One object a slot: a second offer is refused and ends at once.
        EXPECT_FALSE(trash.dataProviderToTrash(
            std::make_unique<DataProvider>(bytes, [&] { log.push_back("second provider"); })));
        EXPECT_EQ(log, std::vector<std::string>{"second provider"});
        log.clear();
        EXPECT_TRUE(trash.colorSpaceToTrash(nullptr)) << "null leaves the slot as it was";
    }
    EXPECT_EQ(log, (std::vector<std::string>{"indexed", "base", "provider", "object"}));
}
