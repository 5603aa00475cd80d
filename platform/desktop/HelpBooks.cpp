// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/desktop/HelpBooks.h"

#include "platform/bundle/Bundle.h"

namespace clipmule {

namespace {

QString text(const Bundle &bundle, const QString &key) {
    const PropertyList *const value = find(bundle.infoDictionary(), key);
    const auto *const found = value ? value->as<QString>() : nullptr;
    return found ? *found : QString();
}

} // namespace

bool HelpBooks::registerBooksInBundle(const Bundle &bundle) {
    const QString name = text(bundle, QStringLiteral("CFBundleHelpBookName"));
    const QString folder = text(bundle, QStringLiteral("CFBundleHelpBookFolder"));
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

} // namespace clipmule
