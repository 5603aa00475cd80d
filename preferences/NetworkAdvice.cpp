// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "preferences/NetworkAdvice.h"

#include "preferences/PanelTexts.h"

namespace clipmule {

namespace {
using Kind = NetworkAdvice::Kind;
using Multicast = dnssd::NetworkFacts::Multicast;
// The name of an interface without multicast where there is no other; else empty.
QString interfaceWithoutMulticast(const dnssd::NetworkFacts &facts) {
    QString name;
    for (const auto &interface : facts.interfaces) {
        if (!interface.isUsable())
            continue;
        if (interface.canMulticast)
            return {};
        name = interface.name;
    }
    return name;
}

} // namespace

NetworkAdvice adviceFor(const dnssd::NetworkFacts &facts) {
    if (!facts.hasUsableInterface())
        return {Kind::NoInterface, PanelTexts::tr("This computer is not on a network."),
                PanelTexts::tr("Connect it to the network that the phone is on.")};
    if (const QString name = interfaceWithoutMulticast(facts); !name.isEmpty())
        return {
            Kind::MulticastFails,
            PanelTexts::tr("Multicast is switched off on this computer’s network interface (%1).")
                .arg(name),
            PanelTexts::tr("Switch it on: sudo ip link set %1 multicast on").arg(name)};
    if (facts.multicast == Multicast::Refused)
        return {Kind::MulticastFails,
                PanelTexts::tr("This computer does not let multicast out (%1).")
                    .arg(facts.multicastError),
                PanelTexts::tr("Allow mDNS (UDP port 5353) in the firewall.")};
    if (!facts.avahiRuns)
        return {
            Kind::NoAvahi,
            PanelTexts::tr("The Avahi daemon is not running. Phones are searched for without it."),
            PanelTexts::tr("If none appears, start it: sudo systemctl enable --now avahi-daemon")};
    if (facts.multicast == Multicast::NoAnswer)
        return {Kind::NoAnswer,
                PanelTexts::tr("Multicast queries get no answer, not even from this computer."),
                PanelTexts::tr("Allow mDNS (UDP port 5353) in the firewall.")};
    if (facts.multicast != Multicast::OthersAnswer)
        return {Kind::NothingWrong, PanelTexts::tr("No other device on the network answers."),
                PanelTexts::tr("Make sure that the phone is on the same network. Guest networks "
                               "often keep devices apart.")};
    return {Kind::NothingWrong, PanelTexts::tr("Other devices answer, but no phone does."),
            PanelTexts::tr(
                "Make sure that the app is open and that the phone is on the same network.")};
}

} // namespace clipmule
