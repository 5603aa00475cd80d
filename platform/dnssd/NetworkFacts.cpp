// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/dnssd/NetworkFacts.h"

#include "platform/dbus/BusConnection.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QUdpSocket>

#include <algorithm>
#include <vector>

namespace clipmule::dnssd {

namespace {

const QHostAddress everybody(QStringLiteral("224.0.0.251"));
constexpr quint16 multicastDnsPort = 5353;
constexpr int busTimeoutInMilliseconds = 1000;
// A machine with many containers has many interfaces; more questions tell nothing new.
constexpr size_t mostQuestions = 16;
// The most answers that one look counts; nobody needs a thousand to know that there are some.
constexpr int mostAnswers = 256;

void appendName(QByteArray &packet, const QByteArrayList &labels) {
    for (const QByteArray &label : labels)
        packet += char(label.size()) + label;
    packet += '\0';
}

void appendQuestion(QByteArray &packet, const QByteArrayList &labels) {
    appendName(packet, labels);
    packet += QByteArray::fromHex("000c0001"); // PTR, Internet
}

// Asks who is there and who has our address. This computer's own responder knows the latter.
QByteArray question(const QHostAddress &own) {
    QByteArray packet = QByteArray::fromHex("4b5200000002000000000000");
    appendQuestion(packet, {"_services", "_dns-sd", "_udp", "local"});
    QByteArrayList reverse = own.toString().toLatin1().split('.');
    std::reverse(reverse.begin(), reverse.end());
    appendQuestion(packet, reverse + QByteArrayList{"in-addr", "arpa"});
    return packet;
}

// Whether a packet has the response bit and at least one answer.
bool isAnswer(const QByteArray &packet) {
    constexpr qsizetype headerSize = 12;
    return packet.size() >= headerSize && (quint8(packet[2]) & 0x80U) != 0 &&
           (packet[6] != 0 || packet[7] != 0);
}

QList<NetworkFacts::Interface> listInterfaces() {
    QList<NetworkFacts::Interface> result;
    const auto interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : interfaces) {
        NetworkFacts::Interface one;
        one.name = interface.name();
        const auto flags = interface.flags();
        one.isLoopback = flags.testFlag(QNetworkInterface::IsLoopBack);
        one.isUp =
            flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning);
        one.canMulticast = flags.testFlag(QNetworkInterface::CanMulticast);
        const auto entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            QHostAddress address = entry.ip();
            address.setScopeId(QString());
            one.addresses.append(address.toString());
        }
        result.append(one);
    }
    return result;
}

class RealNetworkProbe final : public QObject, public NetworkProbe {
public:
    void look(std::function<void(const NetworkFacts &)> answer) override {
        _answer = std::move(answer);
        _facts = {};
        _facts.interfaces = listInterfaces();
        _sockets.clear();
        _received = 0;
        askEverybody();
        askAvahi();
        _end = RunLoop::current().performAfter(answerTime, [this] { finish(); });
    }

private:
    void askEverybody() {
        const auto interfaces = QNetworkInterface::allInterfaces();
        for (const QNetworkInterface &interface : interfaces) {
            const auto known =
                std::find_if(_facts.interfaces.begin(), _facts.interfaces.end(),
                             [&](const auto &one) { return one.name == interface.name(); });
            if (known == _facts.interfaces.end() || !known->isUsable() || !known->canMulticast)
                continue;
            const auto entries = interface.addressEntries();
            for (const QNetworkAddressEntry &entry : entries) {
                if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol &&
                    _sockets.size() < mostQuestions)
                    ask(interface, entry.ip());
            }
        }
    }

    void ask(const QNetworkInterface &interface, const QHostAddress &own) {
        auto socket = std::make_unique<QUdpSocket>();
        if (!socket->bind(own)) {
            refused(socket->errorString());
            return;
        }
        socket->setMulticastInterface(interface);
        connect(socket.get(), &QUdpSocket::readyRead, this,
                [this, from = socket.get()] { receive(*from); });
        if (socket->writeDatagram(question(own), everybody, multicastDnsPort) < 0) {
            refused(socket->errorString());
            return;
        }
        // One interface that works is enough.
        if (_facts.multicast == NetworkFacts::Multicast::Untried ||
            _facts.multicast == NetworkFacts::Multicast::Refused)
            _facts.multicast = NetworkFacts::Multicast::NoAnswer;
        _sockets.push_back(std::move(socket));
    }

    void refused(const QString &reason) {
        if (_facts.multicast == NetworkFacts::Multicast::Untried)
            _facts.multicast = NetworkFacts::Multicast::Refused;
        _facts.multicastError = reason;
    }

    void receive(QUdpSocket &socket) {
        while (socket.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = socket.receiveDatagram();
            if (++_received > mostAnswers || !isAnswer(datagram.data()))
                continue;
            const QString sender = QHostAddress(datagram.senderAddress()).toString();
            const bool isOwn =
                std::any_of(_facts.interfaces.begin(), _facts.interfaces.end(),
                            [&](const auto &one) { return one.addresses.contains(sender); });
            if (!isOwn)
                _facts.multicast = NetworkFacts::Multicast::OthersAnswer;
            else if (_facts.multicast != NetworkFacts::Multicast::OthersAnswer)
                _facts.multicast = NetworkFacts::Multicast::OnlyOwn;
        }
    }

    void askAvahi() {
        _call.reset();
        _facts.hasSystemBus = _bus.open();
        if (!_facts.hasSystemBus)
            return;
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.Avahi"), QStringLiteral("/"),
            QStringLiteral("org.freedesktop.Avahi.Server"), QStringLiteral("GetVersionString"));
        call.setAutoStartService(false);
        _call = std::make_unique<QDBusPendingCallWatcher>(
            _bus.connection().asyncCall(call, busTimeoutInMilliseconds));
        connect(_call.get(), &QDBusPendingCallWatcher::finished, this,
                [this](QDBusPendingCallWatcher *finished) {
                    const QDBusPendingReply<QString> reply = *finished;
                    _facts.avahiRuns = !reply.isError();
                    if (!reply.isError())
                        _facts.avahiVersion = reply.value().left(longestVersion);
                });
    }

    void finish() {
        _sockets.clear();
        _call.reset();
        const auto answer = std::exchange(_answer, nullptr);
        if (answer)
            answer(_facts);
    }

    static constexpr qsizetype longestVersion = 64;

    BusConnection _bus{BusConnection::Bus::System};
    std::unique_ptr<QDBusPendingCallWatcher> _call;
    std::vector<std::unique_ptr<QUdpSocket>> _sockets;
    std::function<void(const NetworkFacts &)> _answer;
    NetworkFacts _facts;
    int _received = 0;
    RunLoop::Timer _end;
};

} // namespace

bool NetworkFacts::hasUsableInterface() const {
    return std::any_of(interfaces.begin(), interfaces.end(),
                       [](const Interface &interface) { return interface.isUsable(); });
}

std::unique_ptr<NetworkProbe> makeNetworkProbe() {
    return std::make_unique<RealNetworkProbe>();
}

} // namespace clipmule::dnssd
