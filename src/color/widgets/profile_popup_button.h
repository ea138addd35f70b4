#pragma once

class QComboBox;

namespace slidebox::color {

class ProfileManager;

/// Fills a pop-up button with a catalogue's rows, in order, so that an
/// item's index is its row: a row named "" becomes a separator, any other
/// an item of its name, with blanks appended until no item before it has
/// that title (two profiles named "Name" show as "Name" and "Name "). The
/// button's items before are removed.
void updateProfilesListOnPopUpButton(const ProfileManager& manager, QComboBox& button);

} // namespace slidebox::color
