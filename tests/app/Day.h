// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#pragma once

#include "platform/bundle/Bundle.h"
#include "tests/app/AgentFixture.h"
#include "tests/kit/AllocatedBytes.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QRandomGenerator>
#include <QTranslator>

namespace clipmule::kit {

/// What a person does with the agent in a day, and what happens to the computer meanwhile: copies
/// and clips of all kinds and sizes both ways, phones that come and go, sleep and waking, a daemon
/// that restarts, settings and the language that change. On fakes, with a clock that is moved on;
/// the same number gives the same day. What the fakes write down is dropped as it goes.
class Day {
public:
    /// What is to be the same in the evening as it was in the morning.
    struct Counts {
        qint64 bytes = 0; // that the allocator has given out
        qsizetype descriptors = 0;
        int timers = 0;
        qsizetype observers = 0;
    };

    explicit Day(quint32 number)
        : _random(number) {
        _pictures = {picture(64, 64, "PNG"), picture(900, 600, "PNG"), picture(1600, 1200, "JPG")};
        for (const char *name : {"Anna", "Ben", "Carla"})
            _phones.append(_agent.connectedPhone(QString::fromLatin1(name)));
        rest();
    }

    /// Everything once, so that all is there that is made at the first need and kept.
    void warmUp() {
        for (const auto copy : copies)
            (this->*copy)();
        for (const auto event : events)
            (this->*event)();
        rest();
    }
    /// The next copy or clip, and now and then something else first.
    void goOn() {
        constexpr int clipsPerEvent = 25;
        if (_random.bounded(clipsPerEvent) == 0)
            (this->*events[size_t(_random.bounded(int(std::size(events))))])();
        (this->*copies[size_t(_random.bounded(int(std::size(copies))))])();
        // A clip every four seconds: 20,000 in a day.
        _agent.advance(0.1 + _random.bounded(8.4));
        forgetWhatWasWritten();
    }
    /// All phones are connected, a short text was copied last, and nothing has happened for a
    /// while.
    Counts atRest() {
        rest();
        ::malloc_trim(0);
        return {allocatedBytes(),
                QDir(QStringLiteral("/proc/self/fd"))
                    .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
                    .size(),
                _agent.runLoop.pendingCount(), observers()};
    }
    /// How many clips have reached phones or the clipboard.
    [[nodiscard]] qint64 arrived() const { return _arrived; }
    [[nodiscard]] double hours() const { return (_agent.runLoop.now() - _morning).count() / 3600; }

private:
    using Step = void (Day::*)();

    [[nodiscard]] static qsizetype observers() {
        return ZRKNotificationCenter::platformDefault().observerCount() +
               ZRKPowerNotificationCenter::defaultCenter()->observerCount();
    }

    void rest() {
        _agent.pasteboard.copyText(QStringLiteral("at rest") + QString::number(++_number));
        // The spinner, the pings and the settings' flush have had their time, whatever came before.
        constexpr int quarterHour = 900;
        for (int second = 0; second < quarterHour; second += 5)
            _agent.advance(5);
        forgetWhatWasWritten();
    }
    void forgetWhatWasWritten() {
        for (const auto &phone : std::as_const(_phones)) {
            // Pings are among the frames.
            _arrived += phone->connection().takeWritten().count("<key>1</key>");
            phone->connection().forgetCalls();
            while (phone->connections.size() > 1)
                phone->connections.removeFirst();
        }
        _arrived += _agent.pasteboard.writeCount() -
                    std::exchange(_written, _agent.pasteboard.writeCount());
        _agent.notice.messages.clear();
        _agent.notifications.forgetPosted();
        _agent.backend.forgetConnections();
        _agent.database.forgetSynchronized();
    }

    // What is copied and sent

    [[nodiscard]] QString text() {
        static constexpr int lengths[] = {5, 20, 20, 80, 80, 400, 3000, 30'000};
        const int length = lengths[_random.bounded(int(std::size(lengths)))];
        QString text = QString::number(++_number);
        while (text.size() < length)
            text += QStringLiteral("Grüße, 日本語, 🙂 und so weiter.\n");
        return text;
    }
    [[nodiscard]] QByteArray picture(int width, int height, const char *format) {
        QImage image(width, height, QImage::Format_RGB32);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                image.setPixel(x, y, QRgb(0xff000000U | unsigned(x * y + (_random.bounded(16)))));
        }
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, format);
        return bytes;
    }
    /// Another file each time.
    [[nodiscard]] QByteArray picture() {
        return _pictures[_random.bounded(int(_pictures.size()))] + QByteArray::number(++_number);
    }
    void copy(const PasteboardContents &contents) {
        _agent.pasteboard.copyByAnotherApplication(contents);
    }
    [[nodiscard]] const FakePhone &somePhone() {
        return *_phones[_random.bounded(int(_phones.size()))];
    }
    void send(const QString &type, const PropertyList::Dictionary &item) {
        const FakePhone &phone = somePhone();
        if (phone.connection().isOpen())
            phone.send(type, PropertyList(PropertyList::Dictionary{
                                 {QStringLiteral("items"),
                                  PropertyList(PropertyList::List{PropertyList(item)})}}));
    }

    void copyText() { _agent.pasteboard.copyText(text()); }
    void copyLongText() { _agent.pasteboard.copyText(text() + QString(200'000, u'x')); }
    void copyTooMuch() { _agent.pasteboard.copyText(text() + QString(10'000'000, u'x')); }
    void copyAgain() { copy(_agent.pasteboard.clipboard()); }
    void copyAddress() {
        PasteboardContents contents;
        contents.url = QUrl(QStringLiteral("https://example.org/?q=%1").arg(++_number));
        contents.text = contents.url->toEncoded();
        contents.title = QStringLiteral("Example");
        copy(contents);
    }
    void copyPage() {
        PasteboardContents contents;
        contents.text = text().toUtf8();
        contents.html = "<p>" + *contents.text + "</p>";
        copy(contents);
    }
    void copyDocument() {
        PasteboardContents contents;
        contents.rtf =
            "{\\rtf1\\ansi " + QByteArray::number(++_number) + QByteArray(500, 'x') + '}';
        copy(contents);
    }
    void copyPicture() {
        PasteboardContents contents;
        contents.images.append(picture());
        copy(contents);
    }
    void copyFiles() {
        PasteboardContents contents;
        contents.files = {QStringLiteral("/etc/hostname"),
                          QStringLiteral("/etc/none-%1").arg(++_number)};
        copy(contents);
    }
    void copySecret() {
        PasteboardContents contents;
        contents.text = text().toUtf8();
        contents.others.insert(PasteboardMarker::passwordHint, QByteArray("secret"));
        copy(contents);
    }
    void copyWithoutAnswer() { _agent.pasteboard.copyWithoutAnswer(); }
    void receiveText() {
        send(QStringLiteral("1"),
             {{QStringLiteral("createdBy"), 1}, {QStringLiteral("string"), text()}});
    }
    void receivePicture() {
        send(QStringLiteral("1"),
             {{QStringLiteral("createdBy"), 1}, {QStringLiteral("imageData"), picture()}});
    }
    void receiveMany() {
        for (int clip = 0; clip < 12; ++clip)
            receiveText();
    }
    void relayText() {
        send(QStringLiteral("2"),
             {{QStringLiteral("createdBy"), 1}, {QStringLiteral("string"), text()}});
    }
    void receiveNonsense() {
        if (somePhone().connection().isOpen())
            somePhone().send(PropertyList(PropertyList::List{1, 2}));
    }

    // What happens meanwhile

    void phoneGoes() {
        const auto phone = _phones[_random.bounded(int(_phones.size()))];
        _agent.backend.vanish(phone->service);
        _agent.advance(_random.bounded(300));
        _agent.backend.appear(phone->service,
                              {{QHostAddress(QHostAddress::LocalHost), phone->port}});
        _agent.settle();
    }
    void connectionDrops() {
        const FakePhone &phone = somePhone();
        if (phone.connection().isOpen())
            phone.connection().end();
        _agent.advance(7);
    }
    void computerSleeps() {
        _agent.power.send(PowerMessage::SystemWillSleep);
        _agent.advance(_random.bounded(3600));
        _agent.power.send(PowerMessage::SystemHasPoweredOn);
        _agent.advance(1);
    }
    void daemonRestarts() {
        using dnssd::Availability;
        _agent.backend.setAvailability(Availability::Absent);
        _agent.advance(_random.bounded(20));
        _agent.backend.setAvailability(Availability::Running);
        _agent.advance(1);
    }
    void phoneIsUnpairedAndPaired() {
        _agent.setRegistered({_agent.registered.first(), _agent.registered.last()});
        _agent.advance(2);
        _agent.setRegistered(_agent.registered);
        _agent.advance(2);
    }
    void syncingIsSwitchedOffAndOn() {
        _agent.app->setEnabled(false);
        _agent.advance(2);
        _agent.app->setEnabled(true);
        _agent.advance(2);
    }
    void languageChanges() {
        static constexpr const char *languages[] = {"de_DE", "ja_JP", "en_US"};
        for (QTranslator *const translator : qApp->findChildren<QTranslator *>()) {
            QCoreApplication::removeTranslator(translator);
            delete translator;
        }
        installTranslations(
            QLocale(QString::fromLatin1(languages[_random.bounded(int(std::size(languages)))])));
    }
    void agentRestarts() {
        _agent.app.reset();
        _agent.launch();
        _agent.advance(1);
    }

    static constexpr Step copies[] = {
        &Day::copyText,     &Day::copyText,        &Day::copyText,       &Day::copyText,
        &Day::copyLongText, &Day::copyAddress,     &Day::copyAddress,    &Day::copyPage,
        &Day::copyPage,     &Day::copyDocument,    &Day::copyPicture,    &Day::copyFiles,
        &Day::copyAgain,    &Day::copySecret,      &Day::copyTooMuch,    &Day::copyWithoutAnswer,
        &Day::receiveText,  &Day::receiveText,     &Day::receivePicture, &Day::relayText,
        &Day::receiveMany,  &Day::receiveNonsense,
    };
    static constexpr Step events[] = {
        &Day::phoneGoes,
        &Day::connectionDrops,
        &Day::computerSleeps,
        &Day::daemonRestarts,
        &Day::phoneIsUnpairedAndPaired,
        &Day::syncingIsSwitchedOffAndOn,
        &Day::languageChanges,
        &Day::agentRestarts,
    };

    QRandomGenerator _random;
    AgentFixture _agent;
    QList<std::shared_ptr<FakePhone>> _phones;
    QList<QByteArray> _pictures;
    RunLoop::Seconds _morning = _agent.runLoop.now();
    qint64 _number = 0;
    qint64 _arrived = 0;
    int _written = 0;
};

} // namespace clipmule::kit
