#pragma once

#include <filesystem>

#include <QLocale>
#include <QString>

namespace slidebox::app {

/// The application's string table, "localized": Qt translations whose
/// context is "localized" and whose keys are the English texts.

/// The translation of the key in the table "localized"; when the table has
/// no entry for the key, the value (or the key itself when value is null).
/// A key the table translates to itself counts as present.
QString localizedString(const char* key, const char* value = nullptr);

/// Loads "slidebox_<language>.qm" for the locale from the folder (English
/// when the locale's language has no table) and installs it in the
/// application, with Qt's own table for the locale ("qtbase_<language>.qm"
/// from Qt's translations folder) so that Qt's dialogs speak the same
/// language. Replaces the tables installed before. False when no table of
/// Slidebox could be loaded; the texts then stay English through the
/// fallbacks.
bool installLocalizedTable(const std::filesystem::path& folder, const QLocale& locale = QLocale());

/// Takes the installed tables out again (tests).
void removeLocalizedTable();

} // namespace slidebox::app
