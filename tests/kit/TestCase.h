// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>
#include <QRegularExpression>

namespace clipmule::kit {

/// What the class of every test program is. A warning, the toolkit's or our own, fails the test
/// that did not announce it.
class TestCase : public QObject {
    Q_OBJECT

protected:
    /// `forbidden` finds the warnings that fail a test; everything, unless a program has its
    /// reasons.
    explicit TestCase(const QString &forbidden = QStringLiteral(".*"))
        : _forbidden(forbidden) {}

    /// Prepares each row of each test; checks may fail in it, and the row is then not run.
    virtual void begin() {}
    /// Tidies up after each row that was run, also after one that failed.
    virtual void end() {}

private Q_SLOTS:
    void init();
    void cleanup();

private:
    QRegularExpression _forbidden;
};

} // namespace clipmule::kit
