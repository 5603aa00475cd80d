// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include <QString>

#include <memory>

namespace clipmule {

class Bundle;

/// Shows help books: folders of pages, which a bundle names in its information dictionary.
class HelpManager {
public:
    HelpManager() = default;
    virtual ~HelpManager() = default;
    HelpManager(const HelpManager &) = delete;
    HelpManager &operator=(const HelpManager &) = delete;

    /// Makes the bundle's book known ("CFBundleHelpBookName", in the folder
    /// "CFBundleHelpBookFolder"). False when it has none.
    virtual bool registerBooksInBundle(const Bundle &bundle) = 0;
    /// Opens the book's first page at that anchor. Nothing for a book that is not registered.
    virtual void openHelpAnchorInBook(const QString &anchor, const QString &book) = 0;
};

/// Shows help books in the user's browser.
[[nodiscard]] std::unique_ptr<HelpManager> makeHelpManager();

} // namespace clipmule
