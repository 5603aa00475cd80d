// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "support/Settings.h"

#include <QColor>
#include <QDialog>
#include <QFrame>
#include <QList>

class QAbstractItemView;
class QLabel;
class QLayout;
class QLineEdit;
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
/// The view on the first page; on the second, in its stead, the hints.
QStackedWidget *makePages(QAbstractItemView *view, const QList<QLabel *> &hints, QWidget *parent);

/// That share of the other colour in the first.
[[nodiscard]] QColor mixed(const QColor &one, const QColor &other, double share);

} // namespace WindowParts

/// A line that tells what went wrong, until it is dismissed. Hidden as long as there is nothing to
/// tell. A screen reader reads it out when it appears.
class NoticeBar final : public QFrame {
    Q_OBJECT

public:
    explicit NoticeBar(QWidget *parent = nullptr);

    /// Showing the same again does nothing.
    void showNotice(const QString &text);

protected:
    void changeEvent(QEvent *event) override;

private:
    void tint();

    QLabel *_text;
};

/// What was synced so far, a value with its name below for each kind.
class StatisticsRow final : public QWidget {
    Q_OBJECT

public:
    explicit StatisticsRow(QWidget *parent = nullptr);

    void showStatistics(const SettingsStores::Statistics &statistics);

private:
    QList<std::pair<QLabel *, QString>> _counters;
};

/// Asks for a phone's name and address, for networks that discovery does not get through. It is
/// accepted only with a name and an address that can be used, and says what is wrong until then.
class PairByAddressDialog final : public QDialog {
    Q_OBJECT

public:
    explicit PairByAddressDialog(QWidget *parent = nullptr);

    /// The phone's name, without blanks around it.
    [[nodiscard]] QString phoneName() const;
    /// The phone's address, as HostAndPort writes it.
    [[nodiscard]] QString address() const;

private:
    void check();

    QLineEdit *_name;
    QLineEdit *_address;
    QLabel *_problem;
    QPushButton *_pair;
};

} // namespace clipmule
