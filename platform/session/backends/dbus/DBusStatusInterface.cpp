// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/session/backends/dbus/DBusStatusInterface.h"

#include "platform/foundation/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>

#include <cmath>

namespace clipmule {

namespace StatusOnBus {

namespace {

const QString stateConnected = QStringLiteral("connected");
const QString stateSeen = QStringLiteral("seen");
const QString stateNotSeen = QStringLiteral("not seen");

QString nameOf(AgentStatus::PhoneState state) {
    switch (state) {
    case AgentStatus::PhoneState::Connected:
        return stateConnected;
    case AgentStatus::PhoneState::Seen:
        return stateSeen;
    case AgentStatus::PhoneState::NotSeen:
        break;
    }
    return stateNotSeen;
}

AgentStatus::PhoneState stateOf(const QString &name) {
    if (name == stateConnected)
        return AgentStatus::PhoneState::Connected;
    return name == stateSeen ? AgentStatus::PhoneState::Seen : AgentStatus::PhoneState::NotSeen;
}

qint64 toUnixTime(const std::optional<Date> &date) {
    return date ? qint64(std::floor(date->secondsSinceReference + Date::unixTimeOfReference)) : 0;
}

std::optional<Date> fromUnixTime(qint64 seconds) {
    if (seconds <= 0)
        return std::nullopt;
    return Date{double(seconds) - Date::unixTimeOfReference};
}

QString text(const QVariant &value) {
    return value.metaType() == QMetaType::fromType<QString>() ? value.toString().left(longestText)
                                                              : QString();
}

bool truth(const QVariant &value) {
    return value.metaType() == QMetaType::fromType<bool>() && value.toBool();
}

// Reading an argument as what it is not would be answered with a warning and rubbish.
template <typename Type>
Type structured(const QVariant &value, const char *signature) {
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return value.metaType() == QMetaType::fromType<Type>() ? value.value<Type>() : Type();
    const auto argument = value.value<QDBusArgument>();
    return argument.currentSignature() == QLatin1String(signature) ? qdbus_cast<Type>(argument)
                                                                   : Type();
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const Phone &phone) {
    argument.beginStructure();
    argument << phone.service << phone.name << phone.state << qlonglong(phone.lastSeen)
             << phone.lastError << qlonglong(phone.lastErrorDate);
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Phone &phone) {
    argument.beginStructure();
    argument >> phone.service >> phone.name >> phone.state >> phone.lastSeen >> phone.lastError >>
        phone.lastErrorDate;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const RefusedClip &clip) {
    argument.beginStructure();
    argument << clip.reason << qlonglong(clip.date);
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, RefusedClip &clip) {
    argument.beginStructure();
    argument >> clip.reason >> clip.date;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const RefusalEntry &entry) {
    argument.beginStructure();
    argument << entry.direction << entry.reason << entry.kind << entry.phone
             << qulonglong(entry.size) << qulonglong(entry.limit) << qlonglong(entry.date)
             << entry.detail << qulonglong(entry.count);
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, RefusalEntry &entry) {
    argument.beginStructure();
    argument >> entry.direction >> entry.reason >> entry.kind >> entry.phone >> entry.size >>
        entry.limit >> entry.date >> entry.detail >> entry.count;
    argument.endStructure();
    return argument;
}

void registerTypes() {
    qDBusRegisterMetaType<RefusalEntry>();
    qDBusRegisterMetaType<RefusalEntries>();
    qDBusRegisterMetaType<Phone>();
    qDBusRegisterMetaType<Phones>();
    qDBusRegisterMetaType<RefusedClip>();
}

QVariantMap toProperties(const AgentStatus &status) {
    Phones phones;
    for (const auto &phone : status.phones)
        phones.append({phone.service, phone.name, nameOf(phone.state), toUnixTime(phone.lastSeen),
                       phone.lastError, toUnixTime(phone.lastErrorDate)});
    RefusalEntries refusals;
    for (const Refusal &one : status.refusals)
        refusals.append({nameOf(one.direction), nameOf(one.reason), nameOf(one.kind), one.phone,
                         one.size, one.limit, toUnixTime(one.date), one.detail, one.count});
    const RefusedClip refused{status.lastRefusedClip, toUnixTime(status.lastRefusedClipDate)};
    return {{QStringLiteral("Version"), status.version},
            {QStringLiteral("QtVersion"), status.qtVersion},
            {QStringLiteral("SyncEnabled"), status.syncEnabled},
            {QStringLiteral("HasDisplay"), status.hasDisplay},
            {QStringLiteral("PasteboardBackend"), status.pasteboardBackend},
            {QStringLiteral("PasteboardCanRead"), status.pasteboardCanRead},
            {QStringLiteral("PasteboardCanWrite"), status.pasteboardCanWrite},
            {QStringLiteral("PasteBackend"), status.pasteBackend},
            {QStringLiteral("CanPaste"), status.canPaste},
            {QStringLiteral("TrayKind"), status.trayKind},
            {QStringLiteral("Discovery"), status.discovery},
            {QStringLiteral("Phones"), QVariant::fromValue(phones)},
            {QStringLiteral("LastRefusedClip"), QVariant::fromValue(refused)},
            {QStringLiteral("Refusals"), QVariant::fromValue(refusals)}};
}

AgentStatus fromProperties(const QVariantMap &properties) {
    const auto value = [&properties](const char *name) {
        return properties.value(QLatin1String(name));
    };
    AgentStatus status;
    status.version = text(value("Version"));
    status.qtVersion = text(value("QtVersion"));
    status.syncEnabled = truth(value("SyncEnabled"));
    status.hasDisplay = truth(value("HasDisplay"));
    status.pasteboardBackend = text(value("PasteboardBackend"));
    status.pasteboardCanRead = truth(value("PasteboardCanRead"));
    status.pasteboardCanWrite = truth(value("PasteboardCanWrite"));
    status.pasteBackend = text(value("PasteBackend"));
    status.canPaste = truth(value("CanPaste"));
    status.trayKind = text(value("TrayKind"));
    status.discovery = text(value("Discovery"));
    const auto phones = structured<Phones>(value("Phones"), "a(sssxsx)");
    for (const Phone &phone : phones.first(std::min(phones.size(), mostPhones)))
        status.phones.append({.service = phone.service.left(longestText),
                              .name = phone.name.left(longestText),
                              .state = stateOf(phone.state),
                              .lastSeen = fromUnixTime(phone.lastSeen),
                              .lastError = phone.lastError.left(longestText),
                              .lastErrorDate = fromUnixTime(phone.lastErrorDate)});
    const auto refused = structured<RefusedClip>(value("LastRefusedClip"), "(sx)");
    status.lastRefusedClip = refused.reason.left(longestText);
    status.lastRefusedClipDate = fromUnixTime(refused.date);
    const auto refusals = structured<RefusalEntries>(value("Refusals"), "a(ssssttxst)");
    for (const RefusalEntry &entry : refusals.first(std::min(refusals.size(), mostRefusals)))
        status.refusals.append({.direction = refusalDirection(entry.direction),
                                .reason = refusalReason(entry.reason),
                                .kind = refusalKind(entry.kind),
                                .phone = entry.phone.left(longestText),
                                .size = entry.size,
                                .limit = entry.limit,
                                .count = entry.count,
                                .detail = entry.detail.left(longestText),
                                .date = fromUnixTime(entry.date).value_or(Date())});
    return status;
}

} // namespace StatusOnBus

namespace {

class DBusStatusInterface final : public StatusInterface {
public:
    DBusStatusInterface()
        : _bus(QDBusConnection::sessionBus())
        , _adaptor(std::make_unique<StatusOnBus::StatusAdaptor>(&_object)) {}

    ~DBusStatusInterface() override {
        if (_isShown)
            _bus.unregisterObject(StatusOnBus::path);
    }

    bool start() override {
        if (_isShown)
            return true;
        StatusOnBus::registerTypes();
        _isShown = _bus.isConnected() && _bus.registerObject(StatusOnBus::path, &_object);
        // A program that asked too early hears of it now.
        if (_isShown)
            announce(StatusOnBus::toProperties(_adaptor->_status));
        return _isShown;
    }

    void setStatus(const AgentStatus &status) override {
        if (status == _adaptor->_status)
            return;
        const QVariantMap before = StatusOnBus::toProperties(_adaptor->_status);
        _adaptor->_status = status;
        QVariantMap changes = StatusOnBus::toProperties(status);
        changes.removeIf([&before](const std::pair<const QString &, QVariant &> &property) {
            return before.value(property.first) == property.second;
        });
        if (_isShown && !changes.isEmpty())
            announce(changes);
    }

private:
    void announce(const QVariantMap &changes) {
        QDBusMessage signal =
            QDBusMessage::createSignal(StatusOnBus::path, StatusOnBus::propertiesInterface,
                                       QStringLiteral("PropertiesChanged"));
        signal << StatusOnBus::interface << changes << QStringList();
        _bus.send(signal);
    }

    QDBusConnection _bus;
    QObject _object;
    std::unique_ptr<StatusOnBus::StatusAdaptor> _adaptor;
    bool _isShown = false;
};

} // namespace

std::unique_ptr<StatusInterface> makeStatusInterface() {
    return std::make_unique<DBusStatusInterface>();
}

} // namespace clipmule
