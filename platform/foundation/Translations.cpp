// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <memory>

namespace clipmule {

namespace {

bool install(const QLocale &locale, const QString &name, const QString &folder) {
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(locale, name, QStringLiteral("_"), folder))
        return false;
    translator->setParent(QCoreApplication::instance());
    return QCoreApplication::installTranslator(translator.release());
}

} // namespace

bool installTranslations(const QLocale &locale) {
    // The toolkit's own texts, on its buttons, where they are installed.
    const QString toolkit = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    if (!install(locale, QStringLiteral("clipmule"), QStringLiteral(":/translations")))
        return false;
    install(locale, QStringLiteral("qtbase"), toolkit);
    return true;
}

} // namespace clipmule
