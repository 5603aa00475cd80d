// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dbus/BusConnection.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/Log.h"
#include "platform/session/StatusInterface.h"

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <cmath>

namespace clipmule {

/// The form of com.zendrik.ClipmuleSync.Status on the bus, for both its sides.
namespace StatusOnBus {

const QString service = QStringLiteral("com.zendrik.ClipmuleSync");
const QString path = QStringLiteral("/com/zendrik/ClipmuleSync");
const QString interface = QStringLiteral("com.zendrik.ClipmuleSync.Status");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

/// (sssxsx)
struct Phone {
    QString service;
    QString name;
    /// "connected", "seen" or "not seen".
    QString state;
    /// Seconds of the Unix clock; 0 for never.
    qint64 lastSeen = 0;
    QString lastError;
    qint64 lastErrorDate = 0;
    friend bool operator==(const Phone &, const Phone &) = default;
};
using Phones = QList<Phone>;

/// (sx)
struct RefusedClip {
    QString reason;
    qint64 date = 0;
    friend bool operator==(const RefusedClip &, const RefusedClip &) = default;
};

/// (ssssttxst)
struct RefusalEntry {
    /// As nameOf() calls them.
    QString direction;
    QString reason;
    QString kind;
    QString phone;
    quint64 size = 0;
    quint64 limit = 0;
    /// Seconds of the Unix clock.
    qint64 date = 0;
    QString detail;
    quint64 count = 0;
    friend bool operator==(const RefusalEntry &, const RefusalEntry &) = default;
};
using RefusalEntries = QList<RefusalEntry>;

QDBusArgument &operator<<(QDBusArgument &argument, const Phone &phone);
const QDBusArgument &operator>>(const QDBusArgument &argument, Phone &phone);
QDBusArgument &operator<<(QDBusArgument &argument, const RefusedClip &clip);
const QDBusArgument &operator>>(const QDBusArgument &argument, RefusedClip &clip);

QDBusArgument &operator<<(QDBusArgument &argument, const RefusalEntry &entry);
const QDBusArgument &operator>>(const QDBusArgument &argument, RefusalEntry &entry);

void registerTypes();

/// All properties by their names.
[[nodiscard]] QVariantMap toProperties(const AgentStatus &status);
/// What another program sent: values of a wrong type are left out, texts cut, and of the phones no
/// more than mostPhones and of the refusals no more than mostRefusals kept.
[[nodiscard]] AgentStatus fromProperties(const QVariantMap &properties);

/// More than any user registers.
constexpr qsizetype mostPhones = 1000;
/// More than any agent keeps.
constexpr qsizetype mostRefusals = 100;
/// UTF-16 units of a text; an error is a line.
constexpr qsizetype longestText = 4096;

/// What the bus shows; the names and types of the properties are the interface.
class StatusAdaptor final : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.zendrik.ClipmuleSync.Status")
    Q_PROPERTY(QString Version READ version)
    Q_PROPERTY(QString QtVersion READ qtVersion)
    Q_PROPERTY(bool SyncEnabled READ syncEnabled)
    Q_PROPERTY(bool HasDisplay READ hasDisplay)
    Q_PROPERTY(QString PasteboardBackend READ pasteboardBackend)
    Q_PROPERTY(bool PasteboardCanRead READ pasteboardCanRead)
    Q_PROPERTY(bool PasteboardCanWrite READ pasteboardCanWrite)
    Q_PROPERTY(QString PasteBackend READ pasteBackend)
    Q_PROPERTY(bool CanPaste READ canPaste)
    Q_PROPERTY(QString PasteObstacle READ pasteObstacle)
    Q_PROPERTY(QString TrayKind READ trayKind)
    Q_PROPERTY(QString Discovery READ discovery)
    Q_PROPERTY(clipmule::StatusOnBus::Phones Phones READ phones)
    Q_PROPERTY(clipmule::StatusOnBus::RefusedClip LastRefusedClip READ lastRefusedClip)
    Q_PROPERTY(clipmule::StatusOnBus::RefusalEntries Refusals READ refusals)

public:
    explicit StatusAdaptor(QObject *parent)
        : QDBusAbstractAdaptor(parent) {}

    [[nodiscard]] QString version() const { return _status.version; }
    [[nodiscard]] QString qtVersion() const { return _status.qtVersion; }
    [[nodiscard]] bool syncEnabled() const { return _status.syncEnabled; }
    [[nodiscard]] bool hasDisplay() const { return _status.hasDisplay; }
    [[nodiscard]] QString pasteboardBackend() const { return _status.pasteboardBackend; }
    [[nodiscard]] bool pasteboardCanRead() const { return _status.pasteboardCanRead; }
    [[nodiscard]] bool pasteboardCanWrite() const { return _status.pasteboardCanWrite; }
    [[nodiscard]] QString pasteBackend() const { return _status.pasteBackend; }
    [[nodiscard]] bool canPaste() const { return _status.canPaste; }
    [[nodiscard]] QString pasteObstacle() const { return _status.pasteObstacle; }
    [[nodiscard]] QString trayKind() const { return _status.trayKind; }
    [[nodiscard]] QString discovery() const { return _status.discovery; }
    [[nodiscard]] Phones phones() const {
        return toProperties(_status).value(QStringLiteral("Phones")).value<Phones>();
    }
    [[nodiscard]] RefusedClip lastRefusedClip() const {
        return toProperties(_status).value(QStringLiteral("LastRefusedClip")).value<RefusedClip>();
    }

    [[nodiscard]] RefusalEntries refusals() const {
        return toProperties(_status).value(QStringLiteral("Refusals")).value<RefusalEntries>();
    }

    AgentStatus _status;
};

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

// A structure of these fields.
template <typename... Fields>
QDBusArgument &put(QDBusArgument &argument, const Fields &...fields) {
    argument.beginStructure();
    (argument << ... << fields);
    argument.endStructure();
    return argument;
}

template <typename... Fields>
const QDBusArgument &take(const QDBusArgument &argument, Fields &...fields) {
    argument.beginStructure();
    (argument >> ... >> fields);
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const Phone &phone) {
    return put(argument, phone.service, phone.name, phone.state, phone.lastSeen, phone.lastError,
               phone.lastErrorDate);
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Phone &phone) {
    return take(argument, phone.service, phone.name, phone.state, phone.lastSeen, phone.lastError,
                phone.lastErrorDate);
}

QDBusArgument &operator<<(QDBusArgument &argument, const RefusedClip &clip) {
    return put(argument, clip.reason, clip.date);
}

const QDBusArgument &operator>>(const QDBusArgument &argument, RefusedClip &clip) {
    return take(argument, clip.reason, clip.date);
}

QDBusArgument &operator<<(QDBusArgument &argument, const RefusalEntry &entry) {
    return put(argument, entry.direction, entry.reason, entry.kind, entry.phone, entry.size,
               entry.limit, entry.date, entry.detail, entry.count);
}

const QDBusArgument &operator>>(const QDBusArgument &argument, RefusalEntry &entry) {
    return take(argument, entry.direction, entry.reason, entry.kind, entry.phone, entry.size,
                entry.limit, entry.date, entry.detail, entry.count);
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
            {QStringLiteral("PasteObstacle"), status.pasteObstacle},
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
    status.pasteObstacle = text(value("PasteObstacle"));
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

// The agent answers from memory; after this long it is stuck.
constexpr int timeoutInMilliseconds = 2000;

class DBusStatusReader final : public QObject, public StatusReader {
    Q_OBJECT

public:
    DBusStatusReader() {
        connect(&_bus, &BusConnection::opened, this, &DBusStatusReader::follow);
        connect(&_bus, &BusConnection::lost, this, [this] { become(Agent::Unknown); });
    }

    void start() override {
        StatusOnBus::registerTypes();
        if (_bus.open())
            follow();
        else
            _first = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] { tell(); });
    }

    [[nodiscard]] Agent agent() const override { return _agent; }
    [[nodiscard]] const std::optional<AgentStatus> &status() const override { return _status; }
    [[nodiscard]] bool hasBus() const override { return _bus.isOpen(); }

private Q_SLOTS:
    void ownerChanged(const QString &, const QString &, const QString &newOwner) {
        if (newOwner.isEmpty())
            become(Agent::NotRunning);
        else
            ask();
    }

    void propertiesChanged(const QString &interface, const QVariantMap &changes,
                           const QStringList &invalidated) {
        if (interface != StatusOnBus::interface)
            return;
        if (_agent != Agent::Running || !invalidated.isEmpty()) {
            ask();
            return;
        }
        _properties.insert(changes);
        take();
    }

private:
    void follow() {
        QDBusConnection bus = _bus.connection();
        const QString daemon = QStringLiteral("org.freedesktop.DBus");
        bus.connect(daemon, QStringLiteral("/org/freedesktop/DBus"), daemon,
                    QStringLiteral("NameOwnerChanged"), {StatusOnBus::service}, QString(), this,
                    SLOT(ownerChanged(QString, QString, QString)));
        bus.connect(StatusOnBus::service, StatusOnBus::path, StatusOnBus::propertiesInterface,
                    QStringLiteral("PropertiesChanged"), this,
                    SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
        ask();
    }

    void ask() {
        QDBusMessage call = QDBusMessage::createMethodCall(StatusOnBus::service, StatusOnBus::path,
                                                           StatusOnBus::propertiesInterface,
                                                           QStringLiteral("GetAll"));
        call << StatusOnBus::interface;
        call.setAutoStartService(false);
        // Owned by this object, so that no answer comes after its end; an older one is of no use.
        _call = std::make_unique<QDBusPendingCallWatcher>(
            _bus.connection().asyncCall(call, timeoutInMilliseconds));
        connect(_call.get(), &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher *finished) {
                    _call.release()->deleteLater();
                    answered(*finished);
                });
    }

    void answered(const QDBusPendingReply<QVariantMap> &reply) {
        if (!reply.isError()) {
            _properties = reply.value();
            _agent = Agent::Running;
            take();
            return;
        }
        const auto kind = reply.error().type();
        if (kind == QDBusError::ServiceUnknown ||
            reply.error().name() == u"org.freedesktop.DBus.Error.NameHasNoOwner")
            become(Agent::NotRunning);
        else
            become(kind == QDBusError::Disconnected ? Agent::Unknown : Agent::Silent);
    }

    void take() {
        _status = StatusOnBus::fromProperties(_properties);
        tell();
    }

    void become(Agent agent) {
        _call.reset();
        _agent = agent;
        _properties.clear();
        _status.reset();
        tell();
    }

    void tell() { callCopyOf(onChange); }

    BusConnection _bus{BusConnection::Bus::Session};
    std::unique_ptr<QDBusPendingCallWatcher> _call;
    Agent _agent = Agent::Unknown;
    QVariantMap _properties;
    std::optional<AgentStatus> _status;
    RunLoop::Timer _first;
};

} // namespace

std::unique_ptr<StatusInterface> makeStatusInterface() {
    return std::make_unique<DBusStatusInterface>();
}

std::unique_ptr<StatusReader> makeStatusReader() {
    return std::make_unique<DBusStatusReader>();
}

} // namespace clipmule

#include "DBusStatusInterface.moc"
