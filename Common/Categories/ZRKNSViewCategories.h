// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>
#include <QPointF>

class QAbstractButton;
class QColor;
class QWidget;

namespace clipmule {

/// What the platform's views can do beyond their own.
namespace ZRKNSViewCategory {

/// All views inside a view, in order, each before those inside it. Windows that merely belong to
/// it are not inside it. Empty when there are none.
[[nodiscard]] QList<QWidget *> allSubviews(const QWidget &view);

} // namespace ZRKNSViewCategory

/// What the platform's buttons can do beyond their own.
namespace ZRKNSButtonCategory {

/// Gives the whole title of a button a shadow; its alignment and font stay. The offset is in
/// points, with y upwards. A second call replaces the shadow. The title itself may change at any
/// time.
void addTitleShadowColorShadowOffset(QAbstractButton &button, const QColor &color, QPointF offset);

} // namespace ZRKNSButtonCategory

} // namespace clipmule
