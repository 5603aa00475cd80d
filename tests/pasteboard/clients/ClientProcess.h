// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QProcess>
#include <QStringList>

namespace clipmule::kit {

/// A client program of this folder, run and spoken to by a test. It ends with the object.
class ClientProcess {
public:
    /// "gtk" or "qt".
    explicit ClientProcess(const QString &toolkit, const QString &display = {});
    ~ClientProcess();
    ClientProcess(const ClientProcess &) = delete;
    ClientProcess &operator=(const ClientProcess &) = delete;

    /// Waits until its window has the focus.
    [[nodiscard]] bool isReady();
    /// Sends a command and waits for its answer: a line, empty when there was none. "nothing"
    /// when it could not.
    [[nodiscard]] QString ask(const QString &command);
    /// The field's text after its last change, waited for until it is this one.
    [[nodiscard]] bool shows(const QString &text);
    [[nodiscard]] QString shownText() const { return _text; }

private:
    void readLines();

    QProcess _process;
    bool _isReady = false;
    bool _isAsking = false;
    QString _expected;
    QString _answer;
    QString _text;
};

} // namespace clipmule::kit
