// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace clipmule {

/// What the system calls a platform exception: raised by codecs, archives, checked access to
/// property lists and by delegates, and caught exactly at the places that say so. Any other
/// exception passes those places.
class PlatformException : public std::exception {
public:
    PlatformException(QString name, QString reason)
        : _name(std::move(name))
        , _reason(std::move(reason))
        , _what((_name + QStringLiteral(": ") + _reason).toUtf8()) {}

    /// Which kind of failure, for example "InvalidArgument"; never empty.
    [[nodiscard]] const QString &name() const noexcept { return _name; }
    /// What went wrong, for people; the text that a log line carries.
    [[nodiscard]] const QString &reason() const noexcept { return _reason; }
    /// The name and the reason as UTF-8.
    [[nodiscard]] const char *what() const noexcept override { return _what.constData(); }

private:
    QString _name;
    QString _reason;
    QByteArray _what;
};

} // namespace clipmule
