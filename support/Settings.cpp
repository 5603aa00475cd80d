// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "support/Settings.h"

#include "platform/foundation/Log.h"
#include "support/RegisteredPhones.h"

#include <QCoreApplication>
#include <QSet>

#include <algorithm>

namespace clipmule {

namespace Settings {

namespace {

const QString pasteWord = QStringLiteral("paste");
const QString clipboardWord = QStringLiteral("clipboard");

const QMap<Domain, QString> &domainNames() {
    static const QMap<Domain, QString> names{{Domain::Shared, QStringLiteral("shared")},
                                             {Domain::Agent, QStringLiteral("agent")},
                                             {Domain::Statistics, QStringLiteral("stats")}};
    return names;
}

// A text converts when it begins with what is wanted; more may follow, as on the platform.
bool beginsWithNumber(const QString &text) {
    const QString trimmed = text.trimmed();
    const qsizetype first = trimmed.startsWith(u'-') || trimmed.startsWith(u'+') ? 1 : 0;
    return trimmed.size() > first && trimmed[first] >= u'0' && trimmed[first] <= u'9';
}

bool isNumeric(const PropertyList &value) {
    const QString *const text = value.as<QString>();
    return value.isNumber() || (text && beginsWithNumber(*text));
}

std::optional<bool> truthIn(const PropertyList &value) {
    const QString *const text = value.as<QString>();
    const auto beginsWith = [text](const char16_t letter) {
        return text && text->trimmed().startsWith(letter, Qt::CaseInsensitive);
    };
    if (beginsWith(u'n') || beginsWith(u'f'))
        return false;
    return isNumeric(value) || beginsWith(u'y') || beginsWith(u't')
               ? std::optional(value.boolValue())
               : std::nullopt;
}

// Negative numbers and such as are too large for the platform's own are damage.
std::optional<quint64> countIn(const PropertyList &value) {
    if (const double *const real = value.as<double>()) {
        constexpr double tooLarge = 9223372036854775808.0;
        return *real >= 0 && *real < tooLarge ? std::optional(quint64(*real)) : std::nullopt;
    }
    if (value.kind() == PropertyList::Kind::UnsignedInteger)
        return value.unsignedValue();
    if (!isNumeric(value))
        return std::nullopt;
    const qint64 number = value.integerValue();
    return number >= 0 ? std::optional(quint64(number)) : std::nullopt;
}

std::optional<qint32> count32In(const PropertyList &value) {
    return isNumeric(value) ? std::optional(ZRKUserDefaults::integer32(value)) : std::nullopt;
}

// The value that the store holds, else the registered one, else the table's.
template <typename Value, typename Convert>
Value read(const ZRKUserDefaults &store, Key key, Convert convert) {
    const Setting &wanted = setting(key);
    const auto stored = store.objectForKey(wanted.name);
    const auto registered = store.registeredObjectForKey(wanted.name);
    const std::optional<Value> value = stored ? convert(*stored) : std::nullopt;
    reportKind(wanted, stored, !stored || value);
    if (value)
        return *value;
    if (const std::optional<Value> other = registered ? convert(*registered) : std::nullopt)
        return *other;
    return *convert(*wanted.fallback);
}

} // namespace

const QList<Setting> &all() {
    static const QList<Setting> table{
        {Key::SyncEnabled, QStringLiteral("syncEnabled"), Domain::Agent, Kind::Truth, true},
        {Key::WatchClipboardByTimer, QStringLiteral("watchClipboardByTimer"), Domain::Agent,
         Kind::Truth, false},
        {Key::ServerServices, QStringLiteral("serverServices"), Domain::Shared, Kind::PhoneList},
        {Key::AutoUpdateEnabled, QStringLiteral("autoUpdateEnabled"), Domain::Shared, Kind::Truth,
         false},
        {Key::ShowStatus, QStringLiteral("showStatus"), Domain::Shared, Kind::Truth, false},
        {Key::PasteMode, QStringLiteral("pasteMode"), Domain::Shared, Kind::Choice, pasteWord,
         QStringList{pasteWord, clipboardWord}},
        {Key::DataSent, QStringLiteral("dataSent"), Domain::Statistics, Kind::Count, 0},
        {Key::DataReceived, QStringLiteral("dataReceived"), Domain::Statistics, Kind::Count, 0},
        {Key::ImageItems, QStringLiteral("imageItems"), Domain::Statistics, Kind::Count32, 0},
        {Key::TextItems, QStringLiteral("textItems"), Domain::Statistics, Kind::Count32, 0},
    };
    return table;
}

const Setting &setting(Key key) {
    return *std::find_if(all().begin(), all().end(),
                         [key](const Setting &each) { return each.key == key; });
}

const Setting *find(const QString &name) {
    const auto found = std::find_if(all().begin(), all().end(),
                                    [&name](const Setting &each) { return each.name == name; });
    return found == all().end() ? nullptr : &*found;
}

QString nameOf(Key key) {
    return setting(key).name;
}

QString nameOf(Domain domain) {
    return domainNames().value(domain);
}

std::optional<Domain> domainNamed(const QString &name) {
    const auto found = std::find(domainNames().begin(), domainNames().end(), name);
    return found == domainNames().end() ? std::nullopt : std::optional(found.key());
}

std::shared_ptr<ZRKUserDefaults> openForAgent(ZRKUserDefaults::Environment environment) {
    environment.localName = NSUserDefaultsDidChangeNotification;
    auto store = ZRKUserDefaults::initWithoutFallbacks(applicationIdentifier, environment);
    store->listenForChanges();
    return store;
}

bool truth(const ZRKUserDefaults &store, Key key) {
    return read<bool>(store, key, truthIn);
}

quint64 count(const ZRKUserDefaults &store, Key key) {
    return read<quint64>(store, key, countIn);
}

qint32 count32(const ZRKUserDefaults &store, Key key) {
    return read<qint32>(store, key, count32In);
}

void reportKind(const Setting &setting, const std::optional<PropertyList> &stored, bool isRight) {
    // Main thread only, as all settings are.
    static QSet<Key> reported;
    if (isRight) {
        reported.remove(setting.key);
        return;
    }
    if (reported.contains(setting.key))
        return;
    reported.insert(setting.key);
    qCWarning(logSupport).noquote()
        << QStringLiteral("setting %1 of the domain \"%2\" holds %3, which is not %4: not used")
               .arg(setting.name, nameOf(setting.domain), PropertyList::nameOfKind(stored->kind()),
                    describeKind(setting));
}

PasteMode pasteMode(const ZRKUserDefaults &store) {
    return read<PasteMode>(store, Key::PasteMode, pasteModeFrom);
}

QString wordFor(PasteMode mode) {
    return mode == PasteMode::Paste ? pasteWord : clipboardWord;
}

std::optional<PasteMode> pasteModeFrom(const PropertyList &value) {
    const QString *const word = value.as<QString>();
    if (!word)
        return std::nullopt;
    if (*word == pasteWord)
        return PasteMode::Paste;
    return *word == clipboardWord ? std::optional(PasteMode::Clipboard) : std::nullopt;
}

QString describeKind(const Setting &setting) {
    switch (setting.kind) {
    case Kind::Truth:
        return QStringLiteral("true or false");
    case Kind::Choice:
        return setting.words.join(QStringLiteral(" or "));
    case Kind::Count:
        return QStringLiteral("a whole number, 0 or more");
    case Kind::Count32:
        return QStringLiteral("a whole number of at most 32 bits");
    case Kind::PhoneList:
        break;
    }
    return QStringLiteral("a list of phones");
}

Result<void> check(const Setting &setting, const PropertyList &value) {
    bool fits = false;
    switch (setting.kind) {
    case Kind::Truth:
        fits = value.as<bool>() != nullptr;
        break;
    case Kind::Choice:
        fits = value.isString() && setting.words.contains(value.string());
        break;
    case Kind::Count:
        fits = value.kind() == PropertyList::Kind::UnsignedInteger ||
               (value.as<qint64>() && *value.as<qint64>() >= 0);
        break;
    case Kind::Count32:
        fits = value.as<qint64>() && *value.as<qint64>() == qint32(*value.as<qint64>());
        break;
    case Kind::PhoneList:
        return RegisteredPhones::check(value);
    }
    if (fits)
        return {};
    return failure(QStringLiteral("%1 is %2").arg(setting.name, describeKind(setting)));
}

std::optional<PropertyList> valueFromWord(const Setting &setting, const QString &word) {
    static const QStringList truths{QStringLiteral("true"), QStringLiteral("yes"),
                                    QStringLiteral("on"), QStringLiteral("1")};
    static const QStringList falsehoods{QStringLiteral("false"), QStringLiteral("no"),
                                        QStringLiteral("off"), QStringLiteral("0")};
    const QString lower = word.toLower();
    if (setting.kind == Kind::Truth && truths.contains(lower))
        return true;
    if (setting.kind == Kind::Truth && falsehoods.contains(lower))
        return false;
    if (setting.kind == Kind::Choice)
        return PropertyList(lower);
    if (setting.kind != Kind::Count && setting.kind != Kind::Count32)
        return std::nullopt;
    bool isNumber = false;
    const PropertyList number = setting.kind == Kind::Count
                                    ? PropertyList(word.toULongLong(&isNumber))
                                    : PropertyList(word.toLongLong(&isNumber));
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace Settings

std::unique_ptr<SettingsStores>
SettingsStores::open(const ZRKUserDefaults::Environment &environment) {
    ZRKUserDefaults::setEnvironment(environment);
    const auto shared = ZRKUserDefaults::standardUserDefaults();
    if (!shared)
        return nullptr;
    return std::make_unique<SettingsStores>(shared, environment);
}

SettingsStores::SettingsStores(std::shared_ptr<ZRKUserDefaults> shared,
                               const ZRKUserDefaults::Environment &environment) {
    const auto plain = [&environment](const QString &identifier) {
        return ZRKUserDefaults::initWithoutFallbacks(identifier, environment);
    };
    _stores = {{Domain::Shared, std::move(shared)},
               {Domain::Agent, plain(applicationIdentifier)},
               {Domain::Statistics, plain(applicationIdentifier + QStringLiteral(".stats"))}};
    _own = plain(applicationIdentifier + QStringLiteral(".Preferences"));
}

SettingsStores::~SettingsStores() {
    ZRKNotificationCenter::platformDefault().removeObserver(this);
    _stores.clear();
    _own.reset();
    // The shared store uses the environment, which may go now.
    ZRKUserDefaults::setEnvironment({});
}

void SettingsStores::start() {
    for (const auto &[domain, store] : _stores)
        store->listenForChanges();
    ZRKNotificationCenter::platformDefault().addObserver(
        this, selector<&SettingsStores::settingsDidChange>("settingsDidChange"),
        ZRKUserDefaultsDidChangeNotification);
}

void SettingsStores::reload() {
    for (const auto &[domain, store] : _stores)
        store->reset();
}

void SettingsStores::settingsDidChange() {
    if (_change.isPending())
        return;
    _change = RunLoop::current().performAfter(RunLoop::Seconds(0), [this] {
        if (const auto tell = onChange)
            tell();
    });
}

bool SettingsStores::isOn(Key key) const {
    return Settings::truth(of(Settings::setting(key).domain), key);
}

PasteMode SettingsStores::pasteMode() const {
    return Settings::pasteMode(of(Domain::Shared));
}

SettingsStores::Statistics SettingsStores::statistics() const {
    const ZRKUserDefaults &store = of(Domain::Statistics);
    return {.bytesSent = Settings::count(store, Key::DataSent),
            .bytesReceived = Settings::count(store, Key::DataReceived),
            .textItems = Settings::count32(store, Key::TextItems),
            .imageItems = Settings::count32(store, Key::ImageItems)};
}

std::optional<PropertyList> SettingsStores::value(Key key) const {
    const Settings::Setting &setting = Settings::setting(key);
    return of(setting.domain).objectForKey(setting.name);
}

Result<void> SettingsStores::set(Key key, const PropertyList &value) {
    const Settings::Setting &setting = Settings::setting(key);
    ZRKUserDefaults &store = of(setting.domain);
    auto written = store.setObjectForKey(value, setting.name);
    // What is shown is what the file holds.
    if (!written)
        store.reset();
    return written;
}

QString SettingsStores::notWritten(const Failure &failure) {
    return QCoreApplication::translate("ClipmuleSync", "The settings could not be written: %1")
        .arg(failure.reason);
}

} // namespace clipmule
