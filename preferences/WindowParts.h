// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>

class QAbstractItemView;
class QLabel;
class QLayout;
class QPushButton;
class QStackedWidget;
class QString;
class QWidget;

namespace clipmule {

/// The building blocks of the window, each looking the same wherever it is used. Owned by their
/// parent.
namespace WindowParts {

// Distances in device-independent pixels.
inline constexpr int margin = 18;
inline constexpr int sectionGap = 16;
inline constexpr int lineGap = 6;

/// A heading above a section; its mnemonic leads to its buddy.
QLabel *makeHeading(const QString &text, QWidget *parent);
/// A label for smaller words beside something.
QLabel *makeHint(QWidget *parent);
QWidget *makeLine(QWidget *parent);
/// The view on the first page; on the second, in its stead, the hints.
QStackedWidget *makePages(QAbstractItemView *view, const QList<QLabel *> &hints, QWidget *parent);
/// Puts the buttons at the end of the line.
QLayout *makeButtonRow(const QList<QPushButton *> &buttons);
/// A value with its name below.
QLayout *makeCounter(QLabel *value, const QString &name, QWidget *parent);

} // namespace WindowParts

} // namespace clipmule
