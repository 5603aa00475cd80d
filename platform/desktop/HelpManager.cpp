// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/HelpManager.h"

#include "platform/bundle/Bundle.h"

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

bool HelpBooks::registerBooksInBundle(const Bundle &bundle) {
    const QString name = bundle.infoText(QStringLiteral("CFBundleHelpBookName"));
    const QString folder = bundle.infoText(QStringLiteral("CFBundleHelpBookFolder"));
    if (name.isEmpty() || folder.isEmpty() || folder.contains(QStringLiteral("..")))
        return false;
    const QString page =
        bundle.pathForResource(folder + QStringLiteral("/index"), QStringLiteral("html"));
    if (page.isEmpty())
        return false;
    _firstPages.insert(name, page);
    return true;
}

QUrl HelpBooks::url(const QString &anchor, const QString &book) const {
    const QString page = _firstPages.value(book);
    if (page.isEmpty())
        return {};
    QUrl url = QUrl::fromLocalFile(page);
    url.setFragment(anchor);
    return url;
}

std::unique_ptr<HelpManager> makeHelpManager() {
    return std::make_unique<BrowserHelpManager>();
}

} // namespace clipmule
