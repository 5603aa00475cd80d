// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

#include "platform/foundation/PlatformException.h"
#include "support/ZRKNotificationCenter.h"
#include "tests/kit/TestCase.h"

#include <QTest>

using namespace clipmule;

namespace {

const QString copied = QStringLiteral("ClipCopied");
const QString pasted = QStringLiteral("ClipPasted");

/// Writes down what it is told, and then does what the test wants done in the middle of it.
class Listener : public Object {
public:
    explicit Listener(QString name, QStringList *told = nullptr)
        : _name(std::move(name))
        , _told(told ? told : &_own) {}

    void wasTold(const Notification &notification) {
        last = notification;
        *_told += _name;
        // A copy, since the action may replace itself or destroy this listener.
        if (const auto action = then)
            action();
    }
    void wasCalled() { *_told += _name + QStringLiteral(" called"); }
    [[nodiscard]] QString description() const override { return _name; }

    std::function<void()> then;
    Notification last;

private:
    QString _name;
    QStringList _own;
    QStringList *_told;
};

/// Equal to every other with the same number, as two wrappers of one value are.
class Token final : public Object {
public:
    explicit Token(int number)
        : _number(number) {}
    [[nodiscard]] bool isEqual(const Object &other) const override {
        const auto *token = dynamic_cast<const Token *>(&other);
        return token && token->_number == _number;
    }
    void wasTold() {}

private:
    int _number;
};

/// A hub whose hooks write down that they ran.
class HookedCenter : public ZRKNotificationCenter {
public:
    [[nodiscard]] static std::shared_ptr<HookedCenter> defaultCenter() {
        return sharedInstance<HookedCenter>([] { return std::make_shared<HookedCenter>(); });
    }
    QStringList hooks;
    std::function<void()> onFirst;

protected:
    void didAddFirstObserver() override {
        hooks += QStringLiteral("first");
        if (onFirst)
            onFirst();
    }
    void didAddFirstObserverForName(const QString &name) override {
        hooks += QStringLiteral("first of ") + name;
    }
    void didRemoveLastObserverForName(const QString &name) override {
        hooks += QStringLiteral("last of ") + name;
    }
    void didRemoveLastObserver() override { hooks += QStringLiteral("last"); }
};

class OtherCenter final : public ZRKNotificationCenter {
public:
    [[nodiscard]] static std::shared_ptr<OtherCenter> defaultCenter() {
        return sharedInstance<OtherCenter>([] { return std::make_shared<OtherCenter>(); });
    }
};

/// A hub that stays when nobody listens.
class LastingCenter final : public ZRKNotificationCenter {
public:
    [[nodiscard]] static std::shared_ptr<LastingCenter> defaultCenter() {
        return sharedInstance<LastingCenter>([] { return std::make_shared<LastingCenter>(); });
    }
    [[nodiscard]] bool releaseAfterLastObserverIsRemoved() const override { return false; }
};

Selector told() {
    return selector<&Listener::wasTold>("wasTold");
}

} // namespace

class NotificationCenterTest final : public kit::TestCase {
    Q_OBJECT

private Q_SLOTS:
    void observersAreToldInOrderOfRegistration() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener first(QStringLiteral("first"), &log);
        Listener second(QStringLiteral("second"), &log);
        hub.addObserver(&second, told(), copied);
        hub.addObserver(&first, told(), copied);
        hub.addObserver(&second, selector<&Listener::wasCalled>("wasCalled"), copied);
        hub.postNotificationName(copied);
        QCOMPARE(log, QStringList({QStringLiteral("second"), QStringLiteral("first"),
                                   QStringLiteral("second called")}));
    }

    void theWholeNotificationArrives() {
        ZRKNotificationCenter hub;
        Listener listener(QStringLiteral("listener"));
        hub.addObserver(&listener, told(), copied);
        const auto sender = std::make_shared<Token>(1);
        const auto clip = std::make_shared<Token>(2);
        const PropertyList::Dictionary userInfo{{QStringLiteral("count"), 3}};
        hub.postNotification({copied, sender, userInfo, clip});
        QCOMPARE(listener.last.name, copied);
        QVERIFY(listener.last.object == sender);
        QCOMPARE(listener.last.userInfo, userInfo);
        QVERIFY(listener.last.attachment == clip);
        hub.postNotificationName(copied, clip, {});
        QVERIFY(listener.last.object == clip);
        QVERIFY(listener.last.userInfo.isEmpty());
    }

    void onlyTheNotificationOfTheNameIsDelivered() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener listener(QStringLiteral("listener"), &log);
        hub.addObserver(&listener, told(), copied);
        hub.postNotificationName(pasted);
        hub.postNotificationName(QString());
        QCOMPARE(log.size(), 0);
    }

    void anEqualButDistinctObjectIsAnotherSender() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener listener(QStringLiteral("listener"), &log);
        const auto sender = std::make_shared<Token>(1);
        const auto equal = std::make_shared<Token>(1);
        QVERIFY(sender->isEqual(*equal));
        hub.addObserver(&listener, told(), copied, sender);
        hub.postNotificationName(copied, equal);
        hub.postNotificationName(copied, nullptr);
        QCOMPARE(log.size(), 0);
        hub.postNotificationName(copied, sender);
        QCOMPARE(log.size(), 1);
    }

    void noObjectMeansAnySender() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener listener(QStringLiteral("listener"), &log);
        hub.addObserver(&listener, told(), copied);
        hub.postNotificationName(copied, std::make_shared<Token>(1));
        hub.postNotificationName(copied, nullptr);
        QCOMPARE(log.size(), 2);
    }

    void theSenderIsKeptAliveByTheRecordAndNoLonger() {
        ZRKNotificationCenter hub;
        Listener listener(QStringLiteral("listener"));
        auto sender = std::make_shared<Token>(1);
        const std::weak_ptr<Token> watched = sender;
        hub.addObserver(&listener, told(), copied, std::move(sender));
        QVERIFY(!watched.expired());
        hub.removeObserver(&listener);
        QVERIFY(watched.expired());
    }

    void hooksRunForTheFirstAndTheLast() {
        HookedCenter hub;
        Listener listener(QStringLiteral("listener"));
        Listener other(QStringLiteral("other"));
        hub.addObserver(&listener, told(), copied);
        QCOMPARE(hub.hooks,
                 QStringList({QStringLiteral("first"), QStringLiteral("first of ClipCopied")}));
        hub.hooks.clear();
        hub.addObserver(&other, told(), copied);
        QCOMPARE(hub.hooks, QStringList());
        hub.addObserver(&other, told(), pasted);
        QCOMPARE(hub.hooks, QStringList({QStringLiteral("first of ClipPasted")}));
        hub.hooks.clear();
        hub.removeObserver(&listener, copied);
        QCOMPARE(hub.hooks, QStringList());
        hub.removeObserver(&other, copied);
        QCOMPARE(hub.hooks, QStringList({QStringLiteral("last of ClipCopied")}));
        hub.hooks.clear();
        hub.removeObserver(&other, pasted);
        QCOMPARE(hub.hooks,
                 QStringList({QStringLiteral("last of ClipPasted"), QStringLiteral("last")}));
    }

    void aHookThatRemovesItsObserverIsNotFollowedByTheNext() {
        HookedCenter hub;
        Listener listener(QStringLiteral("listener"));
        hub.onFirst = [&] { hub.removeObserver(&listener); };
        hub.addObserver(&listener, told(), copied);
        QCOMPARE(hub.hooks,
                 QStringList({QStringLiteral("first"), QStringLiteral("last of ClipCopied"),
                              QStringLiteral("last")}));
    }

    void aNameIsRequired() {
        HookedCenter hub;
        Listener listener(QStringLiteral("listener"));
        QVERIFY_THROWS_EXCEPTION(PlatformException, hub.addObserver(&listener, told(), QString()));
        QCOMPARE(hub.hooks, QStringList());
    }

    void removalTakesEveryRecordOfTheObserver() {
        HookedCenter hub;
        QStringList log;
        Listener listener(QStringLiteral("listener"), &log);
        hub.addObserver(&listener, told(), copied);
        hub.addObserver(&listener, told(), copied);
        hub.postNotificationName(copied);
        QCOMPARE(log.size(), 2);
        hub.removeObserver(&listener, copied);
        hub.postNotificationName(copied);
        QCOMPARE(log.size(), 2);
        QCOMPARE(hub.hooks.last(), QStringLiteral("last"));
    }

    void removalWithAnObjectLeavesTheOthers() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener listener(QStringLiteral("listener"), &log);
        const auto one = std::make_shared<Token>(1);
        const auto two = std::make_shared<Token>(2);
        hub.addObserver(&listener, told(), copied, one);
        hub.addObserver(&listener, told(), copied, two);
        hub.addObserver(&listener, told(), copied);
        // Equal is enough for a removal, unlike for a delivery.
        const Token alsoOne(1);
        hub.removeObserver(&listener, copied, &alsoOne);
        hub.postNotificationName(copied, one);
        QCOMPARE(log.size(), 1); // the record for any sender
        hub.postNotificationName(copied, two);
        QCOMPARE(log.size(), 3);
        hub.removeObserver(&listener, copied);
        hub.postNotificationName(copied, two);
        QCOMPARE(log.size(), 3);
    }

    void removalGoesByEqualityOfTheObserver() {
        HookedCenter hub;
        Token observer(1);
        hub.addObserver(&observer, selector<&Token::wasTold>("wasTold"), copied);
        const Token different(2);
        hub.removeObserver(&different);
        QCOMPARE(hub.hooks.last(), QStringLiteral("first of ClipCopied"));
        const Token equal(1);
        hub.removeObserver(&equal);
        QCOMPARE(hub.hooks.last(), QStringLiteral("last"));
    }

    void removalWithoutANameGoesOverAllNames() {
        HookedCenter hub;
        Listener listener(QStringLiteral("listener"));
        hub.addObserver(&listener, told(), copied);
        hub.addObserver(&listener, told(), pasted, std::make_shared<Token>(1));
        hub.hooks.clear();
        hub.removeObserver(&listener);
        QCOMPARE(hub.hooks,
                 QStringList({QStringLiteral("last of ClipCopied"),
                              QStringLiteral("last of ClipPasted"), QStringLiteral("last")}));
    }

    void removingWhatIsNotThereDoesNothing() {
        HookedCenter hub;
        Listener listener(QStringLiteral("listener"));
        Listener stranger(QStringLiteral("stranger"));
        hub.removeObserver(&stranger);
        hub.removeObserver(&stranger, copied);
        hub.removeObserver(nullptr);
        hub.removeZRKObserver(std::make_shared<ZRKObserver>(&stranger, told(), nullptr), copied);
        QCOMPARE(hub.hooks, QStringList());
        hub.addObserver(&listener, told(), copied);
        hub.hooks.clear();
        hub.removeZRKObserver(std::make_shared<ZRKObserver>(&listener, told(), nullptr), copied);
        QCOMPARE(hub.hooks, QStringList());
    }

    void oneRecordMayBeAddedTwice() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener listener(QStringLiteral("listener"), &log);
        const auto record = std::make_shared<ZRKObserver>(&listener, told(), nullptr);
        hub.addZRKObserver(record, copied);
        hub.addZRKObserver(record, copied);
        hub.postNotificationName(copied);
        QCOMPARE(log.size(), 2);
        hub.removeZRKObserver(record, copied);
        hub.postNotificationName(copied);
        QCOMPARE(log.size(), 2);
    }

    void whoLeavesDuringDeliveryIsNotToldAnyMore() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener first(QStringLiteral("first"), &log);
        Listener second(QStringLiteral("second"), &log);
        Listener third(QStringLiteral("third"), &log);
        hub.addObserver(&first, told(), copied);
        hub.addObserver(&second, told(), copied);
        hub.addObserver(&third, told(), copied);
        first.then = [&] {
            hub.removeObserver(&first);
            hub.removeObserver(&second);
        };
        hub.postNotificationName(copied);
        QCOMPARE(log, QStringList({QStringLiteral("first"), QStringLiteral("third")}));
    }

    void whoArrivesDuringDeliveryIsToldOfTheNextOne() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener first(QStringLiteral("first"), &log);
        Listener late(QStringLiteral("late"), &log);
        hub.addObserver(&first, told(), copied);
        first.then = [&] {
            first.then = nullptr;
            hub.addObserver(&late, told(), copied);
        };
        hub.postNotificationName(copied);
        QCOMPARE(log, QStringList({QStringLiteral("first")}));
        hub.postNotificationName(copied);
        QCOMPARE(log.last(), QStringLiteral("late"));
    }

    void anObserverMayDestroyItselfAndOthers() {
        ZRKNotificationCenter hub;
        QStringList log;
        struct Leaver final : Listener {
            Leaver(ZRKNotificationCenter &center, const QString &name, QStringList *list)
                : Listener(name, list)
                , _center(center) {
                _center.addObserver(this, told(), copied);
            }
            ~Leaver() override { _center.removeObserver(this); }
            ZRKNotificationCenter &_center;
        };
        auto first = std::make_unique<Leaver>(hub, QStringLiteral("first"), &log);
        auto second = std::make_unique<Leaver>(hub, QStringLiteral("second"), &log);
        Leaver third(hub, QStringLiteral("third"), &log);
        first->then = [&] {
            second.reset();
            first.reset();
        };
        hub.postNotificationName(copied);
        QCOMPARE(log, QStringList({QStringLiteral("first"), QStringLiteral("third")}));
    }

    void notificationsMayBePostedFromInsideOne() {
        ZRKNotificationCenter hub;
        QStringList log;
        Listener first(QStringLiteral("first"), &log);
        Listener second(QStringLiteral("second"), &log);
        Listener inner(QStringLiteral("inner"), &log);
        hub.addObserver(&first, told(), copied);
        hub.addObserver(&second, told(), copied);
        hub.addObserver(&inner, told(), pasted);
        first.then = [&] { hub.postNotificationName(pasted); };
        hub.postNotificationName(copied);
        QCOMPARE(log, QStringList({QStringLiteral("first"), QStringLiteral("inner"),
                                   QStringLiteral("second")}));
    }

    void theHubMayBeReleasedDuringDelivery() {
        auto hub = std::make_shared<ZRKNotificationCenter>();
        QStringList log;
        Listener first(QStringLiteral("first"), &log);
        Listener second(QStringLiteral("second"), &log);
        hub->addObserver(&first, told(), copied);
        hub->addObserver(&second, told(), copied);
        const std::weak_ptr<ZRKNotificationCenter> watched = hub;
        auto *raw = hub.get();
        first.then = [&] { hub.reset(); };
        raw->postNotificationName(copied);
        QCOMPARE(log.size(), 2);
        QVERIFY(watched.expired());
    }

    void eachClassOfHubHasItsOwnSharedInstance() {
        const auto hooked = HookedCenter::defaultCenter();
        QVERIFY(hooked == HookedCenter::defaultCenter());
        const std::shared_ptr<ZRKNotificationCenter> other = OtherCenter::defaultCenter();
        const std::shared_ptr<ZRKNotificationCenter> plain = ZRKNotificationCenter::defaultCenter();
        QVERIFY(std::static_pointer_cast<ZRKNotificationCenter>(hooked) != other);
        QVERIFY(plain != other);
        QVERIFY(plain == ZRKNotificationCenter::defaultCenter());
    }

    void theSharedInstanceGoesWithItsLastObserver() {
        Listener listener(QStringLiteral("listener"));
        std::weak_ptr<HookedCenter> watched;
        {
            const auto hub = HookedCenter::defaultCenter();
            watched = hub;
            hub->addObserver(&listener, told(), copied);
            hub->removeObserver(&listener);
            QVERIFY(hub != HookedCenter::defaultCenter());
            // Whoever still holds it can still use it.
            hub->postNotificationName(copied);
        }
        QVERIFY(watched.expired());
        QVERIFY(HookedCenter::defaultCenter()->hooks.isEmpty());
    }

    void theSharedInstanceStaysWhileItIsObserved() {
        Listener listener(QStringLiteral("listener"));
        Listener other(QStringLiteral("other"));
        const auto hub = HookedCenter::defaultCenter();
        hub->addObserver(&listener, told(), copied);
        hub->addObserver(&other, told(), pasted);
        hub->removeObserver(&listener);
        QVERIFY(hub == HookedCenter::defaultCenter());
        hub->removeObserver(&other);
        QVERIFY(hub != HookedCenter::defaultCenter());
    }

    void aClassOfHubMayOutlastItsObservers() {
        Listener listener(QStringLiteral("listener"));
        const auto hub = LastingCenter::defaultCenter();
        hub->addObserver(&listener, told(), copied);
        hub->removeObserver(&listener);
        QVERIFY(hub == LastingCenter::defaultCenter());
    }

    void aPrivateHubDoesNotDropTheSharedOne() {
        Listener listener(QStringLiteral("listener"));
        const auto shared = HookedCenter::defaultCenter();
        const auto own = std::make_shared<HookedCenter>();
        own->addObserver(&listener, told(), copied);
        own->removeObserver(&listener);
        QVERIFY(shared == HookedCenter::defaultCenter());
    }

    void thePlatformsCentreNeverGoesAway() {
        Listener listener(QStringLiteral("listener"));
        ZRKNotificationCenter &center = ZRKNotificationCenter::platformDefault();
        QVERIFY(!center.releaseAfterLastObserverIsRemoved());
        QVERIFY(ZRKNotificationCenter().releaseAfterLastObserverIsRemoved());
        center.addObserver(&listener, told(), copied);
        center.removeObserver(&listener);
        QCOMPARE(&ZRKNotificationCenter::platformDefault(), &center);
        QVERIFY(ZRKNotificationCenter::defaultCenter().get() != &center);
    }

    void recordsDescribeThemselves() {
        Listener listener(QStringLiteral("listener"));
        const auto sender = std::make_shared<Listener>(QStringLiteral("sender"));
        const ZRKObserver record(&listener, told(), sender);
        QCOMPARE(record.description(),
                 QStringLiteral("observer = listener, object = sender, selector = wasTold"));
        QCOMPARE(ZRKObserver(&listener, told(), nullptr).description(),
                 QStringLiteral("observer = listener, object = (null), selector = wasTold"));
        QCOMPARE(record.observer(), static_cast<Object *>(&listener));
        QVERIFY(record.object() == sender);
        QVERIFY(record.selector() == told());
    }

    void aSelectorOfAnotherClassIsRefused() {
        ZRKNotificationCenter hub;
        Token token(1);
        hub.addObserver(&token, told(), copied);
        QVERIFY_THROWS_EXCEPTION(std::bad_cast, hub.postNotificationName(copied));
    }
};

QTEST_GUILESS_MAIN(NotificationCenterTest)
#include "tst_notificationcenter.moc"
