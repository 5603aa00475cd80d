// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/keyboard/PasteStroke.h"

#include "platform/foundation/Log.h"

#include <QHash>
#include <QStringList>

namespace clipmule {

namespace {

std::optional<quint32> modifierOfName(const QString &name) {
    // The left key of each pair.
    static const QHash<QString, quint32> modifiers{
        {QStringLiteral("ctrl"), 0xffe3},
        {QStringLiteral("shift"), 0xffe1},
        {QStringLiteral("alt"), 0xffe9},
        {QStringLiteral("super"), 0xffeb},
    };
    const auto found = modifiers.constFind(name);
    return found == modifiers.cend() ? std::nullopt : std::optional(*found);
}

std::optional<quint32> keyOfName(const QString &name) {
    if (name == u"insert")
        return 0xff63;
    const bool isOneKey = name.size() == 1 && ((name[0] >= u'a' && name[0] <= u'z') ||
                                               (name[0] >= u'0' && name[0] <= u'9'));
    // Latin-1 characters are their own symbols.
    return isOneKey ? std::optional<quint32>(name[0].unicode()) : std::nullopt;
}

} // namespace

std::optional<QList<quint32>> keysOfName(const QString &name) {
    if (name.compare(u"none", Qt::CaseInsensitive) == 0)
        return QList<quint32>();
    QStringList parts = name.toLower().split(u'+');
    const std::optional<quint32> key = keyOfName(parts.takeLast());
    if (!key)
        return std::nullopt;
    QList<quint32> keys;
    for (const QString &part : std::as_const(parts)) {
        const std::optional<quint32> modifier = modifierOfName(part);
        if (!modifier || keys.contains(*modifier))
            return std::nullopt;
        keys.append(*modifier);
    }
    keys.append(*key);
    return keys;
}

QList<quint32> PasteStroke::keys() {
    const QList<quint32> usual = keysOfName(QStringLiteral("Ctrl+V")).value();
    const std::optional<QString> name = _findName ? _findName() : std::nullopt;
    if (!name)
        return usual;
    const std::optional<QList<quint32>> keys = keysOfName(*name);
    if (!keys && !_unknownNames.contains(*name)) {
        _unknownNames.insert(*name);
        qCWarning(logKeyboard).noquote() << "no key stroke has this name:" << cutForLog(*name);
    }
    return keys.value_or(usual);
}

} // namespace clipmule
