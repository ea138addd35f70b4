#include "app/localized.h"

#include <memory>

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

namespace slidebox::app {

namespace {

constexpr const char* tableContext = "localized";

std::unique_ptr<QTranslator>& installedTable() {
    static std::unique_ptr<QTranslator> table;
    return table;
}

// Qt's own texts (the buttons of the question, the folder chooser), from
// the tables that Qt installs for its languages.
std::unique_ptr<QTranslator>& installedQtTable() {
    static std::unique_ptr<QTranslator> table;
    return table;
}

void installQtTable(const QLocale& locale) {
    auto table = std::make_unique<QTranslator>();
    if (!table->load(locale, QStringLiteral("qtbase"), QStringLiteral("_"),
                     QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        return;
    QCoreApplication::installTranslator(table.get());
    installedQtTable() = std::move(table);
}

} // namespace

QString localizedString(const char* key, const char* value) {
    const QString keyText = QString::fromUtf8(key);
    const QString translated = QCoreApplication::translate(tableContext, key);
    if (translated != keyText)
        return translated;
    // QCoreApplication::translate answers the key both for a missing entry and
    // for an entry that translates to itself; only our own table can tell.
    const auto& table = installedTable();
    if (table && !table->translate(tableContext, key).isEmpty())
        return translated;
    return value ? QString::fromUtf8(value) : keyText;
}

bool installLocalizedTable(const std::filesystem::path& folder, const QLocale& locale) {
    removeLocalizedTable();
    installQtTable(locale);
    auto table = std::make_unique<QTranslator>();
    const QString dir = QString::fromStdString(folder.string());
    bool loaded = table->load(locale, QStringLiteral("slidebox"), QStringLiteral("_"), dir);
    if (!loaded)
        loaded = table->load(QStringLiteral("slidebox_en"), dir);
    if (!loaded)
        return false;
    QCoreApplication::installTranslator(table.get());
    installedTable() = std::move(table);
    return true;
}

void removeLocalizedTable() {
    for (auto* table : {&installedTable(), &installedQtTable()}) {
        if (!*table)
            continue;
        QCoreApplication::removeTranslator(table->get());
        table->reset();
    }
}

} // namespace slidebox::app
