// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QFrame>

#include <functional>

class QLabel;
class QPushButton;

namespace clipmule {

/// A line that tells what happened, with a button to do something about it. Hidden as long as there
/// is nothing to tell. A screen reader reads it out when it appears.
class NoticeBar final : public QFrame {
    Q_OBJECT

public:
    explicit NoticeBar(QWidget *parent = nullptr);

    /// Without a label there is no button. Showing the same again does nothing.
    void showNotice(const QString &text, const QString &buttonLabel,
                    std::function<void()> buttonPressed, std::function<void()> dismissed = {});

protected:
    void changeEvent(QEvent *event) override;

private:
    void tint();

    QLabel *_text;
    QPushButton *_button;
    QPushButton *_dismiss;
    std::function<void()> _buttonPressed;
    std::function<void()> _dismissed;
};

} // namespace clipmule
