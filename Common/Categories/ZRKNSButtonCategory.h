// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QPointF>

class QAbstractButton;
class QColor;

namespace clipmule {

/// What the platform's buttons can do beyond their own.
namespace ZRKNSButtonCategory {

/// Gives the whole title of a button a shadow; its alignment and font stay. The offset is in
/// points, with y upwards. A second call replaces the shadow. The title itself may change at any
/// time.
void addTitleShadowColorShadowOffset(QAbstractButton &button, const QColor &color, QPointF offset);

} // namespace ZRKNSButtonCategory

} // namespace clipmule
