// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>

class QWidget;

namespace clipmule {

/// What the platform's views can do beyond their own.
namespace ZRKNSViewCategory {

/// All views inside a view, in order, each before those inside it. Windows that merely belong to
/// it are not inside it. Empty when there are none.
[[nodiscard]] QList<QWidget *> allSubviews(const QWidget &view);

} // namespace ZRKNSViewCategory

} // namespace clipmule
