// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/bundle/Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <memory>

namespace clipmule {

namespace {

// The name is cut at its underscores until a file is found: that of the territory, or the language.
bool install(const QString &name, const QString &folder) {
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(name, folder))
        return false;
    translator->setParent(QCoreApplication::instance());
    return QCoreApplication::installTranslator(translator.release());
}

QLocale localeOf(QLocale::Language language, const QLocale &named, const QLocale &user) {
    return user.language() == language ? QLocale(language, user.script(), user.territory()) : named;
}

} // namespace

QLocale installTranslations(const QLocale &user) {
    QLocale spoken = localeOf(QLocale::English, QLocale(QLocale::English), user);
    // Not by QTranslator::load(QLocale, …): there is no file for English, which it would pass over.
    const QStringList languages = user.uiLanguages();
    for (const QString &language : languages) {
        const QLocale named(language);
        if (named.language() == QLocale::English || named.language() == QLocale::C)
            break;
        if (install(QStringLiteral("clipmule_") + named.name(), QStringLiteral(":/translations"))) {
            // The toolkit's own texts, on its buttons, where they are installed.
            install(QStringLiteral("qtbase_") + named.name(),
                    QLibraryInfo::path(QLibraryInfo::TranslationsPath));
            spoken = localeOf(named.language(), named, user);
            break;
        }
    }
    QLocale::setDefault(spoken);
    return spoken;
}

} // namespace clipmule
