// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/session/UserServices.h"

#include <QFile>
#include <QStringList>

namespace clipmule::kit {

/// A service manager that answers at once, and as a test says.
class FakeUserServices final : public UserServices {
public:
    void look(const QString &unit, std::function<void(AtLogin)> answer) override {
        asked.append(QStringLiteral("look ") + unit);
        answer(atLogin);
    }
    void start(const QString &unit, std::function<void(bool)> answer) override {
        asked.append(QStringLiteral("start ") + unit);
        if (onStart)
            onStart();
        answer(atLogin != AtLogin::Unknown);
    }
    void setAtLogin(const QString &unit, bool on,
                    std::function<void(const Result<void> &)> answer) override {
        asked.append((on ? QStringLiteral("on ") : QStringLiteral("off ")) + unit);
        if (!problem.isEmpty()) {
            answer(failure(problem));
            return;
        }
        atLogin = on ? AtLogin::On : AtLogin::Off;
        answer({});
    }

    AtLogin atLogin = AtLogin::Unknown;
    /// Why nothing can be switched.
    QString problem;
    std::function<void()> onStart;
    QStringList asked;
};

/// A program of a few lines of shell.
inline void writeProgram(const QString &path, const QByteArray &lines) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\n" + lines) < 0)
        qFatal("no program");
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace clipmule::kit
