// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/HelpManager.h"

#include "platform/desktop/HelpBooks.h"

#include <QDesktopServices>

namespace clipmule {

namespace {

class BrowserHelpManager final : public HelpManager {
public:
    bool registerBooksInBundle(const Bundle &bundle) override {
        return _books.registerBooksInBundle(bundle);
    }
    void openHelpAnchorInBook(const QString &anchor, const QString &book) override {
        const QUrl url = _books.url(anchor, book);
        if (url.isValid())
            QDesktopServices::openUrl(url);
    }

private:
    HelpBooks _books;
};

} // namespace

std::unique_ptr<HelpManager> makeHelpManager() {
    return std::make_unique<BrowserHelpManager>();
}

} // namespace clipmule
