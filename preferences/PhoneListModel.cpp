// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/PhoneListModel.h"

#include "preferences/PanelTexts.h"
#include "preferences/ShownText.h"

#include <algorithm>

namespace clipmule {

namespace {

using Phone = PhoneList::Phone;
using Presence = PhoneList::Presence;

// UTF-16 units that are shown of one entry of what a phone tells about itself.
constexpr qsizetype longestDetail = 64;

auto isNamed(const QString &service) {
    return [&service](const Phone &phone) { return phone.service == service; };
}

QStringList details(const Phone &phone) {
    QStringList result;
    for (const auto &[key, value] : phone.details.asKeyValueRange()) {
        // Values that are bytes are for programs.
        const auto *text = value.as<QString>();
        if (!text)
            continue;
        const QString shown =
            ShownText::onOneLine(text->isEmpty() ? key : key + QStringLiteral(": ") + *text);
        result.append(shown.size() > longestDetail ? shown.first(longestDetail) + u'…' : shown);
    }
    return result;
}

// The tool tip as markup. What the phone says in it is escaped.
QString toolTip(const Phone &phone) {
    QString text = ShownText::onOneLine(phone.service).toHtmlEscaped();
    for (const QString &detail : details(phone))
        text += QStringLiteral("<br/>") + detail.toHtmlEscaped();
    return QStringLiteral("<qt>%1</qt>").arg(text);
}

} // namespace

void PhoneListModel::setPhones(const QList<Phone> &phones, const Circumstances &circumstances) {
    removeMissing(phones);
    for (qsizetype i = 0; i < phones.size(); ++i) {
        const auto present =
            std::find_if(_phones.begin() + i, _phones.end(), isNamed(phones[i].service));
        const qsizetype from = present - _phones.begin();
        if (present == _phones.end()) {
            beginInsertRows({}, int(i), int(i));
            _phones.insert(i, phones[i]);
            endInsertRows();
        } else if (from != i) {
            beginMoveRows({}, int(from), int(from), {}, int(i));
            _phones.move(from, i);
            endMoveRows();
        }
    }
    if (_phones == phones && _circumstances == circumstances)
        return;
    _phones = phones;
    _circumstances = circumstances;
    if (!_phones.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(_phones.size()) - 1));
}

void PhoneListModel::removeMissing(const QList<Phone> &phones) {
    for (qsizetype i = _phones.size(); i-- > 0;) {
        if (std::none_of(phones.begin(), phones.end(), isNamed(_phones[i].service))) {
            beginRemoveRows({}, int(i), int(i));
            _phones.removeAt(i);
            endRemoveRows();
        }
    }
}

QString PhoneListModel::serviceAt(const QModelIndex &index) const {
    return index.isValid() ? _phones[index.row()].service : QString();
}

QModelIndex PhoneListModel::indexOf(const QString &service) const {
    const auto found = std::find_if(_phones.begin(), _phones.end(), isNamed(service));
    return found == _phones.end() ? QModelIndex() : index(int(found - _phones.begin()));
}

int PhoneListModel::rowCount(const QModelIndex &parent) const {
    return parent.isValid() ? 0 : int(_phones.size());
}

QVariant PhoneListModel::data(const QModelIndex &index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Phone &phone = _phones[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return phone.name;
    case ServiceRole:
        return phone.service;
    case DescriptionRole:
        return description(phone);
    case PresenceRole:
        return phone.isRegistered ? QVariant(int(phone.presence)) : QVariant();
    case Qt::ToolTipRole:
        return toolTip(phone);
    case Qt::AccessibleTextRole:
        return phone.name + QStringLiteral(", ") + description(phone);
    default:
        return {};
    }
}

QString PhoneListModel::description(const Phone &phone) const {
    QStringList parts;
    if (phone.isRegistered)
        parts.append(presenceText(phone));
    if (phone.name != ShownText::onOneLine(phone.service))
        parts.append(ShownText::onOneLine(phone.service));
    if (!phone.address.isEmpty())
        parts.append(PanelTexts::tr("by hand at %1").arg(phone.address));
    parts.append(details(phone));
    if (parts.isEmpty())
        parts.append(PanelTexts::tr("Ready to be paired"));
    return parts.join(QStringLiteral(" · "));
}

QString PhoneListModel::presenceText(const Phone &phone) const {
    switch (phone.presence) {
    case Presence::Connected:
        return PanelTexts::tr("Connected");
    case Presence::Seen:
        if (!_circumstances.agentRuns || !_circumstances.syncEnabled)
            return PanelTexts::tr("On the network");
        if (!phone.lastError.isEmpty())
            return PanelTexts::tr("Not connected: %1").arg(phone.lastError);
        return PanelTexts::tr("On the network, not connected");
    case Presence::NotSeen:
        break;
    }
    if (!phone.lastSeen)
        return PanelTexts::tr("Not seen yet");
    return PanelTexts::tr("Not on the network, last seen %1")
        .arg(ShownText::dateAndTime(*phone.lastSeen, _circumstances.now));
}

} // namespace clipmule
