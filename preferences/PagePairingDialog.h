// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "preferences/PagePairing.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace clipmule {

/// A QR code, dark on light whatever the desktop's colours are: cameras do not read the opposite.
/// Each module covers the same number of the screen's pixels.
class QrView final : public QWidget {
    Q_OBJECT

public:
    explicit QrView(QWidget *parent = nullptr);

    /// The signs of PagePairing::Code; nothing for an empty field.
    void showCode(const QStringList &rows);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QStringList _rows;
};

/// Adds a phone by its browser: shows the code and the link, says what to do with them, what
/// becomes of them, and what may be in the way when nothing does.
class PagePairingDialog final : public QDialog {
    Q_OBJECT

public:
    /// Both outlive it. The code is asked for at once.
    PagePairingDialog(PagePairing &pairing, const PageProgram &program, QWidget *parent = nullptr);
    ~PagePairingDialog() override;

private:
    QLayout *makeLinkRow();
    QLayout *makeButtons();
    void showStage();
    void copyLink();
    [[nodiscard]] QString status() const;
    [[nodiscard]] QString advice() const;

    PagePairing &_pairing;
    const PageProgram &_program;
    QLabel *_steps;
    QrView *_picture;
    QWidget *_linkRow;
    QLineEdit *_link;
    QLabel *_status;
    QLabel *_advice;
    QPushButton *_renew;
    QPushButton *_close;
};

} // namespace clipmule
