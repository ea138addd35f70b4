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

// Item texts, "|" for a separator.
QStringList items(const QComboBox& box) {
    QStringList texts;
    for (int i = 0; i < box.count(); ++i)
        texts << (box.itemData(i, Qt::AccessibleDescriptionRole).toString() == "separator"
                      ? QString("|")
                      : box.itemText(i));
    return texts;
}

} // namespace

TEST(ProfilePopUpButton, RowsBecomeItemsNamesAlikeDifferByBlanksAndFolderListsStartWithASeparator) {
    ScopedProfilePlaces places;
    TempDir dir;
    for (auto [name, cls, space, description] :
         {std::tuple{"a.icc", cmDisplayClass, cmRGBData, "Name"},
          {"b.icc", cmDisplayClass, cmRGBData, "Name"},
          {"c.icc", cmDisplayClass, cmRGBData, "Name "},
          {"d.icc", cmOutputClass, cmCMYKData, "Name"}})
        writeProfile(dir, name, catalogueProfile(cls, space, description));
    ProfilePlaces p = ProfilePlaces::underHome(places.home().path());
    p.profileFolders = {dir.path()};
    ProfileManager::setPlaces(p);
    auto m = ProfileManager::initWithUse(kUseDisplay | kUseOutput, kSpaceRGB | kSpaceCMYK);
    ASSERT_TRUE(m);
    ASSERT_EQ(m->count(), 5); // three displays, a separator, the printer

    // The index of an item is its row; "Name " is taken by the row before:
    // two blanks. The catalogue keeps its own names.
    QComboBox box;
    box.addItem("left over");
    updateProfilesListOnPopUpButton(*m, box);
    EXPECT_EQ(items(box), (QStringList{"Name", "Name ", "Name  ", "|", "Name   "}));
    EXPECT_EQ(*m->profileNameAtIndex(1), "Name");

    auto folder = ProfileManager::initWithUse(0, kSpaceCMYK, false, dir.path());
    ASSERT_TRUE(folder);
    updateProfilesListOnPopUpButton(*folder, box);
    EXPECT_EQ(items(box), (QStringList{"|", "Name  (d.icc)"}));
}
