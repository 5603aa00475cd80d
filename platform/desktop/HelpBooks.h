// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QMap>
#include <QString>
#include <QUrl>

namespace clipmule {

class Bundle;

/// Where the pages of the registered help books are.
class HelpBooks {
public:
    /// The bundle's information dictionary names its book ("CFBundleHelpBookName") and the folder
    /// of its pages ("CFBundleHelpBookFolder", relative to the bundle and inside it). False when
    /// there is no such book, or it has no first page.
    bool registerBooksInBundle(const Bundle &bundle);
    /// The first page ("index.html") at the anchor; invalid for an unknown book.
    [[nodiscard]] QUrl url(const QString &anchor, const QString &book) const;

private:
    QMap<QString, QString> _firstPages;
};

} // namespace clipmule
