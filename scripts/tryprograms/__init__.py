# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Drives real programs beside the agent and writes down what arrives; see scripts/try-programs."""
