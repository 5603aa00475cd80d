// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/WebProgram.h"

#include "model/DataFile.h"
#include "platform/foundation/Callbacks.h"
#include "platform/foundation/LocalNames.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QLoggingCategory>

#include <algorithm>

namespace clipmule {

namespace {

Q_LOGGING_CATEGORY(logWeb, "clipmule.web")

QString hexOf(const QByteArray &id) {
    return QString::fromLatin1(id.toHex());
}

} // namespace

WebProgram::WebProgram(dnssd::Backend &backend, const PageFiles &files, SettingsStores *settings,
                       Options options)
    : _backend(backend)
    , _desk(settings)
    , _options(std::move(options))
    , _lock(QDir(_options.folder).filePath(QStringLiteral("lock")))
    , _browsers(QDir(_options.folder).filePath(QStringLiteral("browsers.json")))
    , _server(*this, files, _options.server) {
    // Only the end of the process that holds it frees the folder, however long that takes.
    _lock.setStaleLockTime(0);
}

WebProgram::~WebProgram() = default;

Result<void> WebProgram::open() {
    if (!DataFile::makeFolder(_options.folder))
        return failure(QStringLiteral("%1: the folder cannot be made").arg(_options.folder));
    if (!_lock.tryLock())
        return failure(
            _lock.error() == QLockFile::LockFailedError
                ? QStringLiteral("it runs already")
                : QStringLiteral("%1: the folder cannot be written to").arg(_options.folder));
    return _browsers.load();
}

Result<void> WebProgram::start() {
    if (auto started = _server.start(); !started)
        return started;
    if (auto listening = listen(); !listening)
        return listening;
    _server.onPageFetched = [this] {
        if (!std::exchange(_codeWasFetched, true))
            tellOfCode("fetched");
    };
    _code.onExpiry = [this] { tellOfCode("expired"); };
    _watch.onChange = [this] {
        if (const auto listening = listen(); !listening)
            qCWarning(logWeb).noquote() << "cannot serve on" << listening.error().reason;
        if (_code.isValid() && originOfLinks() != _codeOrigin)
            tellOfCode("moved");
        callCopyOf(onAddressesChange);
    };
    for (const auto &browser : _browsers.all())
        startPhone(browser);
    return {};
}

QList<OwnNetwork> WebProgram::networks() const {
    if (_options.addresses.isEmpty())
        return OwnNetworks::toServe();
    QList<OwnNetwork> networks = OwnNetworks::all();
    networks.removeIf(
        [&](const OwnNetwork &network) { return !_options.addresses.contains(network.address); });
    return networks;
}

Result<void> WebProgram::listen() {
    auto listening = _server.listenOn(networks());
    // What cannot be listened on among others is in the log; none at all may come later.
    if (!listening && !_server.addresses().isEmpty()) {
        qCWarning(logWeb).noquote() << "cannot serve on" << listening.error().reason;
        return {};
    }
    return listening;
}

QString WebProgram::originOfLinks() const {
    const QList<QHostAddress> addresses = _server.addresses();
    return addresses.isEmpty() ? QString() : _server.originOfLink(addresses[0]);
}

Result<QString> WebProgram::makeLink() {
    const QString origin = originOfLinks();
    if (origin.isEmpty())
        return failure(QStringLiteral("this computer is on no network of its own to serve on"));
    tellOfCode("replaced");
    _codeOrigin = origin;
    _codeWasFetched = false;
    return origin + QStringLiteral("/#") + QString::fromLatin1(_code.make());
}

void WebProgram::tellOfCode(const char *what, QJsonObject more) {
    more.insert(QStringLiteral("code"), QLatin1String(what));
    callCopyOf(onCode, more);
}

QString WebProgram::folderOf(const QByteArray &id) const {
    return QDir(_options.folder).filePath(hexOf(id));
}

// What waits for the desk stays: the page has let go of it, since it was promised to.
void WebProgram::forgetClips(const QByteArray &id) const {
    const QString folder = folderOf(id);
    if (!QFileInfo::exists(folder))
        return;
    bool isEmpty = false;
    {
        BrowserClips kept(folder);
        kept.removeReceived();
        isEmpty = kept.waiting().isEmpty();
    }
    if (isEmpty)
        QDir(folder).removeRecursively();
}

BrowserPhone *WebProgram::startPhone(const PairedBrowsers::Browser &browser) {
    if (!_options.keepsClips)
        forgetClips(browser.key.id);
    const BrowserPhone::Place place{_backend, _options.calls(), _options.computer,
                                    _options.keepsClips ? folderOf(browser.key.id) : QString()};
    auto phone = std::make_shared<BrowserPhone>(browser, place);
    phone->setSyncOn(_desk.isSyncOn());
    if (!phone->start())
        qCWarning(logWeb).noquote() << "no socket for" << browser.name;
    return (_phones[browser.key.id] = std::move(phone)).get();
}

void WebProgram::syncDidChange() {
    for (const auto &[id, phone] : _phones)
        phone->setSyncOn(_desk.isSyncOn());
}

std::optional<SecretKey> WebProgram::keyOf(PageChannel::Kind kind, QByteArrayView id) {
    return kind == PageChannel::Kind::Pair ? _code.keyOf(id) : _browsers.keyOf(id);
}

BrowserPhone *WebProgram::paired(QByteArrayView code, const PageKey &key, const QString &name) {
    if (!_code.spend(code))
        return nullptr;
    const auto added = _browsers.add(key, name);
    if (!added) {
        qCWarning(logWeb).noquote() << "the browser is not paired:" << added.error().reason;
        tellOfCode("refused", {{QStringLiteral("error"), added.error().reason}});
        return nullptr;
    }
    BrowserPhone *const phone = startPhone(**added);
    if (const auto told = _desk.pair((*added)->service, (*added)->name); !told)
        qCWarning(logWeb).noquote() << "the desk is not told of it:" << told.error().reason;
    tellOfCode("used", {{QStringLiteral("name"), (*added)->name},
                        {QStringLiteral("service"), LocalNames::serviceNamed((*added)->service)}});
    callCopyOf(onPaired, **added);
    return phone;
}

BrowserPhone *WebProgram::resumed(const QByteArray &id) {
    _browsers.sawNow(id);
    const auto phone = _phones.find(id);
    return phone == _phones.end() ? nullptr : phone->second.get();
}

void WebProgram::rename(const QByteArray &id, const QString &name) {
    if (const auto renamed = changeName(id, name); !renamed)
        qCWarning(logWeb).noquote() << "the browser is not renamed:" << renamed.error().reason;
}

Result<void> WebProgram::changeName(const QByteArray &id, const QString &name) {
    if (auto renamed = _browsers.rename(id, name); !renamed)
        return renamed;
    if (const auto phone = _phones.find(id); phone != _phones.end())
        phone->second->renamed();
    const auto *const browser = _browsers.withId(id);
    return _desk.rename(browser->service, browser->name);
}

void WebProgram::revoke(const QByteArray &id) {
    if (const auto removed = remove(id); !removed)
        qCWarning(logWeb).noquote() << "the browser is not revoked:" << removed.error().reason;
}

Result<void> WebProgram::remove(const QByteArray &id) {
    const auto *const known = _browsers.withId(id);
    if (!known)
        return failure(QStringLiteral("no such browser is paired"));
    // The id that was asked for may be the one in the entry that goes.
    const PairedBrowsers::Browser browser = *known;
    const auto node = _phones.extract(browser.key.id);
    const std::shared_ptr<BrowserPhone> phone = node ? node.mapped() : nullptr;
    // It refers to the browser, and one of its pages may be the caller.
    if (phone)
        phone->revoke();
    keepUntilNextTurn(phone);
    if (auto removed = _browsers.remove(browser.key.id); !removed)
        return removed;
    QDir(folderOf(browser.key.id)).removeRecursively();
    return _desk.unpair(browser.service);
}

Result<void> WebProgram::revokeNamed(const QString &nameOrId) {
    const auto browser = _browsers.find(nameOrId);
    return browser ? remove((*browser)->key.id) : tl::unexpected(browser.error());
}

Result<void> WebProgram::renameNamed(const QString &nameOrId, const QString &name) {
    const auto browser = _browsers.find(nameOrId);
    return browser ? changeName((*browser)->key.id, name) : tl::unexpected(browser.error());
}

QJsonArray WebProgram::list() const {
    QJsonArray list;
    for (const auto &browser : _browsers.all()) {
        const auto phone = _phones.find(browser.key.id);
        list.append(QJsonObject{
            {QStringLiteral("id"), hexOf(browser.key.id)},
            {QStringLiteral("name"), browser.name},
            {QStringLiteral("service"), browser.service},
            {QStringLiteral("created"), browser.created.toDateTime().toString(Qt::ISODate)},
            {QStringLiteral("lastSeen"), browser.lastSeen.toDateTime().toString(Qt::ISODate)},
            {QStringLiteral("pages"), phone == _phones.end() ? 0 : phone->second->views()}});
    }
    return list;
}

} // namespace clipmule
