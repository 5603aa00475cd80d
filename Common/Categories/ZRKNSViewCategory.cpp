// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "Common/Categories/ZRKNSViewCategory.h"

#include <QWidget>

namespace clipmule::ZRKNSViewCategory {

QList<QWidget *> allSubviews(const QWidget &view) {
    QList<QWidget *> all;
    for (QObject *const child : view.children()) {
        auto *const subview = qobject_cast<QWidget *>(child);
        if (!subview || subview->isWindow())
            continue;
        all.append(subview);
        all.append(allSubviews(*subview));
    }
    return all;
}

} // namespace clipmule::ZRKNSViewCategory
