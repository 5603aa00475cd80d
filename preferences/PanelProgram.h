// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

namespace clipmule {

/// Whether there is anywhere to open a window, going by the environment and the arguments.
[[nodiscard]] bool hasDisplay(int argc, char **argv);

/// Opens the window, or brings that of a running instance to the front, and returns the program's
/// exit status when it is closed.
[[nodiscard]] int runPanel(int argc, char **argv);

} // namespace clipmule
