// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tools/Tool.h"

// Each tool is this with its own name and Tool::Run, which the build says.
int main(int argc, char *argv[]) {
    return clipmule::Tool::main(argc, argv, CLIPMULE_TOOL, clipmule::CLIPMULE_TOOL_RUN);
}
