// The pop-up button: one item a row, separators where the catalogue has
// them, and titles kept apart by trailing blanks.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QStandardItemModel>

#include "color/profile_manager.h"
#include "color/tests/profile_fixtures.h"
#include "color/widgets/profile_popup_button.h"

using namespace slidebox::color;
using namespace slidebox::testing;

namespace {

bool isSeparator(const QComboBox& box, int index) {
    return box.itemData(index, Qt::AccessibleDescriptionRole).toString() ==
           QLatin1String("separator");
}

} // namespace

TEST(ProfilePopUpButton, RowsBecomeItemsNamesAlikeDifferByBlanksAndFolderListsStartWithASeparator) {
    ScopedProfilePlaces places;
    TempDir dir;
    auto put = [&](const std::string& name, OSType cls, OSType space, const char* description) {
        writeProfile(dir, name, catalogueProfile(cls, space, description));
    };
    put("a.icc", cmDisplayClass, cmRGBData, "Name");
    put("b.icc", cmDisplayClass, cmRGBData, "Name");
    put("c.icc", cmDisplayClass, cmRGBData, "Name ");
    put("d.icc", cmOutputClass, cmCMYKData, "Name");
    ProfilePlaces p = ProfilePlaces::underHome(places.home().path());
    p.profileFolders = {dir.path()};
    ProfileManager::setPlaces(p);
    auto m = ProfileManager::initWithUse(kUseDisplay | kUseOutput, kSpaceRGB | kSpaceCMYK);
    ASSERT_TRUE(m);
    ASSERT_EQ(m->count(), 5); // three displays, a separator, the printer
    EXPECT_EQ(m->indexOfProfileName("Name"), 0);

    QComboBox box;
    box.addItem("left over");
    updateProfilesListOnPopUpButton(*m, box);
    ASSERT_EQ(box.count(), 5); // the index of an item is its row
    EXPECT_EQ(box.itemText(0), "Name");
    EXPECT_EQ(box.itemText(1), "Name ");
    // "Name " is taken by the row before: two blanks.
    EXPECT_EQ(box.itemText(2), "Name  ");
    EXPECT_TRUE(isSeparator(box, 3));
    EXPECT_EQ(box.itemText(4), "Name   ");
    // The catalogue keeps its own names.
    EXPECT_EQ(*m->profileNameAtIndex(1), "Name");

    // A folder list starts with a separator.
    auto folder = ProfileManager::initWithUse(0, kSpaceCMYK, false, dir.path());
    ASSERT_TRUE(folder);
    updateProfilesListOnPopUpButton(*folder, box);
    ASSERT_EQ(box.count(), 2);
    EXPECT_TRUE(isSeparator(box, 0));
    EXPECT_EQ(box.itemText(1), "Name  (d.icc)");
}
