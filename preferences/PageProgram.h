// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/session/UserServices.h"
#include "preferences/AutostartEntry.h"

#include <QTemporaryFile>

namespace clipmule {

/// The program that serves the page for phones' browsers, clipmule-web: whether it is installed,
/// how it is started, now and at login, and what it is to do with a paired browser. It is a unit of
/// the session's service manager; where none knows it, a process of its own and an autostart entry.
class PageProgram final {
public:
    /// What it complains about is read up to so many bytes.
    static constexpr qint64 longestComplaint = 4096;

    /// The program is a path or a name; the services outlive this object.
    PageProgram(QString program, UserServices &services, AutostartEntry atLogin);
    /// The one beside this program, or that the user's path leads to.
    [[nodiscard]] static QString standardProgram();
    /// The autostart entry of that program, in the folders that the environment names.
    [[nodiscard]] static AutostartEntry standardEntry();

    /// It may come and go while a window is open.
    [[nodiscard]] bool isInstalled() const;
    /// Starts its unit; false where there is none.
    void startUnit(std::function<void(bool)> answer);
    /// Starts it as a process, which stays when this one ends.
    [[nodiscard]] bool startItself();
    /// Whether that process is gone again.
    [[nodiscard]] bool itselfHasEnded() const;
    /// The last thing that process complained about, on one line; empty when it did not.
    [[nodiscard]] QString complaint();

    /// Whether it is started at login, as far as is known yet.
    [[nodiscard]] bool isAtLogin() const { return _isAtLogin; }
    /// Finds it out; onLoginChange is called when it is known.
    void look();
    /// Switches it, and starts it or ends it. onLoginChange is called when that is done.
    void setAtLogin(bool on);
    std::function<void()> onLoginChange;
    /// It could not be switched: why, in the system's words.
    std::function<void(const QString &)> onProblem;

    // It does these whether it serves just now or not. Nothing happens for a phone that is no
    // browser.
    void rename(const QString &service, const QString &name) const;
    void revoke(const QString &service) const;

private:
    void knowsAtLogin(bool on);
    void tell(const QStringList &words) const;

    QString _program;
    UserServices &_services;
    AutostartEntry _entry;
    bool _hasUnit = false;
    bool _isAtLogin = false;
    qint64 _process = 0;
    std::unique_ptr<QTemporaryFile> _complaints;
};

} // namespace clipmule
