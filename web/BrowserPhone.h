// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "phone/PhoneService.h"
#include "web/BrowserClips.h"
#include "web/PairedBrowsers.h"

#include <QJsonObject>

namespace clipmule {

/// One paired browser as a phone: what comes for it is kept and shown on all its open pages, what
/// they send goes to the desk, or waits for it.
class BrowserPhone final {
public:
    /// Something that a page looks through; a browser may have several open.
    class View {
    public:
        View() = default;
        virtual ~View() = default;
        Q_DISABLE_COPY_MOVE(View)
        virtual void show(const QJsonObject &message) = 0;
        /// The browser is paired no longer.
        virtual void end() = 0;
    };
    /// What becomes of a clip that a page sent.
    enum class Sent { Sent, Waiting, NoRoom };
    using OnSent = std::function<void(Sent)>;

    /// What waits for a desk, in bytes as BrowserClips counts them, and in clips.
    static constexpr qint64 mostWaitingBytes = 40'000'000;
    static constexpr qsizetype mostWaiting = 50;

    /// The browser outlives the phone. An empty folder keeps nothing on disk, and nothing in
    /// memory when no page is open.
    BrowserPhone(dnssd::Backend &backend, const PairedBrowsers::Browser &browser, QString computer,
                 const QString &folder);
    ~BrowserPhone();
    Q_DISABLE_COPY_MOVE(BrowserPhone)

    /// Its service is announced under this name. Set before start().
    std::function<void(const QString &service)> onPublish;

    /// False when it cannot listen.
    [[nodiscard]] bool start();

    [[nodiscard]] const PairedBrowsers::Browser &browser() const { return _browser; }
    [[nodiscard]] BrowserClips &clips() { return _clips; }
    [[nodiscard]] bool keeps() const { return _keeps; }
    [[nodiscard]] qsizetype views() const { return _views.size(); }
    [[nodiscard]] QString state() const;

    void open(View &view);
    void close(View &view);
    /// The name was changed.
    void renamed();
    /// Ends all views and forgets what it kept.
    void revoke();
    void remove(const QString &clip);
    /// Called at once with what becomes of it, and again when what waited is sent.
    void send(const std::shared_ptr<ZRKClipmuleData> &clip, bool forOtherPhones, OnSent onSent);

private:
    struct Waiting {
        std::shared_ptr<ZRKClipmuleData> clip;
        bool forOtherPhones;
        OnSent onSent;
    };

    void showAll(const QJsonObject &message);
    void didReceive(const PropertyList &object);
    void didReceiveClip(const PropertyList::Dictionary &dictionary);
    [[nodiscard]] QString originOf(const ZRKClipmuleData &clip) const;
    [[nodiscard]] bool handOver(const Waiting &waiting);
    void keepWaiting(const Waiting &waiting);
    void sendWaiting();

    const PairedBrowsers::Browser &_browser;
    QString _computer;
    bool _keeps;
    BrowserClips _clips;
    QList<View *> _views;
    QList<Waiting> _waiting;
    // What the desk tells of its phones: their names by their services.
    QMap<QString, QString> _otherPhones;
    PhoneService _service;
};

} // namespace clipmule
