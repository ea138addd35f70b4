// The words on a gamut image drawn with Qt: in slidebox-cli-commands, and
// in the module slidebox-cli-words.so that slidebox-cli-compare loads.
#include <QGuiApplication>

#include <algorithm>
#include <cstring>
#include <memory>

#include "cli/no_difference_words.h"
#include "color/lab_comparison.h"

namespace slidebox::cli {

namespace {

// The font needs a GUI application, made only for the words: making one
// and ending it costs more than a small comparison. The command line draws
// offscreen and never needs a display. Outside a desktop session (cron, a
// container) there is no runtime folder, and Qt would say so on standard
// error where the command's own reasons go: the platform needs none for
// offscreen drawing, so that one remark is dropped.
std::unique_ptr<QGuiApplication> guiApplication() {
    if (QGuiApplication::instance())
        return nullptr;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "slidebox-cli";
    static char* argv[] = {name, nullptr};
    static QtMessageHandler previous = nullptr;
    previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& text) {
            if (!text.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set")))
                previous(type, context, text);
        });
    auto application = std::make_unique<QGuiApplication>(argc, argv);
    qInstallMessageHandler(previous);
    return application;
}

} // namespace

platform::Status writeNoDifferenceWords(std::uint8_t* rows, std::uint32_t width,
                                        std::uint32_t height, std::size_t rowBytes) {
    const auto application = guiApplication();
    return color::LabComparison::drawNoDifferenceOnRows(rows, width, height, rowBytes);
}

} // namespace slidebox::cli

// What slidebox-cli-compare finds in the module: 0 when the words are
// written, else the reason in reason (reasonSize bytes, ended by 0).
extern "C" __attribute__((visibility("default"))) int
slidebox_cli_write_no_difference(std::uint8_t* rows, std::uint32_t width, std::uint32_t height,
                                 std::size_t rowBytes, char* reason, std::size_t reasonSize) {
    const auto status = slidebox::cli::writeNoDifferenceWords(rows, width, height, rowBytes);
    if (status.ok())
        return 0;
    if (reasonSize > 0) {
        const std::size_t n = std::min(reasonSize - 1, status.message().size());
        std::memcpy(reason, status.message().data(), n);
        reason[n] = '\0';
    }
    return 1;
}
