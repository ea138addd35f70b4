#include "app/command_line.h"

#include <cstdio>
#include <cstring>

#include <QCommandLineParser>
#include <QCoreApplication>

namespace slidebox::app {

namespace {
bool asksForText(const char* arg) {
    for (const char* option : {"-h", "--help", "--help-all", "-v", "--version"})
        if (std::strcmp(arg, option) == 0)
            return true;
    return false;
}
} // namespace

std::optional<int> answerCommandLine(int argc, char** argv) {
    bool asked = false;
    for (int i = 1; i < argc; ++i)
        asked = asked || asksForText(argv[i]);
    if (!asked)
        return std::nullopt;

    // A core application is enough to print: no display is opened.
    QCoreApplication core(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("slidebox"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SLIDEBOX_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Keeps a list of iPhoto libraries, shows the pictures of the selected one in a slide view\n"
        "and makes iPhoto work on the library you pick.\n"
        "The standard Qt options, such as -platform NAME and -style NAME, are accepted too."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    if (!parser.parse(QCoreApplication::arguments())) {
        std::fprintf(stderr, "slidebox: %s\n", qPrintable(parser.errorText()));
        return 2;
    }
    if (parser.isSet(version)) {
        std::printf("slidebox %s\n", SLIDEBOX_VERSION);
        return 0;
    }
    std::fputs(qPrintable(parser.helpText()), stdout);
    return 0;
}

} // namespace slidebox::app
