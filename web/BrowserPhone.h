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

    struct Place {
        dnssd::Backend &backend;
        /// How its phone listens.
        SocketListener::Calls calls;
        /// What its pages call the computer.
        QString computer;
        /// Where its clips are kept; empty for nowhere on disk, and nowhere in memory when no page
        /// is open.
        QString folder;
    };
    /// The browser outlives the phone.
    BrowserPhone(const PairedBrowsers::Browser &browser, const Place &place);
    ~BrowserPhone();
    Q_DISABLE_COPY_MOVE(BrowserPhone)

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
    /// Whether the user has the sync switched on, as far as this program knows.
    void setSyncOn(bool isOn);
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
    void showState();
    void didReceive(const PropertyList &object);
    void didReceiveClip(const PropertyList::Dictionary &dictionary);
    [[nodiscard]] QString originOf(const ZRKClipmuleData &clip) const;
    [[nodiscard]] bool handOver(const Waiting &waiting);
    // False when it cannot wait.
    [[nodiscard]] bool keepWaiting(const Waiting &waiting);
    void sendWaiting();

    const PairedBrowsers::Browser &_browser;
    QString _computer;
    bool _keeps;
    bool _isSyncOn = true;
    BrowserClips _clips;
    QList<View *> _views;
    QList<Waiting> _waiting;
    // What the desk tells of its phones: their names by their services.
    QMap<QString, QString> _otherPhones;
    PhoneService _service;
};

} // namespace clipmule
