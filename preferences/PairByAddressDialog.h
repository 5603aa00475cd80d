// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace clipmule {

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
