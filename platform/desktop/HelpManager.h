// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QMap>
#include <QString>
#include <QUrl>

#include <memory>

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

/// Shows help books: folders of pages, which a bundle names in its information dictionary.
class HelpManager {
public:
    HelpManager() = default;
    virtual ~HelpManager() = default;
    HelpManager(const HelpManager &) = delete;
    HelpManager &operator=(const HelpManager &) = delete;

    /// Makes the bundle's book known. False when it has none.
    virtual bool registerBooksInBundle(const Bundle &bundle) = 0;
    /// Opens the book's first page at that anchor. Nothing for a book that is not registered.
    virtual void openHelpAnchorInBook(const QString &anchor, const QString &book) = 0;
};

/// Shows help books in the user's browser.
[[nodiscard]] std::unique_ptr<HelpManager> makeHelpManager();

} // namespace clipmule
