// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/foundation/QtRunLoop.h"
#include "platform/streams/SocketStreams.h"
#include "support/Settings.h"
#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/MemoryPreferencesDatabase.h"
#include "tests/kit/TestCase.h"
#include "tests/web/PageSocket.h"
#include "web/WebProgram.h"

#include <QDir>
#include <QTemporaryDir>

namespace clipmule::web_test {

/// What a desk sends for one item.
[[nodiscard]] inline PropertyList clipOf(const PropertyList::Dictionary &item) {
    return MessageEnvelope::make(
        MessageEnvelope::Type::Clip,
        PropertyList(PropertyList::Dictionary{
            {QStringLiteral("creationDate"), Date{700000000}},
            {QStringLiteral("items"), PropertyList::List{PropertyList(item)}}}));
}

} // namespace clipmule::web_test

namespace clipmule::kit {

using namespace web_test;

/// The whole program with a real socket at each end: pages that were written from the protocol's
/// description, and a desk.
class WebTestCase : public kit::TestCase {
protected:
    void begin() override {
        _folder = std::make_unique<QTemporaryDir>();
        _database = std::make_unique<kit::MemoryPreferencesDatabase>();
        QDir(_folder->path()).mkpath(QStringLiteral("page/sub"));
        write(QStringLiteral("page/index.html"), "<title>Page</title>");
        write(QStringLiteral("page/index.html.gz"), "zipped page");
        write(QStringLiteral("page/sub/main.js"), "run()");
        write(QStringLiteral("page/notes.txt"), "not for pages");
        start();
    }

    void end() override {
        _desk.reset();
        _web.reset();
        _settings.reset();
    }

    void write(const QString &name, const QByteArray &bytes) {
        QFile file(_folder->filePath(name));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("no file");
        file.write(bytes);
    }

    // No addresses are those that are served unasked.
    void start(bool keepsClips = true,
               const QList<QHostAddress> &addresses = {QHostAddress(QHostAddress::LocalHost)}) {
        ZRKUserDefaults::Environment environment;
        environment.database = _database.get();
        _settings = SettingsStores::open(environment);
        _settings->onChange = [this] { _web->syncDidChange(); };
        _settings->start();
        _files = std::make_unique<PageFiles>(_folder->filePath(QStringLiteral("page")));
        WebProgram::Options options;
        options.folder = _folder->filePath(QStringLiteral("data"));
        options.keepsClips = keepsClips;
        options.computer = QStringLiteral("desk");
        options.addresses = addresses;
        _web = std::make_unique<WebProgram>(_backend, *_files, _settings.get(), options);
        const auto started = _web->open().and_then([this] { return _web->start(); });
        QVERIFY2(started, started ? "" : qPrintable(started.error().reason));
    }

    [[nodiscard]] quint16 port() const { return _web->server().port(); }

    // The code of the link, as a page reads it.
    QByteArray code() {
        const auto link = _web->makeLink();
        return link ? QByteArray::fromBase64(link->section(u'#', 1).toLatin1(),
                                             QByteArray::Base64UrlEncoding)
                    : QByteArray();
    }

    std::unique_ptr<Page> paired(const QString &name = QStringLiteral("Anna's phone")) {
        return pairedBy(code(), name);
    }
    std::unique_ptr<Page> pairedBy(const QByteArray &code, const QString &name) {
        auto page = std::make_unique<Page>(port(), PageClient::withCode(code));
        if (!page->shakeHands())
            return nullptr;
        page->say({{QStringLiteral("is"), QStringLiteral("pair")},
                   {QStringLiteral("name"), name},
                   {QStringLiteral("language"), QStringLiteral("en")}});
        _welcome = page->hear(QStringLiteral("welcome"));
        return _welcome.isEmpty() ? nullptr : std::move(page);
    }

    // Another page of a browser that was paired.
    std::unique_ptr<Page> resumed(const PageClient::Secrets &secrets,
                                  const QString &language = QStringLiteral("en")) {
        auto page = std::make_unique<Page>(port(), secrets);
        if (!page->shakeHands())
            return nullptr;
        page->say({{QStringLiteral("is"), QStringLiteral("resume")},
                   {QStringLiteral("language"), language}});
        _welcome = page->hear(QStringLiteral("welcome"));
        return _welcome.isEmpty() ? nullptr : std::move(page);
    }

    void connectDesk() {
        QTRY_COMPARE(_backend.published().size(), 1);
        _received.clear();
        _desk = ZRKStreamHandler::initWithInputStreamOutputStream(connectingStreamPair(
            {{QHostAddress(QHostAddress::LocalHost), _backend.published().constFirst().port}},
            RunLoop::Seconds(10)));
        _desk->onReceiveObject = [this](ZRKStreamHandler &, const PropertyList &object) {
            _received.append(object);
        };
        // What waited for it may come at once.
        QTRY_VERIFY(!_received.isEmpty());
    }

    // The items of what the desk received last, under that type.
    [[nodiscard]] PropertyList::List lastItems(const QString &type) const {
        const PropertyList *const clip = _received.constLast().find(type);
        return clip ? clip->find(QStringLiteral("items"))->list() : PropertyList::List();
    }

    QtRunLoop _runLoop;
    const RunLoop::Installation _installation{_runLoop};
    kit::FakeDnsSd _backend;
    std::unique_ptr<kit::MemoryPreferencesDatabase> _database;
    std::unique_ptr<SettingsStores> _settings;
    std::unique_ptr<QTemporaryDir> _folder;
    std::unique_ptr<PageFiles> _files;
    std::unique_ptr<WebProgram> _web;
    std::shared_ptr<ZRKStreamHandler> _desk;
    QList<PropertyList> _received;
    QJsonObject _welcome;
};

} // namespace clipmule::kit
