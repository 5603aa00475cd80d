// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "tests/kit/FakeDnsSd.h"
#include "tests/kit/ManualRunLoop.h"
#include "tests/web/PageClient.h"
#include "web/PageClip.h"
#include "web/PageTab.h"

#include <QJsonDocument>

#include <cstdlib>
#include <iostream>

using namespace clipmule;
using web_test::PageClient;

namespace {

[[noreturn]] void fail(const char *what) {
    std::cerr << what << '\n';
    std::abort();
}

const PageClient::Secrets secrets{.kind = 'R',
                                  .id = QByteArray(16, 'i'),
                                  .key = QByteArray(32, 'k'),
                                  .secret = QByteArray(32, 's'),
                                  .nonce = QByteArray(24, 'n')};

// A program with one browser, which has one clip of each kind.
class Program final : public PageTab::Host {
public:
    Program()
        : _browser{{secrets.id, SecretKey(secrets.key)},
                   QStringLiteral("Anna"),
                   QStringLiteral("Anna"),
                   {},
                   {}}
        , _phone(_browser, {_backend, SocketListener::systemCalls(), QStringLiteral("desk"), {}}) {
        for (const char *text : {"text", "https://example.org/"}) {
            const auto clip = PageClip::reduced(*PageClip::ofText(QString::fromLatin1(text)));
            clip->setOid(QString::fromLatin1(text).first(1));
            (void)_phone.clips().keep(clip);
        }
    }

    std::optional<SecretKey> keyOf(PageChannel::Kind kind, QByteArrayView id) override {
        if (kind != PageChannel::Kind::Resume || id != secrets.id)
            return std::nullopt;
        return SecretKey(secrets.key);
    }
    BrowserPhone *paired(QByteArrayView, const PageKey &, const QString &) override {
        fail("paired without a code");
    }
    BrowserPhone *resumed(const QByteArray &) override { return isProved ? &_phone : nullptr; }
    void rename(const QByteArray &, const QString &name) override {
        _browser.name = PairedBrowsers::cleaned(name);
        if (_browser.name.isEmpty() || _browser.name.toUtf8().size() > PairedBrowsers::longestName)
            fail("a name of any length");
        _phone.renamed();
    }
    void revoke(const QByteArray &) override { _phone.revoke(); }
    QString computer() const override { return QStringLiteral("desk"); }

    bool isProved = false;

private:
    kit::FakeDnsSd _backend;
    PairedBrowsers::Browser _browser;
    BrowserPhone _phone;
};

// The rest of the input as messages, each behind its length.
std::optional<QByteArray> nextMessage(QByteArrayView &bytes) {
    if (bytes.size() < 2)
        return std::nullopt;
    const qsizetype size = quint8(bytes[0]) << 8 | quint8(bytes[1]);
    bytes = bytes.sliced(2);
    const QByteArray message = bytes.first(std::min(size, bytes.size())).toByteArray();
    bytes = bytes.sliced(message.size());
    return message;
}

// What the program says is sealed and well-formed, whatever it was asked.
void hear(PageConnection &connection, PageClient &page) {
    while (const auto sealed = connection.next()) {
        const auto plain = page.open(*sealed);
        if (!plain || plain->isEmpty())
            fail("what does not open");
        if (plain->startsWith('\1'))
            continue;
        if (!QJsonDocument::fromJson(plain->sliced(1)).isObject() ||
            plain->size() > 1 + PageConnection::largestJson)
            fail("no message");
    }
}

void tryUnproved(QByteArrayView bytes) {
    Program program;
    PageTab tab(program);
    while (const auto message = nextMessage(bytes)) {
        tab.connection().receive(*message);
        // Only the answer to a hello, which takes a key to make.
        while (const auto answer = tab.connection().next()) {
            if (*answer != "\3" && answer->size() != 1 + 24 + 80)
                fail("more than an answer");
        }
    }
}

void tryProved(QByteArrayView bytes) {
    Program program;
    program.isProved = true;
    PageTab tab(program);
    PageClient page(secrets);
    PageConnection &connection = tab.connection();
    connection.receive(page.hello());
    if (!page.takeAnswer(connection.next().value_or(QByteArray())))
        fail("no answer");
    while (const auto message = nextMessage(bytes)) {
        connection.receive(page.seal(*message));
        hear(connection, page);
    }
}

} // namespace

// Whatever a page says, before or after it has proved a key.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    if (size == 0)
        return 0;
    kit::ManualRunLoop runLoop;
    const RunLoop::Installation installation(runLoop);
    const QByteArrayView bytes(data + 1, qsizetype(size) - 1);
    if (data[0] % 2 == 0)
        tryUnproved(bytes);
    else
        tryProved(bytes);
    return 0;
}
