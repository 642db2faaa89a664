// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How the picture is shown, in the controls, the menus and the settings alike.
#pragma once

#include "app/common/Actions.h"
#include "app/common/Settings.h"
#include "app/panes/ControlsPane.h"
#include "app/stage/PreviewWidget.h"

namespace app {

/// Adds the controls to the pane and applies what the settings remember. All must live as long as
/// the pane.
void addPictureControls(ControlsPane& pane, const Actions& actions, PreviewWidget& view,
                        Settings& settings);

} // namespace app
