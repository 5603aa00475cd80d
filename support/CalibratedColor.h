// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

namespace clipmule {

/// A colour as preferences hold it: calibrated RGB, each component from 0 to 1.
struct CalibratedColor {
    float red = 0;
    float green = 0;
    float blue = 0;
    float alpha = 0;

    friend bool operator==(const CalibratedColor &, const CalibratedColor &) = default;
};

} // namespace clipmule
