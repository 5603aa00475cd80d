// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/PropertyList.h"

#include <QList>
#include <QLocale>
#include <QString>

#include <memory>
#include <optional>

namespace clipmule {

/// An installation folder: an information dictionary ("Info.plist") and resources, some of them in
/// localisations ("English.lproj/Defaults.xml"). A value: cheap to copy, equal when the paths are.
///
/// Nothing is read before it is asked for; the information dictionary is read once. Main thread.
class Bundle {
public:
    /// A property-list resource that is larger is treated as damaged: the largest one of ours has
    /// some tens of kilobytes.
    static constexpr qint64 largestPropertyListFile = 4 * 1024 * 1024;

    /// The folder need not exist; a bundle without a folder answers as an empty one.
    explicit Bundle(const QString &path);

    /// Absolute, without a slash at the end.
    [[nodiscard]] QString path() const;
    /// The contents of "Info.plist"; empty when the file is missing, or (with a log line) damaged.
    [[nodiscard]] const PropertyList::Dictionary &infoDictionary() const;
    /// The text under a key of the information dictionary; empty where there is none.
    [[nodiscard]] QString infoText(const QString &key) const;
    [[nodiscard]] QString identifier() const {
        return infoText(QStringLiteral("CFBundleIdentifier"));
    }

    /// The path of the file "name.type" of the given localisation ("English"), or, when that is
    /// empty, of the one that belongs to none. Empty when there is no such file. A localised
    /// resource is not looked up among the others, nor the other way round.
    [[nodiscard]] QString pathForResource(const QString &name, const QString &type,
                                          const QString &localisation = QString()) const;
    /// The contents of such a file, in any property-list form. Missing when the file is missing,
    /// or (with a log line) damaged.
    [[nodiscard]] std::optional<PropertyList>
    propertyListResource(const QString &name, const QString &type,
                         const QString &localisation = QString()) const;

    /// The program's own bundle: the folder named by the environment variable CLIPMULE_RESOURCES;
    /// else the source's resources for a program that runs from its build tree; else the installed
    /// data folder beside the executable's.
    [[nodiscard]] static Bundle mainBundle();
    /// The main bundle, then those that were loaded and are no frameworks, in the order of loading.
    [[nodiscard]] static QList<Bundle> allBundles();
    /// The loaded bundles whose path has the extension "framework", in the order of loading.
    [[nodiscard]] static QList<Bundle> allFrameworks();
    /// Adds a bundle to the loaded ones, once.
    static void load(const Bundle &bundle);
    static void unload(const Bundle &bundle);

    friend bool operator==(const Bundle &left, const Bundle &right) {
        return left.path() == right.path();
    }

private:
    struct Contents;
    std::shared_ptr<Contents> _contents;
};

/// Texts are looked up in the first of the user's languages that the program speaks, for as long as
/// the application exists; those without a translation stay as they are. English, the language of
/// the keys, is spoken as well and ends the search; it is also what is left when the program speaks
/// none of the languages.
///
/// Lists, dates, numbers and units follow the texts: the default locale becomes that of the
/// language found, with the user's own territory where the user's locale has this language.
///
/// Returns that locale. Needs an application; call it once.
QLocale installTranslations(const QLocale &user = QLocale());

} // namespace clipmule
