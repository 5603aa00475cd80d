// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PairedBrowsers.h"

#include "model/DataFile.h"
#include "platform/foundation/LocalNames.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace clipmule {

namespace {

const QString versionKey = QStringLiteral("version");
// Of the file's form. The first one had no number.
constexpr int version = 1;
const QString browsersKey = QStringLiteral("browsers");
const QString idKey = QStringLiteral("id");
const QString keyKey = QStringLiteral("key");
const QString nameKey = QStringLiteral("name");
const QString serviceKey = QStringLiteral("service");
const QString createdKey = QStringLiteral("created");
const QString lastSeenKey = QStringLiteral("lastSeen");
// Of an id, in a list for people: enough to tell 32 apart.
constexpr qsizetype shownDigits = 8;

QString hex(QByteArrayView bytes) {
    return QString::fromLatin1(bytes.toByteArray().toHex());
}

// Cut to so many bytes of UTF-8, at a whole character.
QString cut(const QString &text, qsizetype bytes) {
    QString result = text;
    while (result.toUtf8().size() > bytes)
        result.chop(result.back().isLowSurrogate() ? 2 : 1);
    return result;
}

QJsonObject asJson(const PairedBrowsers::Browser &browser) {
    return {{idKey, hex(browser.key.id)},
            {keyKey, hex(browser.key.key.view())},
            {nameKey, browser.name},
            {serviceKey, browser.service},
            {createdKey, browser.created.secondsSinceReference},
            {lastSeenKey, browser.lastSeen.secondsSinceReference}};
}

std::optional<PairedBrowsers::Browser> fromJson(const QJsonObject &object) {
    const QByteArray id = QByteArray::fromHex(object[idKey].toString().toLatin1());
    const QByteArray key = QByteArray::fromHex(object[keyKey].toString().toLatin1());
    const QString name = object[nameKey].toString();
    const QString service = object[serviceKey].toString();
    if (id.size() != PageKey::idSize || key.size() != qsizetype(SecretKey::size) ||
        name.isEmpty() || service.isEmpty())
        return std::nullopt;
    return PairedBrowsers::Browser{{id, SecretKey(key)},
                                   PairedBrowsers::cleaned(name),
                                   PairedBrowsers::cleaned(service),
                                   Date{object[createdKey].toDouble()},
                                   Date{object[lastSeenKey].toDouble()}};
}

} // namespace

QString PairedBrowsers::Browser::shortId() const {
    return hex(key.id).first(shownDigits);
}

QString PairedBrowsers::cleaned(const QString &name) {
    QString plain;
    for (const QChar character : name.simplified()) {
        const auto category = character.category();
        if (category != QChar::Other_Control && category != QChar::Other_Format)
            plain += character;
    }
    plain = cut(QString::fromUtf8(plain.toUtf8()).trimmed(), longestName).trimmed();
    return plain.isEmpty() ? QStringLiteral("Browser") : plain;
}

Result<void> PairedBrowsers::load() {
    const auto bytes = DataFile::read(_path, largestFile);
    if (!bytes)
        return tl::unexpected(bytes.error());
    if (!*bytes)
        return {};
    const QJsonObject root = QJsonDocument::fromJson(**bytes).object();
    const int written = root[versionKey].toInt(root.contains(versionKey) ? 0 : version);
    if (written > version)
        return failure(QStringLiteral("%1 was written by a newer clipmule-web").arg(_path));
    if (written < 1 || !root[browsersKey].isArray())
        return failure(QStringLiteral("%1 is damaged").arg(_path));
    std::list<Browser> browsers;
    for (const auto &value : root[browsersKey].toArray()) {
        auto browser = fromJson(value.toObject());
        if (!browser || browsers.size() == mostBrowsers)
            return failure(QStringLiteral("%1 is damaged").arg(_path));
        browsers.push_back(*browser);
    }
    _browsers = std::move(browsers);
    return {};
}

Result<void> PairedBrowsers::save() const {
    QJsonArray array;
    for (const Browser &browser : _browsers)
        array.append(asJson(browser));
    const QJsonObject root{{versionKey, version}, {browsersKey, array}};
    return DataFile::write(_path, QJsonDocument(root).toJson(), largestFile);
}

std::optional<SecretKey> PairedBrowsers::keyOf(QByteArrayView id) const {
    std::optional<SecretKey> found;
    // To the end, wherever it is.
    for (const Browser &browser : _browsers) {
        if (PageKeys::areEqual(browser.key.id, id))
            found = browser.key.key;
    }
    return found;
}

const PairedBrowsers::Browser *PairedBrowsers::withId(QByteArrayView id) const {
    const auto found = std::find_if(_browsers.begin(), _browsers.end(), [&](const auto &browser) {
        return PageKeys::areEqual(browser.key.id, id);
    });
    return found == _browsers.end() ? nullptr : &*found;
}

std::list<PairedBrowsers::Browser>::iterator PairedBrowsers::at(QByteArrayView id) {
    return std::find_if(_browsers.begin(), _browsers.end(), [&](const auto &browser) {
        return PageKeys::areEqual(browser.key.id, id);
    });
}

Result<const PairedBrowsers::Browser *> PairedBrowsers::find(const QString &nameOrId) const {
    QList<const Browser *> named;
    for (const Browser &browser : _browsers) {
        if (LocalNames::serviceNamed(browser.service) == nameOrId)
            return &browser;
        if (browser.name == nameOrId ||
            (nameOrId.size() >= shownDigits && hex(browser.key.id).startsWith(nameOrId)))
            named.append(&browser);
    }
    if (named.isEmpty())
        return failure(
            QStringLiteral("no browser “%1” is paired; “list” shows those that are").arg(nameOrId));
    if (named.size() > 1)
        return failure(QStringLiteral("more than one browser is called “%1”; name it by its id, "
                                      "which “list” shows")
                           .arg(nameOrId));
    return named[0];
}

QString PairedBrowsers::freeService(const QString &name) const {
    QString service = name;
    const auto isTaken = [&] {
        return std::any_of(_browsers.begin(), _browsers.end(),
                           [&](const Browser &browser) { return browser.service == service; });
    };
    for (int number = 2; isTaken(); ++number) {
        const QString suffix = QStringLiteral(" (%1)").arg(number);
        service = cut(name, longestName - suffix.size()) + suffix;
    }
    return service;
}

Result<const PairedBrowsers::Browser *> PairedBrowsers::add(const PageKey &key,
                                                            const QString &name) {
    if (_browsers.size() >= mostBrowsers)
        return failure(QStringLiteral("%1 browsers are paired already; revoke one that is not used "
                                      "any more")
                           .arg(mostBrowsers));
    const QString plain = cleaned(name);
    const Date now = Date::now();
    _browsers.push_back({key, plain, freeService(plain), now, now});
    if (auto saved = save(); !saved) {
        _browsers.pop_back();
        return tl::unexpected(saved.error());
    }
    return &_browsers.back();
}

Result<void> PairedBrowsers::rename(const QByteArray &id, const QString &name) {
    const auto browser = at(id);
    if (browser == _browsers.end())
        return failure(QStringLiteral("no such browser is paired"));
    const QString before = std::exchange(browser->name, cleaned(name));
    auto saved = save();
    if (!saved)
        browser->name = before;
    return saved;
}

Result<void> PairedBrowsers::remove(const QByteArray &id) {
    const auto browser = at(id);
    if (browser == _browsers.end())
        return failure(QStringLiteral("no such browser is paired"));
    // Out of sight and back again, at the same place in memory.
    std::list<Browser> removed;
    const auto next = std::next(browser);
    removed.splice(removed.begin(), _browsers, browser);
    auto saved = save();
    if (!saved)
        _browsers.splice(next, removed);
    return saved;
}

void PairedBrowsers::sawNow(const QByteArray &id) {
    const auto browser = at(id);
    const Date now = Date::now();
    if (browser == _browsers.end() ||
        now.secondsSinceReference - browser->lastSeen.secondsSinceReference < seenInterval)
        return;
    browser->lastSeen = now;
    // It is for show; the next change is saved with it.
    (void)save();
}

} // namespace clipmule
