// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "web/BrowserPhone.h"
#include "web/PageConnection.h"

#include <map>

namespace clipmule {

/// One open page: what it asks for and what it is told, once it has proved which browser it is of.
class PageTab final : public BrowserPhone::View {
public:
    /// What a page needs of the program. It outlives every tab.
    class Host {
    public:
        Host() = default;
        virtual ~Host() = default;
        Q_DISABLE_COPY_MOVE(Host)
        [[nodiscard]] virtual std::optional<SecretKey> keyOf(PageChannel::Kind kind,
                                                             QByteArrayView id) = 0;
        /// The page has proved the code of that id: it is spent, and the browser is kept under its
        /// own key. Null when the code is none any more, or it cannot be kept.
        [[nodiscard]] virtual BrowserPhone *paired(QByteArrayView code, const PageKey &browser,
                                                   const QString &name) = 0;
        /// The page has proved to be of that browser. Null when it is not paired any more.
        [[nodiscard]] virtual BrowserPhone *resumed(const QByteArray &id) = 0;
        virtual void rename(const QByteArray &id, const QString &name) = 0;
        /// Ends the phone and all its tabs, this one among them; they may be gone on the next turn
        /// of the run loop.
        virtual void revoke(const QByteArray &id) = 0;
        [[nodiscard]] virtual QString computer() const = 0;
    };

    explicit PageTab(Host &host);
    ~PageTab() override;

    [[nodiscard]] PageConnection &connection() { return _connection; }

    void show(const QJsonObject &message) override;
    void end() override;

private:
    struct Request;
    /// What a transfer of the page is for.
    struct Incoming {
        QString filter = {};
        bool isPicture = false;
        bool isForOtherPhones = false;
    };

    void take(const QJsonObject &message);
    void welcome(const Request &request);
    void act(const Request &request);
    void beginSending(const Request &request);
    void fetch(const Request &request);
    void beginFiltering(const Request &request);
    void didReceive(quint32 transfer, const QByteArray &bytes);
    void sendClip(quint32 transfer, const Incoming &incoming, const QByteArray &bytes);
    void filter(quint32 transfer, const QString &name, const QString &text);
    void answerData(quint32 transfer, const QByteArray &bytes);
    void refuse(quint32 transfer, const char *why);
    void notSent(quint32 transfer, const char *why);
    void tellWhatBecame(quint32 transfer, BrowserPhone::Sent sent);

    Host &_host;
    PageConnection _connection;
    BrowserPhone *_phone = nullptr;
    std::map<quint32, Incoming> _incoming;
    // Who still wants to hear of a clip that waits knows by this whether the tab is there.
    std::shared_ptr<PageTab *> _self = std::make_shared<PageTab *>(this);
};

} // namespace clipmule
