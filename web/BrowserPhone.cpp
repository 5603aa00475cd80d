// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/BrowserPhone.h"

#include "platform/foundation/Memory.h"
#include "platform/foundation/PlatformException.h"
#include "web/PageClip.h"

#include <QJsonArray>
#include <QLoggingCategory>

namespace clipmule {

namespace {

Q_LOGGING_CATEGORY(logWeb, "clipmule.web")

} // namespace

BrowserPhone::BrowserPhone(const PairedBrowsers::Browser &browser, const Place &place)
    : _browser(browser)
    , _computer(place.computer)
    , _keeps(!place.folder.isEmpty())
    , _clips(place.folder)
    , _service(place.backend, browser.service, browser.name, place.calls) {
    for (const auto &clip : _clips.waiting())
        _waiting.append({clip, PageClip::isForOtherPhones(*clip), [](Sent) {}});
}

BrowserPhone::~BrowserPhone() {
    _service.stop();
}

bool BrowserPhone::start() {
    _service.onReceive = [this](const PropertyList &object) { didReceive(object); };
    _service.onOpen = [this](const QString &) {
        sendWaiting();
        showAll(
            {{QStringLiteral("is"), QStringLiteral("state")}, {QStringLiteral("desk"), state()}});
    };
    _service.onClose = [this](const QString &) {
        showAll(
            {{QStringLiteral("is"), QStringLiteral("state")}, {QStringLiteral("desk"), state()}});
    };
    return _service.start();
}

QString BrowserPhone::state() const {
    if (_service.hasDesks())
        return QStringLiteral("connected");
    return _isSyncOn ? QStringLiteral("away") : QStringLiteral("off");
}

void BrowserPhone::showState() {
    showAll({{QStringLiteral("is"), QStringLiteral("state")}, {QStringLiteral("desk"), state()}});
}

void BrowserPhone::setSyncOn(bool isOn) {
    if (std::exchange(_isSyncOn, isOn) != isOn)
        showState();
}

void BrowserPhone::open(View &view) {
    _views.append(&view);
}

void BrowserPhone::close(View &view) {
    _views.removeAll(&view);
    if (_views.isEmpty() && !_keeps)
        _clips.removeAll();
}

void BrowserPhone::showAll(const QJsonObject &message) {
    // One that does not read may be closed meanwhile.
    const auto views = _views;
    for (View *const view : views)
        view->show(message);
}

void BrowserPhone::renamed() {
    _service.setToldName(_browser.name);
    showAll({{QStringLiteral("is"), QStringLiteral("renamed")},
             {QStringLiteral("name"), _browser.name}});
}

void BrowserPhone::revoke() {
    _service.stop();
    _waiting.clear();
    for (View *const view : std::exchange(_views, {}))
        view->end();
    _clips.removeAll();
}

void BrowserPhone::remove(const QString &clip) {
    if (_clips.remove(clip))
        showAll({{QStringLiteral("is"), QStringLiteral("gone")},
                 {QStringLiteral("clips"), QJsonArray{clip}}});
}

void BrowserPhone::didReceive(const PropertyList &object) {
    try {
        const PropertyList *const payload = MessageEnvelope::payload(object);
        const auto type = MessageEnvelope::type(object);
        if (!payload || !type)
            return;
        switch (*type) {
        case MessageEnvelope::Type::Clip:
            return didReceiveClip(payload->dictionary());
        case MessageEnvelope::Type::ConnectedDevices:
            _otherPhones.clear();
            for (const auto &[service, record] : payload->dictionary().toStdMap()) {
                const auto *const name =
                    find<QString>(record.dictionary({}), QStringLiteral("name"));
                if (service != _browser.service && name)
                    _otherPhones.insert(service, PairedBrowsers::cleaned(*name));
            }
            return;
        case MessageEnvelope::Type::ClipForDevices:
        case MessageEnvelope::Type::DeviceRecord:
            return; // what phones say
        }
    } catch (const PlatformException &exception) {
        qCWarning(logWeb).noquote() << "a message of the desk is not taken:" << exception.reason();
    }
}

void BrowserPhone::didReceiveClip(const PropertyList::Dictionary &dictionary) {
    // Where nothing is to be kept, there is nobody to show it to.
    if (!_keeps && _views.isEmpty())
        return;
    const auto received = PhoneService::received(dictionary);
    const auto clip = PageClip::reduced(*received);
    if (!clip)
        return;
    PageClip::setOrigin(*clip, originOf(*received));
    const QStringList gone = _clips.keep(clip);
    if (!gone.isEmpty())
        showAll({{QStringLiteral("is"), QStringLiteral("gone")},
                 {QStringLiteral("clips"), QJsonArray::fromStringList(gone)}});
    showAll({{QStringLiteral("is"), QStringLiteral("clip")},
             {QStringLiteral("clip"), PageClip::described(*clip)}});
    trimHeapAfterClip(quint64(BrowserClips::sizeOf(*clip)));
}

// The desk does not say from which phone a clip is that it passes on.
QString BrowserPhone::originOf(const ZRKClipmuleData &clip) const {
    if (!clip.firstItem() || clip.firstItem()->isNative())
        return _computer;
    return _otherPhones.size() == 1 ? _otherPhones.first() : QString();
}

void BrowserPhone::send(const std::shared_ptr<ZRKClipmuleData> &clip, bool forOtherPhones,
                        OnSent onSent) {
    const Waiting waiting{clip, forOtherPhones, std::move(onSent)};
    PageClip::setForOtherPhones(*clip, forOtherPhones);
    // What waits goes first.
    if (_waiting.isEmpty() && handOver(waiting))
        return;
    waiting.onSent(keepWaiting(waiting) ? Sent::Waiting : Sent::NoRoom);
}

// False when there is no desk.
bool BrowserPhone::handOver(const Waiting &waiting) {
    PhoneService::Fate fate;
    const auto isTold = std::make_shared<bool>(false);
    fate.onSent = [this, waiting, isTold](const QString &) {
        if (std::exchange(*isTold, true))
            return;
        _clips.removeWaiting(waiting.clip);
        waiting.onSent(Sent::Sent);
    };
    fate.onLost = [this, waiting] {
        waiting.onSent(keepWaiting(waiting) ? Sent::Waiting : Sent::NoRoom);
    };
    return _service.send(*waiting.clip, waiting.forOtherPhones, std::move(fate));
}

bool BrowserPhone::keepWaiting(const Waiting &waiting) {
    qint64 bytes = BrowserClips::sizeOf(*waiting.clip);
    for (const Waiting &other : std::as_const(_waiting))
        bytes += BrowserClips::sizeOf(*other.clip);
    if (_waiting.size() >= mostWaiting || bytes > mostWaitingBytes ||
        !_clips.addWaiting(waiting.clip))
        return false;
    _waiting.append(waiting);
    return true;
}

void BrowserPhone::sendWaiting() {
    while (!_waiting.isEmpty()) {
        const Waiting first = _waiting.constFirst();
        if (!handOver(first))
            return;
        _waiting.removeFirst();
    }
}

} // namespace clipmule
