# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Why a row of the table is as it is, where the agent cannot help it."""

REASONS = {}
