// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "web/DeskSettings.h"
#include "web/PageServer.h"
#include "web/PairedBrowsers.h"
#include "web/PairingCode.h"

#include <QJsonArray>
#include <QLockFile>

#include <map>

namespace clipmule {

/// Serves the page to the browsers that are paired, and lets in those that have read the code; each
/// of them is one phone for the desk.
class WebProgram final : public PageTab::Host {
public:
    struct Options {
        /// Where keys and clips are kept, for this user alone. Made when it is missing.
        QString folder;
        /// Whether clips are kept for pages that are closed.
        bool keepsClips = true;
        /// What pages call this computer.
        QString computer;
        PageServer::Options server = {};
        /// Addresses of this computer to serve on instead of all private ones.
        QList<QHostAddress> addresses = {};
        /// How the phones listen.
        std::function<SocketListener::Calls()> calls = SocketListener::systemCalls;
    };

    /// All that is referred to outlives it. Without settings the agent is told of nothing.
    WebProgram(dnssd::Backend &backend, const PageFiles &files, SettingsStores *settings,
               Options options);
    ~WebProgram() override;

    // Set before start().
    /// A browser was paired.
    std::function<void(const PairedBrowsers::Browser &)> onPaired;
    /// What becomes of the code that was made last, as programs of this user are told of it.
    std::function<void(const QJsonObject &)> onCode;
    /// It serves on other addresses than before.
    std::function<void()> onAddressesChange;

    /// Takes the folder, which is one process's at a time, and what is in it into use. The failure
    /// says what is in the way.
    [[nodiscard]] Result<void> open();
    /// Serves, after open().
    [[nodiscard]] Result<void> start();
    /// The user switched the sync on or off.
    void syncDidChange();

    /// Where the page is, with a fresh code: what a phone's camera reads. A failure when there is
    /// no network to serve it on.
    [[nodiscard]] Result<QString> makeLink();
    [[nodiscard]] const PairedBrowsers &browsers() const { return _browsers; }
    /// The browsers as a control program is told of them, without their keys.
    [[nodiscard]] QJsonArray list() const;
    [[nodiscard]] Result<void> revokeNamed(const QString &nameOrId);
    [[nodiscard]] Result<void> renameNamed(const QString &nameOrId, const QString &name);
    [[nodiscard]] const PageServer &server() const { return _server; }

    // PageTab::Host
    [[nodiscard]] std::optional<SecretKey> keyOf(PageChannel::Kind kind,
                                                 QByteArrayView id) override;
    [[nodiscard]] BrowserPhone *paired(QByteArrayView code, const PageKey &browser,
                                       const QString &name) override;
    [[nodiscard]] BrowserPhone *resumed(const QByteArray &id) override;
    void rename(const QByteArray &id, const QString &name) override;
    void revoke(const QByteArray &id) override;
    [[nodiscard]] QString computer() const override { return _options.computer; }

private:
    [[nodiscard]] QList<OwnNetwork> networks() const;
    [[nodiscard]] Result<void> listen();
    void tellOfCode(const char *what, QJsonObject more = {});
    [[nodiscard]] QString originOfLinks() const;
    [[nodiscard]] QString folderOf(const QByteArray &id) const;
    void forgetClips(const QByteArray &id) const;
    BrowserPhone *startPhone(const PairedBrowsers::Browser &browser);
    [[nodiscard]] Result<void> remove(const QByteArray &id);
    [[nodiscard]] Result<void> changeName(const QByteArray &id, const QString &name);

    dnssd::Backend &_backend;
    DeskSettings _desk;
    Options _options;
    QLockFile _lock;
    PairedBrowsers _browsers;
    PairingCode _code;
    QString _codeOrigin;
    bool _codeWasFetched = false;
    // By the ids of their browsers.
    std::map<QByteArray, std::shared_ptr<BrowserPhone>> _phones;
    AddressWatch _watch;
    // Last, so that its pages go before the phones that they look at.
    PageServer _server;
};

} // namespace clipmule
