// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tools/Tool.h"

int main(int argc, char *argv[]) {
    return clipmule::Tool::main(argc, argv, "clipmule-filter", clipmule::FilterCommand::run);
}
