// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "ui/UpdateQuestion.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

#include <utility>

namespace clipmule {

UpdateQuestion::UpdateQuestion() = default;

UpdateQuestion::~UpdateQuestion() {
    if (_window)
        _window->disconnect();
}

void UpdateQuestion::ask(const QString &version, std::function<void(bool wanted)> answer) {
    if (_window && _version == version) {
        comeForward();
        return;
    }
    if (_window)
        _window->reject();
    _version = version;
    _window = std::make_unique<QMessageBox>();
    _window->setIcon(QMessageBox::Question);
    _window->setWindowTitle(QCoreApplication::translate("Clipmule", "Clipmule Sync"));
    // The version comes from the package manager and holds no markup.
    _window->setTextFormat(Qt::PlainText);
    _window->setText(QCoreApplication::translate(
                         "Clipmule", "Clipmule Sync %1 is available. Do you want to install it?")
                         .arg(version));
    QPushButton *const install = _window->addButton(
        QCoreApplication::translate("Clipmule", "Install"), QMessageBox::AcceptRole);
    _window->addButton(QCoreApplication::translate("Clipmule", "Later"), QMessageBox::RejectRole);
    _window->setDefaultButton(install);
    QObject::connect(_window.get(), &QMessageBox::finished, _window.get(),
                     [this, install, answer = std::move(answer)] {
                         // The callback is a copy: the window that keeps the original goes.
                         const auto callback = answer;
                         const bool wanted = _window->clickedButton() == install;
                         _window.release()->deleteLater();
                         callback(wanted);
                     });
    _window->open();
}

void UpdateQuestion::comeForward() {
    _window->setWindowState(_window->windowState() & ~Qt::WindowMinimized);
    _window->show();
    _window->raise();
    _window->activateWindow();
}

} // namespace clipmule
