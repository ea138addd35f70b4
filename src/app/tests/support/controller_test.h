#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "app/ui_controller.h"
#include "support/app_fixture.h"

namespace slidebox::testing {

/// A controller test: a fresh temporary world, no current event, no
/// language table, the rate limiter at its start.
class ControllerTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /// A generation-6 library with images 1.jpg .. N.jpg under Data/Roll;
    /// in the Pictures folder unless another parent is given.
    std::filesystem::path makeLibrary(const std::string& name, int images,
                                      const std::filesystem::path& parent = {});
    /// initWithWindowKind and activateWindow, as the delegate does.
    std::unique_ptr<app::UIController> start(int kind = 0);

    /// Real clicks on a row of the table.
    static void clickRow(app::UIController& controller, int row,
                         Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    /// A key pressed in the table.
    static void keyInTable(app::UIController& controller, Qt::Key key,
                           Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    /// The path of the record at a row, as text.
    static std::string pathAt(const app::UIController& controller, int row);
    /// The path of the record in the viewer, or "" without one.
    static std::string pathOnShow(const app::UIController& controller);

    AppFixture fixture;
};

} // namespace slidebox::testing
