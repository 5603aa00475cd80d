// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "web/PageTab.h"

#include "filters/FilterClasses.h"
#include "platform/foundation/PlatformException.h"
#include "web/PageClip.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringDecoder>
#include <QTranslator>

#include <cmath>

namespace clipmule {

namespace {

QJsonObject message(const char *name, std::initializer_list<QPair<QString, QJsonValue>> entries) {
    QJsonObject object(entries);
    object.insert(QStringLiteral("is"), QLatin1String(name));
    return object;
}

// Of the languages that the program speaks; the page may be read in another than the desktop.
QJsonArray filterLabels(const QString &language) {
    QTranslator translator;
    const QString spoken = language.section(u'-', 0, 0).toLower();
    const bool isTranslated = (spoken == QStringLiteral("de") || spoken == QStringLiteral("ja")) &&
                              translator.load(QStringLiteral(":/translations/clipmule_") + spoken);
    QJsonArray labels;
    for (const auto &filter : ZRKClipmuleFilter::allFilters()) {
        QString label;
        if (isTranslated)
            label = translator.translate("Clipmule", filter->englishTitle());
        if (label.isEmpty())
            label = QString::fromUtf8(filter->englishTitle());
        labels.append(QJsonObject{{QStringLiteral("name"), filter->className()},
                                  {QStringLiteral("label"), label}});
    }
    return labels;
}

std::optional<QString> textFrom(const QByteArray &bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

} // namespace

// A message of the page and whether all that was asked of it was of the right kind.
struct PageTab::Request {
    const QJsonObject &object;
    mutable bool isWellFormed = true;

    [[nodiscard]] QString text(const char *key) const {
        const QJsonValue value = object[QLatin1String(key)];
        isWellFormed = isWellFormed && value.isString();
        return value.toString();
    }
    [[nodiscard]] bool has(const char *key) const { return object.contains(QLatin1String(key)); }
    [[nodiscard]] bool truth(const char *key) const {
        const QJsonValue value = object[QLatin1String(key)];
        isWellFormed = isWellFormed && (value.isUndefined() || value.isBool());
        return value.toBool();
    }
    /// A whole number from 0 up to the largest one.
    [[nodiscard]] qint64 number(const char *key, qint64 largest) const {
        const double value = object[QLatin1String(key)].toDouble(-1);
        isWellFormed =
            isWellFormed && value >= 0 && value <= double(largest) && std::floor(value) == value;
        return isWellFormed ? qint64(value) : 0;
    }
    [[nodiscard]] quint32 transfer() const {
        return quint32(number("transfer", std::numeric_limits<quint32>::max()));
    }
};

PageTab::PageTab(Host &host)
    : _host(host)
    , _connection(
          [&host](PageChannel::Kind kind, QByteArrayView id) { return host.keyOf(kind, id); }) {
    _connection.onMessage = [this](const QJsonObject &object) { take(object); };
    _connection.onTransfer = [this](quint32 transfer, const QByteArray &bytes) {
        didReceive(transfer, bytes);
    };
}

PageTab::~PageTab() {
    if (_phone)
        _phone->close(*this);
}

void PageTab::show(const QJsonObject &object) {
    _connection.send(object);
}

void PageTab::end() {
    _phone = nullptr;
    _connection.send(message("revoked", {}));
    _connection.end();
}

void PageTab::take(const QJsonObject &object) {
    const Request request{object};
    if (_phone)
        act(request);
    else
        welcome(request);
    if (!request.isWellFormed)
        _connection.breakOff();
}

void PageTab::welcome(const Request &request) {
    const bool isPairing = _connection.channel().kind() == PageChannel::Kind::Pair;
    const QString language = request.text("language");
    const QString name = isPairing ? request.text("name") : QString();
    if (request.text("is") != QLatin1String(isPairing ? "pair" : "resume"))
        request.isWellFormed = false;
    if (!request.isWellFormed)
        return;
    const PageChannel &channel = _connection.channel();
    _phone = isPairing ? _host.paired(channel.id(), channel.browser(), name)
                       : _host.resumed(channel.id());
    if (!_phone)
        return _connection.breakOff();
    const QJsonObject limits{{QStringLiteral("text"), PageClip::largest},
                             {QStringLiteral("picture"), PageClip::largest}};
    show(message("welcome", {{QStringLiteral("computer"), _host.computer()},
                             {QStringLiteral("name"), _phone->browser().name},
                             {QStringLiteral("filters"), filterLabels(language)},
                             {QStringLiteral("keeps"), _phone->keeps()},
                             {QStringLiteral("limits"), limits}}));
    show(message("state", {{QStringLiteral("desk"), _phone->state()}}));
    // As many in a message as fit.
    QJsonArray clips;
    qsizetype size = 0;
    for (const auto &clip : _phone->clips().all()) {
        const QJsonObject described = PageClip::described(*clip);
        const qsizetype more = QJsonDocument(described).toJson(QJsonDocument::Compact).size() + 1;
        if (size + more > PageConnection::largestJson - 100) {
            show(message("clips",
                         {{QStringLiteral("clips"), clips}, {QStringLiteral("more"), true}}));
            clips = {};
            size = 0;
        }
        clips.append(described);
        size += more;
    }
    show(message("clips", {{QStringLiteral("clips"), clips}}));
    _phone->open(*this);
}

void PageTab::act(const Request &request) {
    const QString is = request.text("is");
    if (is == QStringLiteral("send"))
        return beginSending(request);
    if (is == QStringLiteral("fetch"))
        return fetch(request);
    if (is == QStringLiteral("filter"))
        return beginFiltering(request);
    if (is == QStringLiteral("cancel")) {
        const quint32 transfer = request.transfer();
        _incoming.erase(transfer);
        return _connection.cancel(transfer);
    }
    if (is == QStringLiteral("ping"))
        return show(message("pong", {}));
    if (is == QStringLiteral("forget"))
        return _host.revoke(_phone->browser().key.id);
    if (is == QStringLiteral("remove")) {
        const QString clip = request.text("clip");
        if (request.isWellFormed)
            _phone->remove(clip);
    } else if (is == QStringLiteral("rename")) {
        const QString name = request.text("name");
        if (request.isWellFormed)
            _host.rename(_phone->browser().key.id, name);
    }
}

void PageTab::beginSending(const Request &request) {
    const quint32 transfer = request.transfer();
    const qint64 size = request.number("size", std::numeric_limits<qint64>::max() / 2);
    const QString kind = request.text("kind");
    const Incoming incoming{.isPicture = kind == QStringLiteral("picture"),
                            .isForOtherPhones = request.truth("relay")};
    if (!request.isWellFormed || !_connection.begin(transfer))
        return;
    if (!incoming.isPicture && kind != QStringLiteral("text"))
        return notSent(transfer, "malformed");
    // A unit of a text takes three bytes at most.
    if (size > (incoming.isPicture ? PageClip::largest : 3 * PageClip::largest))
        return notSent(transfer, "tooLarge");
    _incoming.insert_or_assign(transfer, incoming);
    if (!_connection.expect(transfer, size)) {
        _incoming.erase(transfer);
        notSent(transfer, "busy");
    }
}

void PageTab::beginFiltering(const Request &request) {
    const quint32 transfer = request.transfer();
    const QString name = request.text("filter");
    const bool isOfClip = request.has("clip");
    const QString id = isOfClip ? request.text("clip") : QString();
    const qint64 size =
        isOfClip ? 0 : request.number("size", std::numeric_limits<qint64>::max() / 2);
    if (!request.isWellFormed || !_connection.begin(transfer))
        return;
    if (isOfClip) {
        const auto clip = _phone->clips().withId(id);
        return clip ? filter(transfer, name, PageClip::textOf(*clip)) : refuse(transfer, "gone");
    }
    if (size > 3 * PageClip::largest)
        return refuse(transfer, "tooLarge");
    _incoming.insert_or_assign(transfer, Incoming{.filter = name});
    if (!_connection.expect(transfer, size)) {
        _incoming.erase(transfer);
        refuse(transfer, "busy");
    }
}

void PageTab::fetch(const Request &request) {
    const quint32 transfer = request.transfer();
    const QString id = request.text("clip");
    const QString what = request.text("what");
    if (!request.isWellFormed || !_connection.begin(transfer))
        return;
    const auto clip = _phone->clips().withId(id);
    if (!clip)
        return refuse(transfer, "gone");
    if (what == QStringLiteral("text"))
        return answerData(transfer, PageClip::textOf(*clip).toUtf8());
    if (what != QStringLiteral("picture"))
        return refuse(transfer, "malformed");
    const auto picture = PageClip::pictureOf(*clip);
    if (!picture)
        return refuse(transfer, "gone");
    answerData(transfer, *picture);
    _phone->clips().letMemoryGo();
}

void PageTab::didReceive(quint32 transfer, const QByteArray &bytes) {
    const auto node = _incoming.extract(transfer);
    if (!node || !_phone)
        return;
    const Incoming &incoming = node.mapped();
    if (incoming.filter.isNull())
        return sendClip(transfer, incoming, bytes);
    const auto text = textFrom(bytes);
    if (!text)
        return refuse(transfer, "malformed");
    filter(transfer, incoming.filter, *text);
}

void PageTab::sendClip(quint32 transfer, const Incoming &incoming, const QByteArray &bytes) {
    std::shared_ptr<ZRKClipmuleData> clip;
    if (incoming.isPicture) {
        clip = PageClip::ofPicture(bytes);
    } else if (const auto text = textFrom(bytes); text && !text->isEmpty()) {
        if (text->size() > PageClip::largest)
            return notSent(transfer, "tooLarge");
        clip = PageClip::ofText(*text);
    }
    if (!clip)
        return notSent(transfer, "malformed");
    _phone->send(clip, incoming.isForOtherPhones,
                 [self = std::weak_ptr(_self), transfer](BrowserPhone::Sent sent) {
                     if (const auto tab = self.lock())
                         (*tab)->tellWhatBecame(transfer, sent);
                 });
}

void PageTab::tellWhatBecame(quint32 transfer, BrowserPhone::Sent sent) {
    switch (sent) {
    case BrowserPhone::Sent::Sent:
        return show(message("sent", {{QStringLiteral("for"), qint64(transfer)}}));
    case BrowserPhone::Sent::Waiting:
        return show(message("waiting", {{QStringLiteral("for"), qint64(transfer)}}));
    case BrowserPhone::Sent::NoRoom:
        return notSent(transfer, "noDesk");
    }
}

void PageTab::filter(quint32 transfer, const QString &name, const QString &text) {
    const auto found = std::dynamic_pointer_cast<ZRKClipmuleTextFilter>(
        FilterByName::find(ZRKClipmuleFilter::allFilters(), name));
    if (!found)
        return refuse(transfer, "filter");
    if (text.size() > PageClip::largest)
        return refuse(transfer, "tooLarge");
    try {
        found->resetOptions();
        const QString filtered = found->filterString(text).value_or(QString());
        if (filtered.size() > PageClip::largest)
            return refuse(transfer, "tooLarge");
        answerData(transfer, filtered.toUtf8());
    } catch (const PlatformException &) {
        refuse(transfer, "filter");
    }
}

void PageTab::answerData(quint32 transfer, const QByteArray &bytes) {
    if (_connection.canSendData())
        _connection.sendData(transfer, bytes);
    else
        refuse(transfer, "busy");
}

void PageTab::refuse(quint32 transfer, const char *why) {
    show(message("refused", {{QStringLiteral("for"), qint64(transfer)},
                             {QStringLiteral("why"), QLatin1String(why)}}));
}

void PageTab::notSent(quint32 transfer, const char *why) {
    show(message("notSent", {{QStringLiteral("for"), qint64(transfer)},
                             {QStringLiteral("why"), QLatin1String(why)}}));
}

} // namespace clipmule
