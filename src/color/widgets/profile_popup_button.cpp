#include "color/widgets/profile_popup_button.h"

#include <QComboBox>
#include <QSet>

#include "color/profile_manager.h"

namespace slidebox::color {

void updateProfilesListOnPopUpButton(const ProfileManager& manager, QComboBox& button) {
    button.clear();
    // The titles on the button so far, separators included (their title is
    // ""), kept aside so that a long list isn't searched item by item.
    QSet<QString> titles;
    for (const std::string& name : manager.profilesNameArray()) {
        if (name.empty()) {
            button.insertSeparator(button.count());
            titles.insert(QString());
            continue;
        }
        QString title = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
        while (titles.contains(title))
            title += QLatin1Char(' ');
        titles.insert(title);
        button.addItem(title);
    }
    // A combo box's items are enabled unless one is disabled, so there is
    // no automatic enabling to switch off after the first row.
}

} // namespace slidebox::color
