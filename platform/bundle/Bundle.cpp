// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/bundle/Bundle.h"

#include "platform/foundation/FileHandle.h"
#include "platform/foundation/Log.h"
#include "platform/propertylist/PropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

#include <memory>

namespace clipmule {

struct Bundle::Contents {
    QString path;
    std::optional<PropertyList::Dictionary> info;
};

namespace {

/// Missing when the file is; a damaged file is said in the log, since it is part of the
/// installation and nobody else would notice.
std::optional<PropertyList> readPropertyList(const QString &path) {
    const auto file = RegularFile::read(path, Bundle::largestPropertyListFile);
    if (file && !*file)
        return std::nullopt;
    const auto parsed = file.and_then([](const std::optional<QByteArray> &bytes) {
        return PropertyListSerialization::parse(*bytes);
    });
    if (parsed)
        return *parsed;
    qCWarning(logFoundation).noquote() << path + QStringLiteral(": ") + parsed.error().reason;
    return std::nullopt;
}

QString mainBundlePath() {
    QString chosen = qEnvironmentVariable("CLIPMULE_RESOURCES");
    if (!chosen.isEmpty())
        return chosen;
    const QString programFolder =
        QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget().section(u'/', 0, -2);
    return programFolder + QStringLiteral("/" CLIPMULE_DATA_FROM_PROGRAMS);
}

QList<Bundle> &loadedBundles() {
    static QList<Bundle> bundles;
    return bundles;
}

bool isFramework(const Bundle &bundle) {
    return bundle.path().endsWith(u".framework");
}

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

Bundle::Bundle(const QString &path)
    : _contents(std::make_shared<Contents>()) {
    _contents->path = QDir::cleanPath(QDir(path).absolutePath());
}

QString Bundle::path() const {
    return _contents->path;
}

const PropertyList::Dictionary &Bundle::infoDictionary() const {
    if (!_contents->info) {
        const auto info = readPropertyList(_contents->path + QStringLiteral("/Info.plist"));
        _contents->info = info ? info->dictionary({}) : PropertyList::Dictionary();
    }
    return *_contents->info;
}

QString Bundle::infoText(const QString &key) const {
    const auto *text = find<QString>(infoDictionary(), key);
    return text ? *text : QString();
}

QString Bundle::pathForResource(const QString &name, const QString &type,
                                const QString &localisation) const {
    QString path = _contents->path + u'/';
    if (!localisation.isEmpty())
        path += localisation + QStringLiteral(".lproj/");
    path += name;
    if (!type.isEmpty())
        path += u'.' + type;
    return QFileInfo(path).isFile() ? path : QString();
}

std::optional<PropertyList> Bundle::propertyListResource(const QString &name, const QString &type,
                                                         const QString &localisation) const {
    const QString path = pathForResource(name, type, localisation);
    return path.isEmpty() ? std::nullopt : readPropertyList(path);
}

Bundle Bundle::mainBundle() {
    // Kept, so that its information dictionary is read once; found anew when the environment names
    // another folder.
    static std::optional<Bundle> known;
    const Bundle found(mainBundlePath());
    if (!known || !(*known == found))
        known = found;
    return *known;
}

QList<Bundle> Bundle::allBundles() {
    QList<Bundle> bundles{mainBundle()};
    for (const Bundle &bundle : std::as_const(loadedBundles())) {
        if (!isFramework(bundle) && !bundles.contains(bundle))
            bundles.append(bundle);
    }
    return bundles;
}

QList<Bundle> Bundle::allFrameworks() {
    QList<Bundle> frameworks;
    for (const Bundle &bundle : std::as_const(loadedBundles())) {
        if (isFramework(bundle))
            frameworks.append(bundle);
    }
    return frameworks;
}

void Bundle::load(const Bundle &bundle) {
    if (!loadedBundles().contains(bundle))
        loadedBundles().append(bundle);
}

void Bundle::unload(const Bundle &bundle) {
    loadedBundles().removeAll(bundle);
}

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
